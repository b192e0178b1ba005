// The block kernels of every instruction set compared with the definition of the DCT and with the
// plain kernels.
#include <cmath>
#include <numbers>

#include "convert/pixel_formulas.h"
#include "jpeg/block_kernels.h"
#include "jpeg_support.h"

namespace viq {
namespace {

std::mt19937 dice(7);

int random(int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(dice);
}

quantiser quantiser_of(u32 first, u32 step) {
    u8 steps[block_size];
    u32 reciprocals[block_size];
    for (u32 k = 0; k < block_size; ++k) {
        steps[k] = static_cast<u8>(std::min(first + step * k, 255u));
        reciprocals[k] = (steps[k] / 2 + 65536u) / steps[k];
    }
    return make_quantiser(steps, reciprocals);
}

// 8 lines of 16 pixels of YUV 4:2:2: noise, extremes, gradients, flat, or one basis function.
using pixel_rows = std::array<u8, 8 * 32>;

pixel_rows make_pixels(u32 kind) {
    pixel_rows rows = {};
    for (u32 i = 0; i < rows.size(); ++i)
        switch (kind % 5) {
        case 0:
            rows[i] = static_cast<u8>(random(0, 255));
            break;
        case 1:
            rows[i] = random(0, 1) != 0 ? 255 : 0;
            break;
        case 2:
            rows[i] = static_cast<u8>(i % 32 * static_cast<u32>(random(3, 4)) + i / 32 * 9);
            break;
        case 3:
            rows[i] = static_cast<u8>(kind * 3);
            break;
        default:
            // The signs of one basis function, which maximise its coefficient.
            rows[i] =
                std::cos((2 * (i % 32 / 2 % 8) + 1) * (kind / 5 % 8) * std::numbers::pi / 16) *
                            std::cos((2 * (i / 32) + 1) * (kind / 40 % 8) * std::numbers::pi / 16) >
                        0
                    ? 255
                    : 0;
            break;
        }
    return rows;
}

double basis(u32 frequency, u32 place) {
    return std::cos((2.0 * place + 1) * frequency * std::numbers::pi / 16) *
           (frequency == 0 ? std::sqrt(0.125) : 0.5);
}

class JpegKernels : public every_set {};
WITH_EVERY_SET(JpegKernels);

TEST_P(JpegKernels, ForwardMatchesThePlainKernelAndTheDct) {
    const block_kernels &kernels = current_blocks();
    for (u32 kind = 0; kind < 400; ++kind) {
        SCOPED_TRACE(kind);
        const pixel_rows pixels = make_pixels(kind);
        const quantiser tables[2] = {quantiser_of(kind % 3 == 0 ? 1 : kind % 200 + 1, kind % 4),
                                     quantiser_of(1, 0)};
        block_pair y, uv, grey, plain_y, plain_uv, plain_grey;
        kernels.forward_colour(pixels.data(), 32, tables[0], tables[1], y, uv);
        kernels.forward_grey(pixels.data(), 32, tables[1], grey);
        plain_blocks.forward_colour(pixels.data(), 32, tables[0], tables[1], plain_y, plain_uv);
        plain_blocks.forward_grey(pixels.data(), 32, tables[1], plain_grey);
        for (const auto &[got, plain] :
             {std::pair(&y, &plain_y), std::pair(&uv, &plain_uv), std::pair(&grey, &plain_grey)})
            for (u32 i = 0; i < 2; ++i) {
                EXPECT_TRUE(std::equal(got->coefficients[i], got->coefficients[i] + block_size,
                                       plain->coefficients[i]));
                EXPECT_EQ(got->masks[i], plain->masks[i]);
                for (u32 n = 0; n < block_size; ++n)
                    EXPECT_EQ(got->masks[i] >> n & 1, got->coefficients[i][n] != 0);
            }
        for (u32 n = 0; n < block_size; n += 5) {
            double sum = 0;
            for (u32 place = 0; place < block_size; ++place)
                sum += (pixels[place / 8 * 32 + place % 8] - 128) * basis(n % 8, place % 8) *
                       basis(n / 8, place / 8);
            EXPECT_NEAR(grey.coefficients[0][n], sum, 1.6);
        }
    }
}

TEST_P(JpegKernels, ForwardOfRgbMatchesTheFormula) {
    const block_kernels &kernels = current_blocks();
    if (kernels.forward_rgb == nullptr)
        GTEST_SKIP() << "this set converts to YUV 4:2:2 first";
    const quantiser tables[2] = {quantiser_of(1, 0), quantiser_of(2, 0)};
    for (u32 kind = 0; kind < 300; ++kind) {
        SCOPED_TRACE(kind);
        u8 pixels[8][48], pairs[8][32];
        for (u32 i = 0; i < 8 * 16; ++i) {
            u8 *rgb = pixels[i / 16] + 3 * (i % 16);
            for (u32 c = 0; c < 3; ++c)
                rgb[c] = static_cast<u8>(kind % 3 == 0 ? 255 * random(0, 1) : random(0, 255));
            if (i % 2 != 0)
                pack_yuv_pair(pairs[i / 16] + i % 16 * 2 - 2, {rgb[-3], rgb[-2], rgb[-1]},
                              {rgb[0], rgb[1], rgb[2]});
        }
        block_pair y, uv, plain_y, plain_uv;
        kernels.forward_rgb(pixels[0], 48, tables[0], tables[1], y, uv);
        plain_blocks.forward_colour(pairs[0], 32, tables[0], tables[1], plain_y, plain_uv);
        for (const auto &[got, plain] : {std::pair(&y, &plain_y), std::pair(&uv, &plain_uv)})
            for (u32 i = 0; i < 2; ++i) {
                EXPECT_TRUE(std::equal(got->coefficients[i], got->coefficients[i] + block_size,
                                       plain->coefficients[i]));
                EXPECT_EQ(got->masks[i], plain->masks[i]);
            }
    }
}

TEST_P(JpegKernels, InverseMatchesThePlainKernelAndTheDct) {
    const block_kernels &kernels = current_blocks();
    u32 handled = 0;
    for (u32 round = 0; round < 600; ++round) {
        SCOPED_TRACE(round);
        const quantiser table = quantiser_of(round % 2 != 0 ? 1 : round % 30 + 1, round % 2);
        const int limit = round % 7 == 0 ? 1023 : round % 7 == 1 ? 32767 : 40;
        // A third of the pairs have values in the first four rows and columns only.
        const int kept = round % 3 == 0 ? 0b011'011 : 63;
        block_pair pair = {};
        for (u32 i = 0; i < 2; ++i) {
            pair.coefficients[i][0] = static_cast<i16>(random(-700, 700));
            for (u32 n = 0; n < round % 40; ++n)
                pair.coefficients[i][random(1, 63) & kept] =
                    static_cast<i16>(random(-limit, limit));
        }
        sample_pair got, plain;
        plain_blocks.inverse(pair, table, plain.rows[0], pair_width);
        if (!kernels.inverse(pair, table, got.rows[0], pair_width))
            continue;
        ++handled;
        for (u32 y = 0; y < block_lines; ++y)
            ASSERT_TRUE(std::equal(got.rows[y], got.rows[y] + pair_width, plain.rows[y]));
        const u32 place = static_cast<u32>(random(0, 63));
        double sum = 128;
        for (u32 n = 0; n < block_size; ++n)
            sum += pair.coefficients[1][n] * table.step[n / 8][n % 8] * basis(n % 8, place % 8) *
                   basis(n / 8, place / 8);
        if (limit > 40)
            continue; // 32-bit sums may have overflowed
        EXPECT_NEAR(got.rows[place / 8][8 + place % 8], std::clamp(sum, 0.0, 255.0), 2.1);
    }
    EXPECT_GE(handled, 250u);
}

TEST_P(JpegKernels, InterleaveStoresTwoPixelsInFourBytes) {
    sample_pair y, uv;
    for (sample_pair *samples : {&y, &uv})
        for (u8(&row)[pair_width] : samples->rows)
            std::generate_n(row, pair_width, noise);
    for (u32 repeat = 0; repeat < 2; ++repeat) {
        u8 pixels[8][40] = {};
        current_blocks().interleave(y, uv.rows[0], repeat, pixels[0], 40);
        for (u32 row = 0; row < 8; ++row)
            for (u32 x = 0; x < 8; ++x) {
                const u8 *chroma = uv.rows[row >> repeat];
                const u8 wanted[4] = {y.rows[row][2 * x], chroma[x], y.rows[row][2 * x + 1],
                                      chroma[8 + x]};
                ASSERT_TRUE(std::equal(wanted, wanted + 4, pixels[row] + 4 * x));
            }
        EXPECT_EQ(pixels[7][32], 0);
    }
}

TEST_P(JpegKernels, RgbMatchesTheFormula) {
    if (current_blocks().to_rgb == nullptr)
        GTEST_SKIP() << "this set makes YUV 4:2:2 first";
    constexpr u32 width = 256;
    u8 y[2][width], uv[width];
    for (u8 *line : {y[0], y[1], uv})
        std::generate_n(line, width, noise);
    for (u32 pixels = 16; pixels <= width; pixels += 16)
        for (u32 lines = 1; lines <= 2; ++lines) {
            bytes got(std::size_t{2} * 3 * width + 1);
            current_blocks().to_rgb({y[0], width, uv, lines, pixels}, got.data(), 3 * width);
            for (u32 i = 0; i < lines * pixels; ++i) {
                const u32 x = i % pixels;
                const u8 *chroma = uv + x / 16 * 16 + x % 16 / 2;
                const rgb wanted = yuv_to_rgb({y[i / pixels][x], chroma[0], chroma[8]});
                const u8 *at = got.data() + std::size_t{3} * (i / pixels * width + x);
                ASSERT_EQ(std::tuple(at[0], at[1], at[2]),
                          std::tuple(wanted.red, wanted.green, wanted.blue));
            }
            EXPECT_EQ(got[std::size_t{3} * ((lines - 1) * width + pixels)], 0);
        }
}

TEST(JpegQuantise, TruncatesTheReciprocalProduct) {
    EXPECT_EQ(quantise(16, 16, 4096) - quantise(-47, 16, 4096), 1 + 2);
    EXPECT_EQ(quantise(3, 3, 21845), 0) << "a reciprocal rounded down loses the step itself";
}

TEST(JpegInverse, BlocksWithOnlyDcAreFlat) {
    const quantiser table = quantiser_of(16, 1);
    for (int dc = -3000; dc <= 3000; dc += 7) {
        const i16 block[block_size] = {static_cast<i16>(dc)};
        u8 samples[block_size];
        inverse_block(block, dc, table, samples, 8);
        EXPECT_TRUE(std::all_of(samples, samples + block_size,
                                [&](u8 s) { return s == flat_sample(dc, table); }));
    }
}

} // namespace
} // namespace viq
