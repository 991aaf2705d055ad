# Boost::headers: the system's. For a foreign target they are reached through a folder that holds nothing else,
# because the system's other headers are not that target's.
if(CMAKE_CROSSCOMPILING)
  set(boost_folder "${CMAKE_BINARY_DIR}/boost-headers")
  file(MAKE_DIRECTORY "${boost_folder}")
  file(CREATE_LINK /usr/include/boost "${boost_folder}/boost" SYMBOLIC)
  add_library(Boost::headers INTERFACE IMPORTED)
  set_target_properties(Boost::headers PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${boost_folder}")
else()
  find_package(Boost REQUIRED)
endif()
