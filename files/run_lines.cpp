#include "files/run_lines.h"

#include <algorithm>
#include <cstring>

#include "core/scratch.h"

namespace viq {

namespace {

constexpr u32 most_entries = 4096; // of the index

bool fill(coded_bytes &in) {
    const u64 left = in.position < in.end ? in.end - in.position : 0;
    const auto wanted = static_cast<std::size_t>(std::min<u64>(left, sizeof in.block));
    // The bytes end with the block, so that `held` alone locates the next one.
    u8 *start = in.block + sizeof in.block - wanted;
    if (wanted == 0 || !seek_to(in.file, in.position) ||
        std::fread(start, 1, wanted, in.file) != wanted)
        return false;
    in.held = static_cast<u32>(wanted);
    return true;
}

} // namespace

bool take_byte(coded_bytes &in, u8 &byte) {
    if (in.held == 0 && !fill(in))
        return false;
    byte = in.block[sizeof in.block - in.held];
    --in.held;
    ++in.position;
    return true;
}

bool take_bytes(coded_bytes &in, u8 *bytes, u32 count) {
    for (u32 i = 0; i < count; ++i)
        if (!take_byte(in, bytes[i]))
            return false;
    return true;
}

void go_to(coded_bytes &in, u64 position) {
    const u64 ahead = position - in.position; // large if the position is before the next byte
    in.held = ahead < in.held ? in.held - static_cast<u32>(ahead) : 0;
    in.position = position;
}

u32 index_lines(const char *function, std::FILE *file, run_lines &lines) {
    if (lines.width == 0 || lines.height == 0)
        return report_corrupt(function);
    lines.spacing = (lines.height + most_entries - 1) / most_entries;
    if (!try_resize(lines.index, (u64{lines.height} + lines.spacing - 1) / lines.spacing))
        return report_no_memory(function, u64{most_entries} * sizeof(run_state));
    coded_bytes in(file, lines.start, lines.end);
    run_state state;
    state.position = lines.start;
    for (u32 line = 0; line < lines.height; ++line) {
        if (line % lines.spacing == 0)
            lines.index[line / lines.spacing] = state;
        if (!lines.decode(lines, in, state, nullptr))
            return report_damage(function);
        state.position = in.position;
    }
    return success;
}

u32 seek_line(const char *function, const run_lines &lines, u32 first, coded_bytes &in,
              run_state &state) {
    state = lines.index[first / lines.spacing];
    go_to(in, state.position);
    for (u32 line = first - first % lines.spacing; line < first; ++line)
        if (!lines.decode(lines, in, state, nullptr))
            return report_damage(function);
    return success;
}

u8 *line_buffer(const char *function, const run_lines &lines, u32 &code) {
    const u64 size = u64{lines.width} * lines.pixel_size;
    u8 *line = scratch_bytes(scratch::file_lines, size);
    if (line == nullptr)
        code = report_no_memory(function, size);
    return line;
}

u32 report_damage(const char *function) {
    return report(function, VIQ_ERR_CORRUPT, "Corrupt run-length data");
}

} // namespace viq
