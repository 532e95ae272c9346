vk_test(NAME tracks_widgets_tests LABEL unit
  SOURCES TransportTest.cpp FileNavigatorTest.cpp SelectionWidgetsTest.cpp BeamSelectionTest.cpp
          BeamSettingsFileTest.cpp

  LIBS vk_widgets Qt6::Test)
