# What the files of a Windows build contain besides code: version resources, the tool's manifest, no
# debugging symbols in a release.

if(NOT WIN32)
    return()
endif()
enable_language(RC)

# 4.20.6 is 4.2.0.6 in four parts, the digits of VIQ_VERSION.
string(REGEX REPLACE "^([0-9]+)\\.([0-9])([0-9])\\.([0-9]+)$" "\\1.\\2.\\3.\\4" VIQ_VERSION_TEXT
                     ${PROJECT_VERSION})
string(REPLACE "." "," VIQ_FILE_VERSION ${VIQ_VERSION_TEXT})

function(viq_add_version_resource target type description manifest)
    set(VIQ_FILE_TYPE ${type})
    set(VIQ_FILE_DESCRIPTION ${description})
    get_target_property(VIQ_FILE_NAME ${target} OUTPUT_NAME)
    if(NOT VIQ_FILE_NAME)
        set(VIQ_FILE_NAME ${target})
    endif()
    set(VIQ_MANIFEST "")
    if(type STREQUAL VFT_APP)
        string(APPEND VIQ_FILE_NAME .exe)
        set(VIQ_MANIFEST "1 24 \"${manifest}\"")
    else()
        string(APPEND VIQ_FILE_NAME .dll)
    endif()
    configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${target}.rc @ONLY)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
    if(MINGW)
        target_link_options(${target} PRIVATE $<$<CONFIG:Release>:-s>)
    endif()
endfunction()

viq_add_version_resource(viq VFT_DLL "VIQ imaging library" "")
if(VIQ_TOOL)
    viq_add_version_resource(viq_tool VFT_APP "VIQ command-line tool"
                             ${PROJECT_SOURCE_DIR}/cmake/viq.manifest)
    # Pictures may need more than 2 GiB.
    if(MINGW)
        target_link_options(viq_tool PRIVATE -Wl,--large-address-aware)
    endif()
endif()
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/viq.def DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT development)
