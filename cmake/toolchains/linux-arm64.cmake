# 64-bit Linux on ARM, whose memory orders less than this machine's.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(datasource_triple aarch64-linux-gnu)
set(datasource_qemu qemu-aarch64-static)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
