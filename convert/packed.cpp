// Converters to the packed RGB orders, grey and CMYK.
#include "convert/converter.h"
#include "core/report.h"

using namespace viq;

u32 VIQ_convert_to_RGBX32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_RGBX32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_BGRX32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_BGRX32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_XBGR32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_XBGR32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_XRGB32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_XRGB32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_RGB24(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_RGB24), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_BGR24(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_BGR24), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_RGB16(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_RGB16), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_RGB15(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_RGB15), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_RGB8(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_RGB8), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_Y8(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_Y8), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_Y16(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_Y16), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_convert_to_CMYK32(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*packed_converter(VIQ_CMYK32), hInImage, hOutImage, wStripCommand);
}

namespace {

output_shape wide_grey(const strip_call &call, const converter &which);
u32 convert_to_wide_grey(const strip_call &call);

constexpr format_set packed_16 = formats(VIQ_RGB15, VIQ_RGB16);
constexpr format_set packed_24 = formats(VIQ_RGB24, VIQ_BGR24);
// BGR24 and XRGB32 cannot be converted to the 32-bit orders.
constexpr format_set to_32 = grey_formats | packed_16 | formats(VIQ_RGB24) | rgb_32_formats;

VIQ_PER_CONTEXT(strip_sequences<format_count>, sequences); // by the row of the target format

constexpr converter make_packed(const char *name, const char *worker_name, u16 target,
                                format_set accepted) {
    return make_converter(name, worker_name, {sequences, row_of_format(target)}, target, accepted);
}

constexpr converter make_y8() {
    converter made =
        make_packed("VIQ_convert_to_Y8", "VIQ_convert_to_Y8_1_strip", VIQ_Y8,
                    formats(VIQ_Y16, VIQ_YUV422) | packed_16 | packed_24 | rgb_32_formats);
    made.operation.corrupt = "Corrupt images";
    return made;
}

constexpr converter make_y16() {
    converter made =
        make_packed("VIQ_convert_to_Y16", "VIQ_convert_to_Y16_1_strip", VIQ_Y16, formats(VIQ_Y8));
    made.operation.shape = wide_grey;
    made.operation.process = convert_to_wide_grey;
    return made;
}

constexpr converter make_cmyk32() {
    converter made = make_packed("VIQ_convert_to_CMYK32", "VIQ_convert_to_CMYK32_1_strip",
                                 VIQ_CMYK32, formats(VIQ_PALETTED));
    made.refusal = "Only paletted input images currently supported";
    return made;
}

constexpr converter packed_converters[] = {
    make_packed("VIQ_convert_to_RGBX32", "VIQ_convert_to_RGBX32_1_strip", VIQ_RGBX32, to_32),
    make_packed("VIQ_convert_to_BGRX32", "VIQ_convert_to_BGRX32_1_strip", VIQ_BGRX32, to_32),
    make_packed("VIQ_convert_to_XBGR32", "VIQ_convert_to_XBGR32_1_strip", VIQ_XBGR32, to_32),
    make_packed("VIQ_convert_to_XRGB32", "VIQ_convert_to_XRGB32_1_strip", VIQ_XRGB32,
                to_32 & ~formats(VIQ_XBGR32)),
    make_packed("VIQ_convert_to_RGB24", "VIQ_convert_to_RGB24_1_strip", VIQ_RGB24,
                grey_formats | packed_16 | packed_24 | rgb_32_formats),
    make_packed("VIQ_convert_to_BGR24", "VIQ_convert_to_BGR24_1_strip", VIQ_BGR24,
                grey_formats | packed_16 | packed_24 | rgb_32_formats),
    make_packed("VIQ_convert_to_RGB16", "VIQ_convert_to_RGB16_1_strip", VIQ_RGB16,
                grey_formats | formats(VIQ_RGB8) | packed_16 | packed_24 | rgb_32_formats),
    // RGB16 is not accepted, although the row kernel exists.
    make_packed("VIQ_convert_to_RGB15", "VIQ_convert_to_RGB15_1_strip", VIQ_RGB15,
                grey_formats | packed_24 | rgb_32_formats),
    make_packed("VIQ_convert_to_RGB8", "VIQ_convert_to_RGB8_1_strip", VIQ_RGB8,
                formats(VIQ_Y8, VIQ_RGB24)),
    make_y8(),
    make_y16(),
    make_cmyk32(),
};

} // namespace

namespace viq {

const converter *packed_converter(u16 target) {
    return find_converter<packed_converters>(target);
}

} // namespace viq

namespace {

// The output's data width is kept if it is set, otherwise it is 8.
output_shape wide_grey(const strip_call &call, const converter &which) {
    output_shape shape = same_size(call, which);
    shape.data_width =
        call.out != nullptr && call.out->data_width != 0 ? call.out->data_width : u16{8};
    return shape;
}

u32 convert_to_wide_grey(const strip_call &call) {
    if (call.out->data_width < 8)
        return report(call.worker_name, VIQ_ERR_PARAMETER,
                      "Grayscale data width must be 8 or more");
    return convert_lines(call);
}

} // namespace
