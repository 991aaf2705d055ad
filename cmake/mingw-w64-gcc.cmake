# Tool chain: 64-bit Windows from Linux by GCC. Its debugging information is DWARF, which debuggers of Windows do not read.

include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake")
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
