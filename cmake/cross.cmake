# What the toolchains of Debian's cross compilers have in common: tessera_toolchain(ARCHITECTURE TRIPLET PROCESSOR EMULATOR).
# The architecture's libraries lie below build/cross/ARCHITECTURE/sysroot, where tools/cross.sh unpacks them, or below
# TESSERA_LIBRARIES; libc and the C++ library come with the compiler. Programs run in an emulator of the processor.
macro(tessera_toolchain architecture triplet processor emulator)
  set(CMAKE_SYSTEM_NAME Linux)
  set(CMAKE_SYSTEM_PROCESSOR ${processor})
  set(CMAKE_C_COMPILER ${triplet}-gcc)
  set(CMAKE_CXX_COMPILER ${triplet}-g++)
  set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})

  list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TESSERA_LIBRARIES)
  if(NOT TESSERA_LIBRARIES)
    set(TESSERA_LIBRARIES ${CMAKE_CURRENT_LIST_DIR}/../build/cross/${architecture}/sysroot)
  endif()
  get_filename_component(TESSERA_LIBRARIES "${TESSERA_LIBRARIES}" ABSOLUTE)
  set(CMAKE_FIND_ROOT_PATH ${TESSERA_LIBRARIES} /usr/${triplet})
  set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
  set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
  set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

  # Debian's cross compilers also read /usr/include, where the headers of the machine's own libraries lie.
  foreach(language C CXX)
    set(CMAKE_${language}_FLAGS_INIT
        "-isystem ${TESSERA_LIBRARIES}/usr/include -isystem ${TESSERA_LIBRARIES}/usr/include/${triplet}")
  endforeach()

  # The kernels of routers have pages of 4 KB. Some linkers expect up to 64 KB and leave a hole of as much in the file.
  set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-z,max-page-size=4096)

  set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${triplet}
      -E LD_LIBRARY_PATH=${TESSERA_LIBRARIES}/usr/lib/${triplet})
endmacro()
