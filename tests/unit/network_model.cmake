tessera_unit_test(network_model SOURCES network_model_test.cc LIBRARIES config tools)
target_compile_definitions(network_model PRIVATE NETWORK_MODEL_DATA="${CMAKE_SOURCE_DIR}/tests/golden/network-model/")
