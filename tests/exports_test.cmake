# The shared library exports exactly the functions that the headers declare.

include(${CMAKE_CURRENT_LIST_DIR}/../cmake/public_functions.cmake)
viq_read_public_functions(${CMAKE_CURRENT_LIST_DIR}/../include declared)

if(OBJDUMP)
    # A Windows library: the rows of its name table, "[   0] VIQ_Init".
    set(lister ${OBJDUMP} -p)
    set(row "\n\t\\[ *[0-9]+\\] [A-Za-z_][^\n]*")
else()
    set(lister ${NM} -D --defined-only)
    set(row "[^\n]+")
endif()
execute_process(COMMAND ${lister} ${LIBRARY} OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "${row}" rows "${listing}")
list(TRANSFORM rows REPLACE "^.* ([^ ]+)$" "\\1" OUTPUT_VARIABLE exported)

set(hidden ${declared})
list(REMOVE_ITEM hidden ${exported})
set(stray ${exported})
list(REMOVE_ITEM stray ${declared})
list(LENGTH declared count)
if(hidden OR stray OR count EQUAL 0)
    message(FATAL_ERROR "declared but not exported: ${hidden}\nexported but not declared: ${stray}")
endif()
message(STATUS "${count} functions declared and exported")
