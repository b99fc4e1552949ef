tessera_unit_test(config_test SOURCES config_test.cc LIBRARIES config tools)

add_test(NAME tessera-config COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/tessera-config.sh ${TESSERA_PROGRAMS}/tessera-config)
