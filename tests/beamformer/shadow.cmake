# The shadow filter, and the filter changes it shares with the modal beamformer.
vk_test(NAME shadow_tests LABEL unit
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/shadowFilterTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/shadowTransitionTest.cpp
  LIBS vk_beamformer)
