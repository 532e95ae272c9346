# The whole beamformer node on the reference workload: 32 capsules, 18 beams of mixed
# patterns, block 512 at 44.1 kHz.
vk_bench(node_bench SOURCES ${CMAKE_CURRENT_LIST_DIR}/nodeBench.cpp LIBS vk_bench_reference_node)
