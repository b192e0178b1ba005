# Which folder may include the headers of which: an include that this table does not allow fails the
# test. Every folder may include its own headers and the public ones.
cmake_minimum_required(VERSION 3.25)

set(core "")
set(convert core)
set(files core convert)
set(jpeg core convert)
set(wavelet core)
set(process core convert)
set(camera core convert)
set(draw core convert process) # text drawing crops and inserts
set(display core convert camera) # mosaics are shown in colour
set(library core convert files jpeg wavelet process camera draw display)

set(folders core convert files jpeg wavelet process camera draw display library)
set(wrong)
foreach(folder IN LISTS folders)
    set(allowed viq ${folder} ${${folder}})
    file(GLOB_RECURSE sources RELATIVE ${SOURCE} ${SOURCE}/${folder}/*.cpp ${SOURCE}/${folder}/*.h)
    foreach(source IN LISTS sources)
        file(STRINGS ${SOURCE}/${source} includes REGEX "^#include \"")
        foreach(include IN LISTS includes)
            string(REGEX REPLACE "^#include \"([a-z_]+).*$" "\\1" included "${include}")
            if(NOT included IN_LIST allowed)
                list(APPEND wrong "${source}: ${include}")
            endif()
        endforeach()
    endforeach()
endforeach()

if(wrong)
    list(JOIN wrong "\n  " lines)
    message(FATAL_ERROR "Includes across the layers:\n  ${lines}")
endif()
