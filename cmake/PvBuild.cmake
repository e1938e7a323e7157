# Compiler settings and the helpers that every folder's CMakeLists.txt uses.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# A compiler cache and precompiled headers do not go together: what a header is precompiled to differs
# from one checkout to the next, so that the cache would never know it again.
find_program(PV_CCACHE ccache)
if(PV_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${PV_CCACHE})
endif()
if(PV_CCACHE)
  set(CMAKE_DISABLE_PRECOMPILE_HEADERS ON)
endif()

function(pv_compile_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(PV_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(PV_SANITIZE)
    # Of what -fsanitize=undefined checks, the address sanitizer finds null and object-size itself;
    # without the two a build takes a fifth less.
    target_compile_options(${target} PUBLIC -fsanitize=${PV_SANITIZE} -fno-sanitize=null,object-size
                                            -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=${PV_SANITIZE})
  endif()
endfunction()

# pv_library(NAME SOURCES... DEPENDS targets...): one layer of the component.
function(pv_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(${name} PUBLIC ${ARG_DEPENDS})
  pv_compile_options(${name})
endfunction()

# pv_provider(NAME SOURCES... DEPENDS targets...): a library of classes that is loaded when one of
# them is asked for. It shows pv_provider and nothing else, so that what it has in common with the
# component does not mix with the component's.
function(pv_provider name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(${name} MODULE ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include)
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS})
  set(symbols ${PROJECT_SOURCE_DIR}/cmake/provider.symbols)
  target_link_options(${name} PRIVATE -Wl,--version-script=${symbols})
  set_target_properties(${name} PROPERTIES
    PREFIX lib
    LINK_DEPENDS ${symbols}
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/src/providers)
  pv_compile_options(${name})
endfunction()

# pv_test_options(TARGET): what makes test programs quick to build. What they test is optimised as
# always; their own code need not be.
function(pv_test_options target)
  pv_compile_options(${target})
  target_compile_options(${target} PRIVATE -O0)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/include
                                               ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${target} PRIVATE GTest::gtest GTest::gmock)
endfunction()

# pv_test(NAME SOURCES... DEPENDS targets...): a GoogleTest program, run by ctest as one test.
function(pv_test name)
  if(NOT PV_BUILD_TESTS OR (WIN32 AND NOT name IN_LIST PV_WINDOWS_TESTS))
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  if(NOT TARGET pv_test_headers)
    add_library(pv_test_headers OBJECT ${PROJECT_SOURCE_DIR}/cmake/empty.cc)
    pv_test_options(pv_test_headers)
    # As programs are compiled, so that they can use it.
    set_target_properties(pv_test_headers PROPERTIES POSITION_INDEPENDENT_CODE OFF)
    if(NOT WIN32)
      target_compile_options(pv_test_headers PRIVATE -fPIE)
    endif()
    target_precompile_headers(pv_test_headers PRIVATE <gtest/gtest.h> <gmock/gmock.h>)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  pv_test_options(${name})
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} GTest::gtest_main)
  target_precompile_headers(${name} REUSE_FROM pv_test_headers)
  if(WIN32)
    # All in one folder, from which tests/windows runs them.
    set_target_properties(${name} PROPERTIES
      RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests/unit)
    add_dependencies(windows_units ${name})
  else()
    add_test(NAME ${name} COMMAND ${name})
  endif()
endfunction()
