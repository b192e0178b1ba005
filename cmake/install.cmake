# Installs the headers, both libraries, their CMake and pkg-config packages, the examples, and the
# tool with its samples. Each component becomes a Debian package, see package.cmake.

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

install(TARGETS viq EXPORT viqTargets
        RUNTIME COMPONENT library
        LIBRARY COMPONENT library NAMELINK_COMPONENT development
        ARCHIVE COMPONENT development)
install(TARGETS viq_static EXPORT viqTargets COMPONENT development)
install(FILES include/viq.h include/viq.hpp TYPE INCLUDE COMPONENT development)
install(DIRECTORY include/viq TYPE INCLUDE COMPONENT development FILES_MATCHING PATTERN "*.h*")
install(EXPORT viqTargets NAMESPACE viq:: DESTINATION ${package_dir} COMPONENT development)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/libviq-dev
        COMPONENT development)
if(VIQ_TOOL)
    install(TARGETS viq_tool COMPONENT tool)
    install(DIRECTORY samples DESTINATION ${CMAKE_INSTALL_DATADIR}/viq COMPONENT tool)
endif()

configure_package_config_file(cmake/viqConfig.cmake.in viqConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(viqConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/viqConfig.cmake ${PROJECT_BINARY_DIR}/viqConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

# The prefix is relative to the directory of viq.pc, so that an installed tree can be moved.
file(RELATIVE_PATH VIQ_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
set(VIQ_PC_SYSTEM_LIBRARIES "")
if(WIN32)
    set(VIQ_PC_SYSTEM_LIBRARIES " -lgdi32")
endif()
configure_file(viq.pc.in viq.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/viq.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

include(manual_pages)

# The Python package of a system finds the shared library where the linker does.
if(EXISTS ${PROJECT_SOURCE_DIR}/python/viq/__init__.py)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/python/viq
            DESTINATION lib/python3/dist-packages COMPONENT python OPTIONAL
            FILES_MATCHING PATTERN "*.py" PATTERN "*.pyi" PATTERN "py.typed")
endif()
