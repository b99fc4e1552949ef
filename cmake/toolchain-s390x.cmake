# No router: the big-endian machine that Debian offers.
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
tessera_toolchain(s390x s390x-linux-gnu s390x qemu-s390x)
