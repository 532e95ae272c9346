# The main window's arrangement and its About box, with the picture resources they show.
target_sources(vk_app PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/CMainWindowLayout.h ${CMAKE_CURRENT_LIST_DIR}/CMainWindowLayout.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CAboutBox.h ${CMAKE_CURRENT_LIST_DIR}/CAboutBox.cpp
)
target_link_libraries(vk_app PUBLIC vk_widgets vk_resources)
