# 64-bit ARM.
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
tessera_toolchain(arm64 aarch64-linux-gnu aarch64 qemu-aarch64)
