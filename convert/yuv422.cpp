// Converters from and to YUV 4:2:2.
#include "convert/converter.h"
#include "convert/pixel_formulas.h"
#include "core/report.h"

using namespace viq;

u32 VIQ_YUV422_to_RGB24(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_RGB24), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_BGR24(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_BGR24), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_RGBX32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_RGBX32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_BGRX32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_BGRX32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_XBGR32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_XBGR32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_XRGB32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_XRGB32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_RGB16(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_RGB16), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_RGB15(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_RGB15), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_Y8), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_HSI(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_HSI), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_YUV422(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_converter(VIQ_YUV422), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_CK_get_YUV_values_RGB(u16 wRed, u16 wGreen, u16 wBlue) {
    const yuv value =
        rgb_to_yuv({static_cast<u8>(wRed), static_cast<u8>(wGreen), static_cast<u8>(wBlue)});
    return u32{value.v} << 16 | u32{value.u} << 8 | value.y;
}

namespace {

verdict check_even_or_packed(const strip_call &call, const converter &which);
output_shape whole_pairs(const strip_call &call, const converter &which);

VIQ_PER_CONTEXT(strip_sequences<11>, sequences);

constexpr converter make_from_yuv422(const char *name, const char *worker_name,
                                     sequence_place sequence, u16 target) {
    converter made = make_converter(name, worker_name, sequence, target, formats(VIQ_YUV422));
    made.operation.check_before_header = check_even_yuv422;
    made.operation.check_pixels = {};
    return made;
}

constexpr converter make_to_yuv422(sequence_place sequence) {
    converter made = make_converter(
        "VIQ_convert_to_YUV422", "VIQ_convert_to_YUV422_1_strip", sequence, VIQ_YUV422,
        rgb_32_formats | formats(VIQ_Y8, VIQ_PALETTED, VIQ_RGB24, VIQ_BGR24));
    made.operation.check_pixels = check_even_or_packed;
    made.operation.shape = whole_pairs;
    return made;
}

constexpr converter yuv422_converters[] = {
    make_from_yuv422("VIQ_YUV422_to_RGB24", "VIQ_YUV422_to_RGB24_1_strip", {sequences, 0},
                     VIQ_RGB24),
    make_from_yuv422("VIQ_YUV422_to_BGR24", "VIQ_YUV422_to_BGR24_1_strip", {sequences, 1},
                     VIQ_BGR24),
    make_from_yuv422("VIQ_YUV422_to_RGBX32", "VIQ_YUV422_to_RGBX32_1_strip", {sequences, 2},
                     VIQ_RGBX32),
    make_from_yuv422("VIQ_YUV422_to_BGRX32", "VIQ_YUV422_to_BGRX32_1_strip", {sequences, 3},
                     VIQ_BGRX32),
    make_from_yuv422("VIQ_YUV422_to_XBGR32", "VIQ_YUV422_to_XBGR32_1_strip", {sequences, 4},
                     VIQ_XBGR32),
    make_from_yuv422("VIQ_YUV422_to_XRGB32", "VIQ_YUV422_to_XRGB32_1_strip", {sequences, 5},
                     VIQ_XRGB32),
    make_from_yuv422("VIQ_YUV422_to_RGB16", "VIQ_YUV422_to_RGB16_1_strip", {sequences, 6},
                     VIQ_RGB16),
    make_from_yuv422("VIQ_YUV422_to_RGB15", "VIQ_YUV422_to_RGB15_1_strip", {sequences, 7},
                     VIQ_RGB15),
    make_from_yuv422("VIQ_YUV422_to_Y8", "VIQ_YUV422_to_Y8_1_strip", {sequences, 8}, VIQ_Y8),
    make_from_yuv422("VIQ_YUV422_to_HSI", "VIQ_YUV422_to_HSI_1_strip", {sequences, 9}, VIQ_HSI),
    make_to_yuv422({sequences, 10}),
};

} // namespace

namespace viq {

const converter *yuv422_converter(u16 target) {
    return find_converter<yuv422_converters>(target);
}

verdict check_even_yuv422(const strip_call &call) {
    const verdict decision =
        accept_formats(call, formats(VIQ_YUV422), {.message = "Not 16 bit YUV 4:2:2"});
    if (!decision.go_on)
        return decision;
    return accept_even(call, call.in->width);
}

} // namespace viq

namespace {

verdict check_even_or_packed(const strip_call &call, const converter &which) {
    if (call.in->pixel_format == VIQ_YUV422 && call.in->width % 2 != 0)
        return stop_with(
            report(call.name, VIQ_ERR_UNSUPPORTED, "Only even width YUV422 images are supported"));
    return copy_or_check_format(call, which);
}

// If the width is odd, the last column becomes a pair of its own.
output_shape whole_pairs(const strip_call &call, const converter &which) {
    output_shape shape = same_size(call, which);
    if (shape.width % 2 != 0 && shape.width < UINT32_MAX)
        ++shape.width;
    return shape;
}

} // namespace
