# The modal beamformer: steering tables, glides, beam against a double-precision
# reference, configuration and its results.
vk_test(NAME mbf_tests LABEL unit
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/mbfGlideTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/mbfSteeringTest.cpp
  LIBS vk_beamformer)
