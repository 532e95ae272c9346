# The beam track list, its settings files, the transport and navigator, and the input,
# monitor and recording selections.
vk_test(NAME tracks_widgets_tests LABEL unit
  SOURCES TransportTest.cpp FileNavigatorTest.cpp SelectionWidgetsTest.cpp BeamSelectionTest.cpp
          BeamSettingsFileTest.cpp
  LIBS vk_widgets Qt6::Test)

# The renderer reading the track list's file; only where the renderer is built.
if(TARGET vk_render)
  vk_test(NAME tracks_render_tests LABEL unit
    SOURCES BeamFileRendererTest.cpp
    LIBS vk_widgets vk_render Qt6::Test)
endif()
