# GoogleTest for the Windows build, compiled from the sources that Debian's package googletest leaves,
# and the test programs that are built with it. tests/windows runs them.
set(PV_GOOGLETEST /usr/src/googletest CACHE PATH "GoogleTest's sources")
set(PV_WINDOWS_TESTS base_test platform_test automation_test support_test expression_test
    engine_unit_test engine_index_test engine_test tablestore_test groups_test ado_test
    addressbook_test conformance_test)

# Builds them all.
add_custom_target(windows_units)

if(EXISTS ${PV_GOOGLETEST}/googletest/src/gtest-all.cc)
  add_library(pv_gtest STATIC EXCLUDE_FROM_ALL
    ${PV_GOOGLETEST}/googletest/src/gtest-all.cc ${PV_GOOGLETEST}/googlemock/src/gmock-all.cc)
  target_include_directories(pv_gtest
    SYSTEM PUBLIC ${PV_GOOGLETEST}/googletest/include ${PV_GOOGLETEST}/googlemock/include
    PRIVATE ${PV_GOOGLETEST}/googletest ${PV_GOOGLETEST}/googlemock)
  # The programs need nothing but Windows.
  target_link_options(pv_gtest PUBLIC -static)
  add_library(pv_gtest_main STATIC EXCLUDE_FROM_ALL
    ${PV_GOOGLETEST}/googletest/src/gtest_main.cc)
  target_link_libraries(pv_gtest_main PUBLIC pv_gtest)
  add_library(GTest::gtest ALIAS pv_gtest)
  add_library(GTest::gmock ALIAS pv_gtest)
  add_library(GTest::gtest_main ALIAS pv_gtest_main)
elseif(PV_REQUIRE_TESTS)
  message(FATAL_ERROR "GoogleTest's sources are not in ${PV_GOOGLETEST} (package googletest)")
else()
  message(STATUS "GoogleTest's sources are not installed: tests are left out")
  set(PV_BUILD_TESTS OFF)
endif()
