# Installs the build BUILD of the tree TREE below SCRATCH and moves it. It holds exactly the public headers,
# which COMPILER takes each alone. No file names a folder that it came from, nor PREFIX, for which the build was
# configured.
cmake_minimum_required(VERSION 3.25)
set(prefix "${SCRATCH}/moved")
file(REMOVE_RECURSE "${SCRATCH}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${SCRATCH}/first" OUTPUT_QUIET
                COMMAND_ERROR_IS_FATAL ANY)
file(RENAME "${SCRATCH}/first" "${prefix}")

set(public "${TREE}/src/public/OxbowPoolManager")
file(GLOB_RECURSE wanted RELATIVE "${public}" "${public}/*.h")
list(SORT wanted)
set(include "${prefix}/include")
file(GLOB_RECURSE found LIST_DIRECTORIES false RELATIVE "${include}/OxbowPoolManager" "${include}/*")
list(SORT found)
if(NOT found STREQUAL wanted)
  message(FATAL_ERROR "installed: ${found}\nwanted: ${wanted}")
endif()

set(origins "${TREE}" "${BUILD}" "${SCRATCH}")
if(NOT PREFIX STREQUAL "/usr")  # which CMake itself names, and a compiler may
  list(APPEND origins "${PREFIX}")
endif()
string(REGEX REPLACE "([][+.*()^$?|\\])" "\\\\\\1" origins "${origins}")
list(JOIN origins "|" origins)
file(GLOB_RECURSE installed LIST_DIRECTORIES false "${prefix}/*")
foreach(file IN LISTS installed)
  if(NOT IS_SYMLINK "${file}")
    file(STRINGS "${file}" told REGEX "${origins}")
    if(told)
      message(FATAL_ERROR "${file} names a folder that it came from: ${told}")
    endif()
  endif()
endforeach()

# Each header is a source of its own for the compiler.
list(TRANSFORM found PREPEND "${include}/OxbowPoolManager/")
foreach(standard 17 20)
  execute_process(COMMAND "${COMPILER}" -std=c++${standard} -fsyntax-only -Wall -Wextra -Wpedantic
                          -Wconversion -Wshadow -Werror -I "${include}" -x c++ ${found}
                  COMMAND_ERROR_IS_FATAL ANY)
endforeach()
