// The transform compared with the formulas, the layout of the subbands, the quantiser.
#include "core/lazy_buffer.h"
#include "tests/support.h"
#include "wavelet/stages/line_based_dwt.h"
#include "wavelet/stages/subbands.h"

namespace viq {

namespace {

using samples = std::vector<i64>;

i64 product(i64 value, i64 constant) {
    return (value * constant + 8192) >> 14;
}

i16 saturated(i64 value) {
    return static_cast<i16>(std::clamp<i64>(value, -32768, 32767));
}

// Index of sample i of a line after filtering: low half, then high half.
std::size_t filtered_index(std::size_t i, std::size_t length) {
    return i / 2 + (i % 2 != 0 ? (length + 1) / 2 : 0);
}

void lift(samples &x, i64 step, i64 constant, i64 sign) {
    const auto n = static_cast<i64>(x.size());
    const auto at = [&](i64 i) {
        return x[static_cast<std::size_t>(i < 0 ? -i : i >= n ? 2 * (n - 1) - i : i)];
    };
    for (i64 i = step % 2; i < n; i += 2)
        x[static_cast<std::size_t>(i)] += sign * product(at(i - 1) + at(i + 1), constant);
}

// The lifting steps of one line in 64-bit integers, mirrored at the ends.
samples filtered(const samples &line) {
    samples x = line;
    const i64 constants[] = {-25987, -868, 14466, 7266};
    for (i64 step = 0; step < 4; ++step)
        lift(x, step + 1, constants[step], 1);
    samples result(x.size());
    for (std::size_t i = 0; i < x.size(); ++i)
        result[filtered_index(i, x.size())] = saturated(product(x[i], i % 2 == 0 ? 13318 : -20155));
    return result;
}

samples restored(const samples &line) {
    samples x(line.size());
    for (std::size_t i = 0; i < x.size(); ++i)
        x[i] = product(line[filtered_index(i, x.size())], i % 2 == 0 ? 20155 : -13318);
    const i64 constants[] = {7266, 14466, -868, -25987};
    for (i64 step = 0; step < 4; ++step) {
        if (step == 3)
            for (std::size_t i = 0; i < x.size(); i += 2)
                x[i] = saturated(x[i]);
        lift(x, step, constants[step], -1);
    }
    std::transform(x.begin(), x.end(), x.begin(), saturated);
    return x;
}

struct component {
    u32 width, height, levels;
    std::vector<i16> values;
    bool operator==(const component &) const = default;
};

template <class Filter>
void filter_lines(component &all, u32 count, u32 length, std::size_t across, std::size_t along,
                  Filter filter) {
    for (u32 line = 0; line < count; ++line) {
        i16 *first = &all.values[line * across];
        samples x(length);
        for (u32 i = 0; i < length; ++i)
            x[i] = first[i * along];
        x = filter(x);
        for (u32 i = 0; i < length; ++i)
            first[i * along] = static_cast<i16>(x[i]);
    }
}

component reference(component all, bool inverse) {
    for (u32 i = 0; i < all.levels; ++i) {
        const u32 level = inverse ? all.levels - 1 - i : i;
        const u32 width = (all.width + (1u << level) - 1) >> level;
        const u32 height = (all.height + (1u << level) - 1) >> level;
        if (!inverse)
            filter_lines(all, height, width, all.width, 1, filtered);
        filter_lines(all, width, height, 1, all.width, inverse ? restored : filtered);
        if (inverse)
            filter_lines(all, height, width, all.width, 1, restored);
    }
    return all;
}

component transformed(const component &all) {
    component result = all;
    result.values.resize(all.values.size() + coefficient_padding);
    line_based_dwt levels;
    const line_part<i16> whole = {result.values.data(), all.width};
    EXPECT_TRUE(begin_forward(levels, {{&whole, 32}, all.width, all.height}, all.levels));
    for (u32 y = 0; y < all.height;) {
        const u32 count = std::min(all.height - y, 1u + (noise() > 20 ? 1 : 0));
        const i16 *const lines[2] = {&all.values[std::size_t{y} * all.width],
                                     &all.values[std::size_t{y + count - 1} * all.width]};
        push_lines(levels, lines, count);
        y += count;
    }
    result.values.resize(all.values.size());
    return result;
}

component transformed_back(const component &all) {
    component source = all;
    source.values.resize(all.values.size() + coefficient_padding);
    component result = all;
    line_based_dwt levels;
    const line_part<i16> whole = {source.values.data(), all.width};
    EXPECT_TRUE(begin_inverse(levels, {{&whole, 32}, all.width, all.height}, all.levels));
    const auto take = [&](u32 y) {
        const line_strip strip = pull_lines(levels, y);
        for (u32 i = 0; i < strip.lines; ++i)
            std::copy_n(strip.first + i * strip.stride, all.width,
                        &result.values[std::size_t{y + i} * all.width]);
        return strip.lines;
    };
    for (u32 y = 0; y < all.height;)
        y += take(y);
    take(all.height / 2); // restarts the transform
    return result;
}

// Noise, and contents whose intermediate values exceed 16 bits everywhere, in lines, in columns or
// at single samples.
enum class content { photo, stripes, bars, white, specks, extremes };

i16 sample(content kind, u32 x, u32 y) {
    const auto random = static_cast<i32>(noise());
    switch (kind) {
    case content::photo:
        return static_cast<i16>((random - 128) * 64);
    case content::stripes:
        return y % 2 == 0 ? i16{8128} : i16{-8192};
    case content::bars:
        return x % 2 == 0 ? i16{8128} : i16{-8192};
    case content::white:
        return 8128;
    case content::specks:
        return random < 8 ? i16{8128} : i16{-8192};
    default:
        return random < 100 ? i16{-32768} : random < 200 ? i16{32767} : static_cast<i16>(random);
    }
}

constexpr content contents[] = {content::photo, content::stripes, content::bars,
                                content::white, content::specks,  content::extremes};

component random_component(content kind, u32 width, u32 height) {
    component all = {width, height, (count_subbands(width, height, 6) - 1) / 3, {}};
    for (u32 y = 0; y < height; ++y)
        for (u32 x = 0; x < width; ++x)
            all.values.push_back(sample(kind, x, y));
    return all;
}

} // namespace

class WaveletKernels : public every_set {};
WITH_EVERY_SET(WaveletKernels);

TEST_P(WaveletKernels, LevelsMatchTheLiftingFormulas) {
    std::vector<std::pair<u32, u32>> sizes = {{301, 67}, {40, 290}, {523, 9}};
    for (u32 side = min_line_length; side <= 70; ++side) {
        sizes.push_back({side, min_line_length + side * 7 % 60});
        sizes.push_back({min_line_length + side * 11 % 60, side});
    }
    for (const content kind : contents)
        for (const auto &[width, height] : sizes) {
            SCOPED_TRACE(text_of(static_cast<int>(kind), width, height));
            const component source = random_component(kind, width, height);
            const component coefficients = transformed(source);
            ASSERT_EQ(coefficients, reference(source, false));
            const component back = transformed_back(coefficients);
            ASSERT_EQ(back, reference(coefficients, true));
            ASSERT_EQ(transformed_back(source), reference(source, true)) << "as coefficients";
            const auto [lowest, highest] =
                std::minmax_element(coefficients.values.begin(), coefficients.values.end());
            if (*lowest == -32768 || *highest == 32767)
                continue; // saturated coefficients are not invertible
            for (std::size_t i = 0; i < back.values.size(); ++i)
                ASSERT_NEAR(back.values[i], source.values[i], 32 * source.levels) << i;
        }
}

TEST_P(WaveletKernels, ConvertsBytesToSamplesAndBack) {
    const wavelet_kernels &kernels = current_wavelet_kernels();
    for (const u32 step : {1u, 2u, 4u})
        for (u32 count = 0; count < 70; ++count) {
            bytes from(count * step + 1);
            std::generate(from.begin(), from.end(), noise);
            std::vector<i16> wide(count);
            bytes back(count);
            kernels.widen(from.data(), step, wide.data(), count);
            kernels.narrow(wide.data(), back.data(), count);
            bytes spread(from.size(), 77);
            kernels.spread(back.data(), spread.data(), step, count);
            for (u32 i = 0; i < count; ++i) {
                ASSERT_EQ(wide[i], (from[i * step] - 128) * 64);
                ASSERT_EQ(back[i], from[i * step]);
            }
            for (u32 i = 0; i < spread.size(); ++i)
                ASSERT_EQ(spread[i], i % step == 0 && i < count * step ? from[i] : 77);
        }
}

TEST_P(WaveletKernels, QuantisesDownAndReconstructsTheMiddle) {
    const wavelet_kernels &kernels = current_wavelet_kernels();
    std::vector<i16> all(65536), values(65536), back(65536);
    for (u32 i = 0; i < 65536; ++i)
        all[i] = static_cast<i16>(static_cast<i32>(i) - 32768);
    for (const u32 headroom : {0u, 1u})
        for (const u32 step : {0u, 1u, 8u, 63u, 64u, 65u, 128u, 256u, 1000u, 32768u}) {
            SCOPED_TRACE(text_of(step, headroom));
            kernels.quantise(all.data(), values.data(), 65536, step, headroom);
            kernels.dequantise(values.data(), back.data(), 65536, step, headroom);
            const i64 factor = step != 0 ? 32768 / step : 0;
            for (u32 i = 0; i < 65536; ++i) {
                const i64 value = (all[i] * factor * (1 << headroom)) >> 15;
                ASSERT_EQ(values[i], value == -1 && factor <= 512 ? 0 : saturated(value)) << all[i];
                i64 wanted = i64{values[i]} * step;
                if (wanted != 0 || step < 64)
                    wanted += (step + 1) >> 1;
                wanted >>= headroom;
                ASSERT_EQ(back[i], saturated(wanted)) << all[i];
                i16 line[40], result[40];
                std::fill_n(line, 40, values[i]);
                ASSERT_EQ(kernels.dequantise(line, result, 40, step, headroom),
                          std::abs(wanted) < 32767);
            }
        }
}

TEST(LazyBuffer, ClearsOnlyWrittenPages) {
    lazy_buffer<i16> buffer;
    constexpr std::size_t size = 40000;
    ASSERT_TRUE(buffer.resize(size));
    EXPECT_TRUE(std::all_of(buffer.elements, buffer.elements + size, [](i16 v) { return v == 0; }));
    buffer.mark_written(5000, 3000); // pages 2 and 3 of 2048 elements
    std::fill_n(buffer.elements, size, i16{7});
    buffer.clear(4500, 10000);
    for (std::size_t i = 0; i < size; ++i)
        ASSERT_EQ(buffer.elements[i], i >= 4500 && i < 8192 ? 0 : 7) << i;
    ASSERT_TRUE(buffer.resize(size / 2));
    EXPECT_EQ(buffer.elements[0], 7);
    ASSERT_TRUE(buffer.resize(size * 2));
    EXPECT_EQ(buffer.elements[0], 0);
    EXPECT_FALSE(buffer.resize(UINT64_MAX));
}

TEST(WaveletSubbands, ShortSidesLimitTheLevels) {
    EXPECT_EQ(count_subbands(8, 8, 6), 4u);
    EXPECT_EQ(count_subbands(640, 480, 6), 19u);
    EXPECT_EQ(count_subbands(640, 480, 32), 22u);
    EXPECT_EQ(count_subbands(4, 1000, 6), 1u);
    EXPECT_EQ(count_subbands(1, 1, 1), 1u);
}

TEST(WaveletSubbands, BandsTileTheComponent) {
    for (const auto &[width, height, levels] :
         {std::array<u32, 3>{640, 480, 6}, {5, 5, 1}, {33, 7, 4}, {1, 9, 3}, {101, 67, 32}}) {
        const u32 subbands = count_subbands(width, height, levels);
        std::vector<int> covered(std::size_t{width} * height);
        for (u32 band = 0; band < subbands; ++band) {
            const subband area = find_subband(width, height, subbands, band);
            for (u32 y = 0; y < area.height; ++y)
                for (u32 x = 0; x < area.width; ++x)
                    ++covered[(area.y + y) * width + area.x + x];
        }
        EXPECT_EQ(covered, std::vector<int>(covered.size(), 1)) << width;
        EXPECT_EQ(find_subband(width, height, subbands, subbands).width, 0u);
    }
    const subband second = find_subband(640, 480, 19, 1);
    EXPECT_EQ(second.x, 10u);
    EXPECT_EQ(second.y, 0u);
    EXPECT_EQ(second.width, 10u);
    EXPECT_EQ(second.height, 8u);
}

TEST(WaveletSubbands, StepsFollowTheControl) {
    for (u32 band = 0; band < 19; ++band) {
        EXPECT_EQ(quantiser_step(0, 0, band, 19), band == 0 ? 64u : band % 3 == 0 ? 256u : 128u);
        EXPECT_EQ(quantiser_step(192, 0, band, 19), 8u);
        EXPECT_EQ(quantiser_step(192, 2, band, 19), 8u) << "no component is coarser here";
    }
    // The finest bands are dropped first, chroma before luminance; the lowest band is always coded.
    EXPECT_EQ(quantiser_step(-384, 0, 18, 19), 0u);
    EXPECT_EQ(quantiser_step(-384, 0, 0, 19), 64u);
    for (u32 band = 1; band < 19; ++band)
        for (i16 control = -380; control < 190; control = static_cast<i16>(control + 10))
            for (const u32 component : {0u, 1u, 2u}) {
                const u32 lower = quantiser_step(control, component, band, 19);
                const u32 higher =
                    quantiser_step(static_cast<i16>(control + 10), component, band, 19);
                // Step 0 (not coded) compares as the coarsest.
                ASSERT_LE(higher - 1, lower - 1) << band << ' ' << control << ' ' << component;
                if (component != 0) {
                    ASSERT_GE(lower - 1, quantiser_step(control, 0, band, 19) - 1);
                }
            }
    EXPECT_EQ(quantiser_step(-100, 0, 16, 19), 180u);
}

} // namespace viq
