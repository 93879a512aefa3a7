# What others made and the archive holds or needs: sbom.spdx.json, in the SPDX format 2.3, and their licences, both
# installed into KESTRUNE_LICENCES_FOLDER. Names, versions and licence texts are those of the distribution's packages
# that this machine builds with; where a package isn't installed, its version and its text are missing.

# Name; its package; its licence, as SPDX calls it; how the programs relate to it.
set(materials
  "RapidJSON|rapidjson-dev|MIT AND BSD-3-Clause|STATIC_LINK"
  "CLI11|libcli11-dev|BSD-3-Clause|STATIC_LINK"
  "Mustache for C++|libkainjow-mustache-dev|BSL-1.0|STATIC_LINK")
if(WIN32)
  list(APPEND materials
    "zlib|libz-mingw-w64-dev|Zlib|STATIC_LINK"
    "GCC run-time libraries|gcc-mingw-w64-x86-64-posix-runtime|GPL-3.0-or-later WITH GCC-exception-3.1|STATIC_LINK"
    "mingw-w64 run-time library and winpthreads|mingw-w64-x86-64-dev|ZPL-2.1 AND MIT AND BSD-3-Clause|STATIC_LINK")
else()
  list(APPEND materials
    "zlib|zlib1g-dev|Zlib|STATIC_LINK"
    "libstdc++|libstdc++6|GPL-3.0-or-later WITH GCC-exception-3.1|DYNAMIC_LINK"
    "libgcc|libgcc-s1|GPL-3.0-or-later WITH GCC-exception-3.1|DYNAMIC_LINK"
    "GNU C Library|libc6|LGPL-2.1-or-later|DYNAMIC_LINK")
endif()

function(package_version package result)
  execute_process(COMMAND dpkg-query -W -f "\${Version}" ${package}
                  OUTPUT_VARIABLE version ERROR_QUIET RESULT_VARIABLE failed)
  if(failed)
    set(version "")
  endif()
  set(${result} "${version}" PARENT_SCOPE)
endfunction()

# Appends one package's entry to `packages` and how Kestrune relates to it to `relationships`.
function(add_material identifier name version licence relation)
  if(version STREQUAL "")
    set(version NOASSERTION)
  endif()
  set(entry "{\"SPDXID\": \"${identifier}\", \"name\": \"${name}\", \"versionInfo\": \"${version}\",
    \"downloadLocation\": \"NOASSERTION\", \"filesAnalyzed\": false, \"copyrightText\": \"NOASSERTION\",
    \"licenseConcluded\": \"NOASSERTION\", \"licenseDeclared\": \"${licence}\"}")
  string(JSON length LENGTH "${bill}" packages)
  string(JSON bill SET "${bill}" packages ${length} "${entry}")
  string(JSON length LENGTH "${bill}" relationships)
  set(from SPDXRef-Kestrune)
  if(relation STREQUAL DESCRIBES)
    set(from SPDXRef-DOCUMENT)
  endif()
  string(JSON bill SET "${bill}" relationships ${length}
    "{\"spdxElementId\": \"${from}\", \"relationshipType\": \"${relation}\", \"relatedSpdxElement\": \"${identifier}\"}")
  set(bill "${bill}" PARENT_SCOPE)
endfunction()

string(TIMESTAMP now "%Y-%m-%dT%H:%M:%SZ" UTC)
set(bill "{\"spdxVersion\": \"SPDX-2.3\", \"dataLicense\": \"CC0-1.0\", \"SPDXID\": \"SPDXRef-DOCUMENT\",
  \"name\": \"Kestrune-${PROJECT_VERSION}-${system}\",
  \"documentNamespace\": \"urn:kestrune:sbom:${PROJECT_VERSION}:${system}\",
  \"creationInfo\": {\"created\": \"${now}\", \"creators\": [\"Tool: CMake-${CMAKE_VERSION}\"]},
  \"packages\": [], \"relationships\": []}")
add_material(SPDXRef-Kestrune Kestrune ${PROJECT_VERSION} NOASSERTION DESCRIBES)
foreach(material IN LISTS materials)
  string(REPLACE "|" ";" material "${material}")
  list(POP_FRONT material name package licence relation)
  package_version(${package} version)
  string(REPLACE "+" "-" identifier SPDXRef-${package})
  add_material(${identifier} "${name}" "${version}" "${licence}" ${relation})
  if(EXISTS /usr/share/doc/${package}/copyright)
    install(FILES /usr/share/doc/${package}/copyright DESTINATION ${KESTRUNE_LICENCES_FOLDER} RENAME ${package}.txt)
  endif()
endforeach()
file(WRITE ${PROJECT_BINARY_DIR}/package/sbom.spdx.json "${bill}\n")
install(FILES ${PROJECT_BINARY_DIR}/package/sbom.spdx.json DESTINATION ${KESTRUNE_LICENCES_FOLDER})
