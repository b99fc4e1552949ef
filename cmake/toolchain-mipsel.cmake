# 32-bit MIPS, little-endian: most small routers.
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
tessera_toolchain(mipsel mipsel-linux-gnu mipsel qemu-mipsel)
