// Appends bits to the data of a scan, with a stuffed byte after every byte 0xFF.
#pragma once

#include "jpeg/scan_writer.h"

namespace viq {

// Largest number of bytes that are written, if every byte requires a stuffed byte.
constexpr u32 largest_code = 16; // bits
constexpr u32 dc_bits = largest_code + largest_category;
constexpr u32 ac_bits_per_value = largest_code + largest_size;
constexpr u32 largest_block = 2 * (dc_bits + (block_size - 1) * ac_bits_per_value) / 8 + 2;
constexpr u32 pending_bytes = 2 * sizeof(u64);
constexpr u32 end_marker_bytes = 2;
constexpr u32 largest_rest = pending_bytes + end_marker_bytes;

[[maybe_unused, gnu::noinline]] static u8 *store_stuffed(u8 *at, u64 bits, u32 bytes) {
    for (u32 i = 0; i < bytes; ++i) {
        const auto byte = static_cast<u8>(bits >> (56 - 8 * i));
        *at++ = byte;
        if (byte == 0xFF)
            *at++ = 0;
    }
    return at;
}

// Stores eight bytes, the most significant first.
VIQ_FORMULA u8 *store_stuffed_word(u8 *at, u64 bits) {
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

VIQ_FORMULA void put(bit_sink &sink, u32 code, u32 length) {
    sink.free_bits -= static_cast<i32>(length);
    if (sink.free_bits >= 0) {
        sink.bits = sink.bits << length | code;
        return;
    }
    const auto over = static_cast<u32>(-sink.free_bits);
    sink.at = store_stuffed_word(sink.at, sink.bits << (length - over) | code >> over);
    sink.free_bits += word_bits;
    sink.bits = code;
}

VIQ_FORMULA bit_sink sink_of(const scan_writer &writer) {
    return {writer.at, writer.bits, writer.free_bits};
}

VIQ_FORMULA void store(const bit_sink &sink, scan_writer &writer) {
    writer.at = sink.at;
    writer.bits = sink.bits;
    writer.free_bits = sink.free_bits;
}

// Makes room in the data buffer; false if memory runs out.
bool make_room(scan_writer &writer, u32 bytes);

} // namespace viq
