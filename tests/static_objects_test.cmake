# All objects of the library that can change are declared with VIQ_PER_CONTEXT, which adds the suffix
# _of_process to the name of context 0's object, or are in this list with the reason why threads can
# share them.

cmake_policy(VERSION 3.25)

set(shared
    "image_slots"        # handles: looked up without a lock, changed under one
    "handles"            # which of them are free: under that lock
    "image_companions"   # maps that are searched without a lock
    "record_companions"
    "held_memory"
    "colourmaps"
    "unused_colourmaps"  # a lock
    "live_instances"
    "contexts"           # changed under their lock
    "hues"               # made once
    "selected"           # the instruction set, selected once
    "counts"             # of VIQ_DebugMalloc: atomic sums
    "gate"               # atomic: what the library has allocated, and whether a limit is set
    "limits_set"         # atomic
    "last_refusal"       # of each thread
    "allocation_faults"  # set by tests
    "opener_of_tests"    # set by tests
    "windows_of_tests"   # set by tests
    "x11_functions"      # the libraries, loaded once
    "connection_lock"    # of the lists of connections of libX11,
    "handler_lock"       # of the error handlers of libX11, and
    "connections"        # how many displays need them
    "previous_error_handler" # atomic: what they replace
    "previous_lost_handler"  # atomic
    "current_window"     # of each thread
    "reports_made"       # atomic
    "handlers_running"   # atomic
    "contexts_exist"     # atomic
    "bound_context"      # of each thread
    "in_handler"         # of each thread
    "releases"           # of each thread
)
set(of_compiler "completed.0|DW.ref.*|__.*|_DYNAMIC|_GLOBAL_OFFSET_TABLE_")

execute_process(COMMAND ${OBJDUMP} -t -C ${LIBRARY} OUTPUT_VARIABLE listing COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE ";" "," listing "${listing}")
string(REGEX MATCHALL "[^\n]* O [.a-z_]+\t[^\n]*" rows "${listing}")
set(declared 0)
set(objects 0)
set(unexplained)
foreach(row IN LISTS rows)
    string(REGEX MATCH " O ([.a-z_]+)\t[0-9a-f]+ +(.hidden )?(.*)$" row "${row}")
    set(section ${CMAKE_MATCH_1})
    set(name "${CMAKE_MATCH_3}")
    string(REGEX REPLACE "^.*::" "" last "${name}")
    if(last MATCHES "^(${of_compiler})$")
        continue()
    elseif(section STREQUAL "viq_context")
        math(EXPR declared "${declared} + 1")
    elseif(NOT section MATCHES "^\\.(data|bss|tdata|tbss)$")
        continue()
    elseif(last MATCHES "_of_process$")
        math(EXPR objects "${objects} + 1")
    elseif(NOT last IN_LIST shared)
        list(APPEND unexplained "${section} ${name}")
    endif()
endforeach()
if(unexplained)
    list(JOIN unexplained "\n" lines)
    message(FATAL_ERROR "All threads share these objects:\n${lines}")
endif()
if(declared EQUAL 0 OR NOT declared EQUAL objects)
    message(FATAL_ERROR "${declared} declarations with VIQ_PER_CONTEXT, but ${objects} objects of context 0")
endif()
message(STATUS "${declared} objects in every context")
