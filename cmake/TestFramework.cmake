# GoogleTest: the system's library, or for a foreign target built here from the system's sources.
# Included before Warnings, so that those sources are compiled without our warnings.

if(CMAKE_CROSSCOMPILING)
  set(QV_GOOGLETEST_SOURCES /usr/src/googletest CACHE PATH "GoogleTest's sources, built when cross-compiling")
  set(BUILD_GMOCK OFF CACHE INTERNAL "")
  set(INSTALL_GTEST OFF CACHE INTERNAL "")
  add_subdirectory("${QV_GOOGLETEST_SOURCES}" googletest EXCLUDE_FROM_ALL SYSTEM)
else()
  find_package(GTest REQUIRED)
endif()
include(GoogleTest)
