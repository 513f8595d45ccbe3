# Writes the files of a new extension as C++ (see NewExtension.cpp): the starter, and the client module beside it.
set(extension_folder ${PROJECT_SOURCE_DIR}/packaging/extension)
file(GLOB client_files CONFIGURE_DEPENDS ${extension_folder}/client/*.js ${extension_folder}/client/*.d.ts)
list(FILTER client_files EXCLUDE REGEX "/testing\\.")  # for authors' tests, which use the package
file(GLOB starter_files CONFIGURE_DEPENDS ${extension_folder}/starter/*)
set(extension_files)
foreach(path ${starter_files} ${client_files})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
  file(READ ${path} text)
  file(RELATIVE_PATH name ${extension_folder} ${path})
  string(REGEX REPLACE "^starter/" "" name "${name}")
  string(APPEND extension_files "    {\"${name}\", R\"file(${text})file\"},\n")
endforeach()
