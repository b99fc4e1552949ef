# Links the device's own libraries, by full path because other packages use the name libconfig too. A missing operation is
# an error here, so that it does not show at the boot of a router.
if(TESSERA_SYSROOT STREQUAL "")
  message(FATAL_ERROR "TESSERA_PLATFORM=device needs TESSERA_SYSROOT, the directory that holds the device's libraries")
elseif(NOT IS_DIRECTORY "${TESSERA_SYSROOT}")
  message(FATAL_ERROR "TESSERA_SYSROOT is '${TESSERA_SYSROOT}', which is not a directory")
endif()

function(tessera_device_library name)
  find_library(library NAMES lib${name}.so PATHS ${TESSERA_SYSROOT} NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
    PATH_SUFFIXES usr/lib lib usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} lib/${CMAKE_LIBRARY_ARCHITECTURE} usr/local/lib)
  if(NOT library)
    message(FATAL_ERROR "lib${name}.so was not found below ${TESSERA_SYSROOT}")
  endif()
  execute_process(COMMAND ${CMAKE_NM} --dynamic --defined-only --format=posix ${library}
    OUTPUT_VARIABLE symbols ERROR_VARIABLE problem RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${library} cannot be read as a shared library: ${problem}")
  endif()
  string(REGEX MATCHALL "(^|\n)[A-Za-z_0-9]+" offered "${symbols}")
  list(TRANSFORM offered STRIP)
  set(missing ${${name}_operations})
  list(REMOVE_ITEM missing ${offered})
  if(missing)
    list(JOIN missing ", " missing)
    message(FATAL_ERROR "${library} lacks operations that tessera needs: ${missing}")
  endif()
  add_library(${name} SHARED IMPORTED GLOBAL)
  set_target_properties(${name} PROPERTIES IMPORTED_LOCATION ${library})
endfunction()

tessera_device_library(config)
tessera_device_library(runt)
tessera_device_library(tools)

# The device provides the libraries that its own libraries need, in places that it chooses.
add_link_options(-Wl,--unresolved-symbols=ignore-in-shared-libs)
set(CMAKE_SKIP_RPATH ON)
