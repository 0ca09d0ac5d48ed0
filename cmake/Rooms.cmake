# sonmere_room(NAME folder DEPS rooms... LIBS libraries...) makes the static library sonmere_NAME of the
# sources of one folder. A room links only rooms below it; scripts/check-includes holds the sources to that.
function(sonmere_room name folder)
  cmake_parse_arguments(ROOM "" "" "DEPS;LIBS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/${folder}/*.cpp)
  if(NOT sources)
    add_library(sonmere_${name} INTERFACE)
    return()
  endif()
  add_library(sonmere_${name} STATIC ${sources})
  target_include_directories(sonmere_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  list(TRANSFORM ROOM_DEPS PREPEND sonmere_)
  target_link_libraries(sonmere_${name} PUBLIC ${ROOM_DEPS} PRIVATE ${ROOM_LIBS})
  sonmere_precompile(sonmere_${name})
endfunction()

# One header is compiled once, for a target without libraries of its own, and reused by all others.
if(NOT EXISTS ${CMAKE_BINARY_DIR}/precompiled.cpp)
  file(WRITE ${CMAKE_BINARY_DIR}/precompiled.cpp "")
endif()
add_library(sonmere_precompiled OBJECT ${CMAKE_BINARY_DIR}/precompiled.cpp)
target_precompile_headers(sonmere_precompiled PRIVATE ${CMAKE_SOURCE_DIR}/cmake/Precompiled.h)

function(sonmere_precompile target)
  target_precompile_headers(${target} REUSE_FROM sonmere_precompiled)
endfunction()

# sonmere_test(NAME DEPS rooms... LIBS libraries...) makes the test program test_NAME of tests/NAME/*.cpp.
function(sonmere_test name)
  cmake_parse_arguments(TEST "" "" "DEPS;LIBS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(test_${name} ${sources})
  list(TRANSFORM TEST_DEPS PREPEND sonmere_)
  target_link_libraries(test_${name} PRIVATE ${TEST_DEPS} sonmere_test_support ${TEST_LIBS} GTest::gtest_main)
  target_compile_definitions(test_${name} PRIVATE SONMERE_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  sonmere_precompile(test_${name})
  gtest_discover_tests(test_${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 300 LABELS "${name}")
endfunction()
