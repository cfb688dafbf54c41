# Everything the libraries link: ZLIB::ZLIB, Threads::Threads, LZ4::LZ4, Libdeflate::Libdeflate and, for
# the bundled cipher, what DATASOURCE_CIPHER_LIBRARY names; and ISAL::ISAL, where the machine has it.
# DATASOURCE_FIND_DEPENDENCIES holds the lines with which the package config of static libraries finds
# the same again.
set(LZ4_SOURCE_DIR "" CACHE PATH "Source tree of LZ4 to build instead of using the installed library")
set(LIBDEFLATE_SOURCE_DIR "" CACHE PATH "Source tree of libdeflate to build instead of using the installed library")
option(DATASOURCE_ISAL "Compress with ISA-L too, where it is installed" ON)

find_package(ZLIB REQUIRED)
find_package(Threads REQUIRED)
set(DATASOURCE_FIND_DEPENDENCIES "find_dependency(ZLIB)\nfind_dependency(Threads)\n")

# datasource_find_again(PACKAGE): a package that our own module found is found again by the package config.
macro(datasource_find_again package)
  list(APPEND DATASOURCE_FIND_MODULES cmake/Find${package}.cmake)
  string(APPEND DATASOURCE_FIND_DEPENDENCIES "list(APPEND CMAKE_MODULE_PATH \${CMAKE_CURRENT_LIST_DIR})\n"
         "find_dependency(${package})\n" "list(POP_BACK CMAKE_MODULE_PATH)\n")
endmacro()
set(DATASOURCE_FIND_MODULES "")

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
  datasource_find_again(LZ4)
endif()

if(LIBDEFLATE_SOURCE_DIR)
  # What the zlib form needs of it.
  set(libdeflate_sources "")
  foreach(name adler32 deflate_compress deflate_decompress utils zlib_compress zlib_decompress arm/cpu_features
               x86/cpu_features)
    if(NOT EXISTS ${LIBDEFLATE_SOURCE_DIR}/lib/${name}.c)
      message(FATAL_ERROR "LIBDEFLATE_SOURCE_DIR: no lib/${name}.c in ${LIBDEFLATE_SOURCE_DIR}")
    endif()
    list(APPEND libdeflate_sources ${LIBDEFLATE_SOURCE_DIR}/lib/${name}.c)
  endforeach()
  add_library(Datasource_libdeflate STATIC ${libdeflate_sources})
  add_library(Libdeflate::Libdeflate ALIAS Datasource_libdeflate)
  set_target_properties(Datasource_libdeflate PROPERTIES POSITION_INDEPENDENT_CODE ON C_VISIBILITY_PRESET hidden)
  target_include_directories(Datasource_libdeflate PRIVATE ${LIBDEFLATE_SOURCE_DIR})
  target_include_directories(Datasource_libdeflate SYSTEM INTERFACE $<BUILD_INTERFACE:${LIBDEFLATE_SOURCE_DIR}>)
else()
  find_package(Libdeflate REQUIRED)
  datasource_find_again(Libdeflate)
endif()

# What whoever takes the objects of the form's room links.
set(DATASOURCE_FORM_LIBRARIES Libdeflate::Libdeflate ZLIB::ZLIB)

# And of the encoders. ISA-L is optional: without it its encoder is not built in.
set(DATASOURCE_ENCODER_LIBRARIES ${DATASOURCE_FORM_LIBRARIES})
if(DATASOURCE_ISAL)
  find_package(ISAL)
  if(TARGET ISAL::ISAL)
    list(APPEND DATASOURCE_ENCODER_LIBRARIES ISAL::ISAL)
    datasource_find_again(ISAL)
  endif()
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
