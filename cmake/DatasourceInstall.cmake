# cmake --install: headers, library and a package config, so that find_package(Datasource) gives
# another project the targets Datasource::Datasource and Datasource::casefile.
#
# Four components (cmake --install BUILD --component NAME): runtime, the shared libraries; development, what building
# with them needs; tools, the program; documentation.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Datasource)
# What uninstalling may take away besides the files; noted before any of them is there.
if(PROJECT_IS_TOP_LEVEL)
  set(install_folders
      ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_INCLUDEDIR} ${package_folder} ${CMAKE_INSTALL_LIBDIR}/pkgconfig
      ${CMAKE_INSTALL_DOCDIR} ${CMAKE_INSTALL_MANDIR}/man1 ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
      ${CMAKE_INSTALL_DATADIR}/zsh/site-functions ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  install(CODE "set(install_folders \"${install_folders}\")
  set(made_folders_file \"${PROJECT_BINARY_DIR}/install_folders.txt\")" ALL_COMPONENTS)
  install(SCRIPT cmake/noteNewFolders.cmake ALL_COMPONENTS)
endif()
install(
  TARGETS Datasource Datasource_headers Datasource_casefile Datasource_casefileHeaders
  EXPORT DatasourceTargets
  RUNTIME COMPONENT runtime
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
install(DIRECTORY Datasource/include/ casefile/include/
        ${PROJECT_BINARY_DIR}/Datasource/include/ ${PROJECT_BINARY_DIR}/casefile/include/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN "*.h")

# A shared library brings what it needs; whoever links a static one links its dependencies too.
set(DATASOURCE_CONFIG_DEPENDENCIES "")
if(NOT BUILD_SHARED_LIBS)
  set(DATASOURCE_CONFIG_DEPENDENCIES ${DATASOURCE_FIND_DEPENDENCIES})
  install(FILES ${DATASOURCE_FIND_MODULES} DESTINATION ${package_folder} COMPONENT development)
  foreach(bundled Datasource_lz4 Datasource_libdeflate)
    if(TARGET ${bundled})
      install(TARGETS ${bundled} EXPORT DatasourceTargets ARCHIVE COMPONENT development)
    endif()
  endforeach()
endif()

configure_package_config_file(cmake/DatasourceConfig.cmake.in ${PROJECT_BINARY_DIR}/DatasourceConfig.cmake
                              INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/DatasourceConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(EXPORT DatasourceTargets NAMESPACE Datasource:: DESTINATION ${package_folder}
        COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/DatasourceConfig.cmake ${PROJECT_BINARY_DIR}/DatasourceConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT development)

include(DatasourcePkgConfig)
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
if(WIN32)
  install(FILES packaging/windows/README.txt DESTINATION . COMPONENT documentation)
endif()
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN site EXCLUDE PATTERN figures EXCLUDE)
if(PROJECT_IS_TOP_LEVEL)
  add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -P ${PROJECT_SOURCE_DIR}/cmake/uninstall.cmake
                    WORKING_DIRECTORY ${PROJECT_BINARY_DIR} COMMENT "Removing what was installed" VERBATIM)
endif()
