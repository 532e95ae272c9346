# The main window's arrangement, its About box and the picture resources.
find_package(Qt6 REQUIRED COMPONENTS Test)
vk_test(NAME main_window_layout_tests LABEL unit
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/MainWindowLayoutTest.cpp
          ${CMAKE_CURRENT_LIST_DIR}/MainWindowLayoutAboutBoxTest.cpp
          ${CMAKE_CURRENT_LIST_DIR}/MainWindowLayoutResourcesTest.cpp
  LIBS vk_app Qt6::Test)
vk_test(NAME main_window_screen_tests LABEL integration TIMEOUT 180
  SOURCES ${CMAKE_CURRENT_LIST_DIR}/AppTestSupport.h ${CMAKE_CURRENT_LIST_DIR}/MainWindowFixture.h
          ${CMAKE_CURRENT_LIST_DIR}/MainWindowLayoutScreenTest.cpp
  LIBS vk_app vk_fake_driver Qt6::Test)
