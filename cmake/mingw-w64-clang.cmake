# Tool chain: 64-bit Windows from Linux by Clang and LLD, with GCC's C++ runtime. The linker writes the debugging
# information of each program and library into a PDB file next to it.

include("${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake")
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
foreach(language IN ITEMS C CXX)
  set(CMAKE_${language}_COMPILER_TARGET x86_64-w64-mingw32)
  # Without a root of its own the compiler finds headers of this system.
  set(CMAKE_${language}_FLAGS_INIT "--sysroot=/usr/x86_64-w64-mingw32 -gcodeview")
endforeach()

set(headers "${QV_GCC_FOLDER}/include/c++")
string(APPEND CMAKE_CXX_FLAGS_INIT
  " -nostdinc++ -isystem ${headers} -isystem ${headers}/x86_64-w64-mingw32 -isystem ${headers}/backward")
unset(headers)
# The runtime has thread-local variables that GCC emulates. Clang 14 refers to such a variable in its debugging
# information by a name that does not exist, and no debugger could show it.
string(APPEND CMAKE_CXX_FLAGS_INIT " -femulated-tls \"-Dthread_local=__attribute__((nodebug))thread_local\"")

# The file names its PDB without a folder, and the time in its header is a hash of its content.
foreach(kind IN ITEMS EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
    "-Qunused-arguments -fuse-ld=lld -L${QV_GCC_FOLDER} -lpthread -Wl,--pdb=,-Xlink=-pdbaltpath:%_PDB%,-Xlink=-Brepro")
endforeach()
