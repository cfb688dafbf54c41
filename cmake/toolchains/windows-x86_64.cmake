# 64-bit Windows, cross-compiled with the posix-thread variant of the MinGW-w64 compiler; programs
# run through the emulator script beside this folder.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(datasource_triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${datasource_triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${datasource_triple}-g++-posix)
set(CMAKE_RC_COMPILER ${datasource_triple}-windres)

# Headers and libraries of the target only, which are below these folders; programs of this machine only.
list(APPEND CMAKE_FIND_ROOT_PATH /usr/${datasource_triple} ${CMAKE_PREFIX_PATH})
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# DLL and programs carry the compiler's runtime, so that they need nothing but the system's DLLs.
set(ZLIB_USE_STATIC_LIBS ON)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../wine-emulator.sh)
