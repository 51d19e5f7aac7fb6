set(ZERV_CROSS_TRIPLE mipsel-linux-gnu)
set(ZERV_CROSS_QEMU qemu-mipsel-static)
set(ZERV_CROSS_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-mipsel)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
