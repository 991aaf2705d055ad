# What may be included where: a public header includes the library's own public headers and the C++
# standard library, nothing of an operating system or of another library; and nothing uses those parts of
# the standard library that lose wake-ups, or are absent, with the Windows tool chain.

set(violations)

function(check_includes allowed forbidden)
  foreach(file IN LISTS ARGN)
    file(STRINGS "${file}" lines REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS lines)
      if(NOT line MATCHES "${allowed}" OR line MATCHES "${forbidden}")
        string(STRIP "${line}" line)
        cmake_path(RELATIVE_PATH file BASE_DIRECTORY "${ROOT}" OUTPUT_VARIABLE name)
        list(APPEND violations "${name}: ${line}")
      endif()
    endforeach()
  endforeach()
  set(violations "${violations}" PARENT_SCOPE)
endfunction()

file(GLOB_RECURSE public_headers "${ROOT}/include/*.h")
check_includes("<QvPlatform/[A-Za-z0-9/]+\\.h>|<[a-z0-9_]+>" "^$" ${public_headers})

set(sources)
foreach(folder IN ITEMS include src examples tests bench fuzz)
  file(GLOB_RECURSE found "${ROOT}/${folder}/*.h" "${ROOT}/${folder}/*.cpp")
  list(APPEND sources ${found})
endforeach()
check_includes("." "<(barrier|format|latch|semaphore)>" ${sources})

if(violations)
  list(JOIN violations "\n  " text)
  message(FATAL_ERROR "Not to be included:\n  ${text}")
endif()
