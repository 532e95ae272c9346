# The spherical decomposition, 32 capsules to 16 modes, as a real-time factor.
vk_bench(ebf_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/ebfBench.cpp LIBS vk_beamformer)
