tessera_unit_test(tools_test SOURCES ${CMAKE_CURRENT_LIST_DIR}/tools_test.cc LIBRARIES tools)
