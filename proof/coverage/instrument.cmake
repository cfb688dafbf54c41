# Has the compiler count in the libraries' own objects, with every check of a debug build, and in what the tests' objects
# take from the libraries' headers. Included by way of CMAKE_PROJECT_INCLUDE.
function(count_in_the_libraries)
  set(counting -O0 -UNDEBUG --coverage -fprofile-update=atomic)
  foreach(target Datasource_objects Datasource_form Datasource_encoders Casefile_objects)
    target_compile_options(${target} PRIVATE ${counting})
  endforeach()
  foreach(target internal_tests api_tests casefile_api_tests casefile_internal_tests)
    target_compile_options(${target} PRIVATE ${counting}
      "-fprofile-filter-files=.*/(Datasource/(src|form)|casefile/src)/.*\\.h")
  endforeach()
endfunction()
cmake_language(DEFER DIRECTORY ${CMAKE_SOURCE_DIR} CALL count_in_the_libraries)
