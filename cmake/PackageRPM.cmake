# The package for Fedora. The folders that are Fedora's own are in the preset "rpm".
configure_file(packaging/rpm/changelog.in ${CMAKE_BINARY_DIR}/packaging/rpm-changelog @ONLY)
# The same licences; only the text of the C library's lies elsewhere.
file(READ packaging/debian/copyright licences)
string(REPLACE "On Debian systems the" "The" licences "${licences}")
string(REPLACE "/usr/share/common-licenses/LGPL-2.1" "/usr/share/licenses/glibc/COPYING.LIB" licences "${licences}")
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/packaging/LICENSE CONTENT "${licences}" @ONLY)
set(license_folder ${CMAKE_INSTALL_DATADIR}/licenses/corvane-nm)
install(FILES ${CMAKE_BINARY_DIR}/packaging/LICENSE DESTINATION ${license_folder})

set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
# No licence has been chosen for the host itself; the others are of what is compiled into it.
set(CPACK_RPM_PACKAGE_LICENSE "LicenseRef-Corvane AND BSL-1.0 AND BSD-3-Clause AND LGPL-2.1-or-later")
set(CPACK_RPM_PACKAGE_GROUP "Applications/Internet")
set(CPACK_RPM_PACKAGE_SUMMARY "Native messaging host of the Corvane browser extension")
string(REPLACE "\n.\n" "\n\n" CPACK_RPM_PACKAGE_DESCRIPTION "${package_description}")
set(CPACK_RPM_CHANGELOG_FILE ${CMAKE_BINARY_DIR}/packaging/rpm-changelog)
set(CPACK_RPM_COMPRESSION_TYPE zstd)
set(CPACK_PACKAGE_RELOCATABLE OFF)  # manifests name the full path
set(CPACK_RPM_PACKAGE_RELOCATABLE OFF)
set(CPACK_STRIP_FILES ON)
set(CPACK_RPM_USER_FILELIST "%license ${CMAKE_INSTALL_PREFIX}/${license_folder}/LICENSE")
foreach(file ${CORVANE_INSTALLED_CONFIGURATION})
  list(APPEND CPACK_RPM_USER_FILELIST "%config(noreplace) ${file}")
endforeach()
# CPack takes each file with an absolute destination for configuration.
if(CORVANE_INSTALL_MANIFESTS)
  list(APPEND CPACK_RPM_USER_FILELIST "%attr(0644,root,root) ${CORVANE_SYSTEM_FOLDER_MOZILLA}/${CORVANE_NATIVE_MESSAGING_NAME}.json")
endif()
set(CPACK_RPM_SPEC_MORE_DEFINE "%define packager ${CORVANE_MAINTAINER}")
# Folders that Fedora's package "filesystem" has.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION /etc/opt)
foreach(folder libexec share/licenses share/man share/man/man1 share/bash-completion share/bash-completion/completions
    share/fish share/fish/vendor_completions.d share/zsh share/zsh/site-functions)
  list(APPEND CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION ${CMAKE_INSTALL_PREFIX}/${folder})
endforeach()
