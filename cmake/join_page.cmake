# Joins a page's template, styles and script modules into one C++ source:
#
#   cmake -D FOLDER=src/report/page -D NAME=page -D TEMPLATE=page.html -D STYLES=page.css;… -D MODULES=format.mjs;…
#         -D OUTPUT=page_assets.cpp -P join_page.cmake
#
# The constants are called pageTemplate and so on, by NAME. The modules become one module in the order of the list:
# imports and the word export fall away, and so do comments and indentation, which the page's reader needn't carry.

function(join_script result)
  set(joined "")
  foreach(module IN LISTS MODULES)
    file(READ ${FOLDER}/${module} text)
    string(REGEX REPLACE "(^|\n)import [^;]*;" "\\1" text "${text}")
    string(REGEX REPLACE "(^|\n)export " "\\1" text "${text}")
    string(REGEX REPLACE "/\\*\\*([^*]|\\*[^/])*\\*/" "" text "${text}")
    string(REGEX REPLACE "(^|\n)( *(//[^\n]*)?\n)+" "\n" text "${text}")
    string(REGEX REPLACE "\n +" "\n" text "${text}")
    string(APPEND joined "${text}")
  endforeach()
  if(joined MATCHES "</script" OR joined MATCHES "(^|\n)(import|export) ")
    message(FATAL_ERROR "the page's script holds what can't stand in a page")
  endif()
  set(${result} "${joined}" PARENT_SCOPE)
endfunction()

# The SHA-256 of a text in base64: 64 hexadecimal digits and two of padding are 11 groups of six, four letters each.
function(sha256_base64 result text)
  set(letters ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  string(SHA256 digits "${text}")
  string(APPEND digits 00)
  set(encoded "")
  foreach(at RANGE 0 60 6)
    string(SUBSTRING ${digits} ${at} 6 group)
    foreach(shift 18 12 6 0)
      math(EXPR letter "(0x${group} >> ${shift}) & 63")
      string(SUBSTRING ${letters} ${letter} 1 letter)
      string(APPEND encoded ${letter})
    endforeach()
  endforeach()
  string(SUBSTRING ${encoded} 0 43 encoded)
  set(${result} "${encoded}=" PARENT_SCOPE)
endfunction()

# A definition of `name` whose value is `text`.
function(append_constant name text)
  if(text MATCHES "\\)~~\"")
    message(FATAL_ERROR "${name} holds the end of a raw string")
  endif()
  string(APPEND source "const std::string_view ${name} =\n    R\"~~(${text})~~\";\n")
  set(source "${source}" PARENT_SCOPE)
endfunction()

join_script(script)
sha256_base64(hash "${script}")
file(READ ${FOLDER}/${TEMPLATE} template)
set(style "")
foreach(part IN LISTS STYLES)
  file(READ ${FOLDER}/${part} text)
  string(APPEND style "${text}")
endforeach()

set(source "#include \"report/page/page_assets.h\"\n\nnamespace kestrune::report {\n\n")
append_constant(${NAME}Template "${template}")
append_constant(${NAME}Style "${style}")
append_constant(${NAME}Script "${script}")
append_constant(${NAME}ScriptHash "sha256-${hash}")
string(APPEND source "\n}  // namespace kestrune::report\n")
file(WRITE ${OUTPUT} "${source}")
