# MPEG-4 and H.264 test streams and their oracle, for tests and benches.
if(NOT TARGET test_streams)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(LAVC REQUIRED IMPORTED_TARGET libavcodec libavutil)
  file(GLOB _test_streams_sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_LIST_DIR}/h264_*.cpp")
  add_library(test_streams STATIC "${CMAKE_CURRENT_LIST_DIR}/mpeg4_streams.cpp" "${CMAKE_CURRENT_LIST_DIR}/lavc_support.cpp"
                                  "${CMAKE_CURRENT_LIST_DIR}/test_picture.cpp" "${CMAKE_CURRENT_LIST_DIR}/test_scene.cpp"
                                  "${CMAKE_CURRENT_LIST_DIR}/stream_damage.cpp"
                                  ${_test_streams_sources})
  target_include_directories(test_streams PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(test_streams PUBLIC codec PRIVATE PkgConfig::LAVC watchwall_options)
endif()
