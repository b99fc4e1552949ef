# Compiler and linker flags for all programs and libraries.
include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)
include(CheckPIESupported)
check_pie_supported()
# All code goes into programs, except when the platform is built as shared libraries.
if(NOT TESSERA_REFERENCE_SHARED)
  add_compile_options(-fPIE)
endif()

# For 32-bit processors: without these, stat fails for inode numbers, sizes and times that need more than 32 bits.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

# With a section for each function, the linker can remove unused ones. Unwind tables are kept, so that a crash can be
# traced.
add_compile_options(-ffunction-sections -fdata-sections -funwind-tables -fvisibility=hidden -fstack-protector-strong)
add_link_options(-Wl,--gc-sections -Wl,--as-needed -Wl,-z,relro,-z,now)

# Flags that some processors, compilers and linkers do not know. separate-code puts code on its own pages, so that
# constants are not executable.
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

# Not in debug builds: a sanitizer checks more, and needs the original functions of the C library.
set(optimized $<NOT:$<CONFIG:Debug>>)
set(fortify 3)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12)
  set(fortify 2)
endif()
add_compile_options("$<${optimized}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${fortify}>")
# The checks of the C++ library would make the program 8 KB larger, so only test builds have them.
set(checked $<OR:$<CONFIG:Debug>,$<BOOL:${TESSERA_FUZZ}>>)
add_compile_definitions($<$<AND:$<COMPILE_LANGUAGE:CXX>,${checked}>:_GLIBCXX_ASSERTIONS>)

# For tessera and the platform: their functions throw no exceptions and run in one thread.
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
