# The high-frequency section: cell maps against the nearest-capsule and triangle rules,
# and the fades that follow a beam from cell to cell.
vk_test(NAME hf_tests LABEL unit
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/hfCellMapTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/hfSectionTest.cpp
  LIBS vk_beamformer)
