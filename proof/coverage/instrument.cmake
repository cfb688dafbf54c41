# Has the compiler count in the libraries' own objects, and nowhere else, with every check of a debug build. Included by
# way of CMAKE_PROJECT_INCLUDE.
function(count_in_the_libraries)
  foreach(target Datasource_objects Datasource_form Datasource_encoders Casefile_objects)
    target_compile_options(${target} PRIVATE -O0 -UNDEBUG --coverage -fprofile-update=atomic)
  endforeach()
endfunction()
cmake_language(DEFER DIRECTORY ${CMAKE_SOURCE_DIR} CALL count_in_the_libraries)
