# CLI11::CLI11 and nlohmann_json::nlohmann_json, which consist of headers: the system's. For a foreign target they
# are reached through a folder that holds nothing else, because the system's other headers are not that target's.
function(qv_add_header_library name folder)
  set(links "${CMAKE_BINARY_DIR}/tool-headers")
  file(MAKE_DIRECTORY "${links}")
  file(CREATE_LINK "/usr/include/${folder}" "${links}/${folder}" SYMBOLIC)
  add_library(${name} INTERFACE IMPORTED GLOBAL)
  set_target_properties(${name} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${links}")
endfunction()

if(CMAKE_CROSSCOMPILING)
  qv_add_header_library(CLI11::CLI11 CLI)
  qv_add_header_library(nlohmann_json::nlohmann_json nlohmann)
else()
  find_package(CLI11 REQUIRED)
  find_package(nlohmann_json REQUIRED)
endif()
