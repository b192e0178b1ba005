# The generator of the glyph tables converts a correct drawing and rejects every faulty one with
# its line; ctest passes -DSCRIPT and -DFOLDER, a folder for files.

set(font "// A comment with [;\\.\nwidth 3\nheight 2\nglyphs 2\n\nglyph 0 blank\n...\n...\nglyph 1 [\n#..\n.##\n")

function(expect replaced by outcome)
    string(REPLACE "${replaced}" "${by}" text "${font}")
    file(WRITE ${FOLDER}/tiny.txt "${text}")
    file(REMOVE ${FOLDER}/tiny.cpp)
    execute_process(COMMAND ${CMAKE_COMMAND} -DFONT=${FOLDER}/tiny.txt -DSOURCE=${FOLDER}/tiny.cpp
                            -P ${SCRIPT} ERROR_VARIABLE errors)
    if(EXISTS ${FOLDER}/tiny.cpp)
        file(READ ${FOLDER}/tiny.cpp errors)
    endif()
    string(FIND "${errors}" "${outcome}" position)
    if(position EQUAL -1)
        message(SEND_ERROR "\"${by}\" for \"${replaced}\": no \"${outcome}\" in\n${errors}")
    endif()
endfunction()

file(MAKE_DIRECTORY ${FOLDER})
expect("" "" "/* 1 */ 0b10000000, 0b01100000,\n")
expect("" "" "font_tiny = {2, 3, 2, glyphs}")
expect("#.." "#..." "tiny.txt:10: the row has 4 pixels instead of 3")
expect("#.." "#." "tiny.txt:10: the row has 2 pixels instead of 3")
expect("#.." "#.x" "tiny.txt:10: neither a row")
expect("#..\n" "" "tiny.txt:10: glyph 1 has 1 rows instead of 2")
expect("...\n...\n" "...\n...\n...\n" "tiny.txt:10: glyph 0 has 3 rows instead of 2")
expect("glyph 1" "glyph 2" "tiny.txt:9: glyph 2 instead of 1")
expect("glyph 1 [\n#..\n.##\n" "" "tiny.txt:8: the file has 1 glyphs instead of 2")
expect("glyphs 2" "glyphs 1" "tiny.txt:11: the file has 2 glyphs instead of 1")
expect("width 3\n" "" "tiny.txt:5: a glyph before the width of the font")
expect("height 2" "width 3" "tiny.txt:3: the width of the font is given twice")
expect("glyph 0 blank\n" "" "tiny.txt:6: a row before the first glyph")
