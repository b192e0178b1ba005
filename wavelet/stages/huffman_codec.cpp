// "Huffman codec": codes the symbols of a packet with a fixed prefix code; the extra bits are
// copied.
//
// In the stream a packet consists of the number of its symbols, the number of its bytes of extra
// bits, the size of the coded first half of the symbols (three variable-length integers), the two
// coded halves, each padded with 0 bits to a whole byte, and the extra bits. Codes are stored with
// the most significant bit first. The halves are decoded side by side: within a half, each code has
// to wait for the length of the one before.
#include <array>
#include <span>

#include "wavelet/stages/entropy_packet.h"
#include "wavelet/stages/run_codebook.h"

namespace viq {

namespace {

struct prefix_code {
    u32 bits, length;
};

struct fixed_code {
    u32 version;
    prefix_code codes[run_value_symbols];
};

constexpr u32 max_code_bits = 9;
constexpr u32 min_code_bits = 3;
constexpr u32 max_symbols_per_entry = max_code_bits / min_code_bits;

// Indexed by run_value_symbol.
constexpr fixed_code table = {
    3, {{464, 9}, {465, 9}, {466, 9}, {467, 9}, {31, 5},  {1, 3},   {2, 3},   {3, 3},
        {4, 3},   {5, 3},   {6, 3},   {475, 9}, {476, 9}, {477, 9}, {478, 9}, {479, 9},
        {480, 9}, {481, 9}, {482, 9}, {483, 9}, {484, 9}, {485, 9}, {486, 9}, {487, 9},
        {488, 9}, {489, 9}, {490, 9}, {491, 9}, {492, 9}, {493, 9}, {494, 9}, {495, 9}}};

// Decoding table entry, indexed by the next max_code_bits bits: the symbols whose codes are
// complete in them.
struct decoder_entry {
    u8 symbols[max_symbols_per_entry];
    u8 count;
    u8 bits;       // of all these symbols
    u8 first_bits; // of the first symbol
    u8 corrupt;    // 1: the bits are not a code; they count as one symbol
};

using decoder_table = std::array<decoder_entry, 1u << max_code_bits>;

constexpr decoder_entry invalid_entry = {{}, 1, max_code_bits, max_code_bits, 1};

constexpr decoder_table make_decoder() {
    decoder_table entries = {};
    for (u32 bits = 0; bits < entries.size(); ++bits) {
        decoder_entry &entry = entries[bits];
        for (bool found = true; found && entry.bits < max_code_bits;) {
            found = false;
            for (u32 symbol = 0; symbol < run_value_symbols && !found; ++symbol) {
                const prefix_code code = table.codes[symbol];
                const u32 remaining = max_code_bits - entry.bits;
                if (code.length > remaining ||
                    (bits >> (remaining - code.length) & ((1u << code.length) - 1)) != code.bits)
                    continue;
                found = true;
                if (entry.count == 0)
                    entry.first_bits = static_cast<u8>(code.length);
                entry.symbols[entry.count++] = static_cast<u8>(symbol);
                entry.bits = static_cast<u8>(entry.bits + code.length);
            }
        }
        if (entry.count == 0)
            entry = invalid_entry;
    }
    return entries;
}

constexpr decoder_table decoder = make_decoder();

using symbol_span = std::span<const u8>;

u32 code_size(symbol_span symbols) {
    u64 bits = 0;
    for (const u8 symbol : symbols)
        bits += table.codes[symbol % run_value_symbols].length;
    return static_cast<u32>((bits + 7) / 8);
}

u8 *store_code(u8 *to, symbol_span symbols) {
    u64 window = 0;
    u32 pending = 0;
    for (const u8 symbol : symbols) {
        const prefix_code code = table.codes[symbol % run_value_symbols];
        window = window << code.length | code.bits;
        pending += code.length;
        if (pending >= 32) {
            pending -= 32;
            store<u32>(to, static_cast<u32>(window >> pending), endian::big);
            to += sizeof(u32);
        }
    }
    for (; pending >= 8; pending -= 8)
        *to++ = static_cast<u8>(window >> (pending - 8));
    if (pending > 0)
        *to++ = static_cast<u8>(window << (8 - pending));
    return to;
}

constexpr u32 first_half(u32 symbols) {
    return symbols - symbols / 2;
}

u32 encode(packet_stage &huffman, region &requested) {
    region packet = {};
    const u32 status = get_region(huffman.up.handle, 0, 0, 0, &packet);
    if (failed(status) || packet.stride == 0) {
        requested = packet;
        return status;
    }
    const packet_header header = header_of(packet.data);
    const u8 *symbols = packet.data + sizeof header;
    const symbol_span first(symbols, first_half(header.symbols));
    const symbol_span second(symbols + first.size(), header.symbols - first.size());
    const u32 first_size = code_size(first);
    const u64 size = u64{varint_size(header.symbols)} + varint_size(header.bytes) +
                     varint_size(first_size) + first_size + code_size(second) + header.bytes;
    const bool allocated = try_resize(huffman.packet, size);
    if (allocated) {
        u8 *to = store_varint(huffman.packet.data(), header.symbols);
        to = store_varint(to, header.bytes);
        to = store_varint(to, first_size);
        to = store_code(store_code(to, first), second);
        std::memcpy(to, symbols + header.symbols, header.bytes);
    }
    release_region(huffman.up.handle, packet.data);
    return allocated ? deliver_packet(huffman.packet, requested) : stage_no_memory;
}

// Reads bits, most significant first; after the end of the data they are 0.
struct bit_source {
    const u8 *start;
    u32 size;
    u32 position = 0;  // bytes read into the window
    u32 available = 0; // valid bits of the window
    u64 window = 0;    // the next bits from the top
    u32 corrupt = 0;

    void fill() {
        // Whole bytes are counted; the bits of the next, partly loaded byte are loaded again.
        if (size >= 8 && position <= size - 8) {
            window |= load<u64>(start + position, endian::big) >> available;
            position += (63 - available) / 8;
            available |= 56;
            return;
        }
        for (; available <= 56; available += 8, ++position)
            window |= u64{position < size ? start[position] : u8{0}} << (56 - available);
    }

    const decoder_entry &consume(bool first_only) {
        const decoder_entry &entry = decoder[static_cast<u32>(window >> (64 - max_code_bits))];
        const u32 bits = first_only ? entry.first_bits : entry.bits;
        window <<= bits;
        available -= bits;
        corrupt |= entry.corrupt;
        return entry;
    }

    u32 read_entry(u8 *symbols) {
        const decoder_entry &entry = consume(false);
        std::memcpy(symbols, entry.symbols, std::size(entry.symbols));
        return entry.count;
    }

    u64 bytes_used() const { return (u64{position} * 8 - available + 7) / 8; }
};

// A filled window holds at least 56 bits: enough for this many table entries.
constexpr u32 entries_per_fill = 6;
constexpr std::ptrdiff_t max_symbols_per_fill = entries_per_fill * max_symbols_per_entry;

void decode_rest(bit_source &bits, u8 *symbols, u8 *end) {
    while (symbols < end) {
        bits.fill();
        *symbols++ = bits.consume(true).symbols[0];
    }
}

// Decodes the symbols of a packet and moves the stream position past their codes.
u32 decode_symbols(stream_source &stream, u8 *symbols, u32 count, u32 first_size) {
    u8 *second_symbols = symbols + first_half(count);
    u8 *first_end = second_symbols;
    u8 *second_end = symbols + count;
    bit_source first = {stream.current(), first_size};
    bit_source second = {stream.current() + first_size, stream.remaining() - first_size};
    while (first_end - symbols >= max_symbols_per_fill &&
           second_end - second_symbols >= max_symbols_per_fill) {
        first.fill();
        second.fill();
        for (u32 i = 0; i < entries_per_fill; ++i) {
            symbols += first.read_entry(symbols);
            second_symbols += second.read_entry(second_symbols);
        }
    }
    decode_rest(first, symbols, first_end);
    decode_rest(second, second_symbols, second_end);
    if ((first.corrupt | second.corrupt) != 0 || first.bytes_used() != first_size)
        return huffman_corrupt;
    if (second.bytes_used() > second.size)
        return huffman_truncated;
    stream.position += first_size + static_cast<u32>(second.bytes_used());
    return success;
}

u32 decode(packet_stage &huffman, region &requested) {
    stream_source &stream = huffman.stream;
    u32 status = open_stream(stream, huffman.up.handle);
    if (failed(status))
        return status;
    packet_header header = {};
    u32 first_size = 0;
    if (!read_varint(stream, header.symbols) || !read_varint(stream, header.bytes) ||
        !read_varint(stream, first_size) || first_size > stream.remaining() ||
        u64{header.symbols} * min_code_bits > u64{stream.remaining()} * 8 ||
        header.bytes > stream.remaining())
        return huffman_truncated;
    if (!begin_packet(huffman.packet, header, u64{header.symbols} + header.bytes))
        return stage_no_memory;
    u8 *symbols = huffman.packet.data() + sizeof header;
    status = decode_symbols(stream, symbols, header.symbols, first_size);
    if (failed(status))
        return status;
    if (header.bytes > stream.remaining())
        return huffman_truncated;
    std::memcpy(symbols + header.symbols, stream.current(), header.bytes);
    stream.position += header.bytes;
    return deliver_packet(huffman.packet, requested);
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &huffman = construct_data<packet_stage>(self);
    const u32 status = connect_directed(huffman.up, huffman.inverse, size, configuration, upstream);
    if (failed(status) || huffman.inverse != 0 || huffman.up.owned)
        return status;
    const u32 coder = coder_huffman;
    return set_module(huffman.up.handle, id_entropy_coder, sizeof coder, &coder);
}

u32 destroy(void *self) {
    disconnect_stage(data<packet_stage>(self));
    return destroy_data<packet_stage>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    auto &huffman = data<packet_stage>(self);
    if (id == id_entropy_coder)
        return answer(u32{coder_huffman}, size, buffer, stage_short_buffer);
    if (id != id_settings || huffman.inverse != 0)
        return query_module(huffman.up.handle, id, &size, buffer);
    u8 block[settings_header_size];
    store_settings_header(block, huffman_id, static_cast<u16>(table.version));
    return query_settings(huffman.up.handle, block, settings_header_size, size, buffer);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &huffman = data<packet_stage>(self);
    close_stream(huffman.stream, huffman.up.handle);
    if (id != id_settings || huffman.inverse == 0)
        return set_module(huffman.up.handle, id, size, value);
    const u32 status = check_settings_header(huffman_id, settings_header_size, size, value);
    if (failed(status))
        return status;
    if (settings_word(value) != table.version)
        return huffman_bad_table;
    return pass_settings(huffman.up.handle, settings_header_size, size, value);
}

u32 get(void *self, u32, u32, u32, region &requested) {
    auto &huffman = data<packet_stage>(self);
    return huffman.inverse != 0 ? decode(huffman, requested) : encode(huffman, requested);
}

u32 release(void *self, const u8 *bytes) {
    return release_packet(data<packet_stage>(self), bytes);
}

} // namespace

const module_descriptor huffman_module = {
    huffman_id,
    sizeof(packet_stage),
    module_version,
    "Huffman codec",
    {init, destroy, query, set, get, release},
};

} // namespace viq
