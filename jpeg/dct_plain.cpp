// Block kernels without vector instructions.
#include <algorithm>

#include "core/cpu.h"
#include "jpeg/block_kernels.h"
#include "jpeg/dct.h"

namespace viq {

namespace {

// Sums and differences of samples, from which the even and the odd coefficients are computed.
struct butterfly {
    i32 even[4];
    i32 odd[4]; // in the order of odd_part
};

butterfly split(const i32 *line, std::size_t step) {
    butterfly parts;
    for (std::size_t i = 0; i < 4; ++i) {
        const i32 first = line[i * step];
        const i32 second = line[(7 - i) * step];
        parts.even[i] = first + second;
        parts.odd[3 - i] = first - second;
    }
    return parts;
}

void store_products(const butterfly &parts, i32 *line, std::size_t step, i32 shift) {
    const even_results even =
        even_part(parts.even[0] - parts.even[3], parts.even[1] - parts.even[2]);
    const odd_results odd = odd_part(parts.odd[0], parts.odd[1], parts.odd[2], parts.odd[3]);
    line[2 * step] = even.of[0] >> shift;
    line[6 * step] = even.of[1] >> shift;
    for (std::size_t i = 0; i < 4; ++i)
        line[(7 - 2 * i) * step] = odd.of[i] >> shift;
}

void forward_row(i32 *row) {
    const butterfly parts = split(row, 1);
    const i32 outer = parts.even[0] + parts.even[3];
    const i32 inner = parts.even[1] + parts.even[2];
    row[0] = (outer + inner) * 4;
    row[4] = (outer - inner) * 4;
    store_products(parts, row, 1, first_pass_shift);
}

void forward_column(i32 *column) {
    const butterfly parts = split(column, 8);
    const i32 outer = parts.even[0] + parts.even[3];
    const i32 inner = parts.even[1] + parts.even[2];
    column[0] = (outer + inner) >> 5;
    column[32] = (outer - inner) >> 5;
    store_products(parts, column, 8, second_pass_shift);
}

// Transforms samples minus 128 and quantises the coefficients.
void forward_block(i32 (&block)[block_size], const quantiser &table, i16 *coefficients, u64 &mask) {
    for (std::size_t i = 0; i < 8; ++i)
        forward_row(block + 8 * i);
    for (std::size_t i = 0; i < 8; ++i)
        forward_column(block + i);
    mask = 0;
    for (std::size_t i = 0; i < block_size; ++i) {
        const u32 reciprocal =
            table.whole[i / 8][i % 8] != 0 ? 65536u : table.reciprocal[i / 8][i % 8];
        coefficients[i] =
            static_cast<i16>(quantise(block[i], table.step[i / 8][i % 8], reciprocal));
        mask |= u64{coefficients[i] != 0} << i;
    }
}

// `step` is the distance between samples of a line in bytes.
void forward_samples(const u8 *samples, std::size_t step, std::size_t line, const quantiser &table,
                     i16 *coefficients, u64 &mask) {
    i32 block[block_size];
    for (std::size_t y = 0; y < 8; ++y, samples += line)
        for (std::size_t x = 0; x < 8; ++x)
            block[8 * y + x] = samples[x * step] - 128;
    forward_block(block, table, coefficients, mask);
}

void forward_grey(const u8 *pixels, std::size_t line, const quantiser &table, block_pair &pair) {
    for (std::size_t i = 0; i < 2; ++i)
        forward_samples(pixels + 8 * i, 1, line, table, pair.coefficients[i], pair.masks[i]);
}

void forward_colour(const u8 *pixels, std::size_t line, const quantiser &luminance,
                    const quantiser &chrominance, block_pair &y, block_pair &uv) {
    for (std::size_t i = 0; i < 2; ++i) {
        forward_samples(pixels + 16 * i, 2, line, luminance, y.coefficients[i], y.masks[i]);
        forward_samples(pixels + 1 + 2 * i, 4, line, chrominance, uv.coefficients[i], uv.masks[i]);
    }
}

void inverse_line(const i32 *in, i32 *out, std::size_t step, i32 shift) {
    const i32 sum = wrapped_product(wrapped_sum(in[0], in[4 * step]), 1 << fraction_bits);
    const i32 difference =
        wrapped_product(wrapped_difference(in[0], in[4 * step]), 1 << fraction_bits);
    const even_results even = even_part(in[2 * step], in[6 * step]);
    const odd_results odd = odd_part(in[7 * step], in[5 * step], in[3 * step], in[step]);
    const i32 halves[4] = {wrapped_sum(sum, even.of[0]), wrapped_sum(difference, even.of[1]),
                           wrapped_difference(difference, even.of[1]),
                           wrapped_difference(sum, even.of[0])};
    for (std::size_t i = 0; i < 4; ++i) {
        out[i * step] = wrapped_sum(halves[i], odd.of[3 - i]) >> shift;
        out[(7 - i) * step] = wrapped_difference(halves[i], odd.of[3 - i]) >> shift;
    }
}

u8 sample_of(i32 value) {
    return static_cast<u8>(std::clamp(value, -128, 127) + 128);
}

bool inverse_pair(const block_pair &pair, const quantiser &table, u8 *samples, std::size_t line) {
    for (std::size_t i = 0; i < 2; ++i)
        inverse_block(pair.coefficients[i], pair.coefficients[i][0], table, samples + 8 * i, line);
    return true;
}

void interleave(const sample_pair &y, const u8 *uv, u32 repeat, u8 *pixels, std::size_t line) {
    for (std::size_t row = 0; row < block_lines; ++row, pixels += line) {
        const u8 *chroma = uv + (row >> repeat) * pair_width;
        for (std::size_t x = 0; x < 8; ++x) {
            pixels[4 * x] = y.rows[row][2 * x];
            pixels[4 * x + 1] = chroma[x];
            pixels[4 * x + 2] = y.rows[row][2 * x + 1];
            pixels[4 * x + 3] = chroma[8 + x];
        }
    }
}

} // namespace

const block_kernels plain_blocks = {forward_grey, forward_colour, nullptr,
                                    inverse_pair, interleave,     nullptr};

const block_kernels &current_blocks() {
    constexpr kernel_sets<block_kernels> sets = {&plain_blocks, VIQ_AVX2_TABLE(avx2_blocks),
                                                 VIQ_NEON_TABLE(neon_blocks),
                                                 VIQ_AVX512_TABLE(avx512_blocks)};
    return current_kernels(sets);
}

quantiser make_quantiser(const u8 (&steps)[block_size], const u32 *reciprocals) {
    u16 words[block_size];
    std::copy(std::begin(steps), std::end(steps), words);
    quantiser table = make_quantiser(words);
    for (std::size_t k = 0; k < block_size; ++k) {
        const u32 row = natural_of[k] / 8;
        const u32 reciprocal = reciprocals != nullptr ? reciprocals[k] : 0;
        for (std::size_t x = natural_of[k] % 8; x < pair_width; x += 8) {
            table.reciprocal[row][x] = static_cast<u16>(reciprocal);
            table.whole[row][x] = reciprocal > 0xFFFF ? 0xFFFF : 0;
        }
    }
    return table;
}

quantiser make_quantiser(const u16 (&steps)[block_size]) {
    quantiser table = {};
    for (std::size_t k = 0; k < block_size; ++k)
        for (std::size_t x = natural_of[k] % 8; x < pair_width; x += 8)
            table.step[natural_of[k] / 8][x] = steps[k];
    return table;
}

u8 flat_sample(i32 dc, const quantiser &table) {
    const i32 first = wrapped_product(wrapped_product(dc, table.step[0][0]), 1 << fraction_bits) >>
                      first_pass_shift;
    return sample_of(wrapped_product(first, 1 << fraction_bits) >> second_pass_shift);
}

void inverse_block(const i16 *coefficients, i32 dc, const quantiser &table, u8 *samples,
                   std::size_t line) {
    i32 block[block_size];
    for (std::size_t i = 0; i < block_size; ++i)
        block[i] = wrapped_product(i == 0 ? dc : coefficients[i], table.step[i / 8][i % 8]);
    for (std::size_t x = 0; x < 8; ++x)
        inverse_line(block + x, block + x, 8, first_pass_shift);
    for (std::size_t y = 0; y < 8; ++y, samples += line) {
        i32 row[8];
        inverse_line(block + 8 * y, row, 1, second_pass_shift);
        for (std::size_t x = 0; x < 8; ++x)
            samples[x] = sample_of(row[x]);
    }
}

} // namespace viq
