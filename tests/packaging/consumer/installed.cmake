# The installed library, and a check of its version file and of its headers.
find_package(Datasource 999 QUIET)
if(Datasource_FOUND)
  message(FATAL_ERROR "The installed version file takes any version for the right one")
endif()
find_package(Datasource ${DATASOURCE_VERSION} EXACT REQUIRED)

# Every header of ours compiles alone, with nothing before it. Others may lie beside them.
get_target_property(include_folder Datasource::headers INTERFACE_INCLUDE_DIRECTORIES)
file(GLOB_RECURSE headers RELATIVE ${include_folder} ${include_folder}/Datasource/*.h
     ${include_folder}/casefile/*.h)
if(NOT headers)
  message(FATAL_ERROR "No headers in ${include_folder}")
endif()
foreach(header ${headers})
  string(REPLACE "/" "_" name ${header})
  set(source ${CMAKE_CURRENT_BINARY_DIR}/headers/${name}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "#include <${header}>\n")
  list(APPEND header_sources ${source})
endforeach()
add_library(headers OBJECT ${header_sources})
target_link_libraries(headers PRIVATE Datasource::Datasource Datasource::casefile)
