// "Huffman codec": the symbols of a pack in a fixed code, the bytes beside them as they are.
//
// In the stream a pack is the number of its symbols, the number of its bytes, the size of the code
// of the first half of the symbols, the code of either half filled up with zeros to a whole byte,
// and the bytes. Both halves are decoded at once, as each code has to wait for the length of the
// last.
#include <array>
#include <span>

#include "wavelet/stages/fast_book.h"
#include "wavelet/stages/packing.h"

namespace viq {

namespace {

struct code_word {
    u32 code, length;
};

struct fixed_code {
    u32 version;
    code_word words[fast_symbols];
};

constexpr u32 longest_code = 9;
constexpr u32 shortest_code = 3;

constexpr fixed_code code = {
    3, {{464, 9}, {465, 9}, {466, 9}, {467, 9}, {31, 5},  {1, 3},   {2, 3},   {3, 3},
        {4, 3},   {5, 3},   {6, 3},   {475, 9}, {476, 9}, {477, 9}, {478, 9}, {479, 9},
        {480, 9}, {481, 9}, {482, 9}, {483, 9}, {484, 9}, {485, 9}, {486, 9}, {487, 9},
        {488, 9}, {489, 9}, {490, 9}, {491, 9}, {492, 9}, {493, 9}, {494, 9}, {495, 9}}};

// For the next nine bits: the symbols that are whole in them.
struct decoder_entry {
    u8 symbols[longest_code / shortest_code];
    u8 count;
    u8 bits;       // of all of them
    u8 first_bits; // of the first alone
    u8 damaged;    // 1: the bits are no code, and count as one symbol
};

using decoder_table = std::array<decoder_entry, 1u << longest_code>;

constexpr decoder_entry no_code = {{}, 1, longest_code, longest_code, 1};

constexpr decoder_table make_decoder() {
    decoder_table table = {};
    for (u32 bits = 0; bits < table.size(); ++bits) {
        decoder_entry &entry = table[bits];
        for (bool found = true; found && entry.bits < longest_code;) {
            found = false;
            for (u32 symbol = 0; symbol < fast_symbols && !found; ++symbol) {
                const code_word word = code.words[symbol];
                const u32 left = longest_code - entry.bits;
                if (word.length > left ||
                    (bits >> (left - word.length) & ((1u << word.length) - 1)) != word.code)
                    continue;
                found = true;
                if (entry.count == 0)
                    entry.first_bits = static_cast<u8>(word.length);
                entry.symbols[entry.count++] = static_cast<u8>(symbol);
                entry.bits = static_cast<u8>(entry.bits + word.length);
            }
        }
        if (entry.count == 0)
            entry = no_code;
    }
    return table;
}

constexpr decoder_table decoder = make_decoder();

struct huffman_data {
    upstream_link up;
    u32 inverse = 0;
    stream_source stream;
    std::vector<u8> frame;
};

using symbol_span = std::span<const u8>;

u32 code_size(symbol_span symbols) {
    u64 bits = 0;
    for (const u8 symbol : symbols)
        bits += code.words[symbol % fast_symbols].length;
    return static_cast<u32>((bits + 7) / 8);
}

u8 *store_code(u8 *to, symbol_span symbols) {
    u64 window = 0;
    u32 held = 0;
    for (const u8 symbol : symbols) {
        const code_word word = code.words[symbol % fast_symbols];
        window = window << word.length | word.code;
        held += word.length;
        for (; held >= 8; held -= 8)
            *to++ = static_cast<u8>(window >> (held - 8));
    }
    if (held > 0)
        *to++ = static_cast<u8>(window << (8 - held));
    return to;
}

constexpr u32 first_half(u32 symbols) {
    return symbols - symbols / 2;
}

u32 encode(huffman_data &huffman, region &wanted) {
    region pack = {};
    const u32 status = get_region(huffman.up.handle, 0, 0, 0, &pack);
    if (failed(status) || pack.stride == 0) {
        wanted = pack;
        return status;
    }
    const pack_head head = head_of(pack.data);
    const u8 *symbols = pack.data + sizeof head;
    const symbol_span first(symbols, first_half(head.symbols));
    const symbol_span second(symbols + first.size(), head.symbols - first.size());
    const u32 first_size = code_size(first);
    const u64 size = u64{number_size(head.symbols)} + number_size(head.bytes) +
                     number_size(first_size) + first_size + code_size(second) + head.bytes;
    const bool room = try_resize(huffman.frame, size);
    if (room) {
        u8 *to = store_number(huffman.frame.data(), head.symbols);
        to = store_number(to, head.bytes);
        to = store_number(to, first_size);
        to = store_code(store_code(to, first), second);
        std::memcpy(to, symbols + head.symbols, head.bytes);
    }
    release_region(huffman.up.handle, pack.data);
    return room ? deliver_pack(huffman.frame, wanted) : stage_no_memory;
}

// Bits, most significant first; beyond the end they are 0.
struct bit_source {
    const u8 *start;
    u32 size;
    u32 position = 0; // of the bytes that have gone into the window
    u32 held = 0;
    u64 window = 0; // its top bits come next
    u32 damaged = 0;

    void fill() {
        if (size >= 8 && position <= size - 8) {
            window |= load<u64>(start + position, endian::big) >> held;
            position += (63 - held) / 8;
            held |= 56;
            return;
        }
        for (; held <= 56; held += 8, ++position)
            window |= u64{position < size ? start[position] : u8{0}} << (56 - held);
    }

    const decoder_entry &take(bool first_alone) {
        const decoder_entry &entry = decoder[static_cast<u32>(window >> (64 - longest_code))];
        const u32 bits = first_alone ? entry.first_bits : entry.bits;
        window <<= bits;
        held -= bits;
        damaged |= entry.damaged;
        return entry;
    }

    u32 take_all(u8 *symbols) {
        const decoder_entry &entry = take(false);
        std::memcpy(symbols, entry.symbols, std::size(entry.symbols));
        return entry.count;
    }

    u64 bytes_used() const { return (u64{position} * 8 - held + 7) / 8; }
};

constexpr u32 takes_of_a_fill = 6;
constexpr std::ptrdiff_t most_of_a_fill = takes_of_a_fill * longest_code / shortest_code;

void decode_rest(bit_source &bits, u8 *symbols, u8 *end) {
    while (symbols < end) {
        bits.fill();
        *symbols++ = bits.take(true).symbols[0];
    }
}

// Symbols out of the stream, which stands behind their code afterwards.
u32 decode_symbols(stream_source &stream, u8 *symbols, u32 count, u32 first_size) {
    u8 *second_symbols = symbols + first_half(count);
    u8 *first_end = second_symbols;
    u8 *second_end = symbols + count;
    bit_source first = {stream.here(), first_size};
    bit_source second = {stream.here() + first_size, stream.left() - first_size};
    while (first_end - symbols >= most_of_a_fill && second_end - second_symbols >= most_of_a_fill) {
        first.fill();
        second.fill();
        for (u32 i = 0; i < takes_of_a_fill; ++i) {
            symbols += first.take_all(symbols);
            second_symbols += second.take_all(second_symbols);
        }
    }
    decode_rest(first, symbols, first_end);
    decode_rest(second, second_symbols, second_end);
    if ((first.damaged | second.damaged) != 0 || first.bytes_used() != first_size)
        return huffman_damaged;
    if (second.bytes_used() > second.size)
        return huffman_cut;
    stream.position += first_size + static_cast<u32>(second.bytes_used());
    return success;
}

u32 decode(huffman_data &huffman, region &wanted) {
    stream_source &stream = huffman.stream;
    u32 status = open_stream(stream, huffman.up.handle);
    if (failed(status))
        return status;
    pack_head head = {};
    u32 first_size = 0;
    if (!take_number(stream, head.symbols) || !take_number(stream, head.bytes) ||
        !take_number(stream, first_size) || first_size > stream.left() ||
        u64{head.symbols} * shortest_code > u64{stream.left()} * 8 || head.bytes > stream.left())
        return huffman_cut;
    if (!begin_pack(huffman.frame, head, u64{head.symbols} + head.bytes))
        return stage_no_memory;
    u8 *symbols = huffman.frame.data() + sizeof head;
    status = decode_symbols(stream, symbols, head.symbols, first_size);
    if (failed(status))
        return status;
    if (head.bytes > stream.left())
        return huffman_cut;
    std::memcpy(symbols + head.symbols, stream.here(), head.bytes);
    stream.position += head.bytes;
    return deliver_pack(huffman.frame, wanted);
}

u32 init(void *self, u32 size, const void *configuration, module_handle upstream) {
    auto &huffman = begin_data<huffman_data>(self);
    u32 status = connect(huffman.up, size, configuration, upstream);
    if (!failed(status))
        status = read_mode(size, configuration, 1, huffman.inverse);
    if (failed(status) || huffman.inverse != 0 || huffman.up.own)
        return status;
    const u32 packing = packing_fast;
    return set_module(huffman.up.handle, id_packing, sizeof packing, &packing);
}

u32 destroy(void *self) {
    auto &huffman = data<huffman_data>(self);
    close_stream(huffman.stream, huffman.up.handle);
    disconnect(huffman.up);
    return end_data<huffman_data>(self);
}

u32 query(void *self, u32 id, u32 &size, void *buffer) {
    auto &huffman = data<huffman_data>(self);
    if (id == id_packing)
        return answer(u32{packing_fast}, size, buffer, stage_short_buffer);
    if (id != id_settings || huffman.inverse != 0)
        return query_module(huffman.up.handle, id, &size, buffer);
    u8 block[settings_head];
    store_settings_head(block, huffman_id, static_cast<u16>(code.version));
    return query_settings(huffman.up.handle, block, settings_head, size, buffer);
}

u32 set(void *self, u32 id, u32 size, const void *value) {
    auto &huffman = data<huffman_data>(self);
    close_stream(huffman.stream, huffman.up.handle);
    if (id != id_settings || huffman.inverse == 0)
        return set_module(huffman.up.handle, id, size, value);
    const u32 status = check_settings_head(huffman_id, settings_head, size, value);
    if (failed(status))
        return status;
    if (load<u16>(static_cast<const u8 *>(value) + 6, endian::little) != code.version)
        return huffman_bad_table;
    return pass_settings(huffman.up.handle, settings_head, size, value);
}

u32 get(void *self, u32, u32, u32, region &wanted) {
    auto &huffman = data<huffman_data>(self);
    return huffman.inverse != 0 ? decode(huffman, wanted) : encode(huffman, wanted);
}

u32 release(void *self, const u8 *bytes) {
    auto &huffman = data<huffman_data>(self);
    return bytes == huffman.frame.data() ? success : release_region(huffman.up.handle, bytes);
}

} // namespace

const module_descriptor huffman_module = {
    huffman_id,
    sizeof(huffman_data),
    module_version,
    "Huffman codec",
    {init, destroy, query, set, get, release},
};

} // namespace viq
