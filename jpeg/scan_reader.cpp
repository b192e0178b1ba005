#include "jpeg/scan_reader.h"

#include "core/cpu.h"
#include "core/report.h"
#include "jpeg/jpeg_markers.h"
#include "jpeg/scan_loops.h"

namespace viq {

namespace {

constexpr const char *worker_name = "VIQ_Huffman_decode_1_strip";

constexpr const char *block_errors[6][3] = {
    {"Y1: corrupt DC Huffman sequence", "Y1: corrupt AC Huffman sequence",
     "Y1: corrupt AC Huffman sequence (> 63 coeffs read)"},
    {"Y2: corrupt DC Huffman sequence", "Y2: corrupt AC Huffman sequence",
     "Y2: corrupt AC Huffman sequence (> 63 coeffs read)"},
    {"Y3: corrupt DC Huffman sequence", "Y3: corrupt AC Huffman sequence",
     "Y3: corrupt AC Huffman sequence (> 63 coeffs read)"},
    {"Y4: corrupt DC Huffman sequence", "Y4: corrupt AC Huffman sequence",
     "Y4: corrupt AC Huffman sequence (> 63 coeffs read)"},
    {"U: corrupt DC Huffman sequence", "U: corrupt AC Huffman sequence",
     "U: corrupt AC Huffman sequence (> 63 coeffs read)"},
    {"V: corrupt DC Huffman sequence", "V: corrupt AC Huffman sequence",
     "V: corrupt AC Huffman sequence (> 63 coeffs read)"}};

u32 report_block(block_end end, u32 block) {
    switch (end) {
    case block_end::bad_dc_category:
        return report("read_dc_value", VIQ_ERR_STATE, "invalid DC category");
    case block_end::corrupt_dc:
        return report(worker_name, VIQ_ERR_STATE, block_errors[block][0]);
    case block_end::corrupt_ac:
        return report(worker_name, VIQ_ERR_STATE, block_errors[block][1]);
    case block_end::overrun:
        return report(worker_name, VIQ_ERR_STATE, block_errors[block][2]);
    default:
        return success;
    }
}

plain_reader reader_of(const scan_reader &from) {
    return {from.plain_bits.get(), from.plain_next, from.plain_size - 8, from.window, from.held};
}

void store(const plain_reader &bits, scan_reader &to) {
    to.plain_next = bits.next;
    to.window = bits.window;
    to.held = bits.held;
}

// ---- Bits of data with markers

// Appends a byte; false if it is the first byte of FF D9.
bool append_byte(scan_reader &reader) {
    const bool inside = reader.next < reader.length;
    const u8 byte = inside ? reader.data[reader.next++] : 0xFF;
    reader.refilled = reader.refilled << 8 | byte;
    reader.count += 8;
    if (!inside || byte != 0xFF || reader.next == reader.length)
        return true;
    const u8 following = reader.data[reader.next];
    if (following == 0)
        ++reader.next;
    return following != marker_eoi;
}

void refill(scan_reader &reader) {
    constexpr const char *name = "refill_buffer";
    if (!append_byte(reader))
        report(name, VIQ_ERR_STATE, "Unexpected EOI - processing byte 1");
    else if (reader.count <= 8 && !append_byte(reader))
        report(name, VIQ_ERR_STATE | 1, "Unexpected EOI - processing byte 2");
}

struct marker_reader {
    static constexpr bool looks_ahead = false;
    scan_reader &from;

    void prepare() {}

    // If bits are missing, one byte is appended, then up to one more for 9 bits, or two more for 11
    // and 16 bits, until `enough` bits are valid.
    template <u32 bits> u32 peek() {
        constexpr i32 enough = bits == 9 ? 16 : bits == 11 ? 19 : 24;
        if (from.count < static_cast<i32>(bits)) {
            refill(from);
            for (u32 i = 0; i < (bits == 9 ? 1u : 2u); ++i)
                if (from.count < enough)
                    refill(from);
        }
        return from.refilled >> (from.count + 1 - static_cast<i32>(bits)) & ((1u << bits) - 1);
    }
    void consume(u32 bits) {
        from.count -= static_cast<i32>(bits);
        if (from.count < 1)
            refill(from);
    }
    u32 take(u32 bits) {
        // A refill that meets a marker appends only one byte.
        while (from.count + 1 < static_cast<i32>(bits))
            refill(from);
        from.count -= static_cast<i32>(bits);
        return from.refilled >> (from.count + 1) & ((1u << bits) - 1);
    }
};

const scan_kernels &current_scans() {
    constexpr kernel_sets<scan_kernels> sets = {&plain_scans, VIQ_AVX2_TABLE(avx2_scans)};
    return current_kernels(sets);
}

// Removes the stuffed bytes; false if the data contains FF D9.
bool copy_plain(u8 *to, const u8 *data, u64 length, std::size_t &copied) {
    const u8 *at = data;
    const u8 *const end = data + length;
    const u8 *const begin = to;
    while (at != end) {
        const auto *ones =
            static_cast<const u8 *>(std::memchr(at, 0xFF, static_cast<std::size_t>(end - at)));
        const u8 *stop = ones != nullptr ? ones + 1 : end;
        const auto count = static_cast<std::size_t>(stop - at);
        std::memcpy(to, at, count);
        to += count;
        at = stop;
        if (ones == nullptr || at == end)
            break;
        if (*at == marker_eoi)
            return false;
        if (*at == 0)
            ++at;
    }
    copied = static_cast<std::size_t>(to - begin);
    return true;
}

} // namespace

const scan_kernels plain_scans = {read_mcus_of, read_any_mcus_of};

u32 begin_reading(scan_reader &reader, const u8 *data, u64 length) {
    reader = {};
    reader.data = data;
    reader.length = length;
    reader.count = -1;
    const u64 size = length + plain_padding;
    if (size <= SIZE_MAX)
        reader.plain_bits = make_bytes(static_cast<std::size_t>(size));
    if (reader.plain_bits == nullptr)
        return report_no_memory(worker_name, size);
    std::size_t copied = 0;
    if (copy_plain(reader.plain_bits.get(), data, length, copied)) {
        std::memset(reader.plain_bits.get() + copied, 0xFF, plain_padding);
        reader.plain_size = copied + plain_padding;
        return success;
    }
    reader.plain_bits.reset();
    refill(reader);
    refill(reader);
    constexpr i32 filled = 23; // three bytes
    return reader.count == filled
               ? success
               : report(worker_name, VIQ_ERR_STATE, "Buffer failed to fill at start");
}

u32 read_mcus(scan_reader &reader, const scan_layout &layout, u32 first, u32 count,
              decoded_pair *pairs) {
    const decode_tables &tables = current_decode_tables();
    block_tables components[2];
    for (u32 i = 0; i < 2; ++i)
        components[i] = {i == 0 ? tables.dc_luminance.data() : tables.dc_chrominance.data(),
                         tables.dc_fast[i].data(), tables.ac[i].data(), tables.ac_fast[i].data()};
    const mcu_range mcus = {first, count, components, reader.predictors};
    u32 failed = 0;
    if (reader.plain_bits == nullptr) {
        marker_reader bits = {reader};
        return report_block(read_scan(bits, layout, mcus, pairs, failed), failed);
    }
    plain_reader bits = reader_of(reader);
    const block_end end = current_scans().read_mcus(bits, layout, mcus, pairs, failed);
    store(bits, reader);
    return report_block(end, failed);
}

namespace {

// The bits that have been consumed, and `more` after them, are more than the data has.
bool is_past_end(const scan_reader &reader, u32 more) {
    const u64 data_bits = u64{reader.plain_size - plain_padding} * 8;
    return reader.is_complete && u64{reader.plain_next} * 8 + more > data_bits + reader.held;
}

} // namespace

u32 read_any_mcus(scan_reader &reader, std::span<const scan_component> components, u32 first,
                  u32 count) {
    plain_reader bits = reader_of(reader);
    u32 failed = 0;
    const block_end end =
        current_scans().read_any_mcus(bits, components.data(), components.size(),
                                      {first, count, nullptr, reader.predictors}, failed);
    store(bits, reader);
    // What is not a code may be the padding.
    if (is_past_end(reader, end == block_end::good ? 0 : ac_bits))
        return report(worker_name, VIQ_ERR_CORRUPT, "JPEG data ends early");
    return report_block(end, failed);
}

} // namespace viq
