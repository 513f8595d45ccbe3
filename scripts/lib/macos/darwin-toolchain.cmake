# Configures the project's own Apple branch on Debian: cmake --toolchain THIS
#   -DDARWIN_ZIG=PROGRAM -DDARWIN_ARCH=aarch64|x86_64 -DDARWIN_LIBCXX=LIST_OF_ITS_SYMBOLS
# For checking only. The product is built on a Mac, with Apple's SDK and without this file.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR ${DARWIN_ARCH})
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES DARWIN_ZIG DARWIN_ARCH DARWIN_LIBCXX)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_OSX_SYSROOT "/" CACHE PATH "")
set(CMAKE_OSX_ARCHITECTURES "" CACHE STRING "")
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "")
set(CMAKE_C_COMPILER ${DARWIN_ZIG} cc)
foreach(language C CXX OBJCXX)
  if(NOT language STREQUAL C)
    set(CMAKE_${language}_COMPILER ${DARWIN_ZIG} c++)
  endif()
  # Said here, because to find it out CMake would link a program, and zig first build its whole C++ library.
  set(CMAKE_${language}_COMPILER_ID_RUN TRUE)
  set(CMAKE_${language}_COMPILER_ID Clang)
  set(CMAKE_${language}_COMPILER_FRONTEND_VARIANT GNU)
  set(CMAKE_${language}_COMPILER_VERSION 17.0.3)
  set(CMAKE_${language}_STANDARD_COMPUTED_DEFAULT 17)
  set(CMAKE_${language}_FLAGS_INIT
      "-target ${DARWIN_ARCH}-macos.12.0 -isystem \"${CMAKE_CURRENT_LIST_DIR}/include\" -Wno-unused-command-line-argument -g0 -fno-sanitize=undefined")
endforeach()
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-F\"${CMAKE_CURRENT_LIST_DIR}/tbd\" -L\"${CMAKE_CURRENT_LIST_DIR}/tbd\" -lobjc -nostdlib++ \"${DARWIN_LIBCXX}\"")
foreach(tool AR RANLIB NM STRIP OBJDUMP)
  string(TOLOWER ${tool} lower)
  set(CMAKE_${tool} /usr/bin/llvm-${lower}-19)
endforeach()
set(CMAKE_INSTALL_NAME_TOOL /usr/bin/llvm-install-name-tool-19)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
