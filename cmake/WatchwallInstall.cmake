# What cmake --install puts where, and the Debian package that cpack makes of it. Components: "programs" for users,
# "development" for projects that embed the control or link the decoder.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Beside the programs, where they look for it; no library of the system's.
set(module_folder lib/watchwall)

install(TARGETS watchwall watchwall-recorder RUNTIME DESTINATION bin COMPONENT programs)
install(TARGETS activex LIBRARY DESTINATION ${module_folder} COMPONENT programs
        PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/config/" DESTINATION ${module_folder}/config COMPONENT programs
        FILES_MATCHING PATTERN "*.ini" PATTERN "*.xml" PATTERN "*.bmp" PATTERN "*.smf" PATTERN art EXCLUDE)
get_target_property(delivered_database runtime_data WATCHWALL_DATABASE)
install(FILES "${PROJECT_SOURCE_DIR}/dvr.bmp" "${delivered_database}" DESTINATION ${module_folder} COMPONENT programs)

# Compressed without a time in it, as packages want them.
find_program(GZIP_TOOL gzip REQUIRED)
set(compressed "")
function(_compress from name)
  set(to "${PROJECT_BINARY_DIR}/packaging/${name}.gz")
  add_custom_command(OUTPUT "${to}"
                     COMMAND "${CMAKE_COMMAND}" -E make_directory "${PROJECT_BINARY_DIR}/packaging"
                     COMMAND "${GZIP_TOOL}" -9nc "${from}" > "${to}"
                     DEPENDS "${from}" VERBATIM)
  set(compressed ${compressed} "${to}" PARENT_SCOPE)
endfunction()
foreach(page watchwall watchwall-recorder)
  _compress("${PROJECT_SOURCE_DIR}/packaging/${page}.1" ${page}.1)
  install(FILES "${PROJECT_BINARY_DIR}/packaging/${page}.1.gz" DESTINATION share/man/man1 COMPONENT programs)
endforeach()
_compress("${PROJECT_SOURCE_DIR}/packaging/changelog" changelog)
install(FILES "${PROJECT_BINARY_DIR}/packaging/changelog.gz" "${PROJECT_SOURCE_DIR}/packaging/copyright"
        DESTINATION share/doc/watchwall COMPONENT programs)
add_custom_target(packaging_files ALL DEPENDS ${compressed})

install(FILES "${PROJECT_SOURCE_DIR}/packaging/watchwall.desktop" DESTINATION share/applications COMPONENT programs)
install(FILES "${PROJECT_SOURCE_DIR}/packaging/watchwall.svg" DESTINATION share/icons/hicolor/scalable/apps
        COMPONENT programs)
install(FILES "${PROJECT_SOURCE_DIR}/packaging/org.watchwall.Watchwall.metainfo.xml" DESTINATION share/metainfo
        COMPONENT programs)

# The CMake package.
set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Watchwall)
set_target_properties(watchwall_codec PROPERTIES EXPORT_NAME codec)
set_target_properties(watchwall_host PROPERTIES EXPORT_NAME host)
install(TARGETS watchwall_codec watchwall_host EXPORT Watchwall ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT development)
install(EXPORT Watchwall NAMESPACE watchwall:: FILE WatchwallTargets.cmake DESTINATION ${package_folder}
        COMPONENT development)
install(FILES "${PROJECT_SOURCE_DIR}/codec/codec.h" "${PROJECT_SOURCE_DIR}/codec/decoder.h"
        DESTINATION include/watchwall/codec COMPONENT development)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/inc/host" DESTINATION include/watchwall/inc COMPONENT development
        FILES_MATCHING PATTERN "*.h")
set(WATCHWALL_MODULE_FILE ${module_folder}/activex.ocx)
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/WatchwallConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/packaging/WatchwallConfig.cmake"
                              INSTALL_DESTINATION ${package_folder} PATH_VARS WATCHWALL_MODULE_FILE)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/packaging/WatchwallConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/packaging/WatchwallConfig.cmake"
              "${PROJECT_BINARY_DIR}/packaging/WatchwallConfigVersion.cmake"
        DESTINATION ${package_folder} COMPONENT development)

# The Debian package holds the programs alone.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME watchwall)
set(CPACK_PACKAGE_VENDOR Watchwall)
set(CPACK_PACKAGE_CONTACT "The Watchwall maintainers <maintainers@watchwall.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "live video of network recorders on a wall of cells")
set(CPACK_PACKAGE_DESCRIPTION
"Watchwall logs on to a video recorder by its net id, finds it through a
directory, and shows its channels live in the cells of a video wall. It
comes with a recorder that serves camera streams, files and test pictures.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL programs)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-noto-cjk")
set(CPACK_POST_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/WatchwallDebScripts.cmake")
include(CPack)
