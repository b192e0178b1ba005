# Turns the parts of the demo's page, tools/demo/page.html, .css and .js, into a C++ source with a
# text for each.

function(viq_add_demo_page list_name)
    set(folder ${PROJECT_SOURCE_DIR}/tools/demo)
    set(source ${PROJECT_BINARY_DIR}/demo_page/demo_page_parts.cpp)
    set(code "#include \"tools/demo_page.h\"\n\nnamespace tool {\n\n")
    foreach(part html css js)
        file(READ ${folder}/page.${part} text)
        string(APPEND code "const char *const page_${part} = R\"part(${text})part\";\n\n")
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${folder}/page.${part})
    endforeach()
    string(APPEND code "} // namespace tool\n")
    file(CONFIGURE OUTPUT ${source} CONTENT "${code}" @ONLY)
    set(${list_name} ${${list_name}} ${source} PARENT_SCOPE)
endfunction()
