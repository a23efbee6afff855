# Where the sources and the build stand, for tests and benches: the one file that differs from one copy of the tree to the
# next.
if(NOT TARGET test_places)
  add_library(test_places STATIC "${CMAKE_CURRENT_LIST_DIR}/test_places.cpp")
  target_compile_definitions(test_places PRIVATE WATCHWALL_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
                                                 WATCHWALL_BINARY_DIR="${PROJECT_BINARY_DIR}")
  target_include_directories(test_places PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(test_places PRIVATE watchwall_options)
endif()
