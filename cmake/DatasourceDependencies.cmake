# Everything the library links: ZLIB::ZLIB, Threads::Threads, LZ4::LZ4 and, for the bundled cipher,
# what DATASOURCE_CIPHER_LIBRARY names. DATASOURCE_FIND_DEPENDENCIES holds the lines with which the
# package config of a static library finds the same again.
set(LZ4_SOURCE_DIR "" CACHE PATH "Source tree of LZ4 to build instead of using the installed library")

find_package(ZLIB REQUIRED)
find_package(Threads REQUIRED)
set(DATASOURCE_FIND_DEPENDENCIES "find_dependency(ZLIB)\nfind_dependency(Threads)\n")

if(LZ4_SOURCE_DIR)
  foreach(name lz4.c lz4hc.c lz4.h lz4hc.h)
    if(NOT EXISTS ${LZ4_SOURCE_DIR}/lib/${name})
      message(FATAL_ERROR "LZ4_SOURCE_DIR: no lib/${name} in ${LZ4_SOURCE_DIR}")
    endif()
  endforeach()
  add_library(Datasource_lz4 STATIC ${LZ4_SOURCE_DIR}/lib/lz4.c ${LZ4_SOURCE_DIR}/lib/lz4hc.c)
  add_library(LZ4::LZ4 ALIAS Datasource_lz4)
  set_target_properties(Datasource_lz4 PROPERTIES POSITION_INDEPENDENT_CODE ON C_VISIBILITY_PRESET hidden)
  # Nothing of LZ4 is part of what Datasource exports.
  target_compile_definitions(Datasource_lz4 PRIVATE LZ4LIB_VISIBILITY=)
  target_include_directories(Datasource_lz4 SYSTEM INTERFACE $<BUILD_INTERFACE:${LZ4_SOURCE_DIR}/lib>)
else()
  find_package(LZ4 REQUIRED)
  string(APPEND DATASOURCE_FIND_DEPENDENCIES "list(APPEND CMAKE_MODULE_PATH \${CMAKE_CURRENT_LIST_DIR})\n"
         "find_dependency(LZ4)\n" "list(POP_BACK CMAKE_MODULE_PATH)\n")
endif()

set(DATASOURCE_CIPHER_LIBRARY "")
if(DATASOURCE_BUNDLED_PLATFORM)
  if(WIN32)
    set(DATASOURCE_CIPHER_LIBRARY bcrypt)
  else()
    find_package(OpenSSL REQUIRED COMPONENTS Crypto)
    set(DATASOURCE_CIPHER_LIBRARY OpenSSL::Crypto)
    string(APPEND DATASOURCE_FIND_DEPENDENCIES "find_dependency(OpenSSL COMPONENTS Crypto)\n")
  endif()
endif()
