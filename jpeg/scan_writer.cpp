#include "jpeg/scan_writer.h"

#include "jpeg/bit_sink.h"
#include "jpeg/block_symbols.h"
#include "jpeg/jpeg_markers.h"

namespace viq {

namespace {

inline void write_block(bit_sink &sink, const component_codes &codes, const i16 *coefficients,
                        u64 mask, i32 &predictor) {
    // Inlined at each of its calls, so that the sink stays in registers.
    visit_symbols(
        coefficients, mask, predictor,
        [&](i32 difference) __attribute__((always_inline)) {
            const coded_value value =
                (*codes.dc)[static_cast<u32>(difference + largest_difference)];
            put(sink, value.bits >> (32 - value.length), value.length);
        },
        [&](u32 symbol, u32 size, u32 extra) __attribute__((always_inline)) {
            const u32 code = codes.ac[symbol];
            put(sink, (code >> 16) << size | extra, (code & 0xFFFF) + size);
        });
}

// Writes blocks with the codes of luminance (0) or chrominance (1). Both blocks of luminance have
// one predictor, U and V have one each.
template <u32 component> bool write_pair(scan_writer &writer, const block_pair &pair, u32 count) {
    if (!make_room(writer, 2 * largest_block + largest_rest))
        return false;
    bit_sink sink = sink_of(writer);
    for (u32 i = 0; i < count; ++i)
        write_block(sink, writer.components[component], pair.coefficients[i], pair.masks[i],
                    writer.predictors[component == 0 ? 0 : 1 + i]);
    store(sink, writer);
    return true;
}

} // namespace

bool make_room(scan_writer &writer, u32 bytes) {
    if (static_cast<u64>(writer.end - writer.at) >= bytes)
        return true;
    const auto used = static_cast<u64>(writer.at - writer.image->jpeg->data);
    if (!grow_data(*writer.image, used + bytes))
        return false;
    writer.at = writer.image->jpeg->data + used;
    writer.end = writer.image->jpeg->data + data_room(*writer.image);
    return true;
}

void begin_scan(scan_writer &writer) {
    writer.bits = 0;
    writer.free_bits = word_bits;
    for (i32 &predictor : writer.predictors)
        predictor = 0;
}

void continue_scan(scan_writer &writer, tVIQ_Image &image) {
    Tjpeg &record = *image.jpeg;
    record.data_ptr = record.data;
    record.data_length = 0;
    writer.image = &image;
    writer.at = record.data;
    writer.end = record.data + data_room(image);
    const code_tables &codes = current_codes();
    for (u32 i = 0; i < 2; ++i) {
        const code_table &ac = codes.slots[ac_luminance + i];
        writer.components[i].dc = &codes.dc_values[i];
        for (u32 symbol = 0; symbol < 256; ++symbol)
            writer.components[i].ac[symbol] = u32{ac.code[symbol]} << 16 | ac.length[symbol];
    }
}

bool write_grey_blocks(scan_writer &writer, const block_pair &pair, u32 count) {
    return write_pair<0>(writer, pair, count);
}

bool write_colour_blocks(scan_writer &writer, const block_pair &y, const block_pair &uv) {
    return write_pair<0>(writer, y, 2) && write_pair<1>(writer, uv, 2);
}

void pause_scan(scan_writer &writer) {
    Tjpeg &record = *writer.image->jpeg;
    record.data_length = static_cast<u32>(writer.at - record.data);
}

bool end_scan(scan_writer &writer) {
    if (!make_room(writer, largest_rest))
        return false;
    const auto held = static_cast<u32>(word_bits - writer.free_bits);
    if (held != 0)
        writer.at = store_stuffed(writer.at, writer.bits << writer.free_bits, (held + 7) / 8);
    writer.at[0] = 0xFF;
    writer.at[1] = marker_eoi;
    pause_scan(writer);
    return true;
}

} // namespace viq
