#include "jpeg/scan_reader.h"

#include <algorithm>
#include <cstring>

#include "core/report.h"
#include "jpeg/code_tables.h"
#include "jpeg/jpeg_markers.h"

namespace viq {

namespace {

constexpr const char *worker_name = "VIQ_Huffman_decode_1_strip";

enum class block_end { good, corrupt_dc, bad_dc_category, corrupt_ac, overrun };

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

constexpr u32 block_u = 4;

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

// The value that the extra bits of a category represent.
inline i32 value_of(u32 bits, u32 category) {
    // Values whose first bit is 0 are negative.
    const u32 negative = (bits >> (category - 1)) - 1; // all bits or none
    return static_cast<i32>(bits + (negative & (1 - (1u << category))));
}

// ---- Bits of data without markers

// Big-endian load. Written without a loop, because compilers recognise only this form as one load.
inline u64 load_eight(const u8 *at) {
    return u64{at[0]} << 56 | u64{at[1]} << 48 | u64{at[2]} << 40 | u64{at[3]} << 32 |
           u64{at[4]} << 24 | u64{at[5]} << 16 | u64{at[6]} << 8 | u64{at[7]};
}

// The window is refilled to at least 56 bits before each code and its value, which have at most 27.
struct plain_reader {
    static constexpr bool looks_ahead = true;
    const u8 *bytes;
    std::size_t next; // offset of the first byte that is not in the window
    std::size_t last; // last offset at which eight bytes can be loaded
    u64 window;       // the first bit in the most significant position
    u32 held;         // number of valid bits

    explicit plain_reader(const scan_reader &from)
        : bytes(from.plain_bits.get()), next(from.plain_next), last(from.plain_size - 8),
          window(from.window), held(from.held) {}

    void store(scan_reader &to) const {
        to.plain_next = next;
        to.window = window;
        to.held = held;
    }

    [[gnu::always_inline]] void prepare() {
        window |= load_eight(bytes + next) >> held;
        next = std::min(next + ((63 - held) >> 3), last);
        held |= 56;
    }
    template <u32 bits> [[gnu::always_inline]] u32 peek() {
        return static_cast<u32>(window >> (64 - bits));
    }
    [[gnu::always_inline]] void consume(u32 bits) {
        window <<= bits;
        held -= bits;
    }
    [[gnu::always_inline]] i32 value(u32 category) {
        if (category == 0)
            return 0;
        const auto bits = static_cast<u32>(window >> (64 - category));
        consume(category);
        return value_of(bits, category);
    }
};

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

    explicit marker_reader(scan_reader &reader) : from(reader) {}
    void store(scan_reader &) const {}
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
    i32 value(u32 category) {
        if (category == 0)
            return 0;
        // A refill that meets a marker appends only one byte.
        while (from.count + 1 < static_cast<i32>(category))
            refill(from);
        from.count -= static_cast<i32>(category);
        const u32 bits = from.refilled >> (from.count + 1) & ((1u << category) - 1);
        return value_of(bits, category);
    }
};

// ---- Blocks

// The tables of a block; the DC table is indexed by a number of bits that is fixed at compile time.
struct block_tables {
    const dc_entry *dc;
    const ac_entry *ac;
    const ac_fast_entry *fast;
};

template <u32 dc_bits> constexpr block_tables tables_of(const decode_tables &tables) {
    constexpr u32 component = dc_bits == dc_luminance_bits ? 0 : 1;
    const dc_entry *dc = nullptr;
    if constexpr (dc_bits == dc_luminance_bits)
        dc = tables.dc_luminance.data();
    else
        dc = tables.dc_chrominance.data();
    return {dc, tables.ac[component].data(), tables.ac_fast[component].data()};
}

// Reads a block whose DC table is indexed by `dc_bits` bits. The coefficients must be 0 before.
template <u32 dc_bits, class Bits>
[[gnu::always_inline]] inline block_end read_block(Bits &bits, const block_tables &tables,
                                                   i32 &predictor, i16 *coefficients, u64 &mask,
                                                   i32 &dc) {
    bits.prepare();
    const dc_entry first = tables.dc[bits.template peek<dc_bits>()];
    if (first.category == invalid_category)
        return block_end::corrupt_dc;
    bits.consume(first.length);
    if (first.category > largest_category)
        return block_end::bad_dc_category;
    predictor = static_cast<i32>(static_cast<u32>(predictor) +
                                 static_cast<u32>(bits.value(first.category)));
    dc = predictor;
    coefficients[0] = static_cast<i16>(dc);
    const ac_entry *entries = tables.ac;
    const ac_fast_entry *fast = tables.fast;
    u32 k = 1;
    while (k < block_size) {
        bits.prepare();
        if constexpr (Bits::looks_ahead) {
            const ac_fast_entry known = fast[bits.template peek<fast_bits>()];
            if (k + known.reach <= block_size) {
                bits.consume(known.length);
                coefficients[natural_of[k + known.second_at]] = known.second;
                coefficients[natural_of[k + known.first_at]] = known.first;
                k += known.advance;
                continue;
            }
        }
        const ac_entry entry = entries[bits.template peek<ac_bits>()];
        if (entry.size == invalid_category)
            return block_end::corrupt_ac;
        bits.consume(entry.length);
        const i32 value = bits.value(entry.size);
        if (entry.size == 0) {
            if (entry.run == 0) {
                k += fast_end_of_block;
                break;
            }
            k += 16;
            if (k > block_size)
                return block_end::overrun;
            continue;
        }
        k += entry.run;
        if (k >= block_size)
            return block_end::overrun;
        coefficients[natural_of[k++]] = static_cast<i16>(value);
    }
    mask = k != 1 + fast_end_of_block;
    return block_end::good;
}

template <u32 dc_bits, class Bits>
[[gnu::always_inline]] inline block_end read_into(Bits &bits, const decode_tables &tables,
                                                  i32 &predictor, decoded_pair &pair, u32 i) {
    return read_block<dc_bits>(bits, tables_of<dc_bits>(tables), predictor,
                               pair.blocks.coefficients[i], pair.blocks.masks[i], pair.dc[i]);
}

template <class Bits>
u32 read_with(scan_reader &reader, const scan_layout &layout, u32 first, u32 count,
              decoded_pair *pairs) {
    const decode_tables &tables = current_decode_tables();
    Bits bits(reader);
    std::memset(pairs, 0, std::size_t{count} * layout.pairs * sizeof *pairs);
    const u32 y_pairs = layout.colour ? layout.pairs - 1 : layout.pairs;
    for (u32 x = first; x < first + count; ++x) {
        for (u32 n = 0; n < y_pairs; ++n, ++pairs) {
            const u32 blocks = x + 1 == layout.mcus ? layout.blocks_in_last : 2;
            for (u32 i = 0; i < blocks; ++i) {
                const block_end end =
                    read_into<dc_luminance_bits>(bits, tables, reader.predictors[0], *pairs, i);
                if (end != block_end::good)
                    return report_block(end, layout.colour ? 2 * n + i : 0);
            }
        }
        if (!layout.colour)
            continue;
        for (u32 i = 0; i < 2; ++i) {
            const block_end end =
                read_into<dc_chrominance_bits>(bits, tables, reader.predictors[1 + i], *pairs, i);
            if (end != block_end::good)
                return report_block(end, block_u + i);
        }
        ++pairs;
    }
    bits.store(reader);
    return success;
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
    if (reader.plain_bits == nullptr)
        return read_with<marker_reader>(reader, layout, first, count, pairs);
    return read_with<plain_reader>(reader, layout, first, count, pairs);
}

namespace {

// The bits that have been consumed, and `more` after them, are more than the data has.
bool is_past_end(const scan_reader &reader, u32 more) {
    const u64 data_bits = u64{reader.plain_size - plain_padding} * 8;
    return reader.is_complete && u64{reader.plain_next} * 8 + more > data_bits + reader.held;
}

block_end read_mcu(plain_reader &bits, scan_reader &reader,
                   std::span<const scan_component> components, u32 mcu, u32 &failed) {
    for (std::size_t c = 0; c < components.size(); ++c) {
        const scan_component &from = components[c];
        const block_tables tables = {from.dc, from.ac->entries.data(), from.ac->fast.data()};
        for (u32 y = 0; y < from.v; ++y)
            for (u32 x = 0; x < from.h; ++x) {
                const u32 block = mcu * from.h + x;
                decoded_pair &pair = from.pairs[std::size_t{y} * from.pairs_in_row + block / 2];
                const u32 i = block % 2;
                const block_end end = read_block<any_dc_bits>(bits, tables, reader.predictors[c],
                                                              pair.blocks.coefficients[i],
                                                              pair.blocks.masks[i], pair.dc[i]);
                failed = c == 0 ? std::min(y * from.h + x, block_u - 1)
                                : block_u + static_cast<u32>(c) - 1;
                if (end != block_end::good)
                    return end;
            }
    }
    return block_end::good;
}

} // namespace

u32 read_any_mcus(scan_reader &reader, std::span<const scan_component> components, u32 first,
                  u32 count) {
    plain_reader bits(reader);
    block_end end = block_end::good;
    u32 failed = 0;
    for (u32 mcu = first; mcu < first + count && end == block_end::good; ++mcu)
        end = read_mcu(bits, reader, components, mcu, failed);
    bits.store(reader);
    // What is not a code may be the padding.
    if (is_past_end(reader, end == block_end::good ? 0 : ac_bits))
        return report(worker_name, VIQ_ERR_CORRUPT, "JPEG data ends early");
    return report_block(end, failed);
}

} // namespace viq
