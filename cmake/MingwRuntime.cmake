# The library, its plugins and its users share one dynamic C++ runtime. Its libraries, and the one that the thread pool
# runs on, are installed with the library. In a cross build they are copied next to the programs, so that starting one
# needs no search path; on Windows itself the shell's search path has them.

# Names and lines in call stacks: under Wine the debugging-help library reads DWARF up to version 4.
add_compile_options($<$<CXX_COMPILER_ID:GNU>:-gdwarf-4>)

set(QV_RUNTIME_DLLS)
if(CMAKE_CROSSCOMPILING)
  foreach(name IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    find_file(path ${name} PATHS ${QV_RUNTIME_FOLDERS} REQUIRED NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    list(APPEND QV_RUNTIME_DLLS "${path}")
    unset(path)
  endforeach()
  get_target_property(path TBB::tbb IMPORTED_LOCATION_RELWITHDEBINFO)
  list(APPEND QV_RUNTIME_DLLS "${path}")
  file(COPY ${QV_RUNTIME_DLLS} DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
else()
  # Next to the compiler; which of them there are depends on its standard library.
  cmake_path(GET CMAKE_CXX_COMPILER PARENT_PATH folder)
  foreach(name IN ITEMS libstdc++-6 libgcc_s_seh-1 libwinpthread-1 libc++ libunwind)
    if(EXISTS "${folder}/${name}.dll")
      list(APPEND QV_RUNTIME_DLLS "${folder}/${name}.dll")
    endif()
  endforeach()
  list(APPEND QV_RUNTIME_DLLS $<TARGET_FILE:TBB::tbb>)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    add_compile_options(-gcodeview)
    add_link_options("LINKER:--pdb=,-Xlink=-pdbaltpath:%_PDB%,-Xlink=-Brepro")
  endif()
endif()
