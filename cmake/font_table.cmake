# Turns the drawing of a font into a C++ source with its glyph table:
#     cmake -DFONT=draw/fonts/NAME.txt -DSOURCE=font_NAME.cpp -P font_table.cmake
# Each row of a glyph becomes whole bytes, the leftmost pixel in the most significant bit. An error
# in the drawing stops the build with the file and the line.

cmake_minimum_required(VERSION 3.25)

function(fail line_number message)
    # CMake prints indented messages unwrapped.
    message(FATAL_ERROR "  ${FONT}:${line_number}: ${message}")
endfunction()

function(check_rows_complete line_number)
    if(glyphs_begun GREATER 0 AND NOT rows_read EQUAL height)
        math(EXPR code "${glyphs_begun} - 1")
        fail(${line_number} "glyph ${code} has ${rows_read} rows instead of ${height}")
    endif()
endfunction()

# Characters that split or join the elements of a CMake list occur in comments and names only.
file(READ "${FONT}" text)
string(REGEX REPLACE "[][;\\\\]" "?" text "${text}")
string(REPLACE "\r" "" text "${text}")
string(REGEX REPLACE "\n$" "" text "${text}")
string(REPLACE "\n" ";" lines "${text}")

set(line_number 0)
set(glyphs_begun 0)
set(rows_read 0)
set(table "")
foreach(line IN LISTS lines)
    math(EXPR line_number "${line_number} + 1")
    if(line MATCHES "^[.#]+$")
        if(glyphs_begun EQUAL 0)
            fail(${line_number} "a row before the first glyph")
        endif()
        string(LENGTH "${line}" length)
        if(NOT length EQUAL width)
            fail(${line_number} "the row has ${length} pixels instead of ${width}")
        endif()
        math(EXPR rows_read "${rows_read} + 1")
        string(REPLACE "." "0" bits "${line}")
        string(REPLACE "#" "1" bits "${bits}")
        string(REGEX REPLACE "(........)" " 0b\\1," row "${bits}${fill_bits}")
        string(APPEND table "${row}")
    elseif(line MATCHES "^glyph ([0-9]+) .")
        set(code ${CMAKE_MATCH_1})
        foreach(size width height glyphs)
            if(NOT DEFINED ${size})
                fail(${line_number} "a glyph before the ${size} of the font")
            endif()
        endforeach()
        check_rows_complete(${line_number})
        if(NOT code STREQUAL glyphs_begun)
            fail(${line_number} "glyph ${code} instead of ${glyphs_begun}")
        endif()
        math(EXPR glyphs_begun "${glyphs_begun} + 1")
        set(rows_read 0)
        string(APPEND table "\n    /* ${code} */")
    elseif(line MATCHES "^(width|height|glyphs) ([1-9][0-9]?[0-9]?)$")
        set(size ${CMAKE_MATCH_1})
        if(DEFINED ${size})
            fail(${line_number} "the ${size} of the font is given twice")
        endif()
        set(${size} ${CMAKE_MATCH_2})
        if("${size}" STREQUAL "width")
            math(EXPR row_bytes "(${width} + 7) / 8")
            math(EXPR fill_count "8 * ${row_bytes} - ${width}")
            string(REPEAT "0" ${fill_count} fill_bits)
        endif()
    elseif(NOT line MATCHES "^(//.*)?$")
        fail(${line_number} "neither a row of . and # nor a glyph, a size or a comment: ${line}")
    endif()
endforeach()

check_rows_complete(${line_number})
if(NOT DEFINED glyphs)
    fail(${line_number} "the file has no glyphs")
elseif(NOT glyphs_begun EQUAL glyphs)
    fail(${line_number} "the file has ${glyphs_begun} glyphs instead of ${glyphs}")
endif()

math(EXPR bytes_per_glyph "${height} * ${row_bytes}")
cmake_path(GET FONT STEM name)
cmake_path(GET FONT FILENAME file_name)
file(WRITE "${SOURCE}" "// Generated from ${file_name}.
#include \"draw/fonts.h\"

namespace viq {

namespace {

constexpr u8 glyphs[] = {${table}
};

} // namespace

constexpr tVIQ_Font font_${name} = {${height}, ${width}, ${bytes_per_glyph}, glyphs};

} // namespace viq
")
