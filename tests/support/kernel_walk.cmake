# The walk over all kernel tables, for the test that proves the kernels and the bench that times them. Every file
# kernel_walk_*.cpp beside this one registers the slots of one family. An object library, so that the linker keeps
# the registrations.
if(NOT TARGET kernel_walk)
  file(GLOB _kernel_walk_sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_LIST_DIR}/kernel_walk*.cpp")
  add_library(kernel_walk OBJECT ${_kernel_walk_sources})
  target_include_directories(kernel_walk PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(kernel_walk PUBLIC codec PRIVATE watchwall_options)
endif()
