# qv_precompile(<target> [REUSE_FROM <other>] [<header>...])
#
# Precompiles headers for a target in a form that ccache can store.
function(qv_precompile target)
  cmake_parse_arguments(PARSE_ARGV 1 reuse "" "REUSE_FROM" "")
  if(reuse_REUSE_FROM)
    target_precompile_headers(${target} REUSE_FROM ${reuse_REUSE_FROM})
  else()
    target_precompile_headers(${target} PRIVATE ${reuse_UNPARSED_ARGUMENTS})
  endif()
  target_compile_options(${target} PRIVATE
    $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>
    "$<$<CXX_COMPILER_ID:Clang>:SHELL:-Xclang -fno-pch-timestamp>")
endfunction()
