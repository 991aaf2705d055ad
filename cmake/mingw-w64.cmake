# Tool chain: 64-bit Windows from Linux, mingw-w64 with posix threads; programs run under Wine.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
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
