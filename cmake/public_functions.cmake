# The public functions are those that the header marks with VIQ_API, one declaration per line.

function(viq_read_public_functions header result)
    file(STRINGS ${header} lines REGEX "^ *VIQ_API [^(]*[A-Za-z0-9_]+\\(")
    set(names)
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "^ *VIQ_API [^(]*[ *]([A-Za-z0-9_]+)\\(.*$" "\\1" name "${line}")
        list(APPEND names ${name})
    endforeach()
    list(SORT names)
    set(${result} ${names} PARENT_SCOPE)
endfunction()

# Instantiations of templates of the C++ library are exported in spite of hidden visibility; the
# linker script removes them. The export list of a Windows library is read from the header.
function(viq_export_public_functions target header)
    if(WIN32)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
        viq_read_public_functions(${header} names)
        list(JOIN names "\n    " lines)
        file(CONFIGURE OUTPUT viq.def CONTENT "EXPORTS\n    ${lines}\n")
        target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/viq.def)
        target_compile_definitions(${target} INTERFACE VIQ_DLL)
    elseif(NOT APPLE)
        set(map ${PROJECT_SOURCE_DIR}/cmake/exports.map)
        target_link_options(${target} PRIVATE -Wl,--version-script=${map})
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
    endif()
endfunction()
