# The device's own libraries, by full path: other packages use the name libconfig too. A library that lacks an operation
# fails the configuration, not the boot of a router.
if(NOT IS_DIRECTORY "${TESSERA_SYSROOT}")
  message(FATAL_ERROR "TESSERA_PLATFORM=device needs TESSERA_SYSROOT, the directory that holds the device's libraries")
endif()
include(CheckCSourceCompiles)

function(tessera_device_library name header)
  find_library(TESSERA_LIB_${name} NAMES lib${name}.so PATHS ${TESSERA_SYSROOT} NO_DEFAULT_PATH
    PATH_SUFFIXES usr/lib lib usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} lib/${CMAKE_LIBRARY_ARCHITECTURE} usr/local/lib)
  if(NOT TESSERA_LIB_${name})
    message(FATAL_ERROR "lib${name}.so was not found below ${TESSERA_SYSROOT}")
  endif()
  # Every operation that the header declares must be there.
  set(references "")
  foreach(file IN LISTS header)
    file(STRINGS ${CMAKE_SOURCE_DIR}/src/platform/${file} lines REGEX "^[a-zA-Z].*[ *][a-z0-9_]+\\(")
    foreach(line IN LISTS lines)
      string(REGEX REPLACE "^[^(]*[ *]([a-z0-9_]+)\\(.*" "\\1" operation "${line}")
      string(APPEND references "  (void (*)(void))${operation},\n")
    endforeach()
  endforeach()
  set(includes "")
  foreach(file IN LISTS header)
    string(APPEND includes "#include \"platform/${file}\"\n")
  endforeach()
  set(CMAKE_REQUIRED_INCLUDES ${CMAKE_SOURCE_DIR}/src)
  set(CMAKE_REQUIRED_LIBRARIES ${TESSERA_LIB_${name}})
  set(CMAKE_REQUIRED_LINK_OPTIONS -Wl,--unresolved-symbols=ignore-in-shared-libs)
  check_c_source_compiles("${includes}
void (*const operations[])(void) = {
${references}};
int main(int argc, char **argv) { (void)argv; return operations[argc] == 0; }
" TESSERA_${name}_COMPLETE)
  if(NOT TESSERA_${name}_COMPLETE)
    message(FATAL_ERROR "${TESSERA_LIB_${name}} does not offer every operation declared in src/platform/${header}")
  endif()
  add_library(${name} SHARED IMPORTED GLOBAL)
  set_target_properties(${name} PROPERTIES IMPORTED_LOCATION ${TESSERA_LIB_${name}})
endfunction()

tessera_device_library(config "config.h;network.h")
tessera_device_library(runt "runt.h")
tessera_device_library(tools "tools.h")
