#include "wavelet/stages/line_based_dwt.h"

#include <algorithm>

namespace viq {

namespace {

// The first steps fill the state of a level with the mirrored first lines; results begin with
// step 1.
constexpr i32 first_step = -2;
constexpr i32 first_step_with_results = 1;

// Lines of a level that are kept: those that a step refers to, and those that arrive together.
constexpr u32 kept_lines = 10;
constexpr u32 strip_lines = 32; // of output

bool begin(line_based_dwt &dwt, const coefficient_lines &target, u32 levels, bool inverse);
void push_lines(line_based_dwt &forward, u32 index, const i16 *const lines[2], u32 count);
void restart(line_based_dwt &inverse);
void produce_lines(line_based_dwt &inverse, u32 index);

} // namespace

bool begin_forward(line_based_dwt &forward, const coefficient_lines &target, u32 levels) {
    return begin(forward, target, levels, false);
}

void push_lines(line_based_dwt &forward, const i16 *const lines[2], u32 count) {
    push_lines(forward, 0, lines, count);
}

bool begin_inverse(line_based_dwt &inverse, const coefficient_lines &source, u32 levels) {
    if (!begin(inverse, source, levels, true))
        return false;
    restart(inverse);
    return true;
}

line_strip pull_lines(line_based_dwt &inverse, u32 y) {
    const u32 begin = y / strip_lines * strip_lines;
    dwt_level &top = inverse.levels[0];
    if (begin < inverse.strip_begin)
        restart(inverse);
    for (;;) {
        const u32 end = std::min(inverse.strip_begin + strip_lines, top.height);
        while (top.lines < end)
            produce_lines(inverse, 0);
        if (inverse.strip_begin == begin)
            return {inverse.strip.line(y - begin), inverse.strip.stride, end - y};
        // Lines are produced in pairs; the second one of the last pair belongs to the next strip.
        std::copy_n(inverse.strip.line(strip_lines), top.width, inverse.strip.line(0));
        inverse.strip_begin += strip_lines;
    }
}

namespace {

// ---------------------------------------------------------------- memory

// The stride is an odd number of cache lines, so that the lines are spread over the sets of the
// cache.
bool resize(line_buffer &store, u32 width, u32 lines) {
    constexpr std::size_t line_samples = cache_line / sizeof(i16);
    const std::size_t blocks = (std::size_t{width} + 2 * line_margin) / line_samples + 1;
    store.stride = (blocks | 1) * line_samples;
    return store.samples.resize(u64{store.stride} * lines);
}

bool begin(column_filter &filter, u32 begin, u32 count) {
    constexpr std::size_t alignment = 32;
    filter.begin = begin;
    filter.count = count;
    filter.stride = (std::size_t{count} + alignment - 1) / alignment * alignment;
    filter.lines.elements.clear();
    filter.exact_steps.clear();
    return filter.lines.resize(u64{filter.stride} * state_lines) &&
           try_resize(filter.exact_steps, u64{count} / column_group + 1);
}

bool begin(dwt_level &level, u32 width, u32 height, bool inverse) {
    level.width = width;
    level.height = height;
    level.lines = 0;
    level.step = first_step;
    const u32 lows = (width + 1) / 2;
    const u32 buffered = inverse ? 2 : kept_lines;
    return resize(level.whole, width, inverse ? kept_lines : 2) &&
           resize(level.low, lows, buffered) && resize(level.high, lows, buffered) &&
           begin(level.filters[0], 0, lows) && begin(level.filters[1], lows, width / 2);
}

bool begin(line_based_dwt &dwt, const coefficient_lines &target, u32 levels, bool inverse) {
    dwt.kernels = &current_wavelet_kernels();
    dwt.target = target;
    dwt.saturated = false;
    u32 width = target.width;
    u32 height = target.height;
    try {
        dwt.levels.resize(levels);
    } catch (...) {
        return false;
    }
    for (dwt_level &level : dwt.levels) {
        if (!begin(level, width, height, inverse))
            return false;
        width = (width + 1) / 2;
        height = (height + 1) / 2;
    }
    return try_resize(dwt.scratch, u64{target.width} + line_scratch_padding) &&
           try_resize(dwt.discarded, u64{target.width} + 2 * line_margin) &&
           (!inverse || resize(dwt.strip, target.width, strip_lines + 1));
}

column_state state_of(column_filter &filter) {
    return {filter.lines.data(), filter.stride, filter.exact_steps.data()};
}

i16 *coefficients(const line_based_dwt &dwt, u32 x, u32 y) {
    return dwt.target.rows.line(y) + x;
}

// Mirrors a line number at the first and the last line.
u32 mirrored(i32 line, u32 height) {
    const auto last = static_cast<i32>(height) - 1;
    while (line < 0 || line > last)
        line = line < 0 ? -line : 2 * last - line;
    return static_cast<u32>(line);
}

// The lines of a window from `first` on, mirrored.
struct window_positions {
    u32 line[window_lines];
};

window_positions window_at(i32 first, u32 height) {
    window_positions window;
    for (u32 i = 0; i < window_lines; ++i)
        window.line[i] = mirrored(first + static_cast<i32>(i), height);
    return window;
}

// ---------------------------------------------------------------- forward

line_halves kept_line(dwt_level &level, u32 y) {
    return {level.low.line(y % kept_lines), level.high.line(y % kept_lines)};
}

bool is_last(const line_based_dwt &dwt, u32 index) {
    return index + 1 == dwt.levels.size();
}

// One step of the column filters. Passes the low line to the next level.
void filter_columns(line_based_dwt &forward, u32 index) {
    dwt_level &level = forward.levels[index];
    const i32 step = level.step++;
    const bool has_results = step >= first_step_with_results;
    const u32 y = has_results ? static_cast<u32>(step) - 1 : 0;
    const u32 lows = (level.height + 1) / 2;
    window_positions positions = window_at(2 * step - 6, level.height);
    for (u32 &line : positions.line)
        line %= kept_lines;
    for (column_filter &filter : level.filters) {
        const bool is_low = filter.begin == 0;
        line_window window;
        for (u32 i = 0; i < window_lines; ++i)
            window[i] = (is_low ? level.low : level.high).line(positions.line[i]);
        i16 *low = nullptr;
        i16 *high = nullptr;
        if (has_results) {
            low = is_low && !is_last(forward, index) ? forward.levels[index + 1].whole.line(y % 2)
                                                     : coefficients(forward, filter.begin, y);
            high = y < level.height / 2 ? coefficients(forward, filter.begin, lows + y)
                                        : forward.discarded.data();
        }
        if (!forward.kernels->forward_step(window, low, high, state_of(filter), filter.count))
            forward.saturated = true;
    }
    if (has_results && !is_last(forward, index) && (y % 2 != 0 || y + 1 == lows)) {
        line_buffer &next = forward.levels[index + 1].whole;
        const i16 *const lines[2] = {next.line(0), next.line(y % 2)};
        push_lines(forward, index + 1, lines, y % 2 + 1);
    }
}

void push_lines(line_based_dwt &forward, u32 index, const i16 *const lines[2], u32 count) {
    dwt_level &level = forward.levels[index];
    const i16 *const sources[2] = {lines[0], lines[count - 1]};
    const line_halves targets[2] = {kept_line(level, level.lines),
                                    kept_line(level, level.lines + count - 1)};
    forward.kernels->forward_lines(sources, targets, level.width, forward.scratch.data());
    level.lines += count;
    const auto last_step = static_cast<i32>((level.height + 1) / 2);
    const auto received = static_cast<i32>(level.lines);
    while (level.step <= last_step &&
           (level.lines == level.height || received > std::max(2 * level.step + 2, 4)))
        filter_columns(forward, index);
}

// ---------------------------------------------------------------- inverse

void restart(line_based_dwt &inverse) {
    for (dwt_level &level : inverse.levels) {
        level.lines = 0;
        level.step = first_step;
        for (column_filter &filter : level.filters) {
            std::fill(filter.lines.elements.begin(), filter.lines.elements.end(), 0);
            std::fill(filter.exact_steps.begin(), filter.exact_steps.end(), u8{0});
        }
    }
    inverse.strip_begin = 0;
}

const i16 *low_line(line_based_dwt &inverse, u32 index, const column_filter &filter, u32 y) {
    return filter.begin == 0 && !is_last(inverse, index)
               ? inverse.levels[index + 1].whole.line(y % kept_lines)
               : coefficients(inverse, filter.begin, y);
}

// Where line y of a level is stored; lines outside the level are discarded.
i16 *output_line(line_based_dwt &inverse, u32 index, i64 y) {
    dwt_level &level = inverse.levels[index];
    if (y < 0 || y >= level.height)
        return inverse.discarded.data() + line_margin;
    const auto line = static_cast<u32>(y);
    return index == 0 ? inverse.strip.line(line - inverse.strip_begin)
                      : level.whole.line(line % kept_lines);
}

// One step of the column filters: produces an odd line and the even line after it.
void produce_lines(line_based_dwt &inverse, u32 index) {
    dwt_level &level = inverse.levels[index];
    const i32 step = level.step++;
    const bool has_results = step >= first_step_with_results;
    const u32 lows = (level.height + 1) / 2;
    if (!is_last(inverse, index))
        while (inverse.levels[index + 1].lines <= mirrored(2 * step, level.height) / 2)
            produce_lines(inverse, index + 1);
    const window_positions positions = window_at(2 * step - 7, level.height);
    for (column_filter &filter : level.filters) {
        line_window window;
        for (u32 i = 0; i < window_lines; ++i) {
            const u32 y = positions.line[i];
            window[i] = y % 2 == 0 ? low_line(inverse, index, filter, y / 2)
                                   : coefficients(inverse, filter.begin, lows + y / 2);
        }
        line_buffer &joined = filter.begin == 0 ? level.low : level.high;
        i16 *odd = has_results ? joined.line(0) : nullptr;
        i16 *even = has_results ? joined.line(1) : nullptr;
        inverse.kernels->inverse_step(window, odd, even, state_of(filter), filter.count);
    }
    if (!has_results)
        return;
    const i64 even = 2 * i64{step} - 2;
    const line_halves sources[2] = {{level.low.line(0), level.high.line(0)},
                                    {level.low.line(1), level.high.line(1)}};
    i16 *const targets[2] = {output_line(inverse, index, even - 1),
                             output_line(inverse, index, even)};
    inverse.kernels->inverse_lines(sources, targets, level.width, inverse.scratch.data());
    level.lines = static_cast<u32>(std::min<i64>(even + 1, level.height));
}

} // namespace

} // namespace viq
