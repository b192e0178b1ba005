// Portable kernels, written for the auto-vectoriser. The sources for each instruction set include
// this, so that each has copies with internal linkage.
//
// One level of the wavelet (CDF 9/7): with the even samples s and the odd samples d, and p(v, c) =
// (v * c + 8192) >> 14, the forward filter is
//
//   d[i] += p(s[i] + s[i + 1], first_predict)
//   s[i] += p(d[i - 1] + d[i], first_update)
//   d[i] += p(s[i] + s[i + 1], second_predict)
//   s[i] += p(d[i - 1] + d[i], second_update)
//   low[i] = p(s[i], low_scale), high[i] = p(d[i], high_scale), saturated
//
// Neighbours beyond the ends of a line are mirrored. The inverse undoes the steps in reverse order.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "wavelet/stages/lifting_kernels.h"

namespace viq {

namespace {

constexpr i32 fraction_bits = 14;
constexpr i32 first_predict = -25987;
constexpr i32 first_update = -868;
constexpr i32 second_predict = 14466;
constexpr i32 second_update = 7266;
constexpr i32 low_scale = 13318;
constexpr i32 high_scale = -20155;
constexpr i32 low_unscale = -high_scale;
constexpr i32 high_unscale = -low_scale;

// Products fit 32 bits for all inputs: lines have 16 bits, and the inverse saturates the even
// samples to 16 bits before its last step.
inline i32 product(i32 value, i32 constant) {
    return (value * constant + (1 << (fraction_bits - 1))) >> fraction_bits;
}

constexpr i32 max_coefficient = 32767;

inline i16 saturate(i32 value) {
    return static_cast<i16>(std::clamp(value, -32768, 32767));
}

// ---------------------------------------------------------------- levels

// The step is a template argument because only constant steps are vectorised.
template <u32 step>
void widen_every(const u8 *__restrict bytes, i16 *__restrict samples, u32 count) {
    for (u32 i = 0; i < count; ++i)
        samples[i] = static_cast<i16>((bytes[std::size_t{step} * i] - 128) * 64);
}

void widen(const u8 *bytes, u32 step, i16 *samples, u32 count) {
    const auto every = step == 1 ? widen_every<1> : step == 2 ? widen_every<2> : widen_every<4>;
    every(bytes, samples, count);
}

void narrow(const i16 *__restrict samples, u8 *__restrict bytes, u32 count) {
    for (u32 i = 0; i < count; ++i)
        bytes[i] = static_cast<u8>(std::clamp(((samples[i] + 32) >> 6) + 128, 0, 255));
}

void spread(const u8 *__restrict from, u8 *__restrict to, u32 step, u32 count) {
    if (step == 1)
        std::copy_n(from, count, to);
    else
        for (u32 i = 0; i < count; ++i)
            to[std::size_t{step} * i] = from[i];
}

// ---------------------------------------------------------------- lines

// target[i] += sign * constant * (left[i] + right[i])
template <i32 constant, i32 sign>
inline void lift(i32 *__restrict target, const i32 *left, const i32 *right, u32 count) {
    for (u32 i = 0; i < count; ++i)
        target[i] += sign * product(left[i] + right[i], constant);
}

// The even (low) and odd (high) samples of a line, each with room for the mirrored neighbours.
struct lifted_line {
    i32 *low, *high;
    u32 lows, highs;
};

inline lifted_line split(i32 *scratch, u32 length) {
    const u32 lows = (length + 1) / 2;
    return {scratch, scratch + lows + 3, lows, length / 2};
}

inline void mirror_low(const lifted_line &line) {
    line.low[line.lows] = line.low[line.lows - 1];
}

inline void mirror_high(const lifted_line &line) {
    line.high[-1] = line.high[0];
    line.high[line.highs] = line.high[line.highs - 1];
}

template <i32 constant, i32 sign> inline void lift_high(const lifted_line &line) {
    mirror_low(line);
    lift<constant, sign>(line.high, line.low, line.low + 1, line.highs);
}

template <i32 constant, i32 sign> inline void lift_low(const lifted_line &line) {
    mirror_high(line);
    lift<constant, sign>(line.low, line.high - 1, line.high, line.lows);
}

// Returns false if a result is saturated.
inline bool scale(const i32 *__restrict from, i16 *__restrict to, u32 count, i32 constant) {
    i32 excess = 0;
    for (u32 i = 0; i < count; ++i) {
        const i32 value = product(from[i], constant);
        to[i] = saturate(value);
        excess |= value ^ to[i];
    }
    return excess == 0;
}

inline void unscale(const i16 *__restrict from, i32 *__restrict to, u32 count, i32 constant) {
    for (u32 i = 0; i < count; ++i)
        to[i] = product(from[i], constant);
}

inline void saturate_all(i32 *values, u32 count) {
    for (u32 i = 0; i < count; ++i)
        values[i] = saturate(values[i]);
}

void forward_line(const i16 *source, const line_halves &target, u32 length, i32 *scratch) {
    const lifted_line line = split(scratch, length);
    for (u32 i = 0; i < line.highs; ++i) {
        line.low[i] = source[2 * i];
        line.high[i] = source[2 * i + 1];
    }
    line.low[line.lows - 1] = source[2 * (line.lows - 1)];
    lift_high<first_predict, 1>(line);
    lift_low<first_update, 1>(line);
    lift_high<second_predict, 1>(line);
    lift_low<second_update, 1>(line);
    scale(line.low, target.low, line.lows, low_scale);
    scale(line.high, target.high, line.highs, high_scale);
}

void inverse_line(const line_halves &source, i16 *target, u32 length, i32 *scratch) {
    const lifted_line line = split(scratch, length);
    unscale(source.low, line.low, line.lows, low_unscale);
    unscale(source.high, line.high, line.highs, high_unscale);
    lift_low<second_update, -1>(line);
    lift_high<second_predict, -1>(line);
    lift_low<first_update, -1>(line);
    saturate_all(line.low, line.lows);
    lift_high<first_predict, -1>(line);
    for (u32 i = 0; i < line.highs; ++i) {
        target[2 * i] = static_cast<i16>(line.low[i]);
        target[2 * i + 1] = saturate(line.high[i]);
    }
    target[2 * (line.lows - 1)] = static_cast<i16>(line.low[line.lows - 1]);
}

// ---------------------------------------------------------------- quantiser

constexpr u32 reciprocal_bits = 15;
constexpr i32 max_coarse_reciprocal = (1 << reciprocal_bits) / first_coarse_step;

void quantise(const i16 *__restrict coefficients, i16 *__restrict values, u32 count, u32 step,
              u32 headroom) {
    const auto reciprocal = static_cast<i32>(step != 0 ? (1u << reciprocal_bits) / step : 0);
    const i32 dropped = reciprocal <= max_coarse_reciprocal ? -1 : 0;
    const auto shift = static_cast<i32>(reciprocal_bits - headroom);
    for (u32 i = 0; i < count; ++i) {
        const i32 value = (coefficients[i] * reciprocal) >> shift;
        values[i] = saturate(value == dropped ? 0 : value);
    }
}

constexpr u32 part_bits = 16;

constexpr u32 parts_factor(u32 step, u32 headroom) {
    return ((value_parts << (part_bits + headroom)) + step / 2) / step;
}

void divide(const i16 *__restrict coefficients, i16 *__restrict values, u32 count, u32 step,
            u32 headroom) {
    const u32 factor = parts_factor(step, headroom);
    for (u32 i = 0; i < count; ++i) {
        const i32 coefficient = coefficients[i];
        const auto magnitude = static_cast<i32>(
            static_cast<u32>(coefficient < 0 ? -coefficient : coefficient) * factor >> part_bits);
        values[i] = static_cast<i16>(coefficient < 0 ? -magnitude : magnitude);
    }
}

bool dequantise(const i16 *__restrict values, i16 *__restrict coefficients, u32 count, u32 step,
                u32 headroom) {
    const auto factor = static_cast<i32>(step);
    const i32 half_step = (factor + 1) >> 1;
    const i32 zero_offset = step < first_coarse_step ? half_step : 0;
    const auto shift = static_cast<i32>(headroom);
    i32 peak = 0;
    for (u32 i = 0; i < count; ++i) {
        const i32 value = values[i] * factor;
        const i32 coefficient = (value + (value != 0 ? half_step : zero_offset)) >> shift;
        coefficients[i] = saturate(coefficient);
        peak = std::max(peak, std::abs(coefficient));
    }
    return peak < max_coefficient;
}

} // namespace

} // namespace viq
