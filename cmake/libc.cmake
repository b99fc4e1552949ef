# libc by its path. A program that asks for "libc.so.6" has the dynamic loader open, map and search the list of all of
# the system's libraries at every start: five of its 30 system calls. The price: the program starts only where libc has
# that path, and LD_LIBRARY_PATH leads to no other. A firmware, or a distribution's package, is built for one place.
set(TESSERA_LIBC "detect" CACHE STRING
    "where libc.so.6 is on the router (needs patchelf); empty: the loader searches; detect: as here, unless for a device")

# Linkers take a library's name from the library, so the program is linked with a copy that is named after the path.
function(tessera_locate_libc target)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libc.so.6 OUTPUT_VARIABLE library
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libc.so OUTPUT_VARIABLE script
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(path "${TESSERA_LIBC}")
  if(path STREQUAL "detect")
    set(path "")
    if(NOT CMAKE_CROSSCOMPILING AND TESSERA_PLATFORM STREQUAL "reference" AND EXISTS "${script}")
      file(STRINGS "${script}" lines REGEX "^GROUP")
      string(REGEX MATCH "/[^ ]*/libc\\.so\\.6" path "${lines}")
    endif()
  endif()
  if(path STREQUAL "")
    return()
  endif()
  find_program(PATCHELF patchelf)
  if(NOT PATCHELF OR NOT EXISTS "${library}")
    if(NOT TESSERA_LIBC STREQUAL "detect")
      message(FATAL_ERROR "TESSERA_LIBC needs patchelf and GNU libc")
    endif()
    message(STATUS "patchelf not found: the loader will search for libc at every start")
    return()
  endif()
  set(copy ${CMAKE_BINARY_DIR}/libc.so)
  execute_process(COMMAND ${PATCHELF} --set-soname ${path} --output ${copy} ${library} COMMAND_ERROR_IS_FATAL ANY)
  # As an option, because CMake would have the program look for libraries where the copy lies.
  target_link_libraries(${target} PRIVATE $<$<CONFIG:MinSizeRel>:-Wl,${copy}>)
endfunction()
