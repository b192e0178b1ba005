// The kernels themselves, written for the vectoriser of the compiler. Each instruction set includes
// this text into an unnamed namespace of its own source.
#include <algorithm>
#include <cstring>

#include "wavelet/stages/kernels.h"

namespace viq {

namespace {

constexpr i32 fraction_bits = 14;
constexpr i32 first_predict = -25987;
constexpr i32 first_update = -868;
constexpr i32 second_predict = 14466;
constexpr i32 second_update = 7266;
constexpr i32 low_scale = 13318;
constexpr i32 high_scale = -20155;
// What undoes the scaling.
constexpr i32 low_unscale = 20155;
constexpr i32 high_unscale = -13318;

// The operands of all kernels stay so small that 32 bits hold the product: a line enters with 16
// bits, and the last step of the inverse works on samples that have been brought back to 16 bits.
inline i32 product(i32 value, i32 constant) {
    return (value * constant + (1 << (fraction_bits - 1))) >> fraction_bits;
}

inline i16 saturate(i32 value) {
    return static_cast<i16>(std::clamp(value, -32768, 32767));
}

// ---------------------------------------------------------------- levels

void widen(const u8 *__restrict bytes, u32 step, i16 *__restrict samples, u32 count) {
    const auto centred = [](u8 byte) { return static_cast<i16>((byte - 128) * 64); };
    switch (step) { // a constant step is what the vectoriser understands
    case 1:
        for (u32 i = 0; i < count; ++i)
            samples[i] = centred(bytes[i]);
        break;
    case 2:
        for (u32 i = 0; i < count; ++i)
            samples[i] = centred(bytes[std::size_t{2} * i]);
        break;
    default:
        for (u32 i = 0; i < count; ++i)
            samples[i] = centred(bytes[std::size_t{step} * i]);
    }
}

void narrow(const i16 *__restrict samples, u8 *__restrict bytes, u32 count) {
    for (u32 i = 0; i < count; ++i)
        bytes[i] = static_cast<u8>(std::clamp(((samples[i] + 32) >> 6) + 128, 0, 255));
}

// ---------------------------------------------------------------- lines

// target[i] += sign * constant * (left[i] + right[i])
template <i32 constant, i32 sign>
inline void lift(i32 *__restrict target, const i32 *left, const i32 *right, u32 count) {
    for (u32 i = 0; i < count; ++i)
        target[i] += sign * product(left[i] + right[i], constant);
}

// Where a line has no neighbour, the mirror image of the present one stands in.
struct split_line {
    i32 *low, *high;
    u32 lows, highs;
};

inline split_line split(i32 *scratch, u32 length) {
    const u32 lows = (length + 1) / 2;
    return {scratch, scratch + lows + 3, lows, length / 2};
}

inline void mirror_low(const split_line &line) {
    line.low[line.lows] = line.low[line.lows - 1];
}

inline void mirror_high(const split_line &line) {
    line.high[-1] = line.high[0];
    line.high[line.highs] = line.high[line.highs - 1];
}

template <i32 constant, i32 sign> inline void lift_high(const split_line &line) {
    mirror_low(line);
    lift<constant, sign>(line.high, line.low, line.low + 1, line.highs);
}

template <i32 constant, i32 sign> inline void lift_low(const split_line &line) {
    mirror_high(line);
    lift<constant, sign>(line.low, line.high - 1, line.high, line.lows);
}

inline void scale(const i32 *__restrict from, i16 *__restrict to, u32 count, i32 constant) {
    for (u32 i = 0; i < count; ++i)
        to[i] = saturate(product(from[i], constant));
}

inline void unscale(const i16 *__restrict from, i32 *__restrict to, u32 count, i32 constant) {
    for (u32 i = 0; i < count; ++i)
        to[i] = product(from[i], constant);
}

inline void saturate_all(i32 *values, u32 count) {
    for (u32 i = 0; i < count; ++i)
        values[i] = saturate(values[i]);
}

void forward_line(const i16 *source, i16 *target, u32 length, i32 *scratch) {
    const split_line line = split(scratch, length);
    for (u32 i = 0; i < line.highs; ++i) {
        line.low[i] = source[2 * i];
        line.high[i] = source[2 * i + 1];
    }
    line.low[line.lows - 1] = source[2 * (line.lows - 1)];
    lift_high<first_predict, 1>(line);
    lift_low<first_update, 1>(line);
    lift_high<second_predict, 1>(line);
    lift_low<second_update, 1>(line);
    scale(line.low, target, line.lows, low_scale);
    scale(line.high, target + line.lows, line.highs, high_scale);
}

void inverse_line(const i16 *source, i16 *target, u32 length, i32 *scratch) {
    const split_line line = split(scratch, length);
    unscale(source, line.low, line.lows, low_unscale);
    unscale(source + line.lows, line.high, line.highs, high_unscale);
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

// ---------------------------------------------------------------- columns

// A slice through a block of columns. Unused columns hold 0.
struct slice {
    alignas(32) i32 at[column_block] = {};
};

inline void load(slice &to, const i16 *from, u32 columns) {
    if (columns == column_block)
        for (u32 i = 0; i < column_block; ++i)
            to.at[i] = from[i];
    else
        for (u32 i = 0; i < columns; ++i)
            to.at[i] = from[i];
}

inline void store(i16 *to, const slice &from, u32 columns) {
    i16 line[column_block];
    for (u32 i = 0; i < column_block; ++i)
        line[i] = saturate(from.at[i]);
    std::memcpy(to, line, columns * sizeof(i16));
}

template <i32 constant> inline void scale(slice &values) {
    for (i32 &value : values.at)
        value = product(value, constant);
}

template <i32 constant, i32 sign>
inline void lift(slice &target, const slice &base, const slice &left, const slice &right) {
    for (u32 i = 0; i < column_block; ++i)
        target.at[i] = base.at[i] + sign * product(left.at[i] + right.at[i], constant);
}

// The last two slices of one kind.
struct slice_pair {
    slice slices[2];
    slice &of(u32 index) { return slices[index & 1]; }
};

void forward_columns(i16 *top, std::size_t pitch, u32 columns, u32 length, i16 *half) {
    const u32 lows = (length + 1) / 2;
    const u32 highs = length / 2;
    slice_pair even, predicted, updated, high;
    slice odd, low;
    const auto emit_low = [&](u32 i) {
        lift<second_update, 1>(low, updated.of(i), high.of(i == 0 ? 0 : i - 1),
                               high.of(std::min(i, highs - 1)));
        scale<low_scale>(low);
        store(top + i * pitch, low, columns);
    };
    const auto emit_high = [&](u32 i) {
        slice scaled = high.of(i);
        scale<high_scale>(scaled);
        store(half + std::size_t{i} * column_block, scaled, columns);
    };
    load(even.of(0), top, columns);
    for (u32 i = 0; i < lows; ++i) {
        if (i < highs) {
            load(odd, top + (2 * std::size_t{i} + 1) * pitch, columns);
            const u32 next = std::min(i + 1, lows - 1);
            if (next != i)
                load(even.of(next), top + 2 * std::size_t{next} * pitch, columns);
            lift<first_predict, 1>(predicted.of(i), odd, even.of(i), even.of(next));
        }
        lift<first_update, 1>(updated.of(i), even.of(i), predicted.of(i == 0 ? 0 : i - 1),
                              predicted.of(std::min(i, highs - 1)));
        if (i == 0)
            continue;
        lift<second_predict, 1>(high.of(i - 1), predicted.of(i - 1), updated.of(i - 1),
                                updated.of(i));
        emit_low(i - 1);
        emit_high(i - 1);
    }
    const u32 last = lows - 1;
    if (highs == lows) {
        lift<second_predict, 1>(high.of(last), predicted.of(last), updated.of(last),
                                updated.of(last));
        emit_high(last);
    }
    emit_low(last);
    for (u32 i = 0; i < highs; ++i)
        std::memcpy(top + (lows + std::size_t{i}) * pitch, half + std::size_t{i} * column_block,
                    columns * sizeof(i16));
}

void inverse_columns(i16 *top, std::size_t pitch, u32 columns, u32 length, i16 *half) {
    const u32 lows = (length + 1) / 2;
    const u32 highs = length / 2;
    for (u32 i = 0; i < lows; ++i)
        std::memcpy(half + std::size_t{i} * column_block, top + i * pitch, columns * sizeof(i16));
    slice_pair high, updated, predicted, even;
    slice low, odd;
    const auto emit_odd = [&](u32 i) {
        lift<first_predict, -1>(odd, predicted.of(i), even.of(i),
                                even.of(std::min(i + 1, lows - 1)));
        store(top + (2 * std::size_t{i} + 1) * pitch, odd, columns);
    };
    const auto finish_even = [&](u32 i) {
        lift<first_update, -1>(even.of(i), updated.of(i), predicted.of(i == 0 ? 0 : i - 1),
                               predicted.of(std::min(i, highs - 1)));
        saturate_all(even.of(i).at, column_block);
        store(top + 2 * std::size_t{i} * pitch, even.of(i), columns);
    };
    for (u32 i = 0; i < lows; ++i) {
        load(low, half + std::size_t{i} * column_block, columns);
        scale<low_unscale>(low);
        if (i < highs) {
            load(high.of(i), top + (lows + std::size_t{i}) * pitch, columns);
            scale<high_unscale>(high.of(i));
        }
        lift<second_update, -1>(updated.of(i), low, high.of(i == 0 ? 0 : i - 1),
                                high.of(std::min(i, highs - 1)));
        if (i == 0)
            continue;
        lift<second_predict, -1>(predicted.of(i - 1), high.of(i - 1), updated.of(i - 1),
                                 updated.of(i));
        finish_even(i - 1);
        if (i >= 2)
            emit_odd(i - 2);
    }
    const u32 last = lows - 1;
    if (highs == lows)
        lift<second_predict, -1>(predicted.of(last), high.of(last), updated.of(last),
                                 updated.of(last));
    finish_even(last);
    emit_odd(last - 1);
    if (highs == lows)
        emit_odd(last);
}

// ---------------------------------------------------------------- quantiser

void quantise(const i16 *__restrict coefficients, i16 *__restrict values, u32 count, u32 step) {
    const auto factor = static_cast<i32>(step != 0 ? 32768 / step : 0);
    const i32 dropped = factor <= 512 ? -1 : 0;
    for (u32 i = 0; i < count; ++i) {
        const i32 value = (coefficients[i] * factor) >> 15;
        values[i] = static_cast<i16>(value == dropped ? 0 : value);
    }
}

void dequantise(const i16 *__restrict values, i16 *__restrict coefficients, u32 count, u32 step) {
    const auto factor = static_cast<i32>(step);
    const i32 middle = (factor + 1) >> 1;
    const i32 middle_of_zero = factor < 64 ? middle : 0;
    for (u32 i = 0; i < count; ++i) {
        const i32 value = values[i] * factor;
        coefficients[i] = saturate(value + (value != 0 ? middle : middle_of_zero));
    }
}

constexpr wavelet_kernels all_kernels = {widen,        narrow,          forward_line,
                                         inverse_line, forward_columns, inverse_columns,
                                         quantise,     dequantise};

} // namespace

} // namespace viq
