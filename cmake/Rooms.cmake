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
  target_link_libraries(test_${name} PRIVATE ${TEST_DEPS} sonmere_test_support sonmere_thread_rules ${TEST_LIBS} GTest::gtest_main)
  target_compile_definitions(test_${name} PRIVATE SONMERE_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  sonmere_precompile(test_${name})
  gtest_discover_tests(test_${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT 300 LABELS "${name}")
endfunction()

# sonmere_window_room(NAME folders...) makes the library of the window, which alone knows Qt.
function(sonmere_window_room name)
  set(sources)
  foreach(folder ${ARGN})
    file(GLOB found CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/src/${folder}/*.cpp ${CMAKE_SOURCE_DIR}/src/${folder}/*.h)
    list(APPEND sources ${found})
  endforeach()
  add_library(sonmere_${name} STATIC ${sources} ${CMAKE_SOURCE_DIR}/src/ui/icons.qrc ${CMAKE_SOURCE_DIR}/src/ui/guide.qrc)
  set_target_properties(sonmere_${name} PROPERTIES AUTOMOC ON AUTORCC ON)
  target_include_directories(sonmere_${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_compile_definitions(sonmere_${name} PUBLIC QT_NO_CAST_FROM_BYTEARRAY)
  target_link_libraries(sonmere_${name} PUBLIC sonmere_control sonmere_editor Qt6::Widgets Qt6::Network Qt6::Svg)
  target_precompile_headers(sonmere_${name} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/PrecompiledWindow.h)
  sonmere_translations(sonmere_${name})
endfunction()

# The texts in other languages and the plurals of English, as a resource; without the tools that make it the window speaks English.
function(sonmere_translations target)
  find_program(SONMERE_LRELEASE lrelease HINTS /usr/lib/qt6/bin)
  if(NOT SONMERE_LRELEASE)
    return()
  endif()
  set(folder ${CMAKE_BINARY_DIR}/translations)
  file(WRITE ${folder}/translations.qrc
       "<RCC><qresource prefix=\"/translations\"><file>sonmere_de.qm</file><file>sonmere_en.qm</file></qresource></RCC>\n")
  add_custom_command(
    OUTPUT ${folder}/translations.cpp
    COMMAND ${SONMERE_LRELEASE} -silent ${CMAKE_SOURCE_DIR}/src/ui/translations/sonmere_de.ts -qm ${folder}/sonmere_de.qm
    COMMAND ${SONMERE_LRELEASE} -silent ${CMAKE_SOURCE_DIR}/src/ui/translations/sonmere_en.ts -qm ${folder}/sonmere_en.qm
    COMMAND Qt6::rcc --name translations ${folder}/translations.qrc -o ${folder}/translations.cpp
    DEPENDS ${CMAKE_SOURCE_DIR}/src/ui/translations/sonmere_de.ts ${CMAKE_SOURCE_DIR}/src/ui/translations/sonmere_en.ts)
  target_sources(${target} PRIVATE ${folder}/translations.cpp)
  set_source_files_properties(${folder}/translations.cpp PROPERTIES SKIP_AUTOMOC ON SKIP_PRECOMPILE_HEADERS ON)
  # Public, for the precompiled header is shared with those that link it.
  target_compile_definitions(${target} PUBLIC SONMERE_HAS_TRANSLATIONS)
endfunction()
