# Run by cpack once the packages are there. Repacks the one with the debug symbols: CPack's has md5sums with paths of the
# build, executable files, and no copyright.
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET)
endfunction()

set(root ${CPACK_TOPLEVEL_DIRECTORY}/dbgsym)
foreach(package ${CPACK_PACKAGE_FILES})
  if(NOT package MATCHES "\\.ddeb$")
    continue()
  endif()
  file(REMOVE_RECURSE ${root})
  run(dpkg-deb --raw-extract ${package} ${root})
  file(READ ${root}/DEBIAN/md5sums sums)
  string(REGEX REPLACE "  [^\n]*/(usr/lib/debug/)" "  \\1" sums "${sums}")
  file(WRITE ${root}/DEBIAN/md5sums "${sums}")
  file(MAKE_DIRECTORY ${root}/usr/share/doc)
  file(CHMOD_RECURSE ${root}/usr FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
    DIRECTORY_PERMISSIONS ${CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
  file(CREATE_LINK ${CPACK_PACKAGE_NAME} ${root}/usr/share/doc/${CPACK_PACKAGE_NAME}-dbgsym SYMBOLIC)
  run(dpkg-deb --root-owner-group --build ${root} ${package})
endforeach()
