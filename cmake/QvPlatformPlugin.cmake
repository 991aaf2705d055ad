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

# qv_add_manifest(<program>)
#
# Gives a host program for Windows a manifest: narrow text of the system's calls and the command line is UTF-8, and
# paths, those of plugins too, may be longer than 260 characters where the system permits it. Nothing elsewhere.
function(qv_add_manifest program)
  if(WIN32)
    set(script "${CMAKE_CURRENT_BINARY_DIR}/${program}.manifest.rc")
    file(CONFIGURE OUTPUT "${script}"
      CONTENT "1 24 \"${CMAKE_CURRENT_FUNCTION_LIST_DIR}/QvPlatform.manifest\"\n")
    qv_add_resource(${program} "${script}")
  endif()
endfunction()

# Compiles a resource script and links it. Not as a source of the target, whose compile options are another compiler's.
function(qv_add_resource target script)
  add_custom_command(OUTPUT "${script}.obj" DEPENDS "${script}"
    COMMAND "${CMAKE_RC_COMPILER}" -O coff "${script}" "${script}.obj")
  set_source_files_properties("${script}.obj" PROPERTIES EXTERNAL_OBJECT ON)
  target_sources(${target} PRIVATE "${script}.obj")
endfunction()
