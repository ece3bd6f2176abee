# What every target of the project shares: the language level, the warnings, the sanitizers.

add_library(ZRBuildFlags INTERFACE)
target_compile_features(ZRBuildFlags INTERFACE cxx_std_20)
target_compile_options(ZRBuildFlags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(ZR_SANITIZE)
  target_compile_options(ZRBuildFlags INTERFACE
    -fsanitize=${ZR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(ZRBuildFlags INTERFACE -fsanitize=${ZR_SANITIZE})
endif()

# zr_add_layer(NAME SOURCES ... [USES layer ...] [LINKS library ...])
#
# One folder of Classes/ as an object library. A layer sees the headers of the layers it uses and no others, so an
# include that points upwards does not compile.
function(zr_add_layer name)
  cmake_parse_arguments(layer "" "" "SOURCES;USES;LINKS" ${ARGN})
  add_library(${name} OBJECT ${layer_SOURCES})
  set_target_properties(${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>)
  target_link_libraries(${name}
    PUBLIC ${layer_USES}
    PRIVATE ZRBuildFlags ${layer_LINKS})
endfunction()

# zr_add_test(NAME SOURCES ... [LAYERS ...] [LINKS ...] [SERIAL])
#
# A GoogleTest program over the objects of the named layers (hidden symbols included); every case becomes a ctest
# test in a process of its own. SERIAL is for cases in which a product time-out of a second must not run out: they get
# the machine for themselves.
function(zr_add_test name)
  cmake_parse_arguments(test "SERIAL" "" "SOURCES;LAYERS;LINKS" ${ARGN})
  add_executable(${name} ${test_SOURCES})
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF)
  target_link_libraries(${name} PRIVATE ZRBuildFlags ${test_LAYERS} ${test_LINKS} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 RUN_SERIAL ${test_SERIAL})
endfunction()
