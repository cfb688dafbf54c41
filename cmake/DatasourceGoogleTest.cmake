# GoogleTest as GTest::gmock and GTest::gtest_main: the installed package, or, when cross-compiling,
# built from the sources that the Debian package googletest leaves on the machine.
set(GTEST_SOURCE_DIR "/usr/src/googletest" CACHE PATH "Sources of GoogleTest, built when cross-compiling")

if(CMAKE_CROSSCOMPILING)
  if(NOT EXISTS ${GTEST_SOURCE_DIR}/CMakeLists.txt)
    message(FATAL_ERROR "GTEST_SOURCE_DIR: no GoogleTest sources in ${GTEST_SOURCE_DIR} (package googletest)")
  endif()
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  block()
    # Static, whatever our own library is: one test program holds one copy.
    set(BUILD_SHARED_LIBS OFF)
    set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
    add_subdirectory(${GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  endblock()
  foreach(name gtest gtest_main gmock gmock_main)
    if(NOT TARGET GTest::${name})
      add_library(GTest::${name} ALIAS ${name})
    endif()
  endforeach()
else()
  find_package(GTest REQUIRED)
endif()
