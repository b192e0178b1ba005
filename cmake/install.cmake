# Installed: the headers, both libraries, the tool with its samples, and what finds them again.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/viq)

install(TARGETS viq viq_static EXPORT viqTargets)
install(FILES include/viq.h TYPE INCLUDE)
install(DIRECTORY include/viq TYPE INCLUDE FILES_MATCHING PATTERN "*.h")
install(EXPORT viqTargets NAMESPACE viq:: DESTINATION ${package_dir})
if(VIQ_TOOL)
    install(TARGETS viq_tool)
    install(DIRECTORY samples DESTINATION ${CMAKE_INSTALL_DATADIR}/viq)
endif()

configure_package_config_file(cmake/viqConfig.cmake.in viqConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(viqConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/viqConfig.cmake ${PROJECT_BINARY_DIR}/viqConfigVersion.cmake
        DESTINATION ${package_dir})

# The prefix is written relative to the file, so that an installed tree can move.
file(RELATIVE_PATH VIQ_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(viq.pc.in viq.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/viq.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
