# The public functions are those that the headers mark with VIQ_API; a declaration has its name on
# the line of the mark.

function(viq_find_public_headers include result)
    file(GLOB headers ${include}/viq.h ${include}/viq/*.h)
    set(${result} ${headers} PARENT_SCOPE)
endfunction()

function(viq_read_public_functions include result)
    viq_find_public_headers(${include} headers)
    set(names)
    foreach(header IN LISTS headers)
        file(STRINGS ${header} lines REGEX "^ *VIQ_API [^(]*[A-Za-z0-9_]+\\(")
        foreach(line IN LISTS lines)
            string(REGEX REPLACE "^ *VIQ_API [^(]*[ *]([A-Za-z0-9_]+)\\(.*$" "\\1" name "${line}")
            list(APPEND names ${name})
        endforeach()
    endforeach()
    list(SORT names)
    set(${result} ${names} PARENT_SCOPE)
endfunction()

# Instantiations of templates of the C++ library are exported in spite of hidden visibility; the
# linker script removes them. The export list of a Windows library is read from the headers.
function(viq_export_public_functions target include)
    if(WIN32)
        viq_find_public_headers(${include} headers)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${headers})
        viq_read_public_functions(${include} names)
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
