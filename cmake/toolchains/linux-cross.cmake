# Another processor's Debian, cross-compiled with Debian's compiler for it and run by qemu's user emulation: what the
# toolchain files beside this one share. They set datasource_triple and datasource_qemu; CMAKE_FIND_ROOT_PATH names
# the folder into which scripts/fetch-libraries.sh unpacked that Debian's libraries.
set(CMAKE_C_COMPILER ${datasource_triple}-gcc)
set(CMAKE_CXX_COMPILER ${datasource_triple}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${datasource_triple})

# Debian keeps headers that differ between processors in a folder of their own. Neither the linker nor a program looks
# for the libraries that a library needs in our folder, unless they are told to.
set(CMAKE_C_STANDARD_INCLUDE_DIRECTORIES "")
set(datasource_link_paths "")
set(datasource_run_paths "")
foreach(root ${CMAKE_FIND_ROOT_PATH})
  list(APPEND CMAKE_C_STANDARD_INCLUDE_DIRECTORIES ${root}/usr/include/${datasource_triple})
  foreach(folder ${root}/usr/lib/${datasource_triple} ${root}/lib/${datasource_triple})
    string(APPEND datasource_link_paths " -Wl,-rpath-link,${folder}")
    string(APPEND datasource_run_paths "${folder}:")
  endforeach()
endforeach()
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${CMAKE_C_STANDARD_INCLUDE_DIRECTORIES})
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "${datasource_link_paths}")
endforeach()
set(CMAKE_CROSSCOMPILING_EMULATOR ${datasource_qemu} -E LD_LIBRARY_PATH=${datasource_run_paths} -L
                                  /usr/${datasource_triple})

# Headers and libraries of the target only; programs of this machine only.
list(APPEND CMAKE_FIND_ROOT_PATH /usr/${datasource_triple} ${CMAKE_PREFIX_PATH})
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
