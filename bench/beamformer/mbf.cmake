# The modal beamformer of one beam, steady and during a filter change.
vk_bench(mbf_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/mbfBench.cpp LIBS vk_beamformer)
