# Run by cpack before it packs: adds the documents that every Debian package has, the rights and the
# change log, to the files of each component, and compresses the man pages.

if(NOT CPACK_GENERATOR STREQUAL DEB)
    return()
endif()

set(copyright "Upstream-Name: VIQ
Files: *
Copyright: (C) the authors of VIQ
License: not chosen yet, all rights reserved
")
set(samples_copyright "
Files: /usr/share/viq/samples/coffee.bmp
Copyright: Rachel Michetti
License: CC0-1.0

Files: /usr/share/viq/samples/chelsea.bmp
Copyright: Stefan van der Walt
License: CC0-1.0

Files: /usr/share/viq/samples/camera.bmp
Copyright: Lav Varshney
License: CC0-1.0

Files: /usr/share/viq/samples/astronaut.bmp
Copyright: NASA
License: public-domain
")

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    set(package ${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
    set(folder ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr/share/doc/${package})
    set(text "${copyright}")
    if(component STREQUAL tool)
        string(APPEND text "${samples_copyright}")
    endif()
    file(WRITE ${folder}/copyright "${text}")
    file(WRITE ${folder}/changelog
         "viq (${CPACK_PACKAGE_VERSION}) stable; urgency=medium\n\n"
         "  * Version ${CPACK_PACKAGE_VERSION}.\n\n"
         " -- ${CPACK_PACKAGE_CONTACT}  ${date}\n")
    file(GLOB pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr/share/man/man*/*.[1-9])
    execute_process(COMMAND gzip -9nf ${folder}/changelog ${pages} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
