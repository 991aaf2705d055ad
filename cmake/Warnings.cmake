# Warnings of every target of this project; the presets make errors of them.

add_compile_options(
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-align -Wcast-qual
  -Wformat=2 -Wno-format-nonliteral -Wundef)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wduplicated-branches -Wduplicated-cond -Wlogical-op -Wsuggest-override)
endif()
