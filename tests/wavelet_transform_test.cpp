// The transform against the plain formulas, the layout of the subbands, the quantiser.
#include "tests/support.h"
#include "wavelet/stages/kernels.h"
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

// The lifting steps of one line in wide integers, mirrored at the ends.
std::vector<i16> reference_line(const std::vector<i16> &line) {
    samples x(line.begin(), line.end());
    const auto n = static_cast<i64>(x.size());
    const auto at = [&](i64 i) {
        return x[static_cast<std::size_t>(i < 0 ? -i : i >= n ? 2 * (n - 1) - i : i)];
    };
    const i64 constants[] = {-25987, -868, 14466, 7266};
    for (i64 step = 0; step < 4; ++step)
        for (i64 i = step % 2 == 0 ? 1 : 0; i < n; i += 2)
            x[static_cast<std::size_t>(i)] +=
                product(at(i - 1) + at(i + 1), constants[static_cast<std::size_t>(step)]);
    std::vector<i16> result(line.size());
    for (std::size_t i = 0; i < x.size(); ++i)
        result[i / 2 + (i % 2 != 0 ? (x.size() + 1) / 2 : 0)] =
            saturated(product(x[i], i % 2 == 0 ? 13318 : -20155));
    return result;
}

enum class content { photo, stripes, extremes };

i16 sample(content kind, std::size_t i) {
    const auto random = static_cast<i32>(noise());
    switch (kind) {
    case content::photo:
        return static_cast<i16>((random - 128) * 64);
    case content::stripes:
        return i % 2 == 0 ? i16{8128} : i16{-8192};
    default:
        return random < 100 ? i16{-32768} : random < 200 ? i16{32767} : static_cast<i16>(random);
    }
}

constexpr content contents[] = {content::photo, content::stripes, content::extremes};

std::vector<i16> random_line(content kind, std::size_t length) {
    std::vector<i16> line(length);
    for (std::size_t i = 0; i < length; ++i)
        line[i] = sample(kind, i);
    return line;
}

} // namespace

class wavelet_kernels_test : public every_set {};
WITH_EVERY_SET(wavelet_kernels_test);

TEST_P(wavelet_kernels_test, lines_and_columns_follow_the_lifting_formulas) {
    const wavelet_kernels &kernels = current_wavelet_kernels();
    for (const content kind : contents)
        for (u32 length = shortest_line; length < 140; ++length) {
            SCOPED_TRACE(text_of(static_cast<int>(kind), length));
            const std::vector<i16> line = random_line(kind, length);
            const std::vector<i16> wanted = reference_line(line);
            std::vector<i16> target(length);
            std::vector<i32> scratch(length + line_scratch_spare);
            kernels.forward_line(line.data(), target.data(), length, scratch.data());
            ASSERT_EQ(target, wanted);

            // The same line as a column among others, at the edge of a narrow block.
            const u32 columns = 1 + length % column_block;
            std::vector<i16> block(std::size_t{length} * columns);
            for (u32 y = 0; y < length; ++y)
                for (u32 x = 0; x < columns; ++x)
                    block[y * columns + x] = x + 1 == columns ? line[y] : sample(kind, x);
            std::vector<i16> half((length + 1) / 2 * std::size_t{column_block});
            kernels.forward_columns(block.data(), columns, columns, length, half.data());
            for (u32 y = 0; y < length; ++y)
                ASSERT_EQ(block[y * columns + columns - 1], wanted[y]) << y;

            if (kind == content::extremes)
                continue; // saturated: not to be undone
            std::vector<i16> back(length);
            kernels.inverse_line(target.data(), back.data(), length, scratch.data());
            kernels.inverse_columns(block.data(), columns, columns, length, half.data());
            for (u32 y = 0; y < length; ++y) {
                ASSERT_NEAR(back[y], line[y], 8) << y;
                ASSERT_EQ(block[y * columns + columns - 1], back[y]) << y;
            }
        }
}

TEST_P(wavelet_kernels_test, sets_agree_on_any_coefficients) {
    const wavelet_kernels &kernels = current_wavelet_kernels();
    for (u32 length = shortest_line; length < 100; ++length) {
        const std::vector<i16> line = random_line(content::extremes, length);
        std::vector<i16> plain(length), other(length);
        std::vector<i32> scratch(length + line_scratch_spare);
        plain_wavelet_kernels.inverse_line(line.data(), plain.data(), length, scratch.data());
        kernels.inverse_line(line.data(), other.data(), length, scratch.data());
        ASSERT_EQ(plain, other) << length;
    }
}

TEST_P(wavelet_kernels_test, bytes_become_samples_and_come_back) {
    const wavelet_kernels &kernels = current_wavelet_kernels();
    for (const u32 step : {1u, 2u, 4u})
        for (u32 count = 0; count < 70; ++count) {
            bytes from(count * step + 1);
            std::generate(from.begin(), from.end(), noise);
            std::vector<i16> wide(count);
            bytes back(count);
            kernels.widen(from.data(), step, wide.data(), count);
            kernels.narrow(wide.data(), back.data(), count);
            for (u32 i = 0; i < count; ++i) {
                ASSERT_EQ(wide[i], (from[i * step] - 128) * 64);
                ASSERT_EQ(back[i], from[i * step]);
            }
        }
}

TEST_P(wavelet_kernels_test, quantiser_rounds_down_and_restores_the_middle) {
    const wavelet_kernels &kernels = current_wavelet_kernels();
    std::vector<i16> all(65536), values(65536), back(65536);
    for (u32 i = 0; i < 65536; ++i)
        all[i] = static_cast<i16>(static_cast<i32>(i) - 32768);
    for (const u32 step : {0u, 1u, 8u, 63u, 64u, 65u, 128u, 256u, 1000u, 32768u}) {
        kernels.quantise(all.data(), values.data(), 65536, step);
        kernels.dequantise(values.data(), back.data(), 65536, step);
        const i64 factor = step != 0 ? 32768 / step : 0;
        for (u32 i = 0; i < 65536; ++i) {
            i64 value = (all[i] * factor) >> 15;
            if (value == -1 && factor <= 512)
                value = 0;
            ASSERT_EQ(values[i], value) << step << ' ' << all[i];
            i64 wanted = value * step;
            if (wanted != 0 || step < 64)
                wanted += (step + 1) >> 1;
            ASSERT_EQ(back[i], saturated(wanted)) << step << ' ' << all[i];
        }
    }
}

TEST(wavelet_subbands, counts_stop_at_short_sides) {
    EXPECT_EQ(count_subbands(8, 8, 6), 4u);
    EXPECT_EQ(count_subbands(640, 480, 6), 19u);
    EXPECT_EQ(count_subbands(640, 480, 32), 22u);
    EXPECT_EQ(count_subbands(4, 1000, 6), 1u);
    EXPECT_EQ(count_subbands(1, 1, 1), 1u);
}

TEST(wavelet_subbands, bands_tile_the_component) {
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

TEST(wavelet_subbands, steps_follow_the_control) {
    for (u32 band = 0; band < 19; ++band) {
        EXPECT_EQ(quantiser_step(0, 0, band, 19), band == 0 ? 64u : band % 3 == 0 ? 256u : 128u);
        EXPECT_EQ(quantiser_step(192, 0, band, 19), 8u);
        EXPECT_EQ(quantiser_step(192, 2, band, 19), 8u) << "no component is coarser here";
    }
    // The finest bands are given up first, colour before luminance; the lowest band never.
    EXPECT_EQ(quantiser_step(-384, 0, 18, 19), 0u);
    EXPECT_EQ(quantiser_step(-384, 0, 0, 19), 64u);
    for (u32 band = 1; band < 19; ++band)
        for (i16 control = -380; control < 190; control = static_cast<i16>(control + 10))
            for (const u32 component : {0u, 1u, 2u}) {
                const u32 lower = quantiser_step(control, component, band, 19);
                const u32 higher =
                    quantiser_step(static_cast<i16>(control + 10), component, band, 19);
                // 0 stands for a step beyond all others
                ASSERT_LE(higher - 1, lower - 1) << band << ' ' << control << ' ' << component;
                if (component != 0) {
                    ASSERT_GE(lower - 1, quantiser_step(control, 0, band, 19) - 1);
                }
            }
    EXPECT_EQ(quantiser_step(-100, 0, 16, 19), 180u);
}

} // namespace viq
