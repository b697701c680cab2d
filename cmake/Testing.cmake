# How tests are declared. Each is one GoogleTest program of the same name, for many tests share one
# start of the platform.
if(WIN32)
  # Debian ships GoogleTest's source; nothing else knows this target.
  set(gtest_disable_pthreads ON)
  set(INSTALL_GTEST OFF)
  set(BUILD_GMOCK OFF)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
else()
  find_package(GTest REQUIRED)
endif()

# ostrel_add_native_test(NAME FILE...): tests of the pure code on this machine.
function(ostrel_add_native_test name)
  if(NOT WIN32)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE ostrel_pure GTest::gtest_main)
    add_test(NAME ${name} COMMAND ${name})
    # Running out of memory is a result that the tests ask for, not an error of the sanitizer's.
    set_tests_properties(${name} PROPERTIES ENVIRONMENT ASAN_OPTIONS=allocator_may_return_null=1)
  endif()
endfunction()

# ostrel_add_windows_test(NAME FILE...): tests of the DLL, run on Windows or under Wine.
function(ostrel_add_windows_test name)
  if(WIN32)
    add_executable(${name} ${ARGN})
    target_link_libraries(${name} PRIVATE ostrel_conventions Lib_Ostrel GTest::gtest_main)
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
    add_test(NAME ${name} COMMAND ${name})
  endif()
endfunction()
