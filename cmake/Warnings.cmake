# Warnings of every target of this project; the presets make errors of them.

add_compile_options(
  -Wall -Wextra -Wpedantic -Wconversion
  -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-align -Wcast-qual
  -Wformat=2 -Wno-format-nonliteral -Wundef)

# Where files are compiled together, they see each other's names, and none is the main one.
if(NOT QV_UNITY)
  add_compile_options(-Wshadow)
elseif(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-subobject-linkage)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wduplicated-branches -Wduplicated-cond -Wlogical-op -Wsuggest-override)
endif()
