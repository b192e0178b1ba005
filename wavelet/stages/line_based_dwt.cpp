#include "wavelet/stages/cascade.h"

#include <algorithm>

namespace viq {

namespace {

// Two steps fill the state of a level with the mirror image of its first lines; results begin two
// steps later.
constexpr i32 first_step = -2;
constexpr i32 first_step_with_results = 1;

// What the steps look back on, and the lines that come or are made at once.
constexpr u32 kept_lines = 10;
constexpr u32 strip_lines = 32;

bool begin(cascade &all, const coefficient_buffer &buffer, u32 levels, bool inverse);
void take_lines(cascade &forward, u32 index, const i16 *const lines[2], u32 count);
void restart(cascade &inverse);
void make_lines(cascade &inverse, u32 index);

} // namespace

bool begin_forward(cascade &forward, const coefficient_buffer &target, u32 levels) {
    return begin(forward, target, levels, false);
}

void take_lines(cascade &forward, const i16 *const lines[2], u32 count) {
    take_lines(forward, 0, lines, count);
}

bool begin_inverse(cascade &inverse, const coefficient_buffer &source, u32 levels) {
    if (!begin(inverse, source, levels, true))
        return false;
    restart(inverse);
    return true;
}

line_strip lines_from(cascade &inverse, u32 y) {
    const u32 begin = y / strip_lines * strip_lines;
    cascade_level &top = inverse.levels[0];
    if (begin < inverse.strip_begin)
        restart(inverse);
    for (;;) {
        const u32 end = std::min(inverse.strip_begin + strip_lines, top.height);
        while (top.lines < end)
            make_lines(inverse, 0);
        if (inverse.strip_begin == begin)
            return {inverse.strip.line(y - begin), inverse.strip.pitch, end - y};
        // Lines are made in twos, of which one belongs to the next strip.
        std::copy_n(inverse.strip.line(strip_lines), top.width, inverse.strip.line(0));
        inverse.strip_begin += strip_lines;
    }
}

namespace {

// ---------------------------------------------------------------- memory

// Lines whose pitch spreads them over the cache.
bool resize(line_store &store, u32 width, u32 lines) {
    constexpr std::size_t cache_line = 32;
    const std::size_t pieces = (std::size_t{width} + 2 * line_margin) / cache_line + 1;
    store.pitch = (pieces | 1) * cache_line;
    return store.places.resize(u64{store.pitch} * lines);
}

bool begin(column_half &half, u32 begin, u32 count) {
    constexpr std::size_t lanes = 32;
    half.begin = begin;
    half.count = count;
    half.pitch = (std::size_t{count} + lanes - 1) / lanes * lanes;
    half.lines.places.clear();
    half.unsound.clear();
    return half.lines.resize(u64{half.pitch} * state_lines) &&
           try_resize(half.unsound, u64{count} / column_group + 1);
}

bool begin(cascade_level &level, u32 width, u32 height, bool inverse) {
    level.width = width;
    level.height = height;
    level.lines = 0;
    level.step = first_step;
    const u32 lows = (width + 1) / 2;
    const u32 halves = inverse ? 2 : kept_lines;
    return resize(level.whole, width, inverse ? kept_lines : 2) &&
           resize(level.low, lows, halves) && resize(level.high, lows, halves) &&
           begin(level.halves[0], 0, lows) && begin(level.halves[1], lows, width / 2);
}

bool begin(cascade &all, const coefficient_buffer &buffer, u32 levels, bool inverse) {
    all.kernels = &current_wavelet_kernels();
    all.target = buffer;
    u32 width = buffer.width;
    u32 height = buffer.height;
    try {
        all.levels.resize(levels);
    } catch (...) {
        return false;
    }
    for (cascade_level &level : all.levels) {
        if (!begin(level, width, height, inverse))
            return false;
        width = (width + 1) / 2;
        height = (height + 1) / 2;
    }
    return try_resize(all.scratch, u64{buffer.width} + line_scratch_spare) &&
           try_resize(all.spare, u64{buffer.width} + 2 * line_margin) &&
           (!inverse || resize(all.strip, buffer.width, strip_lines + 1));
}

column_state state_of(column_half &half) {
    return {half.lines.data(), half.pitch, half.unsound.data()};
}

i16 *coefficients(const cascade &all, u32 x, u32 y) {
    return all.target.places + y * all.target.pitch + x;
}

// The line inside that stands for one outside.
u32 mirrored(i32 line, u32 height) {
    const auto last = static_cast<i32>(height) - 1;
    while (line < 0 || line > last)
        line = line < 0 ? -line : 2 * last - line;
    return static_cast<u32>(line);
}

// The lines inside that a window of lines from `first` on sees.
struct seen_lines {
    u32 at[window_lines];
};

seen_lines lines_seen(i32 first, u32 height) {
    seen_lines seen;
    for (u32 i = 0; i < window_lines; ++i)
        seen.at[i] = mirrored(first + static_cast<i32>(i), height);
    return seen;
}

// ---------------------------------------------------------------- forward

split_line kept_line(cascade_level &level, u32 y) {
    return {level.low.line(y % kept_lines), level.high.line(y % kept_lines)};
}

bool is_last(const cascade &all, u32 index) {
    return index + 1 == all.levels.size();
}

// Two lines of results, unless the level has only begun.
void filter_columns(cascade &forward, u32 index) {
    cascade_level &level = forward.levels[index];
    const i32 step = level.step++;
    const bool has_results = step >= first_step_with_results;
    const u32 y = has_results ? static_cast<u32>(step) - 1 : 0;
    const u32 lows = (level.height + 1) / 2;
    seen_lines seen = lines_seen(2 * step - 6, level.height);
    for (u32 &line : seen.at)
        line %= kept_lines;
    for (column_half &half : level.halves) {
        const bool is_low = half.begin == 0;
        line_window window;
        for (u32 i = 0; i < window_lines; ++i)
            window[i] = (is_low ? level.low : level.high).line(seen.at[i]);
        i16 *low = nullptr;
        i16 *high = nullptr;
        if (has_results) {
            low = is_low && !is_last(forward, index) ? forward.levels[index + 1].whole.line(y % 2)
                                                     : coefficients(forward, half.begin, y);
            high = y < level.height / 2 ? coefficients(forward, half.begin, lows + y)
                                        : forward.spare.data();
        }
        forward.kernels->forward_step(window, low, high, state_of(half), half.count);
    }
    if (has_results && !is_last(forward, index) && (y % 2 != 0 || y + 1 == lows)) {
        line_store &next = forward.levels[index + 1].whole;
        const i16 *const lines[2] = {next.line(0), next.line(y % 2)};
        take_lines(forward, index + 1, lines, y % 2 + 1);
    }
}

void take_lines(cascade &forward, u32 index, const i16 *const lines[2], u32 count) {
    cascade_level &level = forward.levels[index];
    const i16 *const sources[2] = {lines[0], lines[count - 1]};
    const split_line targets[2] = {kept_line(level, level.lines),
                                   kept_line(level, level.lines + count - 1)};
    forward.kernels->forward_lines(sources, targets, level.width, forward.scratch.data());
    level.lines += count;
    const auto last_step = static_cast<i32>((level.height + 1) / 2);
    const auto lines_there = static_cast<i32>(level.lines);
    while (level.step <= last_step &&
           (level.lines == level.height || lines_there > std::max(2 * level.step + 2, 4)))
        filter_columns(forward, index);
}

// ---------------------------------------------------------------- inverse

void restart(cascade &inverse) {
    for (cascade_level &level : inverse.levels) {
        level.lines = 0;
        level.step = first_step;
        for (column_half &half : level.halves) {
            std::fill(half.lines.places.begin(), half.lines.places.end(), 0);
            std::fill(half.unsound.begin(), half.unsound.end(), u8{0});
        }
    }
    inverse.strip_begin = 0;
}

const i16 *low_line(cascade &inverse, u32 index, const column_half &half, u32 y) {
    return half.begin == 0 && !is_last(inverse, index)
               ? inverse.levels[index + 1].whole.line(y % kept_lines)
               : coefficients(inverse, half.begin, y);
}

// Where line y of a level belongs, or nowhere.
i16 *place_of_line(cascade &inverse, u32 index, i64 y) {
    cascade_level &level = inverse.levels[index];
    if (y < 0 || y >= level.height)
        return inverse.spare.data() + line_margin;
    const auto line = static_cast<u32>(y);
    return index == 0 ? inverse.strip.line(line - inverse.strip_begin)
                      : level.whole.line(line % kept_lines);
}

// Makes an odd line and the even one below it, unless the level has only begun.
void make_lines(cascade &inverse, u32 index) {
    cascade_level &level = inverse.levels[index];
    const i32 step = level.step++;
    const bool has_results = step >= first_step_with_results;
    const u32 lows = (level.height + 1) / 2;
    if (!is_last(inverse, index))
        while (inverse.levels[index + 1].lines <= mirrored(2 * step, level.height) / 2)
            make_lines(inverse, index + 1);
    const seen_lines seen = lines_seen(2 * step - 7, level.height);
    for (column_half &half : level.halves) {
        line_window window;
        for (u32 i = 0; i < window_lines; ++i) {
            const u32 y = seen.at[i];
            window[i] = y % 2 == 0 ? low_line(inverse, index, half, y / 2)
                                   : coefficients(inverse, half.begin, lows + y / 2);
        }
        line_store &joined = half.begin == 0 ? level.low : level.high;
        i16 *odd = has_results ? joined.line(0) : nullptr;
        i16 *even = has_results ? joined.line(1) : nullptr;
        inverse.kernels->inverse_step(window, odd, even, state_of(half), half.count);
    }
    if (!has_results)
        return;
    const i64 even = 2 * i64{step} - 2;
    const split_line sources[2] = {{level.low.line(0), level.high.line(0)},
                                   {level.low.line(1), level.high.line(1)}};
    i16 *const targets[2] = {place_of_line(inverse, index, even - 1),
                             place_of_line(inverse, index, even)};
    inverse.kernels->inverse_lines(sources, targets, level.width, inverse.scratch.data());
    level.lines = static_cast<u32>(std::min<i64>(even + 1, level.height));
}

} // namespace

} // namespace viq
