# Lets tests call programs for another processor: TESSERA_PROGRAMS becomes a directory of scripts that start the programs
# in an emulator. tessera-preview is a native program, from the directory TESSERA_NATIVE: it changes the root directory,
# and the emulator would not find its libraries there.
set(TESSERA_NATIVE ${CMAKE_SOURCE_DIR}/build/release/bin CACHE PATH "where the machine's own tessera-preview is")
set(TESSERA_PROGRAMS ${CMAKE_BINARY_DIR}/emulated)

function(tessera_script name content)
  set(script ${TESSERA_PROGRAMS}/${name})
  file(CONFIGURE OUTPUT ${script} CONTENT "#!/bin/sh\nhere=$(dirname \"$0\")\nexec ${content} \"$@\"\n" @ONLY)
  file(CHMOD ${script} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endfunction()

# tessera-preview shows the directories of PATH under other names, so the scripts use paths relative to their own place.
file(RELATIVE_PATH libraries ${TESSERA_PROGRAMS} ${TESSERA_LIBRARIES})
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
string(REPLACE "${TESSERA_LIBRARIES}" "\"$here\"/${libraries}" emulator "${emulator}")
foreach(name tessera runt tessera-config tessera-conformance)
  tessera_script(${name} "${emulator} \"$here\"/../bin/${name}")
endforeach()
tessera_script(tessera-preview "env \"PATH=$(realpath \"$here\")/../bin:$(realpath \"$here\")/${libraries}:$PATH\" \\
  ${TESSERA_NATIVE}/tessera-preview --tessera \"$here\"/tessera --runt \"$here\"/runt")
