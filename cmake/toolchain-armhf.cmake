# 32-bit ARM with a floating-point unit.
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
tessera_toolchain(armhf arm-linux-gnueabihf armv7l qemu-arm)
