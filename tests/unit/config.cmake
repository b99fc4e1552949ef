tessera_unit_test(config_test SOURCES config_test.cc LIBRARIES config tools)
