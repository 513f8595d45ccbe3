# Warnings, hardening and sanitizers, the same for every target of the project.
# Link `corvane_options` privately; third-party code compiled here does not.
include(CheckPIESupported)
check_pie_supported()

add_library(corvane_options INTERFACE)
target_compile_options(corvane_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> -Werror)
if(APPLE)
  target_compile_options(corvane_options INTERFACE -Wunguarded-availability-new -Wnullable-to-nonnull-conversion)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 sees overlaps in the library's own operator+ for strings that can't happen (its bug 105651).
  target_compile_options(corvane_options INTERFACE -Wno-restrict)
  if(CMAKE_UNITY_BUILD)
    # GCC takes a source that another includes for a header, which must not use an anonymous namespace.
    target_compile_options(corvane_options INTERFACE -Wno-subobject-linkage)
  endif()
endif()
target_include_directories(corvane_options INTERFACE ${PROJECT_SOURCE_DIR})

if(NOT APPLE)
  # Everything is linked into executables only. CMake's -fPIC for libraries keeps the compiler from inlining a function
  # that a shared library might replace, which cost 4 to 10 % of the instructions of reading and writing archives.
  add_compile_options(-fPIE)
endif()

if(CORVANE_SANITIZE)
  add_compile_options(-fsanitize=${CORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CORVANE_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Between the sanitizers' own instructions GCC no longer sees what has been initialised.
    target_compile_options(corvane_options INTERFACE -Wno-maybe-uninitialized)
  endif()
else()
  # Position independent, read-only relocations, guarded stacks and library calls, no executable stack.
  add_compile_options(-fstack-protector-strong)
  if(NOT APPLE)
    add_compile_options($<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
    # So that the linker can leave out each function that a program does not use.
    add_compile_options($<$<CONFIG:Release>:-ffunction-sections$<SEMICOLON>-fdata-sections>)
    add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
  endif()
endif()
