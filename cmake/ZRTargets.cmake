# What every target of the project shares: the language level, the warnings, the sanitizers.

add_library(ZRBuildFlags INTERFACE)
target_compile_features(ZRBuildFlags INTERFACE cxx_std_20)
target_compile_options(ZRBuildFlags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(ZR_SANITIZE)
  target_compile_options(ZRBuildFlags INTERFACE
    -fsanitize=${ZR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(ZRBuildFlags INTERFACE -fsanitize=${ZR_SANITIZE})
endif()

# zr_add_public_headers(FILE ...)
#
# Headers of the current folder that a host includes. They are installed side by side in include/ZRDownloadKit, and
# found under that name in the build folder too; their names must differ.
function(zr_add_public_headers)
  foreach(header IN LISTS ARGN)
    cmake_path(ABSOLUTE_PATH header)
    cmake_path(GET header FILENAME name)
    file(MAKE_DIRECTORY ${ZRDownloadKit_BINARY_DIR}/include/ZRDownloadKit)
    file(CREATE_LINK ${header} ${ZRDownloadKit_BINARY_DIR}/include/ZRDownloadKit/${name} COPY_ON_ERROR SYMBOLIC)
    set_property(GLOBAL APPEND PROPERTY ZR_PUBLIC_HEADERS ${header})
  endforeach()
endfunction()

# zr_add_layer(NAME SOURCES ... [PUBLIC_HEADERS ...] [USES layer ...] [LINKS library ...] [INCLUDES library ...])
#
# One folder of Classes/ as an object library. A layer sees the headers of the layers it uses and no others, so an
# include that points upwards does not compile. LINKS are libraries that whoever links the objects needs; INCLUDES have
# nothing but headers.
function(zr_add_layer name)
  cmake_parse_arguments(layer "" "" "SOURCES;PUBLIC_HEADERS;USES;LINKS;INCLUDES" ${ARGN})
  add_library(${name} OBJECT ${layer_SOURCES})
  set_target_properties(${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  if(ZR_BUILD_TESTS)
    target_compile_definitions(${name} PRIVATE ZR_EXPORTS_FOR_TESTS)
  endif()
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}>)
  target_link_libraries(${name}
    PUBLIC ${layer_USES}
    PRIVATE ZRBuildFlags ${layer_LINKS} ${layer_INCLUDES})
  zr_add_public_headers(${layer_PUBLIC_HEADERS})
  set_property(GLOBAL APPEND PROPERTY ZR_LAYERS ${name})
  set_property(GLOBAL APPEND PROPERTY ZR_LINKS ${layer_LINKS})
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
  gtest_discover_tests(${name} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300 RUN_SERIAL ${test_SERIAL})
endfunction()
