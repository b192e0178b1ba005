// Pixel layouts of camera frames, by the GenICam Pixel Format Naming Convention (PFNC): one table
// with one row per layout. The frame functions, the row kernels and the tool derive what they need
// from it.
#pragma once

#include <iterator>

#include "core/types.h"

namespace viq {

// How a frame stores its samples. Samples of 16 bits are little-endian.
enum class frame_packing : u8 {
    bytes_1, // pixels of 1, 3 or 4 bytes, the same as in the image
    bytes_3,
    bytes_4,
    yuyv,     // bytes Y0, U, Y1, V, the same as in the image
    uyvy,     // bytes U, Y0, V, Y1
    uyyvyy,   // bytes U, Y0, Y1, V, Y2, Y3: four pixels share U and V
    words_10, // one sample in the low bits of 16, the others unused
    words_12,
    words_14,
    words_16,
    lsb_10, // samples follow each other without unused bits, the lowest bit first
    lsb_12,
    lsb_14,
    gige_10, // two samples in three bytes: the middle byte has the low bits of both
    gige_12,
    fields_565,     // a word with red in the lowest bits
    three_words_10, // one sample of each component
    three_words_12,
    three_words_14,
    three_words_16,
};
constexpr u32 frame_packings = 20;

// A unit is the smallest group of pixels that fills whole bytes.
struct packing_shape {
    u32 unit_pixels;
    u32 unit_bytes;
    u32 sample_bits;    // of the components with the most bits
    bool shared_chroma; // the pixels of a unit share U and V: a line consists of whole units
};

[[gnu::always_inline]] constexpr packing_shape shape_of(frame_packing packing) {
    constexpr packing_shape shapes[frame_packings] = {
        {1, 1, 8, false},  {1, 3, 8, false},  {1, 4, 8, false},  {2, 4, 8, true},
        {2, 4, 8, true},   {4, 6, 8, true},   {1, 2, 10, false}, {1, 2, 12, false},
        {1, 2, 14, false}, {1, 2, 16, false}, {4, 5, 10, false}, {2, 3, 12, false},
        {4, 7, 14, false}, {2, 3, 10, false}, {2, 3, 12, false}, {1, 2, 6, false},
        {1, 6, 10, false}, {1, 6, 12, false}, {1, 6, 14, false}, {1, 6, 16, false}};
    return shapes[static_cast<u32>(packing)];
}

struct frame_layout {
    u32 code;         // PFNC: bits 16 to 23 are the bits per pixel
    const char *name; // PFNC
    frame_packing packing;
    u16 image_format;
    u16 pixel_colour = 0; // of a mosaic, as VIQ_BAY_RGGB32_to_BGRX32 counts them; 0: no mosaic
};

constexpr u32 bits_per_pixel(const frame_layout &layout) {
    return layout.code >> 16 & 0xFF;
}

// Unpacking keeps the upper 8 bits of each sample.
constexpr bool drops_low_bits(const frame_layout &layout) {
    return layout.packing >= frame_packing::three_words_10;
}

// clang-format off
inline constexpr frame_layout frame_layouts[] = {
    {0x01080001, "Mono8", frame_packing::bytes_1, VIQ_Y8},
    {0x01100003, "Mono10", frame_packing::words_10, VIQ_Y16},
    {0x010A0046, "Mono10p", frame_packing::lsb_10, VIQ_Y16},
    {0x010C0004, "Mono10Packed", frame_packing::gige_10, VIQ_Y16},
    {0x01100005, "Mono12", frame_packing::words_12, VIQ_Y16},
    {0x010C0047, "Mono12p", frame_packing::lsb_12, VIQ_Y16},
    {0x010C0006, "Mono12Packed", frame_packing::gige_12, VIQ_Y16},
    {0x01100025, "Mono14", frame_packing::words_14, VIQ_Y16},
    {0x010E0104, "Mono14p", frame_packing::lsb_14, VIQ_Y16},
    {0x01100007, "Mono16", frame_packing::words_16, VIQ_Y16},

    {0x01080009, "BayerRG8", frame_packing::bytes_1, VIQ_RGGB32, 1},
    {0x01080008, "BayerGR8", frame_packing::bytes_1, VIQ_RGGB32, 2},
    {0x0108000A, "BayerGB8", frame_packing::bytes_1, VIQ_RGGB32, 3},
    {0x0108000B, "BayerBG8", frame_packing::bytes_1, VIQ_RGGB32, 4},
    {0x0110000D, "BayerRG10", frame_packing::words_10, VIQ_Y16, 1},
    {0x0110000C, "BayerGR10", frame_packing::words_10, VIQ_Y16, 2},
    {0x0110000E, "BayerGB10", frame_packing::words_10, VIQ_Y16, 3},
    {0x0110000F, "BayerBG10", frame_packing::words_10, VIQ_Y16, 4},
    {0x010A0058, "BayerRG10p", frame_packing::lsb_10, VIQ_Y16, 1},
    {0x010A0056, "BayerGR10p", frame_packing::lsb_10, VIQ_Y16, 2},
    {0x010A0054, "BayerGB10p", frame_packing::lsb_10, VIQ_Y16, 3},
    {0x010A0052, "BayerBG10p", frame_packing::lsb_10, VIQ_Y16, 4},
    {0x010C0027, "BayerRG10Packed", frame_packing::gige_10, VIQ_Y16, 1},
    {0x010C0026, "BayerGR10Packed", frame_packing::gige_10, VIQ_Y16, 2},
    {0x010C0028, "BayerGB10Packed", frame_packing::gige_10, VIQ_Y16, 3},
    {0x010C0029, "BayerBG10Packed", frame_packing::gige_10, VIQ_Y16, 4},
    {0x01100011, "BayerRG12", frame_packing::words_12, VIQ_Y16, 1},
    {0x01100010, "BayerGR12", frame_packing::words_12, VIQ_Y16, 2},
    {0x01100012, "BayerGB12", frame_packing::words_12, VIQ_Y16, 3},
    {0x01100013, "BayerBG12", frame_packing::words_12, VIQ_Y16, 4},
    {0x010C0059, "BayerRG12p", frame_packing::lsb_12, VIQ_Y16, 1},
    {0x010C0057, "BayerGR12p", frame_packing::lsb_12, VIQ_Y16, 2},
    {0x010C0055, "BayerGB12p", frame_packing::lsb_12, VIQ_Y16, 3},
    {0x010C0053, "BayerBG12p", frame_packing::lsb_12, VIQ_Y16, 4},
    {0x010C002B, "BayerRG12Packed", frame_packing::gige_12, VIQ_Y16, 1},
    {0x010C002A, "BayerGR12Packed", frame_packing::gige_12, VIQ_Y16, 2},
    {0x010C002C, "BayerGB12Packed", frame_packing::gige_12, VIQ_Y16, 3},
    {0x010C002D, "BayerBG12Packed", frame_packing::gige_12, VIQ_Y16, 4},
    {0x0110010A, "BayerRG14", frame_packing::words_14, VIQ_Y16, 1},
    {0x01100109, "BayerGR14", frame_packing::words_14, VIQ_Y16, 2},
    {0x0110010B, "BayerGB14", frame_packing::words_14, VIQ_Y16, 3},
    {0x0110010C, "BayerBG14", frame_packing::words_14, VIQ_Y16, 4},
    {0x010E0106, "BayerRG14p", frame_packing::lsb_14, VIQ_Y16, 1},
    {0x010E0105, "BayerGR14p", frame_packing::lsb_14, VIQ_Y16, 2},
    {0x010E0107, "BayerGB14p", frame_packing::lsb_14, VIQ_Y16, 3},
    {0x010E0108, "BayerBG14p", frame_packing::lsb_14, VIQ_Y16, 4},
    {0x0110002F, "BayerRG16", frame_packing::words_16, VIQ_Y16, 1},
    {0x0110002E, "BayerGR16", frame_packing::words_16, VIQ_Y16, 2},
    {0x01100030, "BayerGB16", frame_packing::words_16, VIQ_Y16, 3},
    {0x01100031, "BayerBG16", frame_packing::words_16, VIQ_Y16, 4},

    {0x02100032, "YUV422_8", frame_packing::yuyv, VIQ_YUV422},
    {0x0210001F, "YUV422_8_UYVY", frame_packing::uyvy, VIQ_YUV422},
    {0x0210003B, "YCbCr422_8", frame_packing::yuyv, VIQ_YUV422},
    {0x02100043, "YCbCr422_8_CbYCrY", frame_packing::uyvy, VIQ_YUV422},
    {0x020C001E, "YUV411_8_UYYVYY", frame_packing::uyyvyy, VIQ_YUV422},
    {0x020C003C, "YCbCr411_8_CbYYCrYY", frame_packing::uyyvyy, VIQ_YUV422},

    {0x02180014, "RGB8", frame_packing::bytes_3, VIQ_RGB24},
    {0x02180015, "BGR8", frame_packing::bytes_3, VIQ_BGR24},
    {0x02200016, "RGBa8", frame_packing::bytes_4, VIQ_RGBX32},
    {0x02200017, "BGRa8", frame_packing::bytes_4, VIQ_BGRX32},
    {0x02100035, "RGB565p", frame_packing::fields_565, VIQ_RGB16},
    {0x02100036, "BGR565p", frame_packing::words_16, VIQ_RGB16},
    {0x02300018, "RGB10", frame_packing::three_words_10, VIQ_RGB24},
    {0x0230001A, "RGB12", frame_packing::three_words_12, VIQ_RGB24},
    {0x0230005E, "RGB14", frame_packing::three_words_14, VIQ_RGB24},
    {0x02300033, "RGB16", frame_packing::three_words_16, VIQ_RGB24},
    {0x02300019, "BGR10", frame_packing::three_words_10, VIQ_BGR24},
    {0x0230001B, "BGR12", frame_packing::three_words_12, VIQ_BGR24},
    {0x0230004A, "BGR14", frame_packing::three_words_14, VIQ_BGR24},
    {0x0230004B, "BGR16", frame_packing::three_words_16, VIQ_BGR24},
};
// clang-format on

consteval bool layouts_match_codes() {
    for (const frame_layout &layout : frame_layouts) {
        const packing_shape shape = shape_of(layout.packing);
        if (shape.unit_bytes * 8 != shape.unit_pixels * bits_per_pixel(layout))
            return false;
    }
    return true;
}
static_assert(layouts_match_codes());

// Null if there is no such layout. Names are compared without regard to case.
const frame_layout *find_frame_layout(u32 code);
const frame_layout *find_frame_layout(const char *name);

} // namespace viq
