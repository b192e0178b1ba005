#include "files/unpack_rows.h"

#include <algorithm>
#include <bit>

namespace viq {

namespace {

u8 component_of(const colour_field &field, u32 word) {
    const u32 value = word >> field.shift & field.largest;
    if (field.largest < byte_values)
        return field.scaled[value];
    return scaled_to_byte(value, field.largest);
}

template <class Word>
void unpack_words(const colour_fields &fields, const u8 *words, u8 *rgb, u32 pixels) {
    for (u32 x = 0; x < pixels; ++x, words += sizeof(Word), rgb += 3) {
        const u32 word = load<Word>(words, endian::little);
        rgb[0] = component_of(fields.red, word);
        rgb[1] = component_of(fields.green, word);
        rgb[2] = component_of(fields.blue, word);
    }
}

// Samples of up to 16 bits, each part of up to three bytes.
u32 bits_at(const u8 *packed, u64 position, u32 bits) {
    const u8 *at = packed + static_cast<std::size_t>(position / 8);
    const u32 end = static_cast<u32>(position % 8) + bits;
    u32 window = 0;
    for (u32 read = 0; read < end; read += 8)
        window = window << 8 | *at++;
    const u32 spare = (8 - end % 8) % 8;
    return window >> spare & ((1u << bits) - 1);
}

template <class Load>
void take_samples(const sample_rule &rule, u32 first, u8 *target, u32 pixels, Load sample_at) {
    u64 index = first;
    const u32 flip = rule.inverted ? rule.largest : 0; // v ^ largest is largest - v
    if (rule.words)
        for (u32 x = 0; x < pixels; ++x, index += rule.step, target += 2 * rule.target_step)
            store_word(target, sample_at(index) ^ flip);
    else if (rule.largest == byte_values - 1)
        for (u32 x = 0; x < pixels; ++x, index += rule.step, target += rule.target_step)
            *target = static_cast<u8>(sample_at(index) ^ flip);
    else
        for (u32 x = 0; x < pixels; ++x, index += rule.step, target += rule.target_step)
            *target = scaled_to_byte(sample_at(index) ^ flip, rule.largest);
}

template <endian order> u32 word_at(const u8 *packed, u64 index) {
    return load<u16>(packed + 2 * static_cast<std::size_t>(index), order);
}

} // namespace

void unpack_indices(const u8 *packed, u32 bits, u8 *indices, u32 pixels) {
    const u32 mask = (1u << bits) - 1;
    u32 shift = 8;
    for (u32 x = 0; x < pixels; ++x) {
        shift -= bits;
        indices[x] = static_cast<u8>(*packed >> shift & mask);
        if (shift == 0) {
            shift = 8;
            ++packed;
        }
    }
}

bool make_field(u32 mask, colour_field &field) {
    const u32 shift = mask != 0 ? static_cast<u32>(std::countr_zero(mask)) : 0;
    const u32 largest = mask >> shift;
    field = field_of(shift, largest);
    return (largest & (largest + 1)) == 0;
}

void unpack_fields(const colour_fields &fields, u32 word_size, const u8 *words, u8 *rgb,
                   u32 pixels) {
    if (word_size == sizeof(u16))
        unpack_words<u16>(fields, words, rgb, pixels);
    else
        unpack_words<u32>(fields, words, rgb, pixels);
}

void unpack_samples(const sample_rule &rule, const u8 *packed, u32 first, u8 *target, u32 pixels) {
    constexpr u32 byte_bits = 8, word_bits = 16;
    if (rule.bits == byte_bits)
        take_samples(rule, first, target, pixels,
                     [packed](u64 index) { return u32{packed[static_cast<std::size_t>(index)]}; });
    else if (rule.bits == word_bits && rule.order == endian::big)
        take_samples(rule, first, target, pixels,
                     [packed](u64 index) { return word_at<endian::big>(packed, index); });
    else if (rule.bits == word_bits)
        take_samples(rule, first, target, pixels,
                     [packed](u64 index) { return word_at<endian::little>(packed, index); });
    else
        take_samples(rule, first, target, pixels, [packed, bits = rule.bits](u64 index) {
            return bits_at(packed, index * bits, bits);
        });
}

void reverse_bits(u8 *bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        u32 byte = bytes[i];
        byte = (byte & 0x0F) << 4 | byte >> 4;
        byte = (byte & 0x33) << 2 | (byte >> 2 & 0x33);
        bytes[i] = static_cast<u8>((byte & 0x55) << 1 | (byte >> 1 & 0x55));
    }
}

void reverse_pixels(u8 *pixels, u32 count, u32 pixel_size) {
    if (count == 0)
        return;
    u8 *left = pixels;
    u8 *right = pixels + static_cast<std::size_t>(count - 1) * pixel_size;
    for (; left < right; left += pixel_size, right -= pixel_size)
        std::swap_ranges(left, left + pixel_size, right);
}

} // namespace viq
