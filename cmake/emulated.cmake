# Programs for another processor, as tests call them: TESSERA_PROGRAMS becomes a directory of scripts that start each in
# the emulator. The preview is the machine's own (TESSERA_NATIVE, a directory of native programs): it changes the root
# directory, and the emulator takes a program's "/" for that of its libraries.
set(TESSERA_NATIVE ${CMAKE_SOURCE_DIR}/build/release/bin CACHE PATH "where the machine's own tessera-preview is")
set(TESSERA_PROGRAMS ${CMAKE_BINARY_DIR}/emulated)

function(tessera_script name content)
  set(script ${TESSERA_PROGRAMS}/${name})
  file(CONFIGURE OUTPUT ${script} CONTENT "#!/bin/sh\nhere=$(dirname \"$0\")\nexec ${content} \"$@\"\n" @ONLY)
  file(CHMOD ${script} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endfunction()

# The preview shows the directories in PATH under another name: what the scripts start is named from here.
file(RELATIVE_PATH libraries ${TESSERA_PROGRAMS} ${TESSERA_LIBRARIES})
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
string(REPLACE "${TESSERA_LIBRARIES}" "\"$here\"/${libraries}" emulator "${emulator}")
foreach(name tessera runt tessera-config tessera-conformance)
  tessera_script(${name} "${emulator} \"$here\"/../bin/${name}")
endforeach()
tessera_script(tessera-preview "env \"PATH=$(realpath \"$here\")/../bin:$(realpath \"$here\")/${libraries}:$PATH\" \\
  ${TESSERA_NATIVE}/tessera-preview --tessera \"$here\"/tessera --runt \"$here\"/runt")
