// The transform with vectors of 16-bit samples, for the sources of AVX2, AVX-512 and NEON.
//
// A rounding multiplication with a 14-bit constant gives the exact product in 16 bits, and
// additions may wrap as long as their final result fits. The kernels monitor the range of the
// intermediate values. If a value is out of range, the samples that depend on it are recomputed in
// 32 bits.
#pragma once

#include "wavelet/stages/lifting_loops.h"
#include "wavelet/stages/word_lanes.h"

namespace viq {

namespace {

// The product with a fixed-point constant. For constants above 1 or below -1, the caller adds or
// subtracts the value itself; this is the product with the rest.
template <i32 constant> VIQ_FORMULA lanes product(lanes values) {
    constexpr i32 one = 1 << fraction_bits;
    constexpr i32 part = constant >= one    ? constant - one
                         : constant <= -one ? constant + one
                                            : constant;
    return rounded_product(values, splat16(2 * part));
}

// The product of the first update, whose sum may have 17 bits: if it wrapped, the product with
// 65536 is added.
VIQ_FORMULA lanes first_update_product(lanes left, lanes right) {
    const lanes sum = add(left, right);
    const lanes saturated = add_saturated(left, right);
    const lanes missing = with_signs(splat16(4 * first_update), saturated);
    const lane_mask is_exact = are_equal(sum, saturated);
    return add(product<first_update>(sum), without(missing, is_exact));
}

// Monitors the range of intermediate values: stores the maximum of value + limit as an unsigned
// number, which exceeds twice the limit if a value is out of -limit to limit. Within the limits,
// every sum that is multiplied fits 16 bits; beyond them, no sum wraps back into range.
struct range_monitor {
    lanes values = zero_lanes();
    lanes predicted = zero_lanes(); // results of the first predict step

    static constexpr i32 limit = 12900;
    static constexpr i32 predicted_limit = 29800;
};

template <i32 limit> VIQ_FORMULA void track(lanes &highest, lanes values) {
    highest = unsigned_highest(highest, add(values, splat16(limit)));
}

VIQ_FORMULA bool in_range(const range_monitor &range) {
    return are_within(range.values, 2 * range_monitor::limit) &&
           are_within(range.predicted, 2 * range_monitor::predicted_limit);
}

// ---------------------------------------------------------------- lifting

// The lifting steps of a block form one long dependency chain. It is divided into two halves, and
// the second half of a block is computed together with the first half of the next.
//
// `delay(k, values)` stores the values of step k and returns its previous ones: those of the sample
// on the left for lines, those of the step before for columns.

struct forward_first_half {
    lanes before_d1, before_s1, s1;
};

template <class Delay>
VIQ_FORMULA forward_first_half begin_forward(lanes even, lanes odd, lanes next_even, Delay &delay,
                                             range_monitor &range) {
    track<range_monitor::limit>(range.values, next_even);
    const lanes evens = add(even, next_even);
    const lanes d1 = subtract_saturated(add_saturated(odd, product<first_predict>(evens)), evens);
    track<range_monitor::predicted_limit>(range.predicted, d1);
    const lanes before_d1 = delay(0, d1);
    const lanes s1 = add(even, first_update_product(before_d1, d1));
    return {before_d1, delay(1, s1), s1};
}

struct forward_result {
    lanes low, high;
};

template <class Delay>
VIQ_FORMULA forward_result end_forward(const forward_first_half &first_half, Delay &delay,
                                       range_monitor &range) {
    const auto &[before_d1, before_s1, s1] = first_half;
    const lanes d2 = add_saturated(before_d1, product<second_predict>(add(before_s1, s1)));
    track<range_monitor::limit>(range.values, d2);
    const lanes before_d2 = delay(2, d2);
    const lanes s2 = add(before_s1, product<second_update>(add(before_d2, d2)));
    return {product<low_scale>(s2), subtract(product<high_scale>(d2), d2)};
}

struct inverse_first_half {
    lanes before_s1, before_d1, d1;
};

template <class Delay>
VIQ_FORMULA inverse_first_half begin_inverse(lanes low, lanes high, Delay &delay,
                                             range_monitor &range) {
    const lanes s2 = add(low, product<low_unscale>(low));
    const lanes d2 = product<high_unscale>(high);
    track<range_monitor::limit>(range.values, d2);
    const lanes before_d2 = delay(0, d2);
    const lanes s1 = subtract(s2, product<second_update>(add(before_d2, d2)));
    track<range_monitor::limit>(range.values, s1);
    const lanes before_s1 = delay(1, s1);
    const lanes d1 = subtract(before_d2, product<second_predict>(add(before_s1, s1)));
    track<range_monitor::predicted_limit>(range.predicted, d1);
    return {before_s1, delay(2, d1), d1};
}

struct inverse_result {
    lanes before_even, odd, even;
};

template <class Delay>
VIQ_FORMULA inverse_result end_inverse(const inverse_first_half &first_half, Delay &delay) {
    const auto &[before_s1, before_d1, d1] = first_half;
    const lanes even = subtract(before_s1, first_update_product(before_d1, d1));
    const lanes before_even = delay(3, even);
    const lanes evens = add(before_even, even);
    const lanes odd =
        add_saturated(subtract_saturated(before_d1, product<first_predict>(evens)), evens);
    return {before_even, odd, even};
}

// ---------------------------------------------------------------- lines

// Half of a vector belongs to each of two lines.

struct horizontal_delay {
    lanes last[4] = {zero_lanes(), zero_lanes(), zero_lanes(), zero_lanes()};

    [[gnu::always_inline]] lanes operator()(u32 step, lanes values) {
        const lanes left = left_neighbours(last[step], values);
        last[step] = values;
        return left;
    }
};

// A block is as many pairs of an even and an odd sample of each line as a half has words.
constexpr i32 block_pairs = lane_count / 2;
constexpr i32 block_samples = 2 * block_pairs;

// Two blocks at an end of a line, mirrored beyond it.
struct mirrored_blocks {
    i16 samples[2 * block_samples] = {};
};

VIQ_FORMULA void fill(mirrored_blocks &blocks, const i16 *line, i32 length, i32 begin) {
    constexpr i32 reach = 4;
    const i32 from = std::max(begin, 0);
    const i32 to = std::min(begin + 2 * block_samples, length);
    if (to > from)
        std::memcpy(blocks.samples + (from - begin), line + from,
                    static_cast<std::size_t>(to - from) * sizeof(i16));
    if (begin < 0)
        for (i32 i = 1; i <= reach; ++i)
            blocks.samples[-i - begin] = line[i];
    for (i32 i = std::max(begin, length); i < std::min(begin + 2 * block_samples, length + reach);
         ++i)
        blocks.samples[i - begin] = line[2 * (length - 1) - i];
}

struct forward_pair {
    line_halves target[2];
    horizontal_delay delay = {};
    horizontal_delay evens = {};
    range_monitor range = {};
    forward_first_half first_half = {};
};

// Finishes the block before the current one. The one before the first block flushes into the
// margin.
VIQ_FORMULA void end_block(forward_pair &pair, i32 block) {
    const forward_result result = end_forward(pair.first_half, pair.delay, pair.range);
    const i32 at = block_pairs * (block - 1) - 2;
    store_halves(pair.target[0].low + at, pair.target[1].low + at, result.low);
    store_halves(pair.target[0].high + at, pair.target[1].high + at, result.high);
}

// Filters a block of each line, from the odd sample before pair block_pairs * block on.
VIQ_FORMULA void filter_block(forward_pair &pair, const i16 *first, const i16 *second, i32 block) {
    // The first sample of a block is an odd one of the line.
    const auto &[odd, even] = separate(load_halves(first, second),
                                       load_halves(first + block_pairs, second + block_pairs));
    const forward_first_half first_half =
        begin_forward(pair.evens(0, even), odd, even, pair.delay, pair.range);
    end_block(pair, block);
    pair.first_half = first_half;
}

void forward_lines(const i16 *const source[2], const line_halves target[2], u32 length,
                   i32 *scratch) {
    const auto samples = static_cast<i32>(length);
    const i32 last_block = ((samples + 1) / 2 + 1) / block_pairs;
    constexpr i32 before_end = block_samples - 1;
    const i32 first_end = samples > before_end ? (samples - before_end) / block_samples + 1 : 1;
    mirrored_blocks ends[2];
    for (u32 i = 0; i < 2; ++i)
        fill(ends[i], source[i], samples, -block_samples - 1);
    forward_pair pair = {{target[0], target[1]}};
    for (i32 block = -1; block <= 0; ++block)
        filter_block(pair, ends[0].samples + block_samples * (block + 1),
                     ends[1].samples + block_samples * (block + 1), block);
    const i16 *first = source[0] + block_samples - 1;
    const i16 *second = source[1] + block_samples - 1;
    for (i32 block = 1; block < first_end; ++block) {
        filter_block(pair, first, second, block);
        first += block_samples;
        second += block_samples;
    }
    for (u32 i = 0; i < 2; ++i) {
        ends[i] = {};
        fill(ends[i], source[i], samples, block_samples * first_end - 1);
    }
    for (i32 block = first_end; block <= last_block; ++block)
        filter_block(pair, ends[0].samples + block_samples * (block - first_end),
                     ends[1].samples + block_samples * (block - first_end), block);
    end_block(pair, last_block + 1);
    if (!in_range(pair.range))
        for (u32 i = 0; i < 2; ++i)
            forward_line(source[i], target[i], length, scratch);
}

// Extends the halves of a line into their margins as the filtered halves of a mirrored line.
VIQ_FORMULA void mirror_ends(const line_halves &line, u32 length) {
    i16 *low_end = line.low + (length + 1) / 2;
    i16 *high_end = line.high + length / 2;
    const auto is_odd = static_cast<std::ptrdiff_t>(length % 2);
    line.low[-1] = line.low[1];
    line.low[-2] = line.low[2];
    line.high[-1] = line.high[0];
    line.high[-2] = line.high[1];
    for (std::ptrdiff_t i = 0; i < 2; ++i) {
        low_end[i] = low_end[-1 - is_odd - i];
        high_end[i] = high_end[-2 + is_odd - i];
    }
}

struct inverse_pair {
    i16 *first, *second;
    horizontal_delay delay = {};
    range_monitor range = {};
    inverse_first_half first_half = {};
};

VIQ_FORMULA void end_block(inverse_pair &pair, i32 block) {
    const inverse_result result = end_inverse(pair.first_half, pair.delay);
    const i32 at = block_samples * (block - 1) - 4;
    const auto &[front, back] = interleave_words(result.before_even, result.odd);
    store_halves(pair.first + at, pair.second + at, front);
    store_halves(pair.first + at + block_pairs, pair.second + at + block_pairs, back);
}

void inverse_lines(const line_halves source[2], i16 *const target[2], u32 length, i32 *scratch) {
    for (u32 i = 0; i < 2; ++i)
        mirror_ends(source[i], length);
    const i32 last_block = (static_cast<i32>(length) + 3) / block_samples;
    inverse_pair pair = {target[0], target[1]};
    const auto begin_block = [&](i32 block) {
        const i32 from = block_pairs * block;
        const lanes low = load_halves(source[0].low + from, source[1].low + from);
        const lanes high = load_halves(source[0].high + from, source[1].high + from);
        return begin_inverse(low, high, pair.delay, pair.range);
    };
    pair.first_half = begin_block(-1);
    for (i32 block = 0; block <= last_block; ++block) {
        const inverse_first_half first_half = begin_block(block);
        end_block(pair, block);
        pair.first_half = first_half;
    }
    end_block(pair, last_block + 1);
    if (!in_range(pair.range))
        for (u32 i = 0; i < 2; ++i)
            inverse_line(source[i], target[i], length, scratch);
}

// ---------------------------------------------------------------- columns

struct vertical_delay {
    i16 *lines;
    std::size_t stride;

    [[gnu::always_inline]] lanes operator()(u32 step, lanes values) const {
        i16 *line = lines + step * stride;
        const lanes above = load_lanes(line);
        store_lanes(line, values);
        return above;
    }
};

// The state lines hold 16-bit values here.
VIQ_FORMULA vertical_delay delay_at(const column_state &state, u32 x) {
    return {reinterpret_cast<i16 *>(state.lines) + x, state.stride};
}

// The lines of a window in 32 bits.
struct exact_window {
    i32 line[window_lines][column_group];
};

template <i32 constant, i32 sign>
void lift_exact(exact_window &window_32, u32 first, u32 last, u32 count) {
    for (u32 k = first; k <= last; k += 2)
        lift<constant, sign>(window_32.line[k], window_32.line[k - 1], window_32.line[k + 1],
                             count);
}

[[gnu::noinline]] bool exact_forward(const line_window &window, i16 *low, i16 *high, u32 x,
                                     u32 count) {
    exact_window window_32;
    for (u32 k = 0; k < window_lines; ++k)
        std::copy_n(window[k] + x, count, window_32.line[k]);
    lift_exact<first_predict, 1>(window_32, 1, 7, count);
    lift_exact<first_update, 1>(window_32, 2, 6, count);
    lift_exact<second_predict, 1>(window_32, 3, 5, count);
    lift_exact<second_update, 1>(window_32, 4, 4, count);
    const bool low_fits = scale(window_32.line[4], low + x, count, low_scale);
    const bool high_fits = scale(window_32.line[5], high + x, count, high_scale);
    return low_fits && high_fits;
}

[[gnu::noinline]] void exact_inverse(const line_window &window, i16 *odd, i16 *even, u32 x,
                                     u32 count) {
    exact_window window_32;
    for (u32 k = 0; k < window_lines; ++k)
        unscale(window[k] + x, window_32.line[k], count, k % 2 == 0 ? high_unscale : low_unscale);
    lift_exact<second_update, -1>(window_32, 1, 7, count);
    lift_exact<second_predict, -1>(window_32, 2, 6, count);
    lift_exact<first_update, -1>(window_32, 3, 5, count);
    saturate_all(window_32.line[3], count);
    saturate_all(window_32.line[5], count);
    lift_exact<first_predict, -1>(window_32, 4, 4, count);
    for (u32 i = 0; i < count; ++i) {
        odd[x + i] = saturate(window_32.line[4][i]);
        even[x + i] = static_cast<i16>(window_32.line[5][i]);
    }
}

// Steps whose results depend on an intermediate value that is out of range.
constexpr u8 dependent_steps = 5;

// Runs `filter` over the columns in groups; `recompute` replaces the results of groups with values
// out of range.
template <class Filter, class Recompute>
VIQ_FORMULA void run_groups(const column_state &state, u32 count, Filter filter,
                            Recompute recompute) {
    for (u32 x = 0; x < count; x += column_group) {
        const u32 columns = std::min(column_group, count - x);
        range_monitor range;
        filter(x, columns, range);
        u8 &exact_steps = state.exact_steps[x / column_group];
        if (!in_range(range))
            exact_steps = dependent_steps;
        if (exact_steps == 0)
            continue;
        --exact_steps;
        recompute(x, columns);
    }
}

// Runs the two halves of each block of a group; the second half follows the first half of the next
// block.
template <class Begin, class End>
VIQ_FORMULA void run_blocks(u32 from, u32 columns, Begin begin, End end) {
    auto first_half = begin(from);
    u32 x = from;
    for (; x + 2 * lane_count <= from + columns; x += lane_count) {
        const auto next = begin(x + lane_count);
        end(x, first_half, lane_count);
        first_half = next;
    }
    if (x + lane_count < from + columns) {
        const auto next = begin(x + lane_count);
        end(x, first_half, lane_count);
        first_half = next;
        x += lane_count;
    }
    end(x, first_half, from + columns - x);
}

bool forward_step(const line_window &window, i16 *low, i16 *high, const column_state &state,
                  u32 count) {
    const i16 *even = window[6], *odd = window[7], *next_even = window[8];
    const column_state own = state;
    const auto filter = [=](u32 from, u32 columns, range_monitor &range) {
        run_blocks(
            from, columns,
            [&](u32 x) {
                vertical_delay delay = delay_at(own, x);
                return begin_forward(load_lanes(even + x), load_lanes(odd + x),
                                     load_lanes(next_even + x), delay, range);
            },
            [&](u32 x, const forward_first_half &first_half, u32 block) {
                vertical_delay delay = delay_at(own, x);
                const forward_result result = end_forward(first_half, delay, range);
                if (low == nullptr)
                    return;
                store_first(low + x, result.low, block);
                store_first(high + x, result.high, block);
            });
    };
    bool fits = true;
    run_groups(own, count, filter, [&](u32 x, u32 columns) {
        if (low != nullptr && !exact_forward(window, low, high, x, columns))
            fits = false;
    });
    return fits;
}

void inverse_step(const line_window &window, i16 *odd, i16 *even, const column_state &state,
                  u32 count) {
    const i16 *low = window[7], *high = window[8];
    const column_state own = state;
    const auto filter = [=](u32 from, u32 columns, range_monitor &range) {
        run_blocks(
            from, columns,
            [&](u32 x) {
                vertical_delay delay = delay_at(own, x);
                return begin_inverse(load_lanes(low + x), load_lanes(high + x), delay, range);
            },
            [&](u32 x, const inverse_first_half &first_half, u32) {
                vertical_delay delay = delay_at(own, x);
                const inverse_result result = end_inverse(first_half, delay);
                if (odd == nullptr)
                    return;
                store_lanes(odd + x, result.odd);
                store_lanes(even + x, result.even);
            });
    };
    run_groups(own, count, filter, [&](u32 x, u32 columns) {
        if (odd != nullptr)
            exact_inverse(window, odd, even, x, columns);
    });
}

// ---------------------------------------------------------------- levels

void narrow_vector(const i16 *samples, u8 *bytes, u32 count) {
    u32 i = 0;
    for (; i + 2 * lane_count <= count; i += 2 * lane_count)
        store_bytes(bytes + i, centred(load_lanes(samples + i)),
                    centred(load_lanes(samples + i + lane_count)));
    narrow(samples + i, bytes + i, count - i);
}

// The last sample is left to the scalar loop, because a line may end right after it.
template <u32 step> u32 spread_blocks(const u8 *from, u8 *to, u32 count) {
    u32 i = 0;
    for (; i + spread_block<step> < count; i += spread_block<step>)
        spread_one_block<step>(from + i, to + std::size_t{step} * i);
    return i;
}

void spread_bytes(const u8 *from, u8 *to, u32 step, u32 count) {
    const u32 done = step == 2   ? spread_blocks<2>(from, to, count)
                     : step == 4 ? spread_blocks<4>(from, to, count)
                                 : 0;
    spread(from + done, to + std::size_t{step} * done, step, count - done);
}

// ---------------------------------------------------------------- quantiser

void quantise_vector(const i16 *coefficients, i16 *values, u32 count, u32 step, u32 headroom) {
    const u32 reciprocal = step != 0 ? (1u << reciprocal_bits) / step : 0;
    u32 i = 0;
    // The product is shifted right by 16 bits. The reciprocal is scaled accordingly and has to fit.
    const u32 factor = reciprocal << (16 - reciprocal_bits + headroom);
    if (factor < 32768) {
        const lanes factors = splat16(static_cast<i32>(factor));
        const lanes dropped = splat16(reciprocal <= max_coarse_reciprocal ? -1 : 0);
        for (; i + lane_count <= count; i += lane_count) {
            const lanes value = high_product(load_lanes(coefficients + i), factors);
            store_lanes(values + i, without(value, are_equal(value, dropped)));
        }
    }
    quantise(coefficients + i, values + i, count - i, step, headroom);
}

bool dequantise_vector(const i16 *values, i16 *coefficients, u32 count, u32 step, u32 headroom) {
    u32 i = 0;
    lanes peaks = zero_lanes();
    if (step < 32768 && headroom == 0) {
        const auto factor = static_cast<i32>(step);
        // Zeros are reconstructed as 0 from the first coarse step on.
        const lane_mask is_coarse = all_lanes(step >= first_coarse_step);
        for (; i + lane_count <= count; i += lane_count) {
            const lanes value = load_lanes(values + i);
            const lane_mask dropped = both_masks(are_equal(value, zero_lanes()), is_coarse);
            const lanes result = without(scaled(value, factor, (factor + 1) >> 1), dropped);
            peaks = unsigned_highest(peaks, magnitudes(result));
            store_lanes(coefficients + i, result);
        }
    }
    const bool rest_fits = dequantise(values + i, coefficients + i, count - i, step, headroom);
    return rest_fits && are_within(peaks, max_coefficient - 1);
}

void divide_vector(const i16 *coefficients, i16 *values, u32 count, u32 step, u32 headroom) {
    const lanes factors = splat16(static_cast<i32>(parts_factor(step, headroom)));
    u32 i = 0;
    for (; i + lane_count <= count; i += lane_count) {
        const lanes coefficient = load_lanes(coefficients + i);
        const lanes magnitude = unsigned_high_product(magnitudes(coefficient), factors);
        store_lanes(values + i, with_signs(magnitude, coefficient));
    }
    divide(coefficients + i, values + i, count - i, step, headroom);
}

constexpr wavelet_kernels vector_kernels = {
    widen,        narrow_vector, spread_bytes,    forward_lines,     inverse_lines,
    forward_step, inverse_step,  quantise_vector, dequantise_vector, divide_vector,
};

} // namespace

} // namespace viq
