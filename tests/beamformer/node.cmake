# The beamformer node and its engine: parameters, signal path modes, delays, and beams on
# the modelled rigid sphere.
vk_test(NAME node_tests LABEL unit
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/nodeSphereTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/nodeParameterTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/nodeEngineTest.cpp
  LIBS vk_beamformer vk_scene)
