# The modal beamformer: steering tables, glides, beam against a double-precision
# reference, configuration and its results.
vk_test(NAME mbf_tests LABEL unit
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/mbfGlideTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/mbfSteeringTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/mbfContractTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/mbfRestTest.cpp
  LIBS vk_beamformer)

# The control/audio hand-over of the modal beamformer and the shadow filter under
# ThreadSanitizer: everything it runs is compiled into this one executable with
# -fsanitize=thread, whatever the rest of the build uses (but for an address-sanitized
# build, with which it cannot be combined).
option(VK_TSAN_STRESS "Build the filter hand-over stress test with ThreadSanitizer" ON)
find_package(hwy REQUIRED)
find_package(Threads REQUIRED)
file(GLOB vk_mbf_stress_primitives CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/core/primitives/*.cpp)
add_executable(mbf_stress_tests
  ${CMAKE_CURRENT_LIST_DIR}/mbfStressTest.cpp
  ${PROJECT_SOURCE_DIR}/beamformer/CMbf.cpp
  ${PROJECT_SOURCE_DIR}/beamformer/CMbfGlide.cpp
  ${PROJECT_SOURCE_DIR}/beamformer/vkxShadowFilter.cpp
  ${PROJECT_SOURCE_DIR}/beamformer/vkxShadowFilterBanks.cpp
  ${PROJECT_SOURCE_DIR}/beamformer/tables/MbfElevationTable.cpp
  ${PROJECT_SOURCE_DIR}/beamformer/tables/MbfAzimuthTable.cpp
  ${PROJECT_SOURCE_DIR}/core/contract/vkAudioClass.cpp
  ${PROJECT_SOURCE_DIR}/core/contract/vkAudioInterface.cpp
  ${PROJECT_SOURCE_DIR}/core/contract/vkAudioBuffer.cpp
  ${vk_mbf_stress_primitives})
target_include_directories(mbf_stress_tests PRIVATE ${PROJECT_SOURCE_DIR})
if(VK_TSAN_STRESS AND NOT VK_SANITIZE STREQUAL "address")
  target_compile_options(mbf_stress_tests PRIVATE -fsanitize=thread -O1 -g)
  target_link_options(mbf_stress_tests PRIVATE -fsanitize=thread)
endif()
target_link_libraries(mbf_stress_tests PRIVATE hwy::hwy GTest::gtest GTest::gtest_main Threads::Threads)
add_test(NAME mbf_stress_tests COMMAND mbf_stress_tests)
set_tests_properties(mbf_stress_tests PROPERTIES LABELS integration TIMEOUT 60
  ENVIRONMENT "TSAN_OPTIONS=halt_on_error=1 second_deadlock_stack=1")
