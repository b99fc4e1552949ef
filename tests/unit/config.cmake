tessera_unit_test(config_test SOURCES config_test.cc LIBRARIES config tools)
target_compile_definitions(config_test PRIVATE CONFIG_DATA="${CMAKE_CURRENT_LIST_DIR}/config/")

add_test(NAME tessera-config COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/tessera-config.sh ${TESSERA_PROGRAMS}/tessera-config)
