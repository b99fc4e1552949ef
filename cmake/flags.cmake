# Compiler and linker flags of everything that is built here.
include(CheckLinkerFlag)
include(CheckPIESupported)
check_pie_supported()
# All code ends up in programs, but for the platform's when it is built as a device's libraries.
if(NOT TESSERA_REFERENCE_SHARED)
  add_compile_options(-fPIE)
endif()

# Where a C long has 32 bits: inode numbers, sizes and times beyond that would make stat fail.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

# Functions of their own sections let the linker drop what no service uses.
add_compile_options(-ffunction-sections -fdata-sections -fstack-protector-strong -fvisibility=hidden)
add_link_options(-Wl,--gc-sections -Wl,--as-needed -Wl,-z,relro,-z,now)
# Pages of their own for code would be read and mapped one by one at every start, and addresses that move with the
# program would take up 24 bytes each.
foreach(flag -O1 --hash-style=gnu -z,noseparate-code -z,pack-relative-relocs)
  string(MAKE_C_IDENTIFIER linker_takes${flag} known)
  check_linker_flag(CXX -Wl,--fatal-warnings,${flag} ${known})  # what a linker ignores is only warned about
  if(${known})
    add_link_options(-Wl,${flag})
  endif()
endforeach()
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()

# The linker sees all of a program at once: a twentieth less of it is left. GCC 12 made wrong code of files of which some
# may assume that pointers to different types point to different places and some may not (-O1 for all and -O2 for
# load.cc: copies of tree nodes lost their content; not with -O1 -fstrict-aliasing, -O2 or -O3 for all, nor without this
# optimization). So none may assume it, whatever levels are given.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT TESSERA_REFERENCE_SHARED)
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION_MINSIZEREL ON)
  add_compile_options(-fno-strict-aliasing)
endif()

# For the program and the platform, whose functions throw nothing and run in one thread: without the tables that an
# exception would need, and without locks around static objects.
set(tessera_lean_options $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions> $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>
                         $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics>)
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  list(APPEND tessera_lean_options -fno-asynchronous-unwind-tables -fno-unwind-tables)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Wundef -Wcast-qual -Wcast-align
                    -Wwrite-strings -Wimplicit-fallthrough -Wvla
                    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast> $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
                    $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wlogical-op -Wduplicated-cond -Wduplicated-branches)
endif()
if(TESSERA_WERROR)
  add_compile_options(-Werror)
endif()
