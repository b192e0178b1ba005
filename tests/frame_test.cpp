// Camera frames, and the white balance of mosaics.
#include <array>

#include "camera/frame_layouts.h"
#include "tests/support.h"

namespace viq {
namespace {

class Frames : public every_set {};
WITH_EVERY_SET(Frames);

// ---- Reference reading of a frame, sample by sample

u32 bits_at(const bytes &frame, std::size_t bit, u32 count) {
    u32 value = 0;
    for (u32 n = 0; n < count; ++n, ++bit)
        value |= static_cast<u32>(frame.at(bit / 8) >> bit % 8 & 1) << n;
    return value;
}

// The bytes that `pixels` pixels have in an image; pixel `first` of a run at `start` is the first.
bytes reference_line(const frame_layout &layout, const bytes &frame, std::size_t start,
                     std::size_t first, u32 pixels) {
    const u32 bits = shape_of(layout.packing).sample_bits;
    const auto at = [&](std::size_t n) { return frame.at(start + n); };
    bytes line;
    const auto add_word = [&](u32 word) {
        line.push_back(static_cast<u8>(word));
        line.push_back(static_cast<u8>(word >> 8));
    };
    for (std::size_t x = first; x < first + pixels; ++x)
        switch (layout.packing) {
        case frame_packing::bytes_1:
        case frame_packing::bytes_3:
        case frame_packing::bytes_4:
        case frame_packing::yuyv:
            for (u32 c = 0; c < bits_per_pixel(layout) / 8; ++c)
                line.push_back(at(x * bits_per_pixel(layout) / 8 + c));
            break;
        case frame_packing::words_10:
        case frame_packing::words_12:
        case frame_packing::words_14:
        case frame_packing::words_16:
            add_word(bits_at(frame, 8 * (start + 2 * x), bits));
            break;
        case frame_packing::lsb_10:
        case frame_packing::lsb_12:
        case frame_packing::lsb_14:
            add_word(bits_at(frame, 8 * start + x * bits, bits));
            break;
        case frame_packing::gige_10:
        case frame_packing::gige_12: {
            const std::size_t unit = x / 2 * 3;
            const u32 low = bits_at(frame, 8 * (start + unit + 1) + x % 2 * 4, bits - 8);
            add_word(static_cast<u32>(at(unit + x % 2 * 2)) << (bits - 8) | low);
            break;
        }
        case frame_packing::uyvy:
            line.push_back(at(2 * x + 1));
            line.push_back(at(2 * x));
            break;
        case frame_packing::uyyvyy: {
            constexpr u32 luma[] = {1, 2, 4, 5};
            line.push_back(at(x / 4 * 6 + luma[x % 4]));
            line.push_back(at(x / 4 * 6 + (x % 2 == 0 ? 0 : 3)));
            break;
        }
        case frame_packing::fields_565:
            add_word(bits_at(frame, 8 * (start + 2 * x), 5) << 11 |
                     bits_at(frame, 8 * (start + 2 * x) + 5, 6) << 5 |
                     bits_at(frame, 8 * (start + 2 * x) + 11, 5));
            break;
        default:
            for (std::size_t c = 3 * x; c < 3 * x + 3; ++c)
                line.push_back(
                    static_cast<u8>(bits_at(frame, 8 * (start + 2 * c), bits) >> (bits - 8)));
        }
    return line;
}

struct frame_case {
    const frame_layout &layout;
    u32 width, height, stride;

    u64 size() const {
        u64 bytes = 0;
        EXPECT_OK(VIQ_frame_get_size(layout.code, width, height, stride, &bytes));
        return bytes;
    }
    u32 unpack(const bytes &frame, u32 image, u16 command = 3) const {
        return VIQ_frame_unpack(frame.data(), frame.size(), layout.code, width, height, stride,
                                image, command);
    }
    u32 pack(bytes &frame, u32 image, u16 command = 3) const {
        return VIQ_frame_pack(frame.data(), frame.size(), layout.code, width, height, stride, image,
                              command);
    }
    bytes reference(const bytes &frame) const {
        bytes all;
        for (u32 y = 0; y < height; ++y) {
            const std::size_t before = stride == 0 ? std::size_t{y} * width : 0;
            const bytes line =
                reference_line(layout, frame, std::size_t{y} * stride, before, width);
            all.insert(all.end(), line.begin(), line.end());
        }
        return all;
    }
};

bytes packed_by_strips(const frame_case &c, const picture &image, u32 lines) {
    bytes frame(static_cast<std::size_t>(c.size()), 0xEE);
    by_strips(image, lines, [&](const picture &strip) { EXPECT_OK(c.pack(frame, strip)); });
    return frame;
}

void check_case(const frame_case &c) {
    SCOPED_TRACE(text_of(c.layout.name, c.width, 'x', c.height, "stride", c.stride));
    bytes frame(static_cast<std::size_t>(c.size()));
    std::generate(frame.begin(), frame.end(), noise);
    const picture strip, whole, again;
    set_lines(whole, 1000);
    EXPECT_OK(c.unpack(frame, whole));
    ASSERT_EQ(whole->pixel_format, c.layout.image_format);
    ASSERT_EQ(whole->lines_per_strip, c.height);
    ASSERT_EQ(pixels_of(whole), c.reference(frame));
    for (const u32 lines : {1u, 3u, 8u}) {
        set_lines(strip, lines);
        for (u32 done = 0; done < c.height; done += lines) {
            EXPECT_OK(c.unpack(frame, strip));
            EXPECT_OK(VIQ_write_to_memory(strip, again, 3));
        }
        ASSERT_EQ(pixels_of(again), pixels_of(whole)) << lines;
    }

    // Packing restores the samples, and the bytes do not depend on strips or instruction set.
    const bytes packed = packed_by_strips(c, whole, c.height);
    EXPECT_OK(c.unpack(packed, again));
    ASSERT_EQ(pixels_of(again), pixels_of(whole));
    fill_with_noise(whole);
    const bytes expected = packed_by_strips(c, whole, c.height);
    for (const u32 lines : {1u, 3u, 8u})
        ASSERT_EQ(packed_by_strips(c, whole, lines), expected) << lines;
    const instruction_set set = current_set();
    force_set(instruction_set::plain);
    ASSERT_EQ(packed_by_strips(c, whole, c.height), expected);
    force_set(set);
}

TEST_P(Frames, EveryLayoutIsUnpackedAndPackedByLinesOfAnyWidth) {
    for (const frame_layout &layout : frame_layouts) {
        const packing_shape shape = shape_of(layout.packing);
        const u32 step = shape.shared_chroma ? shape.unit_pixels : 1;
        const bool mono = layout.pixel_colour <= 1; // the kernels do not depend on the colour
        for (u32 width = step; width <= (mono ? 40 * step : 3 * step); width += step) {
            const u32 line = static_cast<u32>((u64{width} * bits_per_pixel(layout) + 7) / 8);
            for (const u32 stride : {0u, line, line + 3})
                check_case({layout, width, 5, stride});
        }
        check_case({layout, 132 + (shape.shared_chroma ? 0u : 1u), 11, 0});
    }
}

// Bytes and samples as the standards draw them.
TEST_P(Frames, SamplesHaveTheBitsOfTheStandard) {
    const struct {
        const char *name;
        bytes frame;
        words samples; // words of the image
    } cases[] = {
        {"mono10p", {0x01, 0x08, 0x30, 0x00, 0xC1}, {1, 2, 3, 0x304}},
        {"mono12p", {0xAB, 0xCD, 0xEF}, {0xDAB, 0xEFC}},
        {"mono14p", {0x01, 0x80, 0x00, 0x30, 0x00, 0x10, 0x80}, {1, 2, 3, 0x2004}},
        {"mono10packed", {0xAB, 0x21, 0xCD}, {0x2AD, 0x336}},
        {"mono12packed", {0xAB, 0xCD, 0xEF}, {0xABD, 0xEFC}},
        {"mono12", {0xAB, 0xFC}, {0xCAB}},
        {"rgb565p", {0x1F, 0x00, 0xE0, 0x07, 0x00, 0xF8}, {0xF800, 0x07E0, 0x001F}},
        {"bgr565p", {0x1F, 0x00, 0xE0, 0x07, 0x00, 0xF8}, {0x001F, 0x07E0, 0xF800}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        tVIQ_FrameLayout layout;
        EXPECT_OK(VIQ_frame_find_layout(c.name, &layout));
        const picture image;
        EXPECT_OK(VIQ_frame_unpack(c.frame.data(), c.frame.size(), layout.pixel_format,
                                   static_cast<u32>(c.samples.size()), 1, 0, image, 3));
        words found(c.samples.size());
        std::memcpy(found.data(), image->data, 2 * found.size());
        EXPECT_EQ(found, c.samples);
        EXPECT_EQ(image->data_width, layout.image_type == VIQ_Y16 ? layout.sample_bits : 8);
    }
}

TEST(FrameLayouts, AreFoundByNameAndCode) {
    tVIQ_FrameLayout layout;
    EXPECT_OK(VIQ_frame_find_layout("bayergb12PACKED", &layout));
    EXPECT_EQ(layout.pixel_format, 0x010C002Cu);
    EXPECT_EQ(layout.bits_per_pixel, 12);
    EXPECT_EQ(layout.sample_bits, 12);
    EXPECT_EQ(layout.image_type, VIQ_Y16);
    EXPECT_EQ(layout.pixel_colour, 3);
    EXPECT_EQ(layout.reduced, 0);
    const bytes manual = read_file(VIQ_SOURCE_DIR "/include/viq/camera.h");
    const std::string text(manual.begin(), manual.end());
    for (const frame_layout &row : frame_layouts) {
        EXPECT_OK(VIQ_frame_get_layout(row.code, &layout));
        char line[64]; // of the table in the manual
        std::snprintf(line, sizeof line, " * | %-19s | 0x%08X |", row.name, row.code);
        EXPECT_NE(text.find(line), std::string::npos) << line;
        EXPECT_STREQ(layout.name, row.name);
        EXPECT_EQ(layout.reduced, std::string(row.name).find('1') == 3); // RGB10, BGR16...
        EXPECT_OK(VIQ_frame_find_layout(row.name, &layout));
        EXPECT_EQ(layout.pixel_format, row.code);
    }
    for (const char *name : {"", "mono", "mono12px", "Mono8s"})
        EXPECT_ERROR(VIQ_frame_find_layout(name, &layout), VIQ_ERR_UNSUPPORTED,
                     "Unknown pixel format");
    EXPECT_ERROR(VIQ_frame_get_layout(7, &layout), VIQ_ERR_UNSUPPORTED,
                 "Unknown pixel format 0x00000007");
    EXPECT_ERROR(VIQ_frame_get_layout(0x01080001, nullptr), VIQ_ERR_PARAMETER, "Null pointer");
    EXPECT_ERROR(VIQ_frame_find_layout(nullptr, &layout), VIQ_ERR_PARAMETER, "Null pointer");
}

constexpr u32 mono8 = 0x01080001, mono12p = 0x010C0047, rgb16 = 0x02300033;

TEST(FrameChecks, RejectFramesThatDoNotFit) {
    constexpr u32 most = UINT32_MAX;
    const struct {
        u32 code, width, height, stride;
        u64 size;
        u32 error;
        const char *message;
    } cases[] = {
        {0x01080002, 4, 4, 0, 16, VIQ_ERR_UNSUPPORTED,
         "Pixel format Mono8s (0x01080002) is not supported"},
        {0x81080001, 4, 4, 0, 16, VIQ_ERR_UNSUPPORTED, "Unknown pixel format 0x81080001"},
        {mono8, 0, 4, 0, 16, VIQ_ERR_PARAMETER, "Width and height must not be 0"},
        {mono8, 4, 0, 0, 16, VIQ_ERR_PARAMETER, "Width and height must not be 0"},
        {0x0210001F, 3, 1, 0, 16, VIQ_ERR_PARAMETER,
         "Width of YUV422_8_UYVY must be a multiple of 2"},
        {0x020C001E, 6, 1, 0, 16, VIQ_ERR_PARAMETER,
         "Width of YUV411_8_UYYVYY must be a multiple of 4"},
        {mono12p, 3, 1, 4, 16, VIQ_ERR_PARAMETER, "Stride of 4 bytes is less than a line of 5"},
        {mono12p, 3, 3, 0, 13, 1, "Frame of 13 bytes is too short, 14 needed"},
        {mono12p, 3, 3, 5, 14, 1, "Frame of 14 bytes is too short, 15 needed"},
        {mono12p, 3, 3, 9, 22, 1, "Frame of 22 bytes is too short, 23 needed"},
        {mono8, most, most, most, 16, 1,
         "Frame of 16 bytes is too short, 18446744065119617025 needed"},
        {rgb16, most, most, 0, UINT64_MAX, VIQ_ERR_PARAMETER, "Frame is too large"},
        {mono8, most, most, most, UINT64_MAX, VIQ_ERR_PARAMETER, "Frame is too large"},
    };
    bytes memory(64);
    const picture image;
    for (const auto &c : cases) {
        SCOPED_TRACE(c.message);
        EXPECT_ERROR(
            VIQ_frame_unpack(memory.data(), c.size, c.code, c.width, c.height, c.stride, image, 3),
            c.error == 1 ? VIQ_ERR_CORRUPT : c.error, c.message);
        EXPECT_ERROR(
            VIQ_frame_pack(memory.data(), c.size, c.code, c.width, c.height, c.stride, image, 3),
            c.error == 1 ? VIQ_ERR_PARAMETER : c.error, c.message);
        EXPECT_EQ(image->pixel_format, 0);
    }
    EXPECT_ERROR(VIQ_frame_unpack(nullptr, 16, mono8, 4, 4, 0, image, 3), VIQ_ERR_PARAMETER,
                 "Null pointer");
    EXPECT_ERROR(VIQ_frame_unpack(memory.data(), 16, mono8, 4, 4, 0, missing, 3), VIQ_ERR_HANDLE,
                 "");
    EXPECT_ERROR(VIQ_frame_get_size(mono8, 1, 1, 0, nullptr), VIQ_ERR_PARAMETER, "Null pointer");
}

TEST(FrameChecks, RejectImagesThatDoNotFit) {
    bytes frame(64);
    const auto pack = [&](u32 code, u32 width, u32 image) {
        return VIQ_frame_pack(frame.data(), frame.size(), code, width, 4, 0, image, 3);
    };
    const picture grey(VIQ_Y8, 4, 4), words(VIQ_Y16, 4, 4);
    fill_with_noise(words);
    EXPECT_REPORT(pack(mono8, 4, grey), "VIQ_frame_pack", VIQ_ERR_CORRUPT, "No image data");
    EXPECT_OK(VIQ_frame_pack(nullptr, 0, 0, 0, 0, 0, grey, 4));
    EXPECT_REPORT(pack(mono12p, 4, grey), "VIQ_frame_pack", VIQ_ERR_UNSUPPORTED | VIQ_Y8,
                  "Unsupported image format");
    EXPECT_REPORT(pack(mono12p, 4, words), "VIQ_frame_pack", VIQ_ERR_UNSUPPORTED,
                  "Data width does not match the pixel format");
    fill_with_noise(grey);
    EXPECT_REPORT(pack(mono8, 5, grey), "VIQ_frame_pack", VIQ_ERR_PARAMETER,
                  "Image does not have the size of the frame");
    EXPECT_ERROR(VIQ_frame_pack(grey->data, 16, mono8, 4, 4, 0, grey, 3), VIQ_ERR_PARAMETER,
                 "Frame and image share memory");
    EXPECT_ERROR(VIQ_frame_unpack(grey->data + 3, 9, mono8, 3, 3, 0, grey, 3), VIQ_ERR_PARAMETER,
                 "Frame and image share memory");
}

TEST(FrameStrips, FollowTheStripProtocol) {
    const bytes frame(64, 5), other(64, 6);
    const frame_case c = {*find_frame_layout("mono8"), 4, 4, 0};
    const picture image, second;
    EXPECT_OK(c.unpack(frame, image, 0)); // only sets the image up
    EXPECT_EQ(image->width, 4u);
    EXPECT_EQ(image->data, nullptr);
    set_lines(image, 1);
    EXPECT_OK(c.unpack(frame, image));
    EXPECT_REPORT(c.unpack(other, image), "VIQ_frame_unpack", VIQ_ERR_STATE,
                  "Sequence under way with another image");
    VIQ_image_set_parameter(image, VIQ_WIDTH, 5);
    EXPECT_REPORT(c.unpack(frame, image), "VIQ_frame_unpack", VIQ_ERR_CORRUPT,
                  "Image changed during transfer");
    EXPECT_OK(c.unpack(other, image));
    EXPECT_OK(c.unpack(other, image, 4));
    set_lines(second, 0);
    EXPECT_OK(c.unpack(frame, second));
    EXPECT_EQ(second->height, 4u);
}

// ---- White balance

// A mosaic with one value for each colour.
void fill_mosaic(const picture &p, u16 pixel_colour, const std::array<u32, 3> &colours) {
    constexpr u32 cells[4][4] = {{0, 1, 1, 2}, {1, 0, 2, 1}, {1, 2, 0, 1}, {2, 1, 1, 0}};
    ASSERT_EQ(VIQ_image_malloc_a_strip(p), 0u);
    for (u32 y = 0; y < p->height; ++y)
        for (u32 x = 0; x < p->width; ++x) {
            const u32 value = colours[cells[pixel_colour - 1][y % 2 * 2 + x % 2]];
            u8 *at = p->data + y * p->bytes_per_line;
            if (p->pixel_format == VIQ_RGGB32) {
                at[x] = static_cast<u8>(value);
            } else {
                at[2 * x] = static_cast<u8>(value);
                at[2 * x + 1] = static_cast<u8>(value >> 8);
            }
        }
}

TEST(WhiteBalance, GreyWorldMakesTheMeansEqual) {
    for (u16 colour = 1; colour <= 4; ++colour)
        for (const u32 format : {VIQ_RGGB32, VIQ_Y16}) {
            SCOPED_TRACE(text_of(colour, format));
            const u32 scale = format == VIQ_Y16 ? 16 : 1; // 12 bits
            const picture in(static_cast<u16>(format), 7, 5), out;
            VIQ_image_set_parameter(in, VIQ_DATA_WIDTH, format == VIQ_Y16 ? 12 : 8);
            const auto black = static_cast<u16>(10 * scale);
            fill_mosaic(in, colour, {60 * scale, 110 * scale, 35 * scale});
            in->data[0] = 0xFF; // the cell of a saturated sample does not count
            in->data[1] = 0xFF;
            u16 gains[3] = {};
            EXPECT_OK(VIQ_BAY_grey_world_gains(in, colour, black, gains));
            EXPECT_EQ((std::array{gains[0], gains[1], gains[2]}),
                      (std::array<u16, 3>{8192, 4096, 16384}));
            fill_mosaic(in, colour, {60 * scale, 110 * scale, 35 * scale});
            EXPECT_OK(VIQ_BAY_apply_gains(in, out, colour, black, gains, 100, 3));
            EXPECT_EQ(out->pixel_format, VIQ_RGGB32);
            const u32 largest = format == VIQ_Y16 ? 4095 : 255;
            const double light = 100.0 * scale / (largest - black);
            EXPECT_EQ(pixels_of(out), bytes(35, static_cast<u8>(light * 255 + 0.5)));
            EXPECT_OK(VIQ_BAY_apply_gains(in, out, colour, black, gains, 220, 3));
            EXPECT_EQ(out->data[0], static_cast<u8>(std::pow(light, 1 / 2.2) * 255 + 0.5));
        }
}

TEST(WhiteBalance, ClampsAndKeepsColoursWithoutLight) {
    const picture in(VIQ_Y16, 2, 2), out;
    VIQ_image_set_parameter(in, VIQ_DATA_WIDTH, 10);
    fill_mosaic(in, 1, {5, 1022, 0xFC00 | 20}); // bits above the data width
    u16 gains[3] = {};
    EXPECT_OK(VIQ_BAY_grey_world_gains(in, 1, 16, gains));
    EXPECT_EQ((std::array{gains[0], gains[1], gains[2]}), (std::array<u16, 3>{4096, 4096, 65535}));
    const u16 largest[3] = {65535, 65535, 65535};
    EXPECT_OK(VIQ_BAY_apply_gains(in, out, 1, 16, largest, 100, 3));
    EXPECT_EQ(pixels_of(out), (bytes{0, 255, 255, 16}));
}

TEST(WhiteBalance, RejectsBadArguments) {
    const picture mosaic(VIQ_RGGB32, 4, 4), grey(VIQ_Y8, 4, 4), out;
    fill_with_noise(mosaic);
    const u16 gains[3] = {4096, 4096, 4096};
    u16 measured[3];
    const struct {
        u32 image;
        u16 colour, black, gamma;
        u32 code;
        const char *message;
    } cases[] = {
        {grey, 1, 0, 100, VIQ_ERR_UNSUPPORTED | VIQ_Y8, "Unsupported image format"},
        {mosaic, 0, 0, 100, VIQ_ERR_UNSUPPORTED, "Invalid Bayer Pixel Colour"},
        {mosaic, 5, 0, 100, VIQ_ERR_UNSUPPORTED, "Invalid Bayer Pixel Colour"},
        {mosaic, 1, 255, 100, VIQ_ERR_PARAMETER, "Black level is not below the largest sample"},
        {mosaic, 1, 0, 24, VIQ_ERR_PARAMETER, "Gamma not between 25 and 400"},
        {mosaic, 1, 0, 401, VIQ_ERR_PARAMETER, "Gamma not between 25 and 400"},
    };
    for (const auto &c : cases) {
        EXPECT_ERROR(VIQ_BAY_apply_gains(c.image, out, c.colour, c.black, gains, c.gamma, 3),
                     c.code, c.message);
        if (c.gamma == 100)
            EXPECT_ERROR(VIQ_BAY_grey_world_gains(c.image, c.colour, c.black, measured), c.code,
                         c.message);
    }
    EXPECT_ERROR(VIQ_BAY_apply_gains(mosaic, out, 1, 0, nullptr, 100, 3), VIQ_ERR_PARAMETER,
                 "Null pointer");
    EXPECT_ERROR(VIQ_BAY_grey_world_gains(mosaic, 1, 0, nullptr), VIQ_ERR_PARAMETER,
                 "Null pointer");
}

} // namespace
} // namespace viq
