# The pattern library: catalogue and factory, crossover and equaliser filters, the
# designed order filters and the polar curves, all measured from the compiled tables.
vk_test(NAME pattern_tests LABEL unit
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/patternCatalogueTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/patternSplitFiltersTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/patternOrderFiltersTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/patternPolarTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/patternFoldedFiltersTest.cpp
  LIBS vk_beamformer)
