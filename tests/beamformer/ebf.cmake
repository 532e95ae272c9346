# The spherical decomposition: its tables, its filters and the processing object.
vk_test(NAME ebf_tests LABEL unit
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/ebfTablesTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ebfProcessTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ebfContractTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/ebfModeFilterTest.cpp
  LIBS vk_beamformer)
