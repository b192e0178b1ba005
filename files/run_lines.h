// Run-length coded lines. They can be decoded only one after the other, so that an index keeps the
// decoder's state before every n-th line; strips are then read in any order within constant memory.
#pragma once

#include "files/strip_file.h"

namespace viq {

// The coded bytes of an open file, read block by block.
struct coded_bytes {
    std::FILE *file;
    u64 position; // in the file, of the next byte
    u64 end;      // of the coded data
    u32 held = 0; // bytes of the block that have not been taken
    u8 block[4096];

    coded_bytes(std::FILE *stream, u64 start, u64 stop)
        : file(stream), position(start), end(stop) {}
};

bool take_byte(coded_bytes &in, u8 &byte);
bool take_bytes(coded_bytes &in, u8 *bytes, u32 count);
void go_to(coded_bytes &in, u64 position);

// State before a line.
struct run_state {
    u64 position = 0;  // in the file, of the next coded byte
    u32 pending = 0;   // TGA: pixels left in the packet; BMP: lines that are skipped
    u32 column = 0;    // BMP: of the next pixel of the line
    u8 value[4] = {};  // TGA: the repeated pixel
    bool flag = false; // TGA: the packet repeats `value`; BMP: the bitmap has ended
};

struct run_lines;

// Decodes one line and advances the state; null: only advances. False if the data is damaged.
using run_decoder = bool (*)(const run_lines &lines, coded_bytes &in, run_state &state, u8 *line);

struct run_lines {
    run_decoder decode = nullptr;
    u32 width = 0, height = 0; // pixels of a coded line, and lines
    u32 pixel_size = 0;        // bytes of a decoded pixel
    bool nibbles = false;
    u64 start = 0, end = 0; // of the coded data in the file
    u32 spacing = 1;        // lines from entry to entry of the index
    vector<run_state> index;
};

// Decodes the whole file once: finds damage and builds the index.
u32 index_lines(const char *function, std::FILE *file, run_lines &lines);

// Decodes `count` lines in file order, from line `first` on; `place` receives each decoded line,
// and may change it.
template <class Place>
u32 read_run_lines(const char *function, std::FILE *file, const run_lines &lines, u32 first,
                   u32 count, Place place);

// Positions a decoder on line `first`.
u32 seek_line(const char *function, const run_lines &lines, u32 first, coded_bytes &in,
              run_state &state);
u8 *line_buffer(const char *function, const run_lines &lines, u32 &code);
u32 report_damage(const char *function);

template <class Place>
u32 read_run_lines(const char *function, std::FILE *file, const run_lines &lines, u32 first,
                   u32 count, Place place) {
    coded_bytes in(file, lines.start, lines.end);
    run_state state;
    u32 code = seek_line(function, lines, first, in, state);
    u8 *line = is_error(code) ? nullptr : line_buffer(function, lines, code);
    for (u32 n = 0; n < count && !is_error(code); ++n) {
        if (!lines.decode(lines, in, state, line))
            return report_damage(function);
        place(n, line);
    }
    return code;
}

} // namespace viq
