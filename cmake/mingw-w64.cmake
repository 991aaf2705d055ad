# What the tool chains for 64-bit Windows share: built on Linux by the headers and libraries of mingw-w64 with posix
# threads, and run under Wine. Included by mingw-w64-clang.cmake and mingw-w64-gcc.cmake.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# tools/build-onetbb-windows leaves this link to what it built.
if(DEFINED ENV{QV_CACHE})
  set(cache "$ENV{QV_CACHE}")
elseif(DEFINED ENV{XDG_CACHE_HOME})
  set(cache "$ENV{XDG_CACHE_HOME}")
else()
  set(cache "$ENV{HOME}/.cache")
endif()
list(APPEND CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 "${cache}/qvplatform/onetbb-windows")
unset(cache)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../tools/wine-run")

# The folder of GCC's libraries and headers, whose C++ runtime both compilers use.
execute_process(
  COMMAND x86_64-w64-mingw32-g++-posix -print-libgcc-file-name
  OUTPUT_VARIABLE QV_GCC_FOLDER OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET QV_GCC_FOLDER PARENT_PATH QV_GCC_FOLDER)
set(QV_RUNTIME_FOLDERS "${QV_GCC_FOLDER}" /usr/x86_64-w64-mingw32/lib)
