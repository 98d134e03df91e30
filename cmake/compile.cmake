# Flags that every target of the tree is built with.
add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
if(TRELVIK_WERROR)
  add_compile_options(-Werror)
endif()
add_compile_definitions(_GNU_SOURCE)

# The sanitizers' flags are kept in a variable of their own: what is preloaded into other programs must be
# built without them.
set(TRELVIK_SANITIZE_FLAGS)
if(TRELVIK_SANITIZE)
  set(TRELVIK_SANITIZE_FLAGS -fsanitize=${TRELVIK_SANITIZE} -fno-omit-frame-pointer -O1)
  if(TRELVIK_SANITIZE MATCHES undefined)
    list(APPEND TRELVIK_SANITIZE_FLAGS -fno-sanitize-recover=undefined)
  endif()
  add_compile_options(${TRELVIK_SANITIZE_FLAGS})
  add_link_options(${TRELVIK_SANITIZE_FLAGS})
endif()
if(TRELVIK_FUZZ AND NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
  message(FATAL_ERROR "TRELVIK_FUZZ is for Clang, whose part libFuzzer is: add -DCMAKE_CXX_COMPILER=clang++")
endif()
if(TRELVIK_HARDEN)
  if(TRELVIK_SANITIZE OR TRELVIK_COVERAGE)
    message(FATAL_ERROR "TRELVIK_HARDEN is for what is shipped: build sanitizers and coverage counters without it")
  endif()
  # tests/e2e/test_program_flags.py holds the programs to these. Many compilers have some of them without being asked.
  add_compile_options(-fstack-protector-strong -fstack-clash-protection
    $<$<NOT:$<STREQUAL:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY>>:-fPIE>)
  add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack,-z,text
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>)
  # The C library checks nothing in what is not optimised, and warns. GCC knows level 3 from 12 on.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12)
    set(fortify_level 2)
  else()
    set(fortify_level 3)
  endif()
  set(TRELVIK_FORTIFY_FLAG $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=${fortify_level}>)
  add_compile_options(-U_FORTIFY_SOURCE ${TRELVIK_FORTIFY_FLAG})
  # What is shipped has the same bytes wherever it was built, and names no directory of the builder's. A compiler cache
  # may have made the paths relative.
  file(RELATIVE_PATH to_source ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
  string(REGEX REPLACE "/$" "" to_source "${to_source}")
  add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${to_source}=.
    -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
endif()
# The directories that are measured take these, and the unit tests: the linker may keep their copy of an inline function.
set(TRELVIK_COVERAGE_FLAGS)
if(TRELVIK_COVERAGE)
  # Threads count the same line.
  set(TRELVIK_COVERAGE_FLAGS --coverage -fprofile-update=atomic)
  add_link_options(--coverage)
endif()

# A program that may end with _exit() counts all the same.
function(trelvik_count_at_exit target)
  if(TRELVIK_COVERAGE)
    target_sources(${target} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/exitWithCounters.cpp)
    target_link_options(${target} PRIVATE -Wl,--wrap=_exit)
  endif()
endfunction()

# Compiles the target's files some at a time, where TRELVIK_JOIN_FILES asks for it. SHIPPED: not tests. FOLDERS: those of
# a folder, in which no name is defined twice, and no others. What asan joins, the linter reads in one go as well.
function(trelvik_join_files target)
  cmake_parse_arguments(join "SHIPPED;FOLDERS" "" "" ${ARGN})
  if(join_SHIPPED AND NOT TRELVIK_JOIN_FILES STREQUAL "ON")
    return()
  endif()
  # What is measured is counted file by file.
  if(join_FOLDERS AND TRELVIK_COVERAGE)
    return()
  endif()
  if(TRELVIK_JOIN_FILES STREQUAL "OFF")
    return()
  endif()
  # What is a name in one file may be a local variable in the next; preset release looks at each file by itself.
  target_compile_options(${target} PRIVATE -Wno-shadow)
  if(join_FOLDERS)
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    get_target_property(sources ${target} SOURCES)
    foreach(source ${sources})
      cmake_path(GET source PARENT_PATH folder)
      cmake_path(GET folder FILENAME folder)
      set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${folder})
    endforeach()
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE BATCH UNITY_BUILD_BATCH_SIZE 12)
endfunction()

# The target's code guides libFuzzer, where there are fuzz targets.
function(trelvik_guide_fuzzing target)
  if(TRELVIK_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()
