# The command-line tool. It links the static library, so that it runs without the shared one.

find_package(Threads REQUIRED)
file(GLOB tool_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/*.cpp)
include(demo_page)
viq_add_demo_page(tool_sources)

# Header-only packages of the host are used for every target system. Their directory may also hold
# the system headers of the host; a cross compiler therefore gets a directory of links to them.
set(tool_headers)
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
    list(APPEND tool_headers ${headers})
endforeach()

# Libraries of other file formats. Without them the tool works and names the formats that it cannot
# read. VIQ_TOOL_LIBRARIES=OFF builds without them.
option(VIQ_TOOL_LIBRARIES "Read further file formats in the tool by libpng, libjpeg and libtiff" ON)

option(VIQ_SOURCE_SAMPLES "The tool finds the samples in the source folder from any place" ON)

# Compiled once for all tools; only the sources that name the libraries are compiled for each.
set(library_users)
foreach(source IN LISTS tool_sources)
    file(STRINGS ${source} uses REGEX "VIQ_HAS_" LIMIT_COUNT 1)
    if(uses)
        list(APPEND library_users ${source})
    endif()
endforeach()
list(REMOVE_ITEM tool_sources ${library_users})

# CLI11 is compiled again in every source that includes it, which takes most of the build's time. Such
# sources are compiled as two.
set(sources_with_options)
foreach(source IN LISTS tool_sources)
    file(STRINGS ${source} includes REGEX "^#include <CLI/")
    if(includes)
        list(APPEND sources_with_options ${source})
    endif()
endforeach()
list(LENGTH sources_with_options number)
math(EXPR half "${number} / 2")
list(SUBLIST sources_with_options 0 ${half} first_half)
list(SUBLIST sources_with_options ${half} -1 second_half)
set_source_files_properties(${first_half} PROPERTIES UNITY_GROUP first_options)
set_source_files_properties(${second_half} PROPERTIES UNITY_GROUP second_options)

add_library(viq_tool_objects OBJECT ${tool_sources})
set_target_properties(viq_tool_objects PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
target_compile_definitions(viq_tool_objects PRIVATE VIQ_TOOL_VERSION="${PROJECT_VERSION}")
if(VIQ_SOURCE_SAMPLES)
    target_compile_definitions(viq_tool_objects PRIVATE
                               VIQ_SAMPLES_DIR="${PROJECT_SOURCE_DIR}/samples")
endif()

# With sanitizers, full optimisation of the tool takes longer than its tests gain by it.
function(viq_set_tool_environment target)
    target_compile_options(${target} PRIVATE $<$<CONFIG:Debug>:-Og>)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    target_include_directories(${target} SYSTEM PRIVATE ${tool_headers})
    target_link_libraries(${target} PRIVATE viq_static viq_warnings Threads::Threads)
endfunction()
viq_set_tool_environment(viq_tool_objects)

# In a directory of its own, because "viq" is also the name of the build target of the library.
function(viq_add_tool target folder with_libraries)
    add_executable(${target} ${library_users} $<TARGET_OBJECTS:viq_tool_objects>)
    set_target_properties(${target} PROPERTIES OUTPUT_NAME viq RUNTIME_OUTPUT_DIRECTORY ${folder})
    viq_set_tool_environment(${target})
    foreach(row PNG:PNG:PNG::PNG LIBJPEG:JPEG:JPEG::JPEG LIBTIFF:TIFF:TIFF::TIFF)
        string(REGEX MATCH "^([A-Z]+):([A-Z]+):(.*)$" ignored ${row})
        set(macro VIQ_HAS_${CMAKE_MATCH_1})
        set(package ${CMAKE_MATCH_2})
        set(library ${CMAKE_MATCH_3})
        if(with_libraries AND NOT CMAKE_CROSSCOMPILING)
            find_package(${package} QUIET)
        endif()
        if(with_libraries AND ${package}_FOUND AND NOT CMAKE_CROSSCOMPILING)
            target_compile_definitions(${target} PRIVATE ${macro}=1)
            target_link_libraries(${target} PRIVATE ${library})
        else()
            target_compile_definitions(${target} PRIVATE ${macro}=0)
        endif()
    endforeach()
endfunction()

viq_add_tool(viq_tool ${PROJECT_BINARY_DIR}/bin ${VIQ_TOOL_LIBRARIES})

# What the tool does on a system without those libraries; the tests compare with it.
viq_add_tool(viq_tool_alone ${PROJECT_BINARY_DIR}/bin/alone OFF)
set_target_properties(viq_tool_alone PROPERTIES EXCLUDE_FROM_ALL ON)
