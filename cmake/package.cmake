# Packages, made by cpack: on Linux Debian packages, one for each component, and an archive of all
# components. The preset "package" builds them for /usr.

set(VIQ_PACKAGE_CONTACT "VIQ developers <maintainers@viq.invalid>"
    CACHE STRING "Name and mail address of the maintainer of the packages")

set(CPACK_PACKAGE_CONTACT "${VIQ_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_VENDOR "VIQ")
set(CPACK_PACKAGE_FILE_NAME viq-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_GENERATOR TGZ)
set(CPACK_STRIP_FILES ON)
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                                GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL library development)
if(VIQ_TOOL)
    list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
if(EXISTS ${PROJECT_SOURCE_DIR}/python/viq/__init__.py)
    list(APPEND CPACK_COMPONENTS_ALL python)
endif()

if(CMAKE_SYSTEM_NAME STREQUAL Linux)
    find_program(VIQ_DPKG_SHLIBDEPS dpkg-shlibdeps)
    if(VIQ_DPKG_SHLIBDEPS)
        list(PREPEND CPACK_GENERATOR DEB)
    endif()
endif()

# The Debian packages. A description is a summary and, from the second line on, a paragraph.
set(library_package libviq${PROJECT_VERSION_MAJOR})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(common_text "\
VIQ converts camera images between pixel formats, processes them, draws
text into them, compresses them with JPEG or a wavelet codec, and reads and
writes BMP, TIFF, TGA and EPS files, whole or strip by strip.")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/documents.cmake)

function(viq_debian_package component name section summary text)
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${common_text}\n\n${text}" PARENT_SCOPE)
endfunction()

viq_debian_package(library ${library_package} libs "imaging library with a flat C interface" "\
This package contains the shared library.")
viq_debian_package(development libviq-dev libdevel "imaging library - development files" "\
This package contains the headers, the static library, the files for CMake
and pkg-config, and example programs.")
viq_debian_package(tool viq graphics "command-line tool of the VIQ imaging library" "\
This package contains the tool, which needs no other package of VIQ, and
the photographs of its demo.")
viq_debian_package(python python3-viq python "imaging library - Python package" "\
This package contains the Python package, which uses the shared library.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
# The modules are compiled when the package is installed, and the compiled files removed with it.
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/postinst
                                              ${PROJECT_SOURCE_DIR}/cmake/debian/prerm)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "${library_package} (>= ${PROJECT_VERSION}), python3 (>= 3.9), python3-numpy")

include(CPack)
