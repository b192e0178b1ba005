#include "jpeg/scan_writer.h"

#include <bit>

#include "jpeg/jpeg_markers.h"

namespace viq {

namespace {

// Largest number of bytes that are written, if every byte requires a stuffed byte.
constexpr u32 largest_code = 16; // bits
constexpr u32 dc_bits = largest_code + largest_category;
constexpr u32 ac_bits_per_value = largest_code + largest_size;
constexpr u32 largest_block = 2 * (dc_bits + (block_size - 1) * ac_bits_per_value) / 8 + 2;
constexpr u32 pending_bytes = 2 * sizeof(u64);
constexpr u32 end_marker_bytes = 2;
constexpr u32 largest_rest = pending_bytes + end_marker_bytes;

// Zigzag mask of the coefficients that a byte of a natural mask represents, by row of the block.
struct zigzag_masks {
    u64 of[8][256];
};

constexpr zigzag_masks make_zigzag_masks() {
    zigzag_masks masks = {};
    for (u32 k = 0; k < block_size; ++k)
        for (u32 byte = 0; byte < 256; ++byte)
            if ((byte >> natural_of[k] % 8 & 1) != 0)
                masks.of[natural_of[k] / 8][byte] |= u64{1} << k;
    return masks;
}

constexpr zigzag_masks zigzag = make_zigzag_masks();

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

inline u8 *store_stuffed(u8 *at, u64 bits, u32 bytes) {
    for (u32 i = 0; i < bytes; ++i) {
        const auto byte = static_cast<u8>(bits >> (56 - 8 * i));
        *at++ = byte;
        if (byte == 0xFF)
            *at++ = 0;
    }
    return at;
}

// Stores eight bytes, the most significant first.
inline u8 *store_word(u8 *at, u64 bits) {
    // Adding 1 to each byte clears the top bit of a byte 0xFF; carries start only at such bytes.
    constexpr u64 top_bits = 0x8080808080808080u;
    constexpr u64 one_per_byte = 0x0101010101010101u;
    if ((bits & ~(bits + one_per_byte) & top_bits) != 0)
        return store_stuffed(at, bits, 8);
    for (u32 i = 0; i < 8; ++i)
        at[i] = static_cast<u8>(bits >> (56 - 8 * i));
    return at + 8;
}

constexpr i32 word_bits = 64;

// The part of the writer that changes with every code, kept in registers.
struct bit_sink {
    u8 *at;
    u64 bits;
    i32 free_bits;
};

inline void put(bit_sink &sink, u32 code, u32 length) {
    sink.free_bits -= static_cast<i32>(length);
    if (sink.free_bits >= 0) {
        sink.bits = sink.bits << length | code;
        return;
    }
    const auto over = static_cast<u32>(-sink.free_bits);
    sink.at = store_word(sink.at, sink.bits << (length - over) | code >> over);
    sink.free_bits += word_bits;
    sink.bits = code;
}

inline void write_block(bit_sink &sink, const component_codes &codes, const i16 *coefficients,
                        u64 mask, i32 &predictor) {
    const i32 dc = coefficients[0];
    const coded_value difference =
        (*codes.dc)[static_cast<u32>(dc - predictor + largest_difference)];
    predictor = dc;
    put(sink, difference.bits >> (32 - difference.length), difference.length);

    u64 present = 0;
    for (u32 row = 0; row < 8; ++row)
        present |= zigzag.of[row][mask >> 8 * row & 0xFF];
    const bool ends_with_zero = present >> 63 == 0;
    present &= ~u64{1};
    i32 last = 0;
    while (present != 0) {
        const i32 k = std::countr_zero(present);
        present &= present - 1;
        i32 run = k - last - 1;
        last = k;
        for (; run >= 16; run -= 16)
            put(sink, codes.ac[zero_run] >> 16, codes.ac[zero_run] & 0xFFFF);
        const i32 value = coefficients[natural_of[static_cast<u32>(k)]];
        const i32 sign = value >> 31;
        const auto category =
            static_cast<u32>(std::bit_width(static_cast<u32>((value ^ sign) - sign)));
        const u32 code = codes.ac[static_cast<u32>(run) << 4 | category];
        const u32 extra = static_cast<u32>(value + sign) & ((1u << category) - 1);
        put(sink, (code >> 16) << category | extra, (code & 0xFFFF) + category);
    }
    if (ends_with_zero)
        put(sink, codes.ac[end_of_block] >> 16, codes.ac[end_of_block] & 0xFFFF);
}

// Writes blocks with the codes of luminance (0) or chrominance (1). Both blocks of luminance have
// one predictor, U and V have one each.
template <u32 component> bool write_pair(scan_writer &writer, const block_pair &pair, u32 count) {
    if (!make_room(writer, 2 * largest_block + largest_rest))
        return false;
    bit_sink sink = {writer.at, writer.bits, writer.free_bits};
    for (u32 i = 0; i < count; ++i)
        write_block(sink, writer.components[component], pair.coefficients[i], pair.masks[i],
                    writer.predictors[component == 0 ? 0 : 1 + i]);
    writer.at = sink.at;
    writer.bits = sink.bits;
    writer.free_bits = sink.free_bits;
    return true;
}

} // namespace

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
