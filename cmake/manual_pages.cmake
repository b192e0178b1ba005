# Man pages and the completion of commands. Those of the tool are written by the tool itself after
# it has been linked, unless it runs on another system. viq(3) lists the headers with the first
# sentence of each; with Python every function and every group of the headers has a page as well.

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

set(viq_function_pages)
find_program(VIQ_PYTHON NAMES python3 DOC "Python 3.9 or later, which generates the Python package")
if(VIQ_PYTHON AND NOT CMAKE_CROSSCOMPILING)
    set(viq_function_pages ".PP
Every function has a page of its own, such as
.BR VIQ_image_create (3);
the page of a family, such as
.BR viq_image (3),
lists its functions.")
    set(writer ${PROJECT_SOURCE_DIR}/scripts/manual/function_pages.py)
    add_custom_command(
        OUTPUT ${manual_dir}/functions_written
        COMMAND ${CMAKE_COMMAND} -E rm -rf ${manual_dir}/functions
        COMMAND ${VIQ_PYTHON} -B ${writer} ${PROJECT_SOURCE_DIR}/include ${manual_dir}/functions
                ${PROJECT_VERSION}
        COMMAND ${CMAKE_COMMAND} -E touch ${manual_dir}/functions_written
        DEPENDS ${headers} ${writer} ${PROJECT_SOURCE_DIR}/python/public_headers.py VERBATIM)
    add_custom_target(viq_manual_pages ALL DEPENDS ${manual_dir}/functions_written)
    install(DIRECTORY ${manual_dir}/functions/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man3
            COMPONENT development OPTIONAL)
endif()
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
