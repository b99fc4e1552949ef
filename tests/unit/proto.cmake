find_package(OpenSSL REQUIRED COMPONENTS Crypto)
tessera_unit_test(proto_test SOURCES proto_test.cc LIBRARIES tessera_mappers fake_platform OpenSSL::Crypto)
