vk_test(NAME tracks_widgets_tests LABEL unit
  SOURCES TransportTest.cpp FileNavigatorTest.cpp SelectionWidgetsTest.cpp
  LIBS vk_widgets Qt6::Test)
