# pkg-config files for programs that are not built with CMake: datasource.pc and casefile.pc.
#
# Whoever links the static library needs what it is made of. Beside a shared library that stands in the private
# fields (pkg-config --static); where only the static one is installed, everybody needs it.

# datasource_pkg_config(NAME LIBRARY DESCRIPTION DEFINITION REQUIRES LIBS): of the static library it tells which
# definition its headers want, which packages it requires, and what else is linked.
function(datasource_pkg_config pc_name library pc_description definition requires libs)
  set(cflags -I\${includedir})
  set(own "-L\${libdir} -l${library}")
  if(BUILD_SHARED_LIBS)
    string(CONCAT pc_lines "Cflags: ${cflags}\n" "Cflags.private: -D${definition}\n" "Requires.private: ${requires}\n"
                  "Libs: ${own}\n" "Libs.private: ${libs}")
  else()
    string(CONCAT pc_lines "Cflags: ${cflags} -D${definition}\n" "Requires: ${requires}\n" "Libs: ${own} ${libs}")
  endif()
  file(RELATIVE_PATH pc_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/package.pc.in ${PROJECT_BINARY_DIR}/${pc_name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc_name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT development)
endfunction()

# The packages that the libraries link, by their own pkg-config names; of those built with us, the library.
set(requires zlib)
set(bundled "")
foreach(dependency "lz4 liblz4" "libdeflate libdeflate")
  separate_arguments(dependency)
  list(GET dependency 0 name)
  list(GET dependency 1 package)
  if(TARGET Datasource_${name})
    string(APPEND bundled "-lDatasource_${name} ")
  else()
    string(APPEND requires " ${package}")
  endif()
endforeach()
set(system "-lstdc++ -lm -pthread")
if(DATASOURCE_CIPHER_LIBRARY STREQUAL OpenSSL::Crypto)
  string(APPEND requires " libcrypto")
elseif(DATASOURCE_CIPHER_LIBRARY)
  string(PREPEND system "-l${DATASOURCE_CIPHER_LIBRARY} ")
endif()
set(encoder_requires datasource)
if(TARGET ISAL::ISAL)
  string(APPEND encoder_requires " libisal")
endif()

datasource_pkg_config(datasource Datasource "File streams and compressed data files" DATASOURCE_STATIC "${requires}"
                      "${bundled}${system}")
datasource_pkg_config(casefile casefile "Compressed data files, read from any thread and written on all cores"
                      CASEFILE_STATIC "${encoder_requires}" "${system}")
