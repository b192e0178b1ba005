# Installs the headers, both libraries, their CMake and pkg-config packages, and the tool with its samples.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/viq)

# Building the tool alone leaves out the shared library: name the missing file and the command.
set(installed_targets viq viq_static)
if(VIQ_TOOL)
    list(APPEND installed_targets viq_tool)
endif()
foreach(target IN LISTS installed_targets)
    install(CODE "
        if(NOT EXISTS \"$<TARGET_FILE:${target}>\")
            message(FATAL_ERROR \"$<TARGET_FILE:${target}> has not been built. Before installing, run: \"
                                \"cmake --build ${PROJECT_BINARY_DIR}\")
        endif()")
endforeach()

install(TARGETS viq viq_static EXPORT viqTargets)
install(FILES include/viq.h include/viq.hpp TYPE INCLUDE)
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

# The prefix is relative to the directory of viq.pc, so that an installed tree can be moved.
file(RELATIVE_PATH VIQ_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(viq.pc.in viq.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/viq.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

include(manual_pages)
