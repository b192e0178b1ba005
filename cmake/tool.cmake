# The command-line tool. It links the static library, so that it runs without the shared one.

file(GLOB tool_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/*.cpp)
include(demo_page)
viq_add_demo_page(tool_sources)
add_executable(viq_tool ${tool_sources})
# In a directory of its own, because "viq" is also the name of the build target of the library.
set_target_properties(viq_tool PROPERTIES OUTPUT_NAME viq
                                          RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
target_include_directories(viq_tool PRIVATE ${PROJECT_SOURCE_DIR})
option(VIQ_SOURCE_SAMPLES "The tool finds the samples in the source folder from any place" ON)
if(VIQ_SOURCE_SAMPLES)
    target_compile_definitions(viq_tool PRIVATE VIQ_SAMPLES_DIR="${PROJECT_SOURCE_DIR}/samples")
endif()
find_package(Threads REQUIRED)
target_link_libraries(viq_tool PRIVATE viq_static viq_warnings Threads::Threads)

# Header-only packages of the host are used for every target system. Their directory may also hold
# the system headers of the host; a cross compiler therefore gets a directory of links to them.
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

# Libraries of other file formats. Without them the tool works and names the formats that it cannot
# read. VIQ_TOOL_LIBRARIES=OFF builds without them.
option(VIQ_TOOL_LIBRARIES "Read further file formats in the tool by libpng, libjpeg and libtiff" ON)
target_compile_definitions(viq_tool PRIVATE VIQ_TOOL_VERSION="${PROJECT_VERSION}")
foreach(row PNG:PNG:PNG::PNG LIBJPEG:JPEG:JPEG::JPEG LIBTIFF:TIFF:TIFF::TIFF)
    string(REGEX MATCH "^([A-Z]+):([A-Z]+):(.*)$" ignored ${row})
    set(macro VIQ_HAS_${CMAKE_MATCH_1})
    set(package ${CMAKE_MATCH_2})
    set(library ${CMAKE_MATCH_3})
    if(VIQ_TOOL_LIBRARIES AND NOT CMAKE_CROSSCOMPILING)
        find_package(${package} QUIET)
    endif()
    if(VIQ_TOOL_LIBRARIES AND ${package}_FOUND AND NOT CMAKE_CROSSCOMPILING)
        target_compile_definitions(viq_tool PRIVATE ${macro}=1)
        target_link_libraries(viq_tool PRIVATE ${library})
    else()
        target_compile_definitions(viq_tool PRIVATE ${macro}=0)
    endif()
endforeach()
