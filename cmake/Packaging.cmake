# What `cmake --install` puts where, and the packages CPack makes of it:
# on Linux the tool, its manual page, its bash completion and the docs, as a
# Debian package; from the Windows build the DLL, the tool, the README and
# the two registration scripts, as a zip.
set(_packaging ${PROJECT_SOURCE_DIR}/packaging)

# `gzip -9n`: compressed without a time stamp, so the same input gives the
# same bytes.
function(fennoria_gzip input output)
  add_custom_command(OUTPUT ${output}
    COMMAND sh -c "gzip -9n -c \"$0\" > \"$1\"" ${input} ${output}
    DEPENDS ${input}
    VERBATIM)
endfunction()

set(CPACK_PACKAGE_NAME fennoria)
set(CPACK_PACKAGE_VENDOR "Ormelund")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "join media lists, extract and demultiplex DVD program chains")
set(CPACK_PACKAGE_CONTACT "Ormelund Fennoria developers <fennoria@ormelund.example>")
set(CPACK_STRIP_FILES ON)

if(WIN32)
  install(TARGETS fennoria_dll fennoria
          RUNTIME DESTINATION .
          LIBRARY DESTINATION .
          ARCHIVE DESTINATION lib EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_SOURCE_DIR}/README.md
                ${_packaging}/windows/register.cmd
                ${_packaging}/windows/unregister.cmd
          DESTINATION .)

  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME fennoria-${PROJECT_VERSION}-win64)
else()
  include(GNUInstallDirs)
  set(_doc ${CMAKE_INSTALL_DATADIR}/doc/fennoria)
  set(_generated ${PROJECT_BINARY_DIR}/packaging)

  install(TARGETS fennoria RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  # Installed as Debian installs programs: stripped of symbols and of the
  # compiler's notes (the build tree keeps them for debugging).
  if(CMAKE_STRIP)
    install(CODE "execute_process(COMMAND \"${CMAKE_STRIP}\" --remove-section=.comment
                    --remove-section=.note --strip-unneeded
                    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/fennoria\")")
  endif()

  fennoria_gzip(${PROJECT_SOURCE_DIR}/docs/fennoria.1 ${_generated}/fennoria.1.gz)
  configure_file(${_packaging}/debian/changelog.in ${_generated}/changelog @ONLY)
  fennoria_gzip(${_generated}/changelog ${_generated}/changelog.gz)
  add_custom_target(fennoria_install_files ALL
    DEPENDS ${_generated}/fennoria.1.gz ${_generated}/changelog.gz)

  install(FILES ${_generated}/fennoria.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${PROJECT_SOURCE_DIR}/src/cli/completion.bash
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME fennoria)
  # The pages a user of the tool reads (the tool's JSON document and its
  # schema among them); the filter's (Windows) and the developers' pages
  # stay in the source tree.
  install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/docs/configuration.md
                ${PROJECT_SOURCE_DIR}/docs/robustness.md ${PROJECT_SOURCE_DIR}/docs/disc-json.md
                ${PROJECT_SOURCE_DIR}/docs/disc.schema.json
                ${_packaging}/debian/copyright ${_generated}/changelog.gz
          DESTINATION ${_doc})

  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_NAME fennoria)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CPACK_PACKAGE_CONTACT}")
  set(CPACK_DEBIAN_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  # The summary line comes from CPACK_PACKAGE_DESCRIPTION_SUMMARY.
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
      "The fennoria tool joins the media files a list names into one stream,
writes the sectors of a DVD program chain (or of one of its cells) with
one audio stream kept, demultiplexes a program chain or a VOB file into
elementary streams with optional timing files, lists and dumps the IFO
files of a VIDEO_TS folder, and edits the settings of the Fennoria source
filter and its debug log.")
endif()

include(CPack)
