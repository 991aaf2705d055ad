# What holds for every target of this project: language, output folders, compiler cache, platform.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(THREADS_PREFER_PTHREAD_FLAG ON)
set(CMAKE_UNITY_BUILD_BATCH_SIZE 12)
find_package(Threads REQUIRED)
find_package(TBB REQUIRED)
include(BoostHeaders)

# Programs and libraries side by side: on Windows a program finds its libraries there, and on Linux
# $ORIGIN lets the folder be moved.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

find_program(CCACHE_PROGRAM ccache)
mark_as_advanced(CCACHE_PROGRAM)
if(CCACHE_PROGRAM AND NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  # Else it keeps away from precompiled headers.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_ctime,include_file_mtime
    "${CCACHE_PROGRAM}")
  set(CMAKE_C_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

# The linter reads what is compiled; its checks stand in .clang-tidy, and every finding is an error.
if(QV_LINT)
  find_program(CLANG_TIDY_PROGRAM clang-tidy REQUIRED)
  mark_as_advanced(CLANG_TIDY_PROGRAM)
  set(CMAKE_CXX_CLANG_TIDY "${CLANG_TIDY_PROGRAM}" --quiet)
  set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)  # it would read the headers of all files with each
endif()

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

if(MINGW)
  include(MingwRuntime)
endif()
