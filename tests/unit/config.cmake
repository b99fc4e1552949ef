tessera_unit_test(config_test SOURCES config_test.cc LIBRARIES config tools)
target_compile_definitions(config_test PRIVATE CONFIG_DATA="${CMAKE_CURRENT_LIST_DIR}/config/")
