// Every row kernel of every instruction set compared with a reference of the formulas.
#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "convert/conversion_rows.h"
#include "convert/table_rows.h"
#include "core/cpu.h"

namespace viq {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr int yuv_step = 15; // divides 255, so that 255 is tested
#else
constexpr int yuv_step = 1;
#endif

using bytes = std::vector<u8>;
using colour = std::array<int, 3>;

// The components of a pixel in the order of its bytes.
std::string_view order_of(u16 format) {
    switch (format) {
    case VIQ_RGB24:
        return "RGB";
    case VIQ_BGR24:
        return "BGR";
    case VIQ_RGBX32:
        return "RGBX";
    case VIQ_BGRX32:
        return "BGRX";
    case VIQ_XBGR32:
        return "XBGR";
    case VIQ_XRGB32:
        return "XRGB";
    default:
        return "";
    }
}

std::size_t size_of(u16 format) {
    if (!order_of(format).empty())
        return order_of(format).size();
    if (format == VIQ_HSI || format == VIQ_CMYK32)
        return 4;
    return format == VIQ_Y8 || format == VIQ_PALETTED || format == VIQ_RGB8 ? 1 : 2;
}

int word_at(const u8 *p) {
    u16 word = 0;
    std::memcpy(&word, p, 2);
    return word;
}

void put_word(u8 *p, int value) {
    const u16 word = static_cast<u16>(value);
    std::memcpy(p, &word, 2);
}

u8 byte_of(int value) {
    return static_cast<u8>(value);
}
int clamped(int value) {
    return std::clamp(value, 0, 255);
}
// value / 1024, rounded down, also below 0.
int fraction10(int value) {
    return (value + 1024 * 1024) / 1024 - 1024;
}

colour from_yuv(int y, int u, int v) {
    return {clamped(fraction10(1024 * y + 1436 * (v - 128))),
            clamped(fraction10(1024 * y - 731 * (v - 128) - 352 * (u - 128))),
            clamped(fraction10(1024 * y + 1815 * (u - 128)))};
}

colour to_yuv(const colour &c) {
    return {clamped(fraction10(306 * c[0] + 601 * c[1] + 117 * c[2])),
            clamped(fraction10(512 * c[2] - 339 * c[1] - 173 * c[0]) + 128),
            clamped(fraction10(512 * c[0] - 429 * c[1] - 83 * c[2]) + 128)};
}

// The colour of pixel x of a row.
colour colour_of(u16 format, const u8 *row, std::size_t x, const row_options &options) {
    const u8 *p = row + x * size_of(format);
    switch (format) {
    case VIQ_Y8:
        return {*p, *p, *p};
    case VIQ_Y16: {
        const int grey = word_at(p) >> options.shift & 255;
        return {grey, grey, grey};
    }
    case VIQ_PALETTED:
        return {options.map[*p].red, options.map[*p].green, options.map[*p].blue};
    case VIQ_RGB15:
        return {word_at(p) / 128 % 256, word_at(p) / 4 % 256, word_at(p) * 8 % 256};
    case VIQ_RGB16:
        return {word_at(p) / 256 % 256, word_at(p) / 8 % 256, word_at(p) * 8 % 256};
    case VIQ_YUV422:
        return from_yuv(*p, row[x / 2 * 4 + 1], row[x / 2 * 4 + 3]);
    default: {
        const std::string_view order = order_of(format);
        return {p[order.find('R')], p[order.find('G')], p[order.find('B')]};
    }
    }
}

void put_hsi(u8 *p, const u8 *pair, int y, const colour &c, const row_options &options) {
    put_word(p, y > 20 ? options.hue[pair[1] * 256 + pair[3]] : 180);
    p[2] = y == 0 ? u8{0} : byte_of(255 - std::min({c[0], c[1], c[2]}) * 255 / y);
    p[3] = byte_of(y);
}

void put_colour(u16 format, u8 *p, const colour &c, bool keep_spare) {
    if (format == VIQ_Y8) {
        *p = byte_of((77 * c[0] + 150 * c[1] + 29 * c[2]) / 256);
    } else if (format == VIQ_RGB8) {
        *p = byte_of(c[0] / 32 * 32 + c[1] / 32 * 4 + c[2] / 64);
    } else if (format == VIQ_RGB15) {
        put_word(p, c[0] / 8 * 1024 + c[1] / 8 * 32 + c[2] / 8);
    } else if (format == VIQ_RGB16) {
        put_word(p, c[0] / 8 * 2048 + c[1] / 4 * 32 + c[2] / 8);
    } else if (format == VIQ_CMYK32) {
        const u8 inks[4] = {byte_of(~c[0]), byte_of(~c[1]), byte_of(~c[2]), 0};
        std::memcpy(p, inks, 4);
    } else {
        const std::string_view order = order_of(format);
        for (std::size_t n = 0; n < order.size(); n++)
            if (order[n] != 'X' || !keep_spare)
                p[n] = order[n] == 'X' ? u8{0} : byte_of(c[std::string_view("RGB").find(order[n])]);
    }
}

void expected_row(u16 input, u16 output, const u8 *source, u8 *target, std::size_t pixels,
                  const row_options &options) {
    for (std::size_t x = 0; x < pixels; x++) {
        const u8 *s = source + x * size_of(input);
        u8 *t = target + x * size_of(output);
        if (input == VIQ_YUV422 && output == VIQ_Y8) {
            *t = *s;
        } else if (input == VIQ_PALETTED && output == VIQ_Y8) {
            *t = options.map[*s].red;
        } else if (input == VIQ_Y8 && output == VIQ_Y16) {
            put_word(t, *s << options.shift);
        } else if (input == VIQ_RGB15 && output == VIQ_RGB16) {
            put_word(t, (word_at(s) & 0x7FE0) * 2 + word_at(s) % 32);
        } else if (input == VIQ_RGB8) {
            put_word(t, (*s & 0xE0) * 256 | (*s & 0x16) * 64 | (*s & 3) * 8);
        } else if (output == VIQ_HSI) {
            const colour c = colour_of(input, source, x, options);
            put_hsi(t, source + x / 2 * 4, *s, c, options);
        } else if (output == VIQ_YUV422) {
            const std::size_t first = x - x % 2;
            const std::size_t second = std::min(first + 1, pixels - 1);
            const colour a = to_yuv(colour_of(input, source, first, options));
            const colour b = to_yuv(colour_of(input, source, second, options));
            const u8 pair[4] = {byte_of(a[0]), byte_of((a[1] + b[1]) / 2), byte_of(b[0]),
                                byte_of((a[2] + b[2]) / 2)};
            std::memcpy(target + first * 2, pair, 4);
        } else {
            put_colour(output, t, colour_of(input, source, x, options), options.keep_spare);
        }
    }
}

struct row_case {
    u16 input, output;
};

std::vector<row_case> every_row() {
    std::vector<row_case> cases;
    for (u16 input = 0; input < 300; input++)
        for (u16 output = 0; output < 300; output++)
            if (find_row(input, output) != nullptr)
                cases.push_back({input, output});
    return cases;
}

template <class Check> void with_every_set(Check check) {
    const instruction_set before = current_set();
    for (unsigned n = 0; n < instruction_sets; n++) {
        const auto set = static_cast<instruction_set>(n);
        if (!set_available(set))
            continue;
        SCOPED_TRACE(set_name(set));
        force_set(set);
        check();
    }
    force_set(before);
}

std::mt19937 generator(1);

bytes random_bytes(std::size_t count) {
    bytes result(count);
    for (u8 &b : result)
        b = byte_of(static_cast<int>(generator() >> 9 & 255));
    return result;
}

struct lookups {
    std::array<tVIQ_Colour, 256> map;
    std::array<u16, 65536> hue;
    row_options options;

    lookups() {
        const bytes colours = random_bytes(sizeof map);
        std::memcpy(map.data(), colours.data(), sizeof map);
        for (u16 &h : hue)
            h = static_cast<u16>(generator() % 360);
        options.map = map.data();
        options.hue = hue.data();
    }
};

// The source ends at the end of its buffer, and may start at an odd address. The bytes before and
// after the target must not change.
void check_row(const row_case &c, const bytes &pixels_in, u32 pixels, const row_options &options) {
    const std::size_t margin = 1 + pixels % 4;
    bytes source(margin + pixels * size_of(c.input));
    std::copy_n(pixels_in.begin(), pixels * size_of(c.input), source.data() + margin);
    const u32 written = c.output == VIQ_YUV422 ? pixels + pixels % 2 : pixels;
    bytes target(margin + written * size_of(c.output) + 40);
    for (std::size_t n = 0; n < target.size(); n++)
        target[n] = static_cast<u8>(n * 37 + pixels);
    bytes expected = target;
    expected_row(c.input, c.output, source.data() + margin, expected.data() + margin, pixels,
                 options);
    find_row(c.input, c.output)(source.data() + margin, target.data() + margin, pixels, options);
    ASSERT_TRUE(target == expected)
        << c.input << " to " << c.output << ", " << pixels << " pixels, shift " << options.shift
        << ", first difference at byte "
        << std::mismatch(target.begin(), target.end(), expected.begin()).first - target.begin() -
               static_cast<std::ptrdiff_t>(margin);
}

TEST(Rows, ExistForTheSupportedFormatPairs) {
    with_every_set([] {
        EXPECT_EQ(every_row().size(), 104u);
        EXPECT_EQ(find_row(VIQ_RGB24, VIQ_RGB24), nullptr);
        EXPECT_EQ(find_row(VIQ_XRGB32, VIQ_RGB24), nullptr);
        EXPECT_EQ(find_row(VIQ_YUV422, VIQ_RGB8), nullptr);
        EXPECT_EQ(find_row(0xFFFF, VIQ_RGB24), nullptr);
        EXPECT_EQ(find_bins(VIQ_BGR24), nullptr);
    });
}

TEST(Rows, MatchTheFormulasAtEveryWidth) {
    lookups tables;
    with_every_set([&] {
        for (const row_case &c : every_row()) {
            const bytes source = random_bytes(1100);
            const bool pairs = c.input == VIQ_YUV422 && c.output != VIQ_Y8;
            for (u32 pixels = 1; pixels <= 130; pixels++) {
                tables.options.shift = pixels % 9;
                tables.options.keep_spare = pixels % 3 == 0;
                if (!pairs || pixels % 2 == 0) {
                    ASSERT_NO_FATAL_FAILURE(check_row(c, source, pixels, tables.options));
                }
            }
            ASSERT_NO_FATAL_FAILURE(check_row(c, source, 0, tables.options));
        }
    });
}

TEST(Rows, MatchTheFormulasForEvery16BitPixel) {
    bytes words(131072);
    for (int n = 0; n < 65536; n++)
        put_word(&words[static_cast<std::size_t>(n) * 2], n);
    lookups tables;
    with_every_set([&] {
        for (const row_case &c : every_row())
            for (u32 shift = 0; shift <= (c.input == VIQ_Y16 ? 8u : 0u); shift++) {
                tables.options.shift = shift;
                if (size_of(c.input) <= 2 && c.input != VIQ_YUV422) {
                    ASSERT_NO_FATAL_FAILURE(check_row(c, words, 65536, tables.options));
                }
            }
    });
}

// One row for every value of two components; the third one takes every value within the row.
TEST(Rows, MatchTheFormulasForEveryColour) {
    const row_case cases[] = {{VIQ_YUV422, VIQ_RGB24},
                              {VIQ_YUV422, VIQ_HSI},
                              {VIQ_RGB24, VIQ_YUV422},
                              {VIQ_RGB24, VIQ_Y8}};
    lookups tables;
    with_every_set([&] {
        for (const row_case &c : cases) {
            const int step = c.input == VIQ_YUV422 ? yuv_step : 5;
            for (int a = 0; a < 256; a += step)
                for (int b = 0; b < 256; b += step) {
                    bytes source;
                    for (int x = 0; x < 256; x++) {
                        if (c.input == VIQ_RGB24)
                            source.insert(source.end(), {byte_of(a), byte_of(b), byte_of(x)});
                        else
                            source.insert(source.end(), {byte_of(x), byte_of(x % 2 == 0 ? a : b)});
                    }
                    ASSERT_NO_FATAL_FAILURE(check_row(c, source, 256, tables.options));
                }
        }
    });
}

TEST(Rows, WorkInPlaceIfPixelSizesAreEqual) {
    lookups tables;
    with_every_set([&] {
        for (const row_case &c : every_row()) {
            if (size_of(c.input) != size_of(c.output))
                continue;
            bytes row = random_bytes(408);
            bytes apart = row;
            const row_kernel kernel = find_row(c.input, c.output);
            kernel(bytes(row).data(), apart.data(), 102, tables.options);
            kernel(row.data(), row.data(), 102, tables.options);
            EXPECT_TRUE(row == apart) << c.input << " to " << c.output;
        }
    });
}

TEST(Rows, BinsHoldTheHighBits) {
    with_every_set([] {
        const bytes source = random_bytes(420);
        for (u32 pixels = 1; pixels <= 130; pixels++) {
            const auto bits = [] { return static_cast<u8>(generator() % 9); };
            const bin_rule rule = {bits(), bits(), bits(), bits(), pixels % 9};
            std::vector<u16> rgb(pixels + 1, 0xABCD), grey = rgb, grey16 = rgb;
            find_bins(VIQ_RGB24)(source.data(), rgb.data(), pixels, rule);
            find_bins(VIQ_Y8)(source.data(), grey.data(), pixels, rule);
            find_bins(VIQ_Y16)(source.data(), grey16.data(), pixels, rule);
            for (std::size_t x = 0; x < pixels; x++) {
                const u8 *p = &source[x * 3];
                const int red = p[0] >> (8 - rule.red) << rule.green << rule.blue;
                const int green = p[1] >> (8 - rule.green) << rule.blue;
                EXPECT_EQ(rgb[x], (red + green + (p[2] >> (8 - rule.blue))) % 65536);
                EXPECT_EQ(grey[x], source[x] >> (8 - rule.grey));
                const int grey8 = word_at(&source[x * 2]) >> rule.shift & 255;
                EXPECT_EQ(grey16[x], grey8 >> (8 - rule.grey));
            }
            EXPECT_TRUE(rgb[pixels] == 0xABCD && grey[pixels] == 0xABCD &&
                        grey16[pixels] == 0xABCD);
        }
    });
}

// Tables end at the end of their buffer.
TEST(Rows, TablesMapEveryBlockAndRemainder) {
    const bytes source = random_bytes(1200);
    const bytes tables[3] = {random_bytes(256), random_bytes(256), random_bytes(256)};
    const auto entry = [&](std::size_t n) { return tables[n % 3][source[n]]; };
    with_every_set([&] {
        for (u32 count = 0; count <= 200; ++count) {
            bytes one(count + 1, 0xAB), colours(3 * count + 1, 0xAB);
            table_rows().map_bytes(source.data(), one.data(), count, tables[0].data());
            table_rows().map_colours(source.data(), colours.data(), count,
                                     {tables[0].data(), tables[1].data(), tables[2].data()});
            for (std::size_t n = 0; n < count; ++n)
                ASSERT_EQ(one[n], tables[0][source[n]]) << count;
            for (std::size_t n = 0; n < 3 * count; ++n)
                ASSERT_EQ(colours[n], entry(n)) << count;
            ASSERT_TRUE(one.back() == 0xAB && colours.back() == 0xAB);
        }
    });
}

TEST(Rows, TablesOfWordsMayBeShort) {
    bytes every_word(2 * 65536);
    for (int n = 0; n < 65536; n++)
        put_word(&every_word[static_cast<std::size_t>(n) * 2], n);
    with_every_set([&] {
        for (const u32 entries : {1u, 2u, 3u, 4u, 5u, 4096u, 32769u, 65535u, 65536u}) {
            const bytes byte_table = random_bytes(entries);
            std::vector<u16> table(entries);
            for (u16 &word : table)
                word = static_cast<u16>(generator());
            bytes mapped(2 * 65536), narrowed(65536);
            table_rows().map_words(every_word.data(), mapped.data(), 65536, table.data(), entries);
            table_rows().words_to_bytes(every_word.data(), narrowed.data(), 65536,
                                        byte_table.data(), entries);
            for (std::size_t n = 0; n < 65536; ++n) {
                ASSERT_EQ(word_at(&mapped[2 * n]), n < entries ? table[n] : n) << entries;
                ASSERT_EQ(narrowed[n], byte_table[std::min<std::size_t>(n, entries - 1)]);
            }
            bytes few(every_word.begin(), every_word.begin() + 46);
            table_rows().map_words(few.data(), few.data(), 23, table.data(), entries);
            ASSERT_TRUE(std::equal(few.begin(), few.end(), mapped.begin()));
        }
    });
}

TEST(Rows, DitheringCarriesTheErrorToTheNextPixel) {
    const bytes source = random_bytes(3000);
    bytes indices(1000);
    dither_row(source.data(), indices.data(), 1000);
    colour carry = {};
    for (std::size_t x = 0; x < 1000; x++) {
        if (x % 3 == 0)
            carry = {};
        colour c = {};
        for (std::size_t n = 0; n < 3; n++) {
            c[n] = std::min(source[3 * x + n] + carry[n], 255);
            carry[n] = c[n] / 2 & (n == 2 ? 0xE0 : 15);
        }
        u8 expected = 0;
        put_colour(VIQ_RGB8, &expected, c, false);
        ASSERT_EQ(indices[x], expected) << x;
    }
}

} // namespace
} // namespace viq
