# What only a Windows build delivers: version resources, and a zip for people without a package manager.

# datasource_version_resource(TARGET KIND DESCRIPTION FILE): what the properties of the file show. KIND: DLL or APP.
function(datasource_version_resource target kind resource_description resource_file)
  set(resource_type VFT_${kind})
  set(resource ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/windows/version.rc.in ${resource} @ONLY)
  add_library(${target}_version OBJECT ${resource})
  target_sources(${target} PRIVATE $<TARGET_OBJECTS:${target}_version>)
endfunction()

if(DATASOURCE_INSTALL)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME Datasource-${PROJECT_VERSION}-windows-x86_64)
  set(CPACK_PACKAGE_VENDOR "the Datasource authors")
  include(CPack)
endif()
