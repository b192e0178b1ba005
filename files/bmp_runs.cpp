// Run-length codes of BMP files: RLE8 and RLE4.
#include <cstring>

#include "files/bmp.h"

namespace viq {

namespace {

// Follow a zero byte; larger values announce so many indices.
enum escape : u8 { end_of_line = 0, end_of_bitmap = 1, move = 2 };

enum class line_part { more, complete, damaged };

line_part take_run(const run_lines &lines, u32 length, u8 value, u32 &x, u8 *line);
line_part take_indices(const run_lines &lines, coded_bytes &in, u32 count, u32 &x, u8 *line);
line_part take_move(const run_lines &lines, coded_bytes &in, run_state &state, u32 &x);
line_part take_code(const run_lines &lines, coded_bytes &in, run_state &state, u32 &x, u8 *line);

} // namespace

// Pixels that the data skips have index 0.
bool decode_bmp_runs(const run_lines &lines, coded_bytes &in, run_state &state, u8 *line) {
    if (line != nullptr)
        std::memset(line, 0, lines.width);
    if (state.flag)
        return true;
    if (state.pending > 0) {
        --state.pending;
        return true;
    }
    u32 x = state.column;
    state.column = 0;
    line_part part = line_part::more;
    while (part == line_part::more)
        part = take_code(lines, in, state, x, line);
    return part == line_part::complete;
}

namespace {

line_part take_code(const run_lines &lines, coded_bytes &in, run_state &state, u32 &x, u8 *line) {
    u8 code[2];
    if (!take_bytes(in, code, 2))
        return line_part::damaged;
    if (code[0] != 0)
        return take_run(lines, code[0], code[1], x, line);
    switch (code[1]) {
    case end_of_line:
        return line_part::complete;
    case end_of_bitmap:
        state.flag = true;
        return line_part::complete;
    case move:
        return take_move(lines, in, state, x);
    default:
        return take_indices(lines, in, code[1], x, line);
    }
}

// The two indices of an RLE4 byte alternate, the high one first.
line_part take_run(const run_lines &lines, u32 length, u8 value, u32 &x, u8 *line) {
    if (length > lines.width - x)
        return line_part::damaged;
    for (u32 i = 0; i < length && line != nullptr; ++i)
        line[x + i] = !lines.nibbles ? value
                      : i % 2 == 0   ? static_cast<u8>(value >> 4)
                                     : static_cast<u8>(value & 15);
    x += length;
    return line_part::more;
}

// The bytes are padded to an even number.
line_part take_indices(const run_lines &lines, coded_bytes &in, u32 count, u32 &x, u8 *line) {
    u8 packed[256];
    const u32 size = lines.nibbles ? (count + 1) / 2 : count;
    if (count > lines.width - x || !take_bytes(in, packed, size + size % 2))
        return line_part::damaged;
    for (u32 i = 0; i < count; ++i) {
        const u32 nibble = i % 2 == 0 ? packed[i / 2] >> 4 : packed[i / 2] & 15u;
        const u32 index = lines.nibbles ? nibble : packed[i];
        if (line != nullptr)
            line[x + i] = static_cast<u8>(index);
    }
    x += count;
    return line_part::more;
}

line_part take_move(const run_lines &lines, coded_bytes &in, run_state &state, u32 &x) {
    u8 distance[2]; // to the right, and lines
    if (!take_bytes(in, distance, 2) || distance[0] > lines.width - x)
        return line_part::damaged;
    x += distance[0];
    if (distance[1] == 0)
        return line_part::more;
    state.column = x;
    state.pending = distance[1] - 1u;
    return line_part::complete;
}

} // namespace

} // namespace viq
