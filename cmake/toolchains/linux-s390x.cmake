# 64-bit Linux on a machine whose numbers begin with the high byte.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)

set(datasource_triple s390x-linux-gnu)
set(datasource_qemu qemu-s390x-static)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
