// The row kernels of camera frames as plain loops. Every instruction set compiles its own copy.
#pragma once

#include <cstring>

#include "camera/frame_rows.h"
#include "core/byte_order.h"

namespace viq {

// ---- Bytes and words

VIQ_FORMULA u32 load_little_word(const u8 *bytes) {
    if constexpr (host_order == endian::little)
        return load_word(bytes);
    return bytes[0] | static_cast<u32>(bytes[1]) << 8;
}

VIQ_FORMULA void store_little_word(u8 *bytes, u32 value) {
    if constexpr (host_order == endian::little) {
        store_word(bytes, value);
    } else {
        bytes[0] = static_cast<u8>(value);
        bytes[1] = static_cast<u8>(value >> 8);
    }
}

template <u32 size>
[[maybe_unused]] static void unpack_bytes(const u8 *frame, u32, u8 *line, u32 pixels) {
    std::memcpy(line, frame, std::size_t{size} * pixels);
}

template <u32 size>
[[maybe_unused]] static void pack_bytes(const u8 *line, u8 *frame, u32, u32 pixels) {
    std::memcpy(frame, line, std::size_t{size} * pixels);
}

VIQ_FORMULA constexpr u32 low_mask(u32 bits) {
    return (1u << bits) - 1;
}

// ---- Samples of more than 8 bits

// The packings of the same names.
enum class sample_order { words, lsb, gige };

template <sample_order order, u32 bits> VIQ_FORMULA constexpr packing_shape shape_of_samples() {
    if (order == sample_order::words)
        return {1, 2, bits, false};
    if (order == sample_order::gige)
        return {2, 3, bits, false};
    return {bits == 12 ? 2u : 4u, bits == 12 ? 3u : bits / 2, bits, false};
}

// Sample n of a unit.
template <sample_order order, u32 bits> VIQ_FORMULA u32 get_sample(const u8 *unit, u32 n) {
    if constexpr (order == sample_order::words)
        return load_little_word(unit) & low_mask(bits);
    if constexpr (order == sample_order::lsb) {
        const u32 shift = n * bits % 8;
        const u8 *at = unit + n * bits / 8;
        u32 value = at[0] | static_cast<u32>(at[1]) << 8;
        if (shift + bits > 16)
            value |= static_cast<u32>(at[2]) << 16;
        return value >> shift & low_mask(bits);
    }
    constexpr u32 low = bits - 8;
    return static_cast<u32>(unit[2 * n]) << low |
           (static_cast<u32>(unit[1]) >> 4 * n & low_mask(low));
}

// Samples are stored in ascending order: the first one in a byte clears the bits of the others.
template <sample_order order, u32 bits> VIQ_FORMULA void put_sample(u8 *unit, u32 n, u32 word) {
    const u32 sample = word & low_mask(bits);
    if constexpr (order == sample_order::words) {
        store_little_word(unit, sample);
    } else if constexpr (order == sample_order::lsb) {
        const u32 shift = n * bits % 8;
        const u32 value = sample << shift;
        u8 *at = unit + n * bits / 8;
        at[0] = static_cast<u8>(value | (shift != 0 ? at[0] : 0u));
        at[1] = static_cast<u8>(value >> 8);
        if (shift + bits > 16)
            at[2] = static_cast<u8>(value >> 16);
    } else {
        constexpr u32 low = bits - 8;
        const u32 nibble = (sample & low_mask(low)) << 4 * n;
        unit[2 * n] = static_cast<u8>(sample >> low);
        unit[1] = static_cast<u8>(nibble | (n != 0 ? unit[1] : 0u));
    }
}

// The pixels of a line before its first whole unit.
VIQ_FORMULA u32 pixels_before_unit(const packing_shape &shape, u32 first, u32 pixels) {
    const u32 missing = first == 0 ? 0 : shape.unit_pixels - first;
    return missing < pixels ? missing : pixels;
}

// Visits the pixels of a line: unit(offset, x) for the whole units, which start at pixel x, and
// sample(offset, n, x) for the other pixels x, which are sample n of the unit at this offset.
template <sample_order order, u32 bits, class Unit, class Sample>
VIQ_FORMULA void walk_line(u32 first, u32 pixels, Unit unit, Sample sample) {
    constexpr packing_shape shape = shape_of_samples<order, bits>();
    const u32 head = pixels_before_unit(shape, first, pixels);
    for (u32 n = 0; n < head; ++n)
        sample(std::size_t{0}, first + n, std::size_t{n});
    const std::size_t start = first != 0 ? shape.unit_bytes : 0;
    const std::size_t units = (pixels - head) / shape.unit_pixels;
    for (std::size_t number = 0; number < units; ++number)
        unit(start + number * shape.unit_bytes, head + number * shape.unit_pixels);
    const std::size_t rest = head + units * shape.unit_pixels;
    for (u32 n = 0; rest + n < pixels; ++n)
        sample(start + units * shape.unit_bytes, n, rest + n);
}

template <sample_order order, u32 bits>
VIQ_FORMULA void unpack_from(const u8 *frame, u32 first, u8 *line, u32 pixels) {
    const auto unit = [=](std::size_t offset, std::size_t x) {
        for (u32 n = 0; n < shape_of_samples<order, bits>().unit_pixels; ++n)
            store_word(line + 2 * (x + n), get_sample<order, bits>(frame + offset, n));
    };
    const auto sample = [=](std::size_t offset, u32 n, std::size_t x) {
        store_word(line + 2 * x, get_sample<order, bits>(frame + offset, n));
    };
    walk_line<order, bits>(first, pixels, unit, sample);
}

template <sample_order order, u32 bits>
VIQ_FORMULA void pack_from(const u8 *line, u8 *frame, u32 first, u32 pixels) {
    constexpr packing_shape shape = shape_of_samples<order, bits>();
    // In a local array, bytes that two samples share stay in registers.
    const auto unit = [=](std::size_t offset, std::size_t x) {
        u8 packed[shape.unit_bytes];
        for (u32 n = 0; n < shape.unit_pixels; ++n)
            put_sample<order, bits>(packed, n, load_word(line + 2 * (x + n)));
        std::memcpy(frame + offset, packed, sizeof packed);
    };
    const auto sample = [=](std::size_t offset, u32 n, std::size_t x) {
        put_sample<order, bits>(frame + offset, n, load_word(line + 2 * x));
    };
    walk_line<order, bits>(first, pixels, unit, sample);
}

template <sample_order order, u32 bits>
[[maybe_unused]] static void unpack_samples(const u8 *frame, u32 first, u8 *line, u32 pixels) {
    unpack_from<order, bits>(frame, first, line, pixels);
}

template <sample_order order, u32 bits>
[[maybe_unused]] static void pack_samples(const u8 *line, u8 *frame, u32 first, u32 pixels) {
    pack_from<order, bits>(line, frame, first, pixels);
}

// ---- YUV

VIQ_FORMULA void swap_bytes_from(const u8 *source, u8 *target, u32 pixels) {
    for (std::size_t x = 0; x < pixels; ++x) {
        const u32 word = load_word(source + 2 * x);
        store_word(target + 2 * x, word >> 8 | word << 8);
    }
}

[[maybe_unused]] static void unpack_uyvy(const u8 *frame, u32, u8 *line, u32 pixels) {
    swap_bytes_from(frame, line, pixels);
}

[[maybe_unused]] static void pack_uyvy(const u8 *line, u8 *frame, u32, u32 pixels) {
    swap_bytes_from(line, frame, pixels);
}

[[maybe_unused]] static void unpack_uyyvyy(const u8 *frame, u32, u8 *line, u32 pixels) {
    for (u32 x = 0; x < pixels; x += 4, frame += 6, line += 8) {
        const u8 u = frame[0];
        const u8 v = frame[3];
        const u8 pairs[8] = {frame[1], u, frame[2], v, frame[4], u, frame[5], v};
        std::memcpy(line, pairs, sizeof pairs);
    }
}

VIQ_FORMULA u8 rounded_mean(u32 a, u32 b) {
    return static_cast<u8>((a + b + 1) >> 1);
}

[[maybe_unused]] static void pack_uyyvyy(const u8 *line, u8 *frame, u32, u32 pixels) {
    for (u32 x = 0; x < pixels; x += 4, frame += 6, line += 8) {
        const u8 unit[6] = {rounded_mean(line[1], line[5]), line[0], line[2],
                            rounded_mean(line[3], line[7]), line[4], line[6]};
        std::memcpy(frame, unit, sizeof unit);
    }
}

// ---- RGB

// Exchanges the outer fields.
VIQ_FORMULA u32 mirror_565(u32 word) {
    return (word & 0x1F) << 11 | (word & 0x07E0) | word >> 11;
}

[[maybe_unused]] static void unpack_565(const u8 *frame, u32, u8 *line, u32 pixels) {
    for (std::size_t x = 0; x < pixels; ++x)
        store_word(line + 2 * x, mirror_565(load_little_word(frame + 2 * x)));
}

[[maybe_unused]] static void pack_565(const u8 *line, u8 *frame, u32, u32 pixels) {
    for (std::size_t x = 0; x < pixels; ++x)
        store_little_word(frame + 2 * x, mirror_565(load_word(line + 2 * x)));
}

// The upper 8 bits of each sample.
template <u32 bits>
[[maybe_unused]] static void unpack_three_words(const u8 *frame, u32, u8 *line, u32 pixels) {
    for (std::size_t n = 0; n < std::size_t{3} * pixels; ++n)
        line[n] = static_cast<u8>(load_little_word(frame + 2 * n) >> (bits - 8));
}

// The low bits repeat the high ones, so that 255 becomes the largest sample.
template <u32 bits>
[[maybe_unused]] static void pack_three_words(const u8 *line, u8 *frame, u32, u32 pixels) {
    for (std::size_t n = 0; n < std::size_t{3} * pixels; ++n) {
        const u32 value = line[n];
        store_little_word(frame + 2 * n, value << (bits - 8) | value >> (16 - bits));
    }
}

// ---- The table

template <u32 size> VIQ_FORMULA constexpr frame_row copied_bytes() {
    return {unpack_bytes<size>, pack_bytes<size>};
}

template <sample_order order, u32 bits> VIQ_FORMULA constexpr frame_row sample_loops() {
    return {unpack_samples<order, bits>, pack_samples<order, bits>};
}

template <u32 bits> VIQ_FORMULA constexpr frame_row three_word_loops() {
    return {unpack_three_words<bits>, pack_three_words<bits>};
}

[[maybe_unused]] static constexpr frame_kernels frame_loops = {{
    copied_bytes<1>(),
    copied_bytes<3>(),
    copied_bytes<4>(),
    copied_bytes<2>(), // yuyv
    {unpack_uyvy, pack_uyvy},
    {unpack_uyyvyy, pack_uyyvyy},
    sample_loops<sample_order::words, 10>(),
    sample_loops<sample_order::words, 12>(),
    sample_loops<sample_order::words, 14>(),
    sample_loops<sample_order::words, 16>(),
    sample_loops<sample_order::lsb, 10>(),
    sample_loops<sample_order::lsb, 12>(),
    sample_loops<sample_order::lsb, 14>(),
    sample_loops<sample_order::gige, 10>(),
    sample_loops<sample_order::gige, 12>(),
    {unpack_565, pack_565},
    three_word_loops<10>(),
    three_word_loops<12>(),
    three_word_loops<14>(),
    three_word_loops<16>(),
}};

} // namespace viq
