# qv_lint(<target>): the linter reads the target's sources while they are compiled, when QV_LINT is on.
# Its checks stand in .clang-tidy; every finding is an error.
function(qv_lint target)
  if(QV_LINT)
    find_program(CLANG_TIDY_PROGRAM clang-tidy REQUIRED)
    set_target_properties(${target} PROPERTIES CXX_CLANG_TIDY "${CLANG_TIDY_PROGRAM};--quiet")
  endif()
endfunction()
