# kv_room(NAME HEADERS ... SOURCES ... [USES ...] [HIDES ...])
#
# Declares the current folder as one room: a static library `kv_NAME` with the alias
# `Kelvorin::NAME`. USES may be seen in the room's headers, HIDES only in its .cpp files.
# Both are checked against the plan in layers.cmake.
include(${CMAKE_CURRENT_LIST_DIR}/layers.cmake)

add_library(kv_flags INTERFACE)
target_include_directories(kv_flags INTERFACE "${CMAKE_SOURCE_DIR}")
target_compile_options(kv_flags INTERFACE
  "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=."
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wold-style-cast
  $<$<BOOL:${KELVORIN_WERROR}>:-Werror>
  # g++ 12 warns falsely about "text" + std::string in optimized builds (its bug 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
if(KELVORIN_CHECKED)
  target_compile_options(kv_flags INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer
    -g1)  # lines for the reports; whole debug information costs an eighth of the time
  target_link_options(kv_flags INTERFACE -fsanitize=address,undefined)
  target_compile_definitions(kv_flags INTERFACE _GLIBCXX_ASSERTIONS KELVORIN_CHECKED=1)
endif()
if(KELVORIN_FUZZERS)
  target_compile_options(kv_flags INTERFACE
    -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=undefined)
  target_link_options(kv_flags INTERFACE -fsanitize=address,undefined)
  target_compile_definitions(kv_flags INTERFACE _GLIBCXX_ASSERTIONS KELVORIN_CHECKED=1)
endif()
find_program(KELVORIN_MOLD mold)
find_program(KELVORIN_LLD ld.lld)
if(KELVORIN_MOLD)
  target_link_options(kv_flags INTERFACE -fuse-ld=mold)
elseif(KELVORIN_LLD)
  target_link_options(kv_flags INTERFACE -fuse-ld=lld)
endif()
find_program(KELVORIN_CCACHE ccache)
if(KELVORIN_CCACHE)
  # Objects name files from the repository's root, so that a clone in another folder shares them.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      "${CMAKE_COMMAND}" -E env "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" CCACHE_NOHASHDIR=1
      "${KELVORIN_CCACHE}")
endif()

function(kv_room name)
  cmake_parse_arguments(ROOM "" "" "HEADERS;SOURCES;USES;HIDES" ${ARGN})
  file(RELATIVE_PATH folder "${CMAKE_SOURCE_DIR}" "${CMAKE_CURRENT_SOURCE_DIR}")
  string(REPLACE "/" "_" folder_key "${folder}")
  foreach(used IN LISTS ROOM_USES ROOM_HIDES)
    get_target_property(target ${used} ALIASED_TARGET)
    if(target)
      get_target_property(used_folder ${target} KELVORIN_FOLDER)
      if(NOT used_folder IN_LIST KELVORIN_LAYERS_${folder_key})
        message(FATAL_ERROR "${folder} may not use ${used_folder}: see cmake/layers.cmake")
      endif()
    endif()
  endforeach()

  add_library(kv_${name} STATIC ${ROOM_SOURCES})
  add_library(Kelvorin::${name} ALIAS kv_${name})
  set_property(GLOBAL APPEND PROPERTY KELVORIN_ROOMS ${name})
  set_target_properties(kv_${name} PROPERTIES
    KELVORIN_FOLDER "${folder}"
    POSITION_INDEPENDENT_CODE ON)
  # A header that is the first that its source includes is known to stand alone; the others are compiled.
  set(lone_headers ${ROOM_HEADERS})
  foreach(header IN LISTS ROOM_HEADERS)
    string(REGEX REPLACE "\\.h$" ".cpp" source "${CMAKE_CURRENT_SOURCE_DIR}/${header}")
    if(EXISTS "${source}")
      file(STRINGS "${source}" first LIMIT_COUNT 1 REGEX "^#include ")
      if(first STREQUAL "#include \"${folder}/${header}\"")
        list(REMOVE_ITEM lone_headers "${header}")
      endif()
    endif()
  endforeach()
  list(REMOVE_ITEM ROOM_HEADERS ${lone_headers})
  target_sources(kv_${name} PUBLIC
    FILE_SET HEADERS BASE_DIRS "${CMAKE_SOURCE_DIR}" FILES ${ROOM_HEADERS}
    FILE_SET lone_headers TYPE HEADERS BASE_DIRS "${CMAKE_SOURCE_DIR}" FILES ${lone_headers})
  if(lone_headers)
    set_target_properties(kv_${name} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON
                          INTERFACE_HEADER_SETS_TO_VERIFY lone_headers)
  endif()
  target_link_libraries(kv_${name} PUBLIC kv_flags ${ROOM_USES} PRIVATE ${ROOM_HIDES})
  if(KELVORIN_CHECKED)
    target_compile_options(kv_${name} PRIVATE -O1)  # tests themselves stay at -O0
  endif()
endfunction()

# kv_test(NAME SOURCES ... USES ...)
#
# One doctest binary `NAME_test`, run from the repository's root. Test cases may read sample files
# through KELVORIN_SAMPLES and find their own folder with TempFolder (tests/support).
function(kv_test name)
  cmake_parse_arguments(TEST "" "" "SOURCES;USES" ${ARGN})
  add_executable(${name}_test ${TEST_SOURCES})
  target_link_libraries(${name}_test PRIVATE kv_test_main ${TEST_USES})
  add_test(NAME ${name} COMMAND ${name}_test --no-version WORKING_DIRECTORY "${CMAKE_SOURCE_DIR}")
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
