# Man pages and the completion of commands. Those of the tool are written by the tool itself after
# it has been linked, unless it runs on another system. viq(3) lists the headers with the first
# sentence of each.

set(manual_dir ${PROJECT_BINARY_DIR}/manual_pages)

viq_find_public_headers(${PROJECT_SOURCE_DIR}/include headers)
set(viq_header_entries)
foreach(header IN LISTS headers)
    cmake_path(RELATIVE_PATH header BASE_DIRECTORY ${PROJECT_SOURCE_DIR}/include OUTPUT_VARIABLE name)
    if(name STREQUAL viq.h)
        continue()
    endif()
    file(READ ${header} text)
    string(REGEX MATCH "@file\n([^*]|\\*[^/])*\\*/" purpose "${text}")
    string(REPLACE "*/" "" purpose "${purpose}")
    string(REGEX REPLACE "@file|\n \\*" " " purpose "${purpose}")
    string(REGEX REPLACE "[ \n]+" " " purpose "${purpose}")
    string(STRIP "${purpose}" purpose)
    string(REPLACE "\\" "\\e" purpose "${purpose}")
    string(REPLACE "-" "\\-" purpose "${purpose}")
    string(APPEND viq_header_entries ".TP\n.B ${name}\n${purpose}\n")
endforeach()
string(STRIP "${viq_header_entries}" viq_header_entries)
configure_file(docs/man/viq.3.in ${manual_dir}/man3/viq.3 @ONLY)
install(FILES ${manual_dir}/man3/viq.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3
        COMPONENT development)
install(FILES README.md CHANGELOG.md THIRD_PARTY.md TYPE DOC COMPONENT development)

if(VIQ_TOOL AND NOT CMAKE_CROSSCOMPILING)
    add_custom_command(TARGET viq_tool POST_BUILD
                       COMMAND ${CMAKE_COMMAND} -E rm -rf ${manual_dir}/man1
                       COMMAND $<TARGET_FILE:viq_tool> --write-manual ${manual_dir} VERBATIM)
    install(DIRECTORY ${manual_dir}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tool)
    install(FILES ${manual_dir}/bash/viq
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tool)
    install(FILES ${manual_dir}/zsh/_viq DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
            COMPONENT tool)
endif()
