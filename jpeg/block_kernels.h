// Block kernels: transforms and quantisation of pairs of 8 x 8 blocks. All instruction sets give
// the same results.
#pragma once

#include "jpeg/jpeg_tables.h"

namespace viq {

// Two blocks side by side: 8 rows of 16.
constexpr u32 pair_width = 16;
constexpr u32 block_lines = 8;

// A quantisation table in natural order. Each row is repeated, to match a row of a pair of blocks.
struct quantiser {
    alignas(32) u16 step[block_lines][pair_width];
    alignas(32) u16 reciprocal[block_lines][pair_width]; // low 16 bits of round(65536 / step)
    alignas(32) u16 whole[block_lines][pair_width];      // 0xFFFF where the reciprocal is 65536
};

quantiser make_quantiser(const u8 (&steps)[block_size], const u32 *reciprocals);

// For the inverse transform only.
quantiser make_quantiser(const u16 (&steps)[block_size]);

// Two quantised blocks, each in natural order. Bit n of a mask is set if coefficient n is not 0.
struct block_pair {
    alignas(32) i16 coefficients[2][block_size];
    u64 masks[2];
};

// The decoded samples of a pair of blocks, side by side.
struct sample_pair {
    alignas(32) u8 rows[block_lines][pair_width];
};

// Lines of samples whose chroma is that of two pixels each: for 16 pixels, 8 values of U and 8 of
// V.
struct sample_lines {
    const u8 *y;
    std::size_t y_line;
    const u8 *uv;
    u32 lines;  // that share the chroma
    u32 pixels; // a multiple of 16; whole blocks of 32 can be read
};

struct block_kernels {
    // 16 x 8 grey pixels.
    void (*forward_grey)(const u8 *pixels, std::size_t line, const quantiser &, block_pair &);
    // 16 x 8 pixels of YUV 4:2:2: the two blocks of Y, and those of U and V.
    void (*forward_colour)(const u8 *pixels, std::size_t line, const quantiser &luminance,
                           const quantiser &chrominance, block_pair &y, block_pair &uv);
    // The same for 16 x 8 pixels of RGB24, as converted to YUV 4:2:2. Null: the caller converts.
    void (*forward_rgb)(const u8 *pixels, std::size_t line, const quantiser &luminance,
                        const quantiser &chrominance, block_pair &y, block_pair &uv);
    // Writes 16 x 8 samples. False if a coefficient is too large for this kernel; `samples` is then
    // unchanged.
    bool (*inverse)(const block_pair &, const quantiser &, u8 *samples, std::size_t line);
    // Builds 16 x 8 pixels of YUV 4:2:2; each row of U and V is used for 1 << repeat lines.
    void (*interleave)(const sample_pair &y, const u8 *uv, u32 repeat, u8 *pixels,
                       std::size_t line);
    // Converts to RGB24. Null: the pixels are made as YUV 4:2:2 and converted by rows.
    void (*to_rgb)(const sample_lines &, u8 *rgb, std::size_t line);
};

extern const block_kernels plain_blocks;
extern const block_kernels avx2_blocks;
extern const block_kernels neon_blocks;
extern const block_kernels avx512_blocks;

// The kernels of the current instruction set.
const block_kernels &current_blocks();

// The inverse transform of one block; its DC may have any value.
void inverse_block(const i16 *coefficients, i32 dc, const quantiser &table, u8 *samples,
                   std::size_t line);

// The sample value of a block whose AC coefficients are 0.
u8 flat_sample(i32 dc, const quantiser &table);

// Quantises one coefficient.
constexpr i32 quantise(i32 coefficient, u32 step, u32 reciprocal) {
    const auto size = static_cast<u32>(coefficient < 0 ? -coefficient : coefficient);
    if (size < step)
        return 0;
    const auto quotient = static_cast<i32>(size * reciprocal >> 16);
    return coefficient < 0 ? -quotient : quotient;
}

} // namespace viq
