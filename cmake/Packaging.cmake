# Manual pages, and the Debian package: cmake --preset release, cmake --build --preset release, then cpack in its folder.
set(CORVANE_MAINTAINER "Corvane <support@corvane.com>" CACHE STRING "Who answers for the package")

set(corvane_version ${CORVANE_MARKETING_VERSION}.${CORVANE_BUILD_NUMBER})

# compressed(FILE NAME DESTINATION): installs FILE there as NAME.gz.
find_program(GZIP gzip REQUIRED)
function(compressed file name destination)
  set(result ${CMAKE_BINARY_DIR}/packaging/${name}.gz)
  add_custom_command(OUTPUT ${result} COMMAND ${GZIP} -9nc ${file} > ${result} DEPENDS ${file} VERBATIM)
  add_custom_target(compressed_${name} ALL DEPENDS ${result})
  install(FILES ${result} DESTINATION ${destination})
endfunction()

set(pages corvane-nm)
if(CORVANE_TOOLS AND NOT APPLE)
  list(APPEND pages corvane-nmctl)
endif()
foreach(page ${pages})
  configure_file(packaging/man/${page}.1.in ${CMAKE_BINARY_DIR}/packaging/${page}.1 @ONLY)
  compressed(${CMAKE_BINARY_DIR}/packaging/${page}.1 ${page}.1 ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()

# Debian's folder; RPM distributions take ${CMAKE_INSTALL_DATADIR}/zsh/site-functions.
set(CORVANE_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions CACHE STRING
  "Where completions for zsh are installed")
if(CORVANE_TOOLS AND NOT APPLE)
  install(FILES packaging/completions/corvane-nmctl.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME corvane-nmctl)
  install(FILES packaging/completions/_corvane-nmctl DESTINATION ${CORVANE_ZSH_COMPLETIONS})
  install(FILES packaging/completions/corvane-nmctl.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()

option(CORVANE_DEBIAN "Install what a Debian package needs beside the programs" OFF)
if(CORVANE_DEBIAN)
  configure_file(packaging/debian/changelog.in ${CMAKE_BINARY_DIR}/packaging/changelog @ONLY)
  compressed(${CMAKE_BINARY_DIR}/packaging/changelog changelog ${CMAKE_INSTALL_DOCDIR})
  install(FILES packaging/debian/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(FILES packaging/debian/lintian-overrides DESTINATION share/lintian/overrides RENAME corvane-nm)
  list(JOIN CORVANE_INSTALLED_CONFIGURATION "\n" conffiles)
  file(WRITE ${CMAKE_BINARY_DIR}/packaging/conffiles "${conffiles}\n")

  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME corvane-nm)
  set(CPACK_PACKAGE_VERSION ${corvane_version})
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "native messaging host of the Corvane browser extension")
  set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
  set(CPACK_STRIP_FILES ON)
  set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${CORVANE_MAINTAINER}")
  set(CPACK_DEBIAN_PACKAGE_SECTION web)
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Browsers start this program when the Corvane extension asks for it. It relays\n\
the extension's requests to the Corvane application and the application's\nstate to the extension.\n.\n\
The package registers it with Chromium, Chrome, Edge, Brave, Firefox and\nothers for all users, and holds corvane-nmctl, which says what is wrong\n\
when the extension does not find it.")
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/packaging/conffiles)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  include(CPack)
endif()
