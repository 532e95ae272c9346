# Helpers shared by every folder of the project.

# Where an LV2 plug-in bundle installs its folder: a path LV2 hosts search by default.
set(VK_INSTALL_LV2DIR lib/lv2)

# Adds each listed folder that has a CMakeLists.txt; a subsystem not written yet is skipped.
function(vk_add_subdirectories)
  foreach(dir IN LISTS ARGN)
    if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/${dir}/CMakeLists.txt)
      add_subdirectory(${dir})
    endif()
  endforeach()
endfunction()

# A library of the project; sources include headers by their path from the repository root.
function(vk_library name)
  add_library(${name} ${ARGN})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
endfunction()

# A GoogleTest executable registered with ctest under a label: unit, integration or slow.
# vk_test(NAME name LABEL label SOURCES ... LIBS ...)
function(vk_test)
  cmake_parse_arguments(T "" "NAME;LABEL;TIMEOUT" "SOURCES;LIBS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE vk_test_support ${T_LIBS})
  add_test(NAME ${T_NAME} COMMAND ${T_NAME})
  if(NOT T_TIMEOUT)
    set(T_TIMEOUT 300)
  endif()
  set_tests_properties(${T_NAME} PROPERTIES LABELS ${T_LABEL} TIMEOUT ${T_TIMEOUT}
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
endfunction()

# A Google Benchmark executable; benchmarks are never run by ctest.
function(vk_bench name)
  cmake_parse_arguments(B "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${B_SOURCES})
  target_link_libraries(${name} PRIVATE vk_bench_support ${B_LIBS})
endfunction()
