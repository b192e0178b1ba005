# The command-line tool; it links the static library and runs from anywhere.

file(GLOB tool_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/*.cpp)
add_executable(viq_tool ${tool_sources})
# Of its own directory, because the build target of the library bears the same name.
set_target_properties(viq_tool PROPERTIES OUTPUT_NAME viq
                                          RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
target_include_directories(viq_tool PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_definitions(viq_tool PRIVATE VIQ_SAMPLES_DIR="${PROJECT_SOURCE_DIR}/samples")
target_link_libraries(viq_tool PRIVATE viq_static viq_warnings)

# Header-only packages of the host serve every target. Their directory may hold the host's own
# system headers as well, so that a cross compiler sees them through links instead.
foreach(package CLI nlohmann)
    find_path(VIQ_${package}_HEADERS ${package} NO_CMAKE_FIND_ROOT_PATH)
    if(NOT VIQ_${package}_HEADERS)
        message(FATAL_ERROR "The tool needs the headers of CLI11 and nlohmann-json: on Debian, run "
                            "scripts/setup.sh; README.md names the packages of other systems. "
                            "To build without the tool, add -D VIQ_TOOL=OFF.")
    endif()
    if(CMAKE_CROSSCOMPILING)
        set(headers ${PROJECT_BINARY_DIR}/host_headers)
        file(MAKE_DIRECTORY ${headers})
        file(CREATE_LINK ${VIQ_${package}_HEADERS}/${package} ${headers}/${package} SYMBOLIC)
    else()
        set(headers ${VIQ_${package}_HEADERS})
    endif()
    target_include_directories(viq_tool SYSTEM PRIVATE ${headers})
endforeach()
