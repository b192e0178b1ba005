#include "jpeg/scan_tokens.h"

#include "core/byte_order.h"
#include "jpeg/bit_sink.h"
#include "jpeg/block_symbols.h"
#include "jpeg/picture_size.h"

namespace viq {

namespace {

constexpr u32 part_bytes = 1u << 16;
constexpr u32 load_bytes = 2; // are read after every symbol
constexpr u32 largest_token = 1 + load_bytes;
constexpr u32 largest_mcu = 4 * block_size * largest_token + load_bytes;

constexpr u32 bytes_of_extra(u32 size) {
    return (size + 7) / 8;
}

// The bytes of an MCU, or null if memory runs out.
u8 *make_room(scan_tokens &tokens) try {
    if (tokens.parts.empty() || part_bytes - tokens.parts.back().used < largest_mcu) {
        token_part part = {make_bytes(part_bytes), 0};
        if (part.bytes == nullptr)
            return nullptr;
        tokens.parts.push_back(std::move(part));
    }
    return tokens.parts.back().bytes.get() + tokens.parts.back().used;
} catch (...) {
    return nullptr;
}

inline u8 *store_token(u8 *to, u32 symbol, u32 size, u32 extra) {
    *to = static_cast<u8>(symbol);
    store_word(to + 1, extra);
    return to + 1 + bytes_of_extra(size);
}

template <u32 component>
u8 *hold_blocks(scan_tokens &tokens, const block_pair &pair, u32 count, u8 *to) {
    symbol_counts &dc_counts = tokens.counts[dc_luminance + component];
    symbol_counts &ac_counts = tokens.counts[ac_luminance + component];
    for (u32 i = 0; i < count; ++i)
        visit_symbols(
            pair.coefficients[i], pair.masks[i], tokens.predictors[component == 0 ? 0 : 1 + i],
            [&](i32 difference) {
                const i32 sign = difference >> 31;
                const auto category =
                    static_cast<u32>(std::bit_width(static_cast<u32>((difference ^ sign) - sign)));
                ++dc_counts[category];
                to = store_token(to, category, category,
                                 static_cast<u32>(difference + sign) & ((1u << category) - 1));
            },
            [&](u32 symbol, u32 size, u32 extra) {
                ++ac_counts[symbol];
                to = store_token(to, symbol, size, extra);
            });
    return to;
}

void end_mcu(scan_tokens &tokens, const u8 *end) {
    token_part &part = tokens.parts.back();
    part.used = static_cast<u32>(end - part.bytes.get());
}

// Code in the upper 16 bits and length in the lower 16 bits of every symbol.
using token_codes = std::array<u32, 256>;

token_codes codes_of(const Tjpeg &record, u32 slot) {
    const code_table table = make_code_table(record.h_bits[slot], record.h_vals[slot]);
    token_codes codes;
    for (u32 symbol = 0; symbol < codes.size(); ++symbol)
        codes[symbol] = u32{table.code[symbol]} << 16 | table.length[symbol];
    return codes;
}

// Writes the symbol at the address; returns that of the next one.
inline const u8 *write_token(bit_sink &sink, const token_codes &codes, const u8 *at, u32 size) {
    const u32 extra = load_word(at + 1) & ((1u << size) - 1);
    const u32 code = codes[*at];
    put(sink, (code >> 16) << size | extra, (code & 0xFFFF) + size);
    return at + 1 + bytes_of_extra(size);
}

const u8 *write_block(bit_sink &sink, const token_codes &dc, const token_codes &ac, const u8 *at) {
    at = write_token(sink, dc, at, *at);
    for (u32 k = 1; k < block_size;) {
        const u32 symbol = *at;
        at = write_token(sink, ac, at, symbol & 15);
        k = symbol == end_of_block ? block_size : k + (symbol >> 4) + 1;
    }
    return at;
}

// Writes the tokens with the tables of the record; false if memory runs out.
bool write_all(const scan_tokens &tokens, const Tjpeg &record, scan_writer &writer) {
    const bool colour = record.components != 1;
    token_codes codes[huffman_slots];
    for (u32 slot = 0; slot < huffman_slots; ++slot)
        codes[slot] = codes_of(record, slot);
    u32 block = 0; // in the MCU
    for (const token_part &part : tokens.parts) {
        const u8 *at = part.bytes.get();
        const u8 *end = at + part.used;
        while (at != end) {
            if (!make_room(writer, largest_block + largest_rest))
                return false;
            bit_sink sink = sink_of(writer);
            const u32 component = block / 2;
            at = write_block(sink, codes[dc_luminance + component], codes[ac_luminance + component],
                             at);
            store(sink, writer);
            block = colour ? (block + 1) % 4 : 0;
        }
    }
    return end_scan(writer);
}

// ---- Reading coded data

// Reads symbols bit by bit. After the end of the data all bits are 1.
struct symbol_reader {
    const u8 *at, *end;
    u32 bits;
    u32 held;
    bool is_valid;
};

u32 read_bit(symbol_reader &reader) {
    if (reader.held == 0) {
        reader.bits = reader.at != reader.end ? *reader.at++ : 0xFF;
        if (reader.bits == 0xFF && reader.at != reader.end && *reader.at == 0)
            ++reader.at;
        reader.held = 8;
    }
    return reader.bits >> --reader.held & 1;
}

u32 read_symbol(symbol_reader &reader, const u8 (&bits)[16], const u8 (&vals)[256]) {
    u32 code = 0;  // its bits so far
    u32 first = 0; // code of this length
    u32 index = 0; // of its symbol
    for (const u8 codes : bits) {
        code = code << 1 | read_bit(reader);
        if (code - first < codes)
            return vals[index + code - first];
        index += codes;
        first = (first + codes) << 1;
    }
    reader.is_valid = false;
    return end_of_block;
}

u8 *hold_symbol(symbol_reader &reader, symbol_counts &counts, u32 symbol, u32 size, u8 *to) {
    ++counts[symbol];
    u32 extra = 0;
    for (u32 i = 0; i < size; ++i)
        extra = extra << 1 | read_bit(reader);
    return store_token(to, symbol, size, extra);
}

u8 *read_block(symbol_reader &reader, const Tjpeg &record, u32 component, scan_tokens &tokens,
               u8 *to) {
    const u32 dc = dc_luminance + component;
    const u32 ac = ac_luminance + component;
    const u32 category = read_symbol(reader, record.h_bits[dc], record.h_vals[dc]);
    reader.is_valid = reader.is_valid && category <= largest_category;
    if (!reader.is_valid)
        return to;
    to = hold_symbol(reader, tokens.counts[dc], category, category, to);
    for (u32 k = 1; reader.is_valid && k < block_size;) {
        const u32 symbol = read_symbol(reader, record.h_bits[ac], record.h_vals[ac]);
        to = hold_symbol(reader, tokens.counts[ac], symbol, symbol & 15, to);
        k = symbol == end_of_block ? block_size : k + (symbol >> 4) + 1;
        reader.is_valid = reader.is_valid && k <= block_size && (symbol & 15) <= largest_size;
    }
    return to;
}

recoding read_tokens(const tVIQ_Image &frame, scan_tokens &tokens) {
    const Tjpeg &record = *frame.jpeg;
    const bool colour = record.components != 1;
    const u64 mcus = rounded_up(frame.width, colour ? 16 : 8) / (colour ? 16 : 8) *
                     (rounded_up(frame.height, block_lines) / block_lines);
    symbol_reader reader = {record.data, record.data + record.data_length, 0, 0, true};
    for (u64 mcu = 0; mcu < mcus; ++mcu) {
        u8 *to = make_room(tokens);
        if (to == nullptr)
            return recoding::no_memory;
        if (reader.at == reader.end && reader.held == 0)
            return recoding::corrupt;
        for (u32 block = 0; block < (colour ? 4u : 1u); ++block)
            to = read_block(reader, record, block / 2, tokens, to);
        if (!reader.is_valid)
            return recoding::corrupt;
        end_mcu(tokens, to);
    }
    return recoding::good;
}

bool has_symbols(const Tjpeg &record, u32 slot, const symbol_counts &counts) {
    const code_table table = make_code_table(record.h_bits[slot], record.h_vals[slot]);
    for (u32 symbol = 0; symbol < counts.size(); ++symbol)
        if (counts[symbol] != 0 && table.length[symbol] == 0)
            return false;
    return true;
}

} // namespace

bool hold_grey_blocks(scan_tokens &tokens, const block_pair &pair, u32 count) {
    u8 *to = make_room(tokens);
    if (to == nullptr)
        return false;
    end_mcu(tokens, hold_blocks<0>(tokens, pair, count, to));
    return true;
}

bool hold_colour_blocks(scan_tokens &tokens, const block_pair &y, const block_pair &uv) {
    u8 *to = make_room(tokens);
    if (to == nullptr)
        return false;
    to = hold_blocks<0>(tokens, y, 2, to);
    end_mcu(tokens, hold_blocks<1>(tokens, uv, 2, to));
    return true;
}

bool write_tokens(const scan_tokens &tokens, tVIQ_Image &jpeg) {
    Tjpeg &record = *jpeg.jpeg;
    for (u32 slot = 0; slot < huffman_slots; slot += record.components != 1 ? 1 : 2) {
        const huffman_lists lists = make_codes(tokens.counts[slot], longest_codes[slot]);
        std::memcpy(record.h_bits[slot], lists.bits, sizeof lists.bits);
        std::memcpy(record.h_vals[slot], lists.vals, sizeof lists.vals);
    }
    scan_writer writer;
    begin_scan(writer);
    continue_scan(writer, jpeg);
    return write_all(tokens, record, writer);
}

bool has_other_codes(const Tjpeg &frame, const Tjpeg &sequence) {
    const bool is_recodable =
        frame.components == 1 ||
        (frame.components == 3 && frame.h_factor[0] == 2 && frame.v_factor[0] == 1);
    bool differs = false;
    for (u32 slot = 0; slot < huffman_slots; slot += frame.components != 1 ? 1 : 2)
        differs =
            differs ||
            std::memcmp(frame.h_bits[slot], sequence.h_bits[slot], sizeof frame.h_bits[slot]) !=
                0 ||
            std::memcmp(frame.h_vals[slot], sequence.h_vals[slot], sizeof frame.h_vals[slot]) != 0;
    return differs && is_recodable && form_of(frame) == nullptr &&
           optimisation_of(frame) != VIQ_JPEG_OPTIMISE_NONE && sequence.components != 0 &&
           symbol_count(sequence.h_bits[dc_luminance]) != 0;
}

recoding append_recoded(const tVIQ_Image &frame, tVIQ_Image &sequence) {
    scan_tokens tokens;
    const recoding read = read_tokens(frame, tokens);
    if (read != recoding::good)
        return read;
    Tjpeg &record = *sequence.jpeg;
    for (u32 slot = 0; slot < huffman_slots; ++slot)
        if (!has_symbols(record, slot, tokens.counts[slot]))
            return recoding::lacks_symbols;
    scan_writer writer;
    begin_scan(writer);
    const u32 before = record.data_length;
    continue_scan(writer, sequence);
    writer.at += before;
    return write_all(tokens, record, writer) ? recoding::good : recoding::no_memory;
}

} // namespace viq
