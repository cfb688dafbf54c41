# datasource_version_header(PREFIX NAME): makes the header include/NAME of its version.h.in, in the build tree. Where that
# says @version_macros@ it gets the macros of the version, whose names begin with PREFIX.
function(datasource_version_header prefix name)
  set(macros ${PROJECT_SOURCE_DIR}/cmake/versionMacros.h.in)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${macros})
  file(READ ${macros} version_macros)
  string(CONFIGURE "${version_macros}" version_macros @ONLY)
  string(STRIP "${version_macros}" version_macros)
  configure_file(include/${name}.in ${CMAKE_CURRENT_BINARY_DIR}/include/${name} @ONLY)
endfunction()
