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
if(TRELVIK_HARDEN)
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong)
  add_link_options(-Wl,-z,relro,-z,now)
  # What is shipped has the same bytes wherever it was built, and names no directory of the builder's. A compiler cache
  # may have made the paths relative.
  file(RELATIVE_PATH to_source ${CMAKE_BINARY_DIR} ${CMAKE_SOURCE_DIR})
  string(REGEX REPLACE "/$" "" to_source "${to_source}")
  add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${to_source}=.
    -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)
endif()
if(TRELVIK_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

# Compiles the target's files some at a time, where TRELVIK_JOIN_FILES asks for it. SHIPPED: not tests; Clang's build
# leaves these alone, as the linter reads it and wants each file by itself.
function(trelvik_join_files target)
  cmake_parse_arguments(join "SHIPPED" "" "" ${ARGN})
  if(join_SHIPPED AND (NOT TRELVIK_JOIN_FILES STREQUAL "ON" OR CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
    return()
  endif()
  if(TRELVIK_JOIN_FILES STREQUAL "OFF")
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 12)
  # What is a name in one file may be a parameter in the next.
  target_compile_options(${target} PRIVATE -Wno-shadow)
endfunction()
