# A program outside the tree finds the installed library, through CMake and through pkg-config.

set(prefix ${BUILD}/installed)
set(consumer ${BUILD}/consumer)
file(REMOVE_RECURSE ${prefix} ${consumer})

function(run)
    execute_process(COMMAND ${ARGN} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix})
run(${CMAKE_COMMAND} -S ${SOURCE}/examples -B ${consumer} -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${consumer})
foreach(program first_steps first_steps_static)
    execute_process(COMMAND ./${program} WORKING_DIRECTORY ${consumer} OUTPUT_QUIET
                    COMMAND_ERROR_IS_FATAL ANY)
endforeach()

file(GLOB_RECURSE pc ${prefix}/viq.pc)
cmake_path(GET pc PARENT_PATH pc_directory)
set(ENV{PKG_CONFIG_PATH} ${pc_directory})
execute_process(COMMAND pkg-config --cflags --libs viq OUTPUT_VARIABLE flags
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(cc -std=c99 ${SOURCE}/examples/first_steps.c -o ${consumer}/by_pkg_config ${flags})
