# The beam track list, the transport and navigator, and the input, monitor and recording
# selections. The track list reads and writes beam settings files through their library.
target_sources(vk_widgets PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/CBeamSelectionTrack.h ${CMAKE_CURRENT_LIST_DIR}/CBeamSelectionTrack.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CBeamSelection.h ${CMAKE_CURRENT_LIST_DIR}/CBeamSelection.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CAudioTransport.h ${CMAKE_CURRENT_LIST_DIR}/CAudioTransport.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CAudioFileNavigator.h ${CMAKE_CURRENT_LIST_DIR}/CAudioFileNavigator.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CInputSourceSelection.h ${CMAKE_CURRENT_LIST_DIR}/CInputSourceSelection.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CMonitorUnit.h ${CMAKE_CURRENT_LIST_DIR}/CMonitorUnit.cpp
  ${CMAKE_CURRENT_LIST_DIR}/CRecordingSinkSelection.h ${CMAKE_CURRENT_LIST_DIR}/CRecordingSinkSelection.cpp
)
target_link_libraries(vk_widgets PUBLIC vk_beam_settings)
