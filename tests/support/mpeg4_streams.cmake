# MPEG-4 test streams and their oracle, for tests and benches.
if(NOT TARGET mpeg4_streams)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(LAVC REQUIRED IMPORTED_TARGET libavcodec libavutil)
  add_library(mpeg4_streams STATIC "${CMAKE_CURRENT_LIST_DIR}/mpeg4_streams.cpp"
                                   "${CMAKE_CURRENT_LIST_DIR}/mpeg4_scene.cpp")
  target_include_directories(mpeg4_streams PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(mpeg4_streams PUBLIC codec PRIVATE PkgConfig::LAVC watchwall_options)
endif()
