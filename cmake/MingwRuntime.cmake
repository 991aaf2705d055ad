# The library, its plugins and its users share one dynamic C++ runtime. Its three libraries, and the one that
# the thread pool runs on, are copied next to the programs, so that starting one needs no search path, and are
# installed with the library.

# Names and lines in call stacks: the debugging-help library reads DWARF up to version 4.
add_compile_options(-gdwarf-4)

set(QV_RUNTIME_DLLS)
foreach(name IN ITEMS libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(
    COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=${name}
    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT IS_ABSOLUTE "${path}")
    message(FATAL_ERROR "The compiler does not know where its ${name} is")
  endif()
  list(APPEND QV_RUNTIME_DLLS "${path}")
endforeach()
get_target_property(path TBB::tbb IMPORTED_LOCATION_RELWITHDEBINFO)
list(APPEND QV_RUNTIME_DLLS "${path}")
file(COPY ${QV_RUNTIME_DLLS} DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
