// Row kernels of the conforming readers: samples of any depth and colour fields of pixel words.
#pragma once

#include "core/byte_order.h"

namespace viq {

// A sample between 0 and `largest`, scaled to 0 to 255 and rounded to the nearest value.
constexpr u8 scaled_to_byte(u32 sample, u32 largest) {
    return static_cast<u8>((u64{sample} * 255 + largest / 2) / largest);
}

// Indices of 1, 2, 4 or 8 bits to one byte each; the left pixel is in the highest bits.
void unpack_indices(const u8 *packed, u32 bits, u8 *indices, u32 pixels);

// A component in a little-endian word.
struct colour_field {
    u32 shift;
    u32 largest;
    u8 scaled[256]; // by value, if there are at most so many values
};

constexpr u32 byte_values = 256;

// A field of adjacent bits, the lowest one at `shift`. Without bits it is 0 in every pixel.
constexpr colour_field field_of(u32 shift, u32 largest) {
    colour_field field = {shift, largest, {}};
    for (u32 value = 1; value <= largest && largest < byte_values; ++value)
        field.scaled[value] = scaled_to_byte(value, largest);
    return field;
}

// False unless the bits of the mask are adjacent.
bool make_field(u32 mask, colour_field &field);

struct colour_fields {
    colour_field red, green, blue;
};

// Words of 2 or 4 bytes to RGB24.
void unpack_fields(const colour_fields &fields, u32 word_size, const u8 *words, u8 *rgb,
                   u32 pixels);

// How the samples of a line are stored: 1 to 16 bits each, without gaps, the first one in the
// highest bits. Samples of 16 bits are words in the byte order `order`.
struct sample_rule {
    u32 bits;
    endian order;
    u32 step;        // samples from pixel to pixel
    bool inverted;   // 0 is the largest value
    bool words;      // the target has words of the machine, not bytes
    u32 largest;     // of a sample
    u32 target_step; // of bytes or words from pixel to pixel
};

// Takes one sample of each pixel, starting with sample `first`. Bytes are scaled to 0 to 255, words
// are not scaled.
void unpack_samples(const sample_rule &rule, const u8 *packed, u32 first, u8 *target, u32 pixels);

void reverse_bits(u8 *bytes, std::size_t count);
void reverse_pixels(u8 *pixels, u32 count, u32 pixel_size);

} // namespace viq
