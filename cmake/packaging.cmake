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
  kestrune_install_text(CHANGELOG.md . CHANGELOG.txt)
  install(DIRECTORY cards/simulated/scenarios DESTINATION simulated-card)
  set(KESTRUNE_LICENCES_FOLDER licences)
  set(CPACK_GENERATOR ZIP)
  set(system win64)
else()
  # What names the places of this installation or its version.
  set(KESTRUNE_STATE_FOLDER /var/lib/kestrune)
  function(kestrune_install_configured source folder)
    cmake_path(GET source FILENAME name)
    string(REPLACE ".in" "" name ${name})
    configure_file(${source} ${PROJECT_BINARY_DIR}/package/${name} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/package/${name} DESTINATION ${folder})
  endfunction()

  kestrune_install_configured(docs/man/kestrune.1 ${CMAKE_INSTALL_MANDIR}/man1)
  kestrune_install_configured(docs/man/kestrune-report.1 ${CMAKE_INSTALL_MANDIR}/man1)
  kestrune_install_configured(deploy/systemd/kestrune@.service.in lib/systemd/system)
  kestrune_install_configured(deploy/systemd/kestrune-metrics@.service.in lib/systemd/system)
  install(FILES deploy/systemd/kestrune.conf DESTINATION lib/sysusers.d)
  install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(FILES ${documents} docs/report.webp DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)
  set(KESTRUNE_LICENCES_FOLDER ${CMAKE_INSTALL_DOCDIR}/licences)
  install(DIRECTORY cards/simulated/scenarios deploy/prometheus deploy/grafana
    DESTINATION ${CMAKE_INSTALL_DATADIR}/kestrune)
  set(CPACK_GENERATOR TGZ)
  string(TOLOWER ${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR} system)
endif()

include(cmake/bill_of_materials.cmake)

set(CPACK_PACKAGE_NAME Kestrune)
set(CPACK_PACKAGE_FILE_NAME Kestrune-${PROJECT_VERSION}-${system})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_STRIP_FILES ON)
include(CPack)
