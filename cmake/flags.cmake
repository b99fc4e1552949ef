# Compiler and linker flags of everything that is built here.
include(CheckCXXCompilerFlag)
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

# Functions in sections of their own let the linker drop what no service uses. The tables for unwinding stay, so that a
# crash can be traced.
add_compile_options(-ffunction-sections -fdata-sections -funwind-tables -fvisibility=hidden -fstack-protector-strong)
add_link_options(-Wl,--gc-sections -Wl,--as-needed -Wl,-z,relro,-z,now)

# What some processors, compilers and linkers lack. Code on pages of its own keeps constants from being executed.
foreach(flag -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER compiler_takes${flag} known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    add_compile_options(${flag})
  endif()
endforeach()
check_linker_flag(CXX -Wl,--fatal-warnings,-z,separate-code linker_separates_code)
if(linker_separates_code)
  add_link_options(-Wl,-z,separate-code)
endif()

# A sanitizer checks more than these do, and wants the functions of the C library as they are.
set(optimized $<NOT:$<CONFIG:Debug>>)
set(fortify 3)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12)
  set(fortify 2)
endif()
add_compile_options("$<${optimized}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${fortify}>")
# The C++ library's own checks would make the program 8 KB larger, so only tests have them.
set(checked $<OR:$<CONFIG:Debug>,$<BOOL:${TESSERA_FUZZ}>>)
add_compile_definitions($<$<AND:$<COMPILE_LANGUAGE:CXX>,${checked}>:_GLIBCXX_ASSERTIONS>)

# For the program and the platform, whose functions throw nothing and run in one thread.
set(tessera_lean_options $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions> $<$<COMPILE_LANGUAGE:CXX>:-fno-rtti>
                         $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics>)

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
