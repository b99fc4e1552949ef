# Toolchain file for Debian's cross compilers, for the processor TESSERA_ARCHITECTURE. TESSERA_LIBRARIES is the directory
# of its libraries; the default is the one where tools/cross.sh unpacks them. libc and the C++ library come with the
# compiler. Programs run in an emulator.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESSERA_ARCHITECTURE TESSERA_LIBRARIES)
set(arm64 aarch64-linux-gnu aarch64)
set(armhf arm-linux-gnueabihf arm)
set(mipsel mipsel-linux-gnu mipsel)
set(s390x s390x-linux-gnu s390x)  # not a router, but the only big-endian processor in Debian
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

# Debian's cross compilers also search /usr/include, which holds the headers of the machine's own libraries.
foreach(language C CXX)
  set(CMAKE_${language}_FLAGS_INIT
      "-isystem ${TESSERA_LIBRARIES}/usr/include -isystem ${TESSERA_LIBRARIES}/usr/include/${triplet}")
endforeach()
# Routers have pages of 4 KB. Without this, some linkers align for pages of 64 KB, which makes the file larger.
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-z,max-page-size=4096)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${processor} -L /usr/${triplet}
    -E LD_LIBRARY_PATH=${TESSERA_LIBRARIES}/usr/lib/${triplet})
