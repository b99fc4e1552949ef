# Toolchain of Debian's cross compilers, for TESSERA_ARCHITECTURE. The architecture's libraries lie in TESSERA_LIBRARIES,
# else where tools/cross.sh unpacks them; libc and the C++ library come with the compiler. Programs run in an emulator.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESSERA_ARCHITECTURE TESSERA_LIBRARIES)
set(arm64 aarch64-linux-gnu aarch64)
set(armhf arm-linux-gnueabihf arm)
set(mipsel mipsel-linux-gnu mipsel)
set(s390x s390x-linux-gnu s390x)  # no router: the big-endian machine that Debian offers
list(GET ${TESSERA_ARCHITECTURE} 0 triplet)
list(GET ${TESSERA_ARCHITECTURE} 1 processor)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${processor})
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})

if(NOT TESSERA_LIBRARIES)
  set(TESSERA_LIBRARIES ${CMAKE_CURRENT_LIST_DIR}/../build/cross/${TESSERA_ARCHITECTURE}/sysroot)
endif()
get_filename_component(TESSERA_LIBRARIES "${TESSERA_LIBRARIES}" ABSOLUTE)
set(CMAKE_FIND_ROOT_PATH ${TESSERA_LIBRARIES} /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()

# Debian's cross compilers also read /usr/include, where the headers of the machine's own libraries lie.
foreach(language C CXX)
  set(CMAKE_${language}_FLAGS_INIT
      "-isystem ${TESSERA_LIBRARIES}/usr/include -isystem ${TESSERA_LIBRARIES}/usr/include/${triplet}")
endforeach()
# The kernels of routers have pages of 4 KB. Some linkers expect up to 64 KB and leave a hole of as much in the file.
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-z,max-page-size=4096)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${processor} -L /usr/${triplet}
    -E LD_LIBRARY_PATH=${TESSERA_LIBRARIES}/usr/lib/${triplet})
