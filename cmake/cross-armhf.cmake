set(ZERV_CROSS_TRIPLE arm-linux-gnueabihf)
set(ZERV_CROSS_QEMU qemu-arm-static)
set(ZERV_CROSS_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-armhf)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
