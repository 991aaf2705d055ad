# qv_add_plugin(<name> SOURCES <file>... [OUTPUT_DIRECTORY <directory>])
#
# Adds a plugin: a module <name>.qvp that exports its entry points only, links Qv::Platform, and finds
# libraries that are next to it. It is built without unique symbols, so that closing it really unloads it.
function(qv_add_plugin name)
  cmake_parse_arguments(PARSE_ARGV 1 plugin "" "OUTPUT_DIRECTORY" "SOURCES")
  if(NOT plugin_SOURCES)
    message(FATAL_ERROR "qv_add_plugin(${name}): SOURCES is missing")
  endif()
  if(plugin_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "qv_add_plugin(${name}): unknown arguments: ${plugin_UNPARSED_ARGUMENTS}")
  endif()

  add_library(${name} MODULE ${plugin_SOURCES})
  target_link_libraries(${name} PRIVATE Qv::Platform)
  target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
  set_target_properties(${name} PROPERTIES
    PREFIX ""
    SUFFIX .qvp
    NO_SONAME ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    BUILD_RPATH "$ORIGIN"
    INSTALL_RPATH "$ORIGIN")
  if(plugin_OUTPUT_DIRECTORY)
    set_target_properties(${name} PROPERTIES LIBRARY_OUTPUT_DIRECTORY "${plugin_OUTPUT_DIRECTORY}")
  endif()
endfunction()
