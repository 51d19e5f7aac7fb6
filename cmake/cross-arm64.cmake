set(ZERV_CROSS_TRIPLE aarch64-linux-gnu)
set(ZERV_CROSS_QEMU qemu-aarch64-static)
set(ZERV_CROSS_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-arm64)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
