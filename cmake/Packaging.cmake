# What is installed beside the programs and their manifests, the target that uninstalls, and the packages.
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

# Debian's folder; RPM distributions have ${CMAKE_INSTALL_DATADIR}/zsh/site-functions.
set(CORVANE_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions CACHE STRING
  "Where completions for zsh are installed")
if(CORVANE_TOOLS AND NOT APPLE)
  install(FILES packaging/completions/corvane-nmctl.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME corvane-nmctl)
  install(FILES packaging/completions/_corvane-nmctl DESTINATION ${CORVANE_ZSH_COMPLETIONS})
  install(FILES packaging/completions/corvane-nmctl.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endif()

install(FILES docs/protocol.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
if(NOT APPLE)
  install(FILES docs/linux-contract.md docs/nmctl-json.md docs/nmctl.schema.json DESTINATION ${CMAKE_INSTALL_DOCDIR})
endif()

add_custom_target(uninstall
  COMMAND ${CMAKE_COMMAND} -D MANIFEST=${CMAKE_BINARY_DIR}/install_manifest.txt -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake
  VERBATIM)

set(CORVANE_MAINTAINER "Corvane <support@corvane.com>" CACHE STRING "Who answers for the package")
set(CORVANE_HOMEPAGE "https://corvane.com/" CACHE STRING "The page that packages name; empty: none")
set(CORVANE_PACKAGE "" CACHE STRING "The kind of package that cpack makes, DEB or RPM; empty: none")
set_property(CACHE CORVANE_PACKAGE PROPERTY STRINGS "" DEB RPM)
if(CORVANE_PACKAGE)
  set(CPACK_GENERATOR ${CORVANE_PACKAGE})
  set(CPACK_PACKAGE_NAME corvane-nm)
  set(CPACK_PACKAGE_VENDOR Corvane)
  set(CPACK_PACKAGE_VERSION ${corvane_version})
  set(CPACK_PACKAGE_HOMEPAGE_URL "${CORVANE_HOMEPAGE}")
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "native messaging host of the Corvane browser extension")
  set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
  set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(package_description
    "Browsers start this program when the Corvane extension asks for it. It relays\n\
the extension's requests to the Corvane application and the application's\nstate to the extension.\n.\n\
The package registers it with Chromium, Chrome, Edge, Brave, Firefox and\nothers for all users, and holds corvane-nmctl, which says what is wrong\n\
when the extension does not find it.")
  include(cmake/Package${CORVANE_PACKAGE}.cmake)
  include(CPack)
endif()
