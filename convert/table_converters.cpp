// Converters that read their results from conversion tables.
#include <algorithm>
#include <cstring>
#include <iterator>

#include "convert/conversion_rows.h"
#include "convert/conversion_tables.h"
#include "convert/converter.h"
#include "convert/pixel_formulas.h"
#include "convert/table_rows.h"
#include "core/image.h"
#include "core/report.h"

using namespace viq;

namespace {

verdict check_unless_y16(const strip_call &call, const converter &which);
u32 make_missing_table(const strip_call &call);
u32 convert_by_table(const strip_call &call);

VIQ_PER_CONTEXT(strip_sequences<10>, sequences);

constexpr converter make_by_table(const char *name, const char *worker_name,
                                  sequence_place sequence, u16 target) {
    converter made = make_converter(name, worker_name, sequence, target, formats(VIQ_YUV422));
    made.operation.check_before_header = check_even_yuv422;
    made.operation.check_pixels = {};
    made.operation.complete_output = make_missing_table;
    made.operation.process = convert_by_table;
    return made;
}

constexpr converter make_to_paletted() {
    converter made =
        make_by_table("VIQ_convert_to_paletted_LUT", "VIQ_convert_to_paletted_LUT_1_strip",
                      {sequences, 9}, VIQ_PALETTED);
    made.accepted = formats(VIQ_RGB16, VIQ_Y8, VIQ_Y16);
    made.operation.check_before_header = {};
    made.operation.check_pixels = check_unless_y16;
    return made;
}

constexpr converter from_yuv422[] = {
    make_by_table("VIQ_YUV422_to_RGB24_LUT", "VIQ_YUV422_to_RGB24_LUT_1_strip", {sequences, 0},
                  VIQ_RGB24),
    make_by_table("VIQ_YUV422_to_BGR24_LUT", "VIQ_YUV422_to_BGR24_LUT_1_strip", {sequences, 1},
                  VIQ_BGR24),
    make_by_table("VIQ_YUV422_to_RGBX32_LUT", "VIQ_YUV422_to_RGBX32_LUT_1_strip", {sequences, 2},
                  VIQ_RGBX32),
    make_by_table("VIQ_YUV422_to_BGRX32_LUT", "VIQ_YUV422_to_BGRX32_LUT_1_strip", {sequences, 3},
                  VIQ_BGRX32),
    make_by_table("VIQ_YUV422_to_XBGR32_LUT", "VIQ_YUV422_to_XBGR32_LUT_1_strip", {sequences, 4},
                  VIQ_XBGR32),
    make_by_table("VIQ_YUV422_to_XRGB32_LUT", "VIQ_YUV422_to_XRGB32_LUT_1_strip", {sequences, 5},
                  VIQ_XRGB32),
    make_by_table("VIQ_YUV422_to_RGB16_LUT", "VIQ_YUV422_to_RGB16_LUT_1_strip", {sequences, 6},
                  VIQ_RGB16),
    make_by_table("VIQ_YUV422_to_RGB15_LUT", "VIQ_YUV422_to_RGB15_LUT_1_strip", {sequences, 7},
                  VIQ_RGB15),
    make_by_table("VIQ_YUV422_to_paletted_LUT", "VIQ_YUV422_to_paletted_LUT_1_strip",
                  {sequences, 8}, VIQ_PALETTED),
};

} // namespace

namespace viq {

constexpr converter to_paletted_by_table = make_to_paletted();

const converter *yuv422_table_converter(u16 target) {
    return find_converter<from_yuv422>(target);
}

} // namespace viq

u32 VIQ_convert_to_paletted_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(to_paletted_by_table, hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_RGB24_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_table_converter(VIQ_RGB24), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_BGR24_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_table_converter(VIQ_BGR24), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_RGBX32_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_table_converter(VIQ_RGBX32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_BGRX32_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_table_converter(VIQ_BGRX32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_XBGR32_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_table_converter(VIQ_XBGR32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_XRGB32_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_table_converter(VIQ_XRGB32), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_RGB16_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_table_converter(VIQ_RGB16), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_RGB15_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_table_converter(VIQ_RGB15), hInImage, hOutImage, wStripCommand);
}

u32 VIQ_YUV422_to_paletted_LUT(u32 hInImage, u32 hOutImage, u16 wStripCommand) {
    return run(*yuv422_table_converter(VIQ_PALETTED), hInImage, hOutImage, wStripCommand);
}

namespace {

// ---- Lines by table

using lut_row = void (*)(const u8 *source, u8 *target, u32 pixels, const lut_view &,
                         const row_options &);

void row_by_byte(const u8 *source, u8 *target, u32 pixels, const lut_view &lut,
                 const row_options &) {
    table_rows().map_bytes(source, target, pixels, lut.bytes);
}

void row_by_word(const u8 *source, u8 *target, u32 pixels, const lut_view &lut,
                 const row_options &) {
    table_rows().words_to_bytes(source, target, pixels, lut.bytes, lut.entries);
}

template <u16 target> VIQ_FORMULA u32 luma_index(u8 y) {
    return target == VIQ_PALETTED ? (y & 0xF8u) << 7 : u32{y} >> 1 << 12;
}

template <u16 target> VIQ_FORMULA u32 chroma_index(u8 u, u8 v) {
    return target == VIQ_PALETTED ? (u & 0xF8u) << 2 | u32{v} >> 3 : u32{u} >> 2 << 6 | u32{v} >> 2;
}

template <u16 target>
VIQ_FORMULA void put_entry(u8 *pixel, u32 index, const lut_view &lut, const row_options &options) {
    if constexpr (target == VIQ_PALETTED) {
        *pixel = lut.bytes[index];
    } else {
        const u32 word = load_word(lut.bytes + std::size_t{2} * index);
        if constexpr (has_bit_fields(target))
            store_word(pixel, word);
        else
            pack<target>(pixel, unpack_fields<VIQ_RGB16>(word), options);
    }
}

// The results of a generated table are those of the row kernels for components without the bits
// that an index drops; the kernels take less time than the table.
template <u16 target>
void row_by_formula(const u8 *source, u8 *to, u32 pixels, const row_options &options) {
    constexpr u16 entry_format = has_bit_fields(target) ? target : u16{VIQ_RGB16};
    constexpr u32 part = 1024;
    constexpr u8 kept_of_pair[4] = {0xFE, 0xFC, 0xFE, 0xFC}; // Y, U, Y, V
    u32 kept_bits = 0;
    std::memcpy(&kept_bits, kept_of_pair, 4);
    const row_kernel to_entries = find_row(VIQ_YUV422, entry_format);
    [[maybe_unused]] const row_kernel to_target = find_row(VIQ_RGB16, target);
    u8 indexed[2 * part];
    u8 entries[2 * part];
    for (u32 count = 0; pixels != 0; pixels -= count) {
        count = std::min(pixels, part);
        for (u32 n = 0; n < 2 * count; n += 4) {
            u32 pair = 0;
            std::memcpy(&pair, source + n, 4);
            pair &= kept_bits;
            std::memcpy(indexed + n, &pair, 4);
        }
        u8 *made = has_bit_fields(target) ? to : entries;
        to_entries(indexed, made, count, {});
        if constexpr (!has_bit_fields(target))
            to_target(entries, to, count, options);
        source += std::size_t{2} * count;
        to += std::size_t{count} * pixel_bytes(target);
    }
}

template <u16 target>
void row_by_yuv(const u8 *source, u8 *to, u32 pixels, const lut_view &lut,
                const row_options &options) {
    constexpr std::size_t size = pixel_bytes(target);
    if constexpr (target != VIQ_PALETTED)
        if (!lut.from_file)
            return row_by_formula<target>(source, to, pixels, options);
    for (u32 x = 0; x < pixels; x += 2, source += pair_size, to += 2 * size) {
        const u32 chroma = chroma_index<target>(source[pair_bytes.u], source[pair_bytes.v]);
        put_entry<target>(to, luma_index<target>(source[pair_bytes.first_y]) | chroma, lut,
                          options);
        put_entry<target>(to + size, luma_index<target>(source[pair_bytes.second_y]) | chroma, lut,
                          options);
    }
}

// ---- Steps

struct lut_route {
    u16 input, output, type;
    lut_row row;
};

constexpr lut_route lut_routes[] = {
    {VIQ_RGB16, VIQ_PALETTED, VIQ_CONV_LUT_RGB16_TO_PALETTED, row_by_word},
    {VIQ_Y8, VIQ_PALETTED, VIQ_CONV_LUT_Y8_TO_PALETTED, row_by_byte},
    {VIQ_Y16, VIQ_PALETTED, VIQ_CONV_LUT_Y16_TO_PALETTED, row_by_word},
    {VIQ_YUV422, VIQ_PALETTED, VIQ_CONV_LUT_YUV422_TO_PALETTED, row_by_yuv<VIQ_PALETTED>},
    {VIQ_YUV422, VIQ_RGB15, VIQ_CONV_LUT_YUV422_TO_RGB15, row_by_yuv<VIQ_RGB15>},
    {VIQ_YUV422, VIQ_RGB16, VIQ_CONV_LUT_YUV422_TO_RGB16, row_by_yuv<VIQ_RGB16>},
    {VIQ_YUV422, VIQ_RGB24, VIQ_CONV_LUT_YUV422_TO_RGB16, row_by_yuv<VIQ_RGB24>},
    {VIQ_YUV422, VIQ_BGR24, VIQ_CONV_LUT_YUV422_TO_RGB16, row_by_yuv<VIQ_BGR24>},
    {VIQ_YUV422, VIQ_RGBX32, VIQ_CONV_LUT_YUV422_TO_RGB16, row_by_yuv<VIQ_RGBX32>},
    {VIQ_YUV422, VIQ_BGRX32, VIQ_CONV_LUT_YUV422_TO_RGB16, row_by_yuv<VIQ_BGRX32>},
    {VIQ_YUV422, VIQ_XBGR32, VIQ_CONV_LUT_YUV422_TO_RGB16, row_by_yuv<VIQ_XBGR32>},
    {VIQ_YUV422, VIQ_XRGB32, VIQ_CONV_LUT_YUV422_TO_RGB16, row_by_yuv<VIQ_XRGB32>},
};

const lut_route &route_of(const strip_call &call) {
    return *std::find_if(std::begin(lut_routes), std::end(lut_routes), [&](const lut_route &route) {
        return route.input == call.in->pixel_format && route.output == call.out->pixel_format;
    });
}

// The conversion table checks the data width of 16-bit grey.
verdict check_unless_y16(const strip_call &call, const converter &which) {
    if (call.in->pixel_format == VIQ_Y16)
        return proceed;
    return copy_or_check_format(call, which);
}

u32 make_missing_table(const strip_call &call) {
    lut_view lut;
    return call.in->lines_per_strip == 0
               ? success
               : need_lut(call.name, route_of(call).type, call.in_handle, lut);
}

u32 convert_by_table(const strip_call &call) {
    const tVIQ_Image &in = *call.in;
    const tVIQ_Image &out = *call.out;
    const lut_route &route = route_of(call);
    lut_view lut;
    u32 code = need_lut(call.worker_name, route.type, call.in_handle, lut);
    if (!is_error(code))
        code = begin_strip(call);
    if (is_error(code))
        return code;
    row_options options;
    options.keep_spare = !owns_data(out);
    for (std::size_t n = 0; n < lines_with_pixels(in); ++n)
        route.row(in.data + n * in.bytes_per_line, out.data + n * out.bytes_per_line, in.width, lut,
                  options);
    return success;
}

} // namespace
