# Objects compiled for AVX2 or AVX-512 define no weak symbols: of equal inline functions the linker
# keeps one, and if it keeps such a copy, machines without the set stop at an illegal instruction.

list(FILTER OBJECTS INCLUDE REGEX "_avx(2|512)\\.cpp")
foreach(object IN LISTS OBJECTS)
    execute_process(COMMAND ${NM} -C --defined-only ${object} OUTPUT_VARIABLE listing
                    COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "[^\n]* W [^\n]*" shared "${listing}")
    if(shared)
        list(JOIN shared "\n" lines)
        message(FATAL_ERROR "${object} shares:\n${lines}")
    endif()
endforeach()
