# What is delivered beside the program and the simulated card, and the archive that `cpack --preset linux` or
# `cpack --preset windows` makes of it all.

file(GLOB documents CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} docs/*.md)

if(WIN32)
  # As a plain text for Notepad: lines end as it expects, a mark tells every version of it that this is UTF-8, and
  # what the text says of other documents goes by their names here.
  string(ASCII 239 187 191 utf8_mark)
  function(kestrune_install_text source folder name)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    file(READ ${source} text)
    foreach(document IN LISTS documents)
      get_filename_component(title ${document} NAME_WE)
      string(REPLACE "${title}.md" "${title}.txt" text "${text}")
    endforeach()
    set(output ${PROJECT_BINARY_DIR}/package/${folder}/${name})
    file(CONFIGURE OUTPUT ${output} CONTENT "${utf8_mark}${text}" @ONLY NEWLINE_STYLE WIN32)
    install(FILES ${output} DESTINATION ${folder})
  endfunction()

  install(DIRECTORY deploy/prometheus deploy/grafana DESTINATION deploy)
  kestrune_install_text(README.md . README.txt)
  foreach(document IN LISTS documents)
    get_filename_component(title ${document} NAME_WE)
    kestrune_install_text(${document} docs ${title}.txt)
  endforeach()
  kestrune_install_text(cards/simulated/windows-readme.txt simulated-card README.txt)
  install(DIRECTORY cards/simulated/scenarios DESTINATION simulated-card)
  set(CPACK_GENERATOR ZIP)
  set(system win64)
else()
  install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
  install(DIRECTORY cards/simulated/scenarios deploy/prometheus deploy/grafana
    DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrune)
  set(CPACK_GENERATOR TGZ)
  string(TOLOWER ${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR} system)
endif()

set(CPACK_PACKAGE_NAME Kestrune)
set(CPACK_PACKAGE_FILE_NAME Kestrune-${PROJECT_VERSION}-${system})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_STRIP_FILES ON)
include(CPack)
