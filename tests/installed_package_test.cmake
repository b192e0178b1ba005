# A program outside the source tree finds the installed library, through CMake and through
# pkg-config. It is built with the generator and the compilers of the library.

find_program(PKG_CONFIG NAMES pkg-config pkgconf)
if(NOT PKG_CONFIG)
    message("skipped: pkg-config is missing")
    return()
endif()

set(prefix ${BUILD}/installed)
set(consumer ${BUILD}/consumer)
file(REMOVE_RECURSE ${prefix} ${consumer})

function(run)
    execute_process(COMMAND ${ARGN} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${SOURCE}/examples -B ${consumer} -G ${GENERATOR}
    -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM} -DCMAKE_C_COMPILER=${C_COMPILER}
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${consumer})
set(sample ${SOURCE}/samples/chelsea.bmp)
foreach(command first_steps first_steps_static "four_cameras 2 ." "thumbnail ${sample} small.jpg"
        "strips_in_cpp ${sample} grey.bmp")
    separate_arguments(command UNIX_COMMAND ./${command})
    execute_process(COMMAND ${command} WORKING_DIRECTORY ${consumer} OUTPUT_QUIET
                    COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# The documents, and what belongs to the tool if it has been installed.
set(documents man/man3/viq.3 doc/viq/THIRD_PARTY.md)
file(GLOB tools ${prefix}/bin/viq*)
if(tools)
    list(APPEND documents man/man1/viq.1 man/man1/viq-convert.1 bash-completion/completions/viq
         zsh/site-functions/_viq)
endif()
foreach(document IN LISTS documents)
    if(NOT EXISTS ${prefix}/share/${document})
        message(FATAL_ERROR "not installed: share/${document}")
    endif()
endforeach()

file(GLOB_RECURSE pc ${prefix}/viq.pc)
cmake_path(GET pc PARENT_PATH pc_directory)
set(ENV{PKG_CONFIG_PATH} ${pc_directory})
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs viq OUTPUT_VARIABLE flags
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
file(GLOB examples ${SOURCE}/examples/*.c)
foreach(example IN LISTS examples)
    run(${C_COMPILER} -std=c99 ${example} -o ${consumer}/by_pkg_config -pthread ${flags})
endforeach()
