add_library(fake_platform STATIC ${CMAKE_CURRENT_LIST_DIR}/fake_platform.cc)
target_include_directories(fake_platform PUBLIC ${CMAKE_SOURCE_DIR}/src)
target_link_libraries(fake_platform PUBLIC tools)
tessera_unit_test(network_test SOURCES network_test.cc LIBRARIES tessera_mappers fake_platform)
