// Applying lookup tables to images.
#include <algorithm>
#include <cstring>

#include "convert/conversion_rows.h"
#include "convert/pixel_formulas.h"
#include "convert/table_rows.h"
#include "core/format_checks.h"
#include "core/process_lines.h"
#include "core/report.h"
#include "process/lookup_tables.h"

using namespace viq;

namespace {

verdict check_lut_input(const strip_call &call, const lookup_table &lut);
u32 apply_lines(const strip_call &call, const lookup_table &lut);

VIQ_PER_CONTEXT(strip_sequence, sequence);

constexpr strip_operation<lookup_table> lut_operation = {.name = "VIQ_LUT_apply",
                                                         .worker_name = "VIQ_LUT_apply_1_strip",
                                                         .sequence = sequence,
                                                         .check_pixels = check_lut_input,
                                                         .shape = same_shape,
                                                         .process = apply_lines,
                                                         .bare_parameters = true};

} // namespace

u32 VIQ_LUT_apply(u32 hInImage, u32 hOutImage, u32 hLut, u16 wMode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    const lookup_table *lut = find_lut(hLut);
    if (lut == nullptr) {
        if (wMode == VIQ_STRIP_FINISH)
            *sequence = {};
        return report_bad_handle("VIQ_LUT_apply");
    }
    return run_conversion(lut_operation, hInImage, hOutImage, wMode, *lut);
}

namespace {

// Tables of 256 entries. Values beyond the end of a shorter table map to themselves.
struct byte_tables {
    u8 grey[256], red[256], green[256], blue[256];
    bool same_for_colours; // red, green and blue have equal tables
};

verdict check_lut_input(const strip_call &call, const lookup_table &lut) {
    const format_set accepted = lut.element_size == 1 ? formats(VIQ_YUV422, VIQ_Y8, VIQ_RGB24,
                                                                VIQ_RGB16, VIQ_RGB15, VIQ_RGB8)
                                                      : formats(VIQ_Y16);
    const verdict decision = accept_formats(call, accepted, {.or_format = true});
    return decision.go_on ? accept_even(call, call.in->width) : decision;
}

void complete_table(const vector<u8> &entries, u8 (&table)[256]) {
    const std::size_t count = std::min(entries.size(), sizeof table);
    std::copy_n(entries.begin(), count, table);
    for (std::size_t i = count; i < sizeof table; ++i)
        table[i] = static_cast<u8>(i);
}

void complete_tables(const lookup_table &lut, byte_tables &tables) {
    complete_table(lut.bytes[0], tables.grey);
    complete_table(lut.bytes[1], tables.red);
    complete_table(lut.bytes[2], tables.green);
    complete_table(lut.bytes[3], tables.blue);
    tables.same_for_colours = std::memcmp(tables.red, tables.green, 256) == 0 &&
                              std::memcmp(tables.red, tables.blue, 256) == 0;
}

void map_rgb24(const byte_tables &tables, const u8 *from, u8 *to, u32 pixels) {
    if (tables.same_for_colours)
        table_rows().map_bytes(from, to, 3 * pixels, tables.red);
    else
        table_rows().map_colours(from, to, pixels, {tables.red, tables.green, tables.blue});
}

// A component is shifted to the upper bits of a byte and mapped; the upper bits of the result are
// stored.
void map_packed(const byte_tables &tables, const pixel_format &format, const u8 *from, u8 *to,
                u32 pixels) {
    const bit_field fields[3] = {format.fields.red, format.fields.green, format.fields.blue};
    const u32 bytes = format.bytes_per_pixel;
    u16 mapped[3][64] = {};
    const u8 *const table[3] = {tables.red, tables.green, tables.blue};
    for (u32 n = 0; n < 3; ++n)
        for (u32 v = 0; v < 1u << fields[n].bits; ++v)
            mapped[n][v] = static_cast<u16>(table[n][v << (8 - fields[n].bits)] >>
                                            (8 - fields[n].bits) << fields[n].shift);
    for (; pixels != 0; --pixels, from += bytes, to += bytes) {
        const u32 word = bytes == 2 ? load_word(from) : *from;
        u32 result = 0;
        for (u32 n = 0; n < 3; ++n)
            result |= mapped[n][word >> fields[n].shift & ((1u << fields[n].bits) - 1)];
        if (bytes == 2)
            store_word(to, result);
        else
            *to = static_cast<u8>(result);
    }
}

// Converts to RGB, maps the colours and converts back, a part of a line at a time.
void map_yuv(const byte_tables &tables, const u8 *from, u8 *to, u32 pixels) {
    constexpr u32 part = 1024;
    u8 colours[3 * part];
    u8 mapped[3 * part];
    const row_kernel to_rgb = find_row(VIQ_YUV422, VIQ_RGB24);
    const row_kernel to_yuv = find_row(VIQ_RGB24, VIQ_YUV422);
    for (u32 count = 0; pixels != 0; pixels -= count, from += 2 * count, to += 2 * count) {
        count = std::min(pixels, part);
        to_rgb(from, colours, count, {});
        map_rgb24(tables, colours, mapped, count);
        to_yuv(mapped, to, count, {});
    }
}

void map_luma(const byte_tables &tables, const u8 *from, u8 *to, u32 pairs) {
    for (; pairs != 0; --pairs, from += 4, to += 4) {
        to[0] = tables.grey[from[0]];
        to[1] = from[1];
        to[2] = tables.grey[from[2]];
        to[3] = from[3];
    }
}

void map_line(const tVIQ_Image &in, const lookup_table &lut, const byte_tables &tables,
              const u8 *from, u8 *to) {
    const u32 width = in.width;
    const u16 format = in.pixel_format;
    const i16(&gain)[3] = lut.settings.gain;
    switch (format) {
    case VIQ_Y8:
        return table_rows().map_bytes(from, to, width, tables.grey);
    case VIQ_Y16:
        return table_rows().map_words(from, to, width, lut.words[0].data(), lut.elements);
    case VIQ_RGB24:
        return map_rgb24(tables, from, to, width);
    case VIQ_YUV422:
        if (gain[0] == 100 && gain[1] == 100 && gain[2] == 100)
            return map_luma(tables, from, to, width / 2);
        return map_yuv(tables, from, to, width);
    default:
        return map_packed(tables, format_row(format), from, to, width);
    }
}

u32 apply_lines(const strip_call &call, const lookup_table &lut) {
    byte_tables tables;
    complete_tables(lut, tables);
    return process_lines(
        call, [&](const u8 *from, u8 *to, u64) { map_line(*call.in, lut, tables, from, to); });
}

} // namespace
