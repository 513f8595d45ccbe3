# How browsers find the host: the options, the manifests as built here and as installed, and what corvane-nmctl is
# compiled with. All of it comes from packaging/native-messaging/browsers.json and the two templates beside it.
include(GNUInstallDirs)

set(native_messaging_sources ${CMAKE_CURRENT_SOURCE_DIR}/packaging/native-messaging)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${native_messaging_sources}/browsers.json)
file(READ ${native_messaging_sources}/browsers.json CORVANE_BROWSERS_JSON)
if(APPLE)
  set(CORVANE_BROWSERS_SYSTEM macos)
else()
  set(CORVANE_BROWSERS_SYSTEM linux)
endif()

# The host stays here through all updates: manifests name this path.
set(CORVANE_HOST_FOLDER ${CMAKE_INSTALL_LIBEXECDIR}/corvane-nm)
set(CORVANE_INSTALLED_HOST ${CMAKE_INSTALL_FULL_LIBEXECDIR}/corvane-nm/corvane-nm)

# json_list(OUT JSON…): the array at that place as a list; empty when it is missing.
function(json_list out)
  set(items)
  string(JSON count ERROR_VARIABLE missing LENGTH ${ARGN})
  if(NOT missing AND count GREATER 0)
    math(EXPR last "${count} - 1")
    foreach(i RANGE ${last})
      string(JSON item GET ${ARGN} ${i})
      list(APPEND items "${item}")
    endforeach()
  endif()
  set(${out} "${items}" PARENT_SCOPE)
endfunction()

# quoted_list(OUT PREFIX SUFFIX ITEM…): as the elements of a JSON array of texts.
function(quoted_list out prefix suffix)
  list(TRANSFORM ARGN REPLACE "(.+)" "\"${prefix}\\1${suffix}\"")
  list(JOIN ARGN ", " text)
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

quoted_list(CORVANE_CHROMIUM_ORIGINS "chrome-extension://" "/" ${CORVANE_CHROMIUM_EXTENSION_ID})
quoted_list(CORVANE_FIREFOX_EXTENSIONS "" "" ${CORVANE_FIREFOX_EXTENSION_ID})

# manifest(FORMAT PATH FILE): the manifest of that format, for the host at PATH.
function(manifest format path file)
  set(CORVANE_MANIFEST_PATH "${path}")
  configure_file(${native_messaging_sources}/${format}.json.in ${file} @ONLY)
endfunction()

# For browsers to find the host as it was built here.
manifest(chromium ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/corvane-nm
  ${CMAKE_BINARY_DIR}/native-messaging/${CORVANE_NATIVE_MESSAGING_NAME}.json)
manifest(firefox ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/corvane-nm
  ${CMAKE_BINARY_DIR}/native-messaging/firefox/${CORVANE_NATIVE_MESSAGING_NAME}.json)

foreach(format chromium firefox)
  set(installed_${format} ${CMAKE_BINARY_DIR}/native-messaging/installed/${format}/${CORVANE_NATIVE_MESSAGING_NAME}.json)
  manifest(${format} ${CORVANE_INSTALLED_HOST} ${installed_${format}})
endforeach()

# install_manifest(FILE FOLDER): unless the installation goes to another prefix than the build was configured for, where the
# manifest would name a host that is not there, outside that prefix.
function(install_manifest file folder)
  install(CODE "
if(\"\${CMAKE_INSTALL_PREFIX}\" STREQUAL \"${CMAKE_INSTALL_PREFIX}\")
  list(APPEND CMAKE_ABSOLUTE_DESTINATION_FILES \"${folder}/${CORVANE_NATIVE_MESSAGING_NAME}.json\")
  file(INSTALL DESTINATION \"${folder}\" TYPE FILE FILES \"${file}\")
else()
  message(STATUS \"Left out, as --prefix is not ${CMAKE_INSTALL_PREFIX}: ${folder}/${CORVANE_NATIVE_MESSAGING_NAME}.json\")
endif()")
endfunction()

option(CORVANE_INSTALL_MANIFESTS "Install manifests into the system folders of the browsers" ON)
set(CORVANE_INSTALLED_CONFIGURATION)  # the manifests below /etc, with full paths
string(JSON count LENGTH "${CORVANE_BROWSERS_JSON}" systemFolders)
math(EXPR last "${count} - 1")
foreach(i RANGE ${last})
  string(JSON key GET "${CORVANE_BROWSERS_JSON}" systemFolders ${i} key)
  string(JSON format GET "${CORVANE_BROWSERS_JSON}" systemFolders ${i} format)
  string(JSON installed GET "${CORVANE_BROWSERS_JSON}" systemFolders ${i} installed)
  string(JSON folder GET "${CORVANE_BROWSERS_JSON}" systemFolders ${i} ${CORVANE_BROWSERS_SYSTEM})
  string(TOUPPER ${key} name)
  set(CORVANE_SYSTEM_FOLDER_${name} "${folder}" CACHE STRING
    "Where browsers of the kind \"${key}\" look for manifests of all users; empty: nowhere")
  set(folder "${CORVANE_SYSTEM_FOLDER_${name}}")
  if(CORVANE_INSTALL_MANIFESTS AND installed AND folder)
    install_manifest(${installed_${format}} ${folder})
    if(folder MATCHES "^/etc/")
      list(APPEND CORVANE_INSTALLED_CONFIGURATION ${folder}/${CORVANE_NATIVE_MESSAGING_NAME}.json)
    endif()
  endif()
endforeach()
