#include "jpeg/code_tables.h"

#include <cstring>

#include "core/context.h"
#include "core/report.h"
#include "jpeg/jpeg_record.h"

using namespace viq;

namespace {

constexpr u32 ac_entries = 1u << ac_bits;

// The Huffman tables of a record.
struct huffman_set {
    u8 bits[huffman_slots][16];
    u8 vals[huffman_slots][256];
    bool operator==(const huffman_set &) const = default;
};

struct table_state {
    code_tables codes = {};
    huffman_set codes_source = {}; // the tables that `codes` was built from
    bool codes_built = false;
    decode_tables decoding = {};
    huffman_set decoding_source = {};
    bool decoding_built = false;
};

VIQ_PER_CONTEXT(table_state, tables_of_context);

bool is_colour(u32 hImage);
huffman_set huffman_set_of(const Tjpeg &record, bool colour);
u32 check_tables(const char *function, const huffman_set &tables);
bool is_ac_symbol(u32 symbol);
void build_codes(const huffman_set &tables);
bool build_decoding();
template <class Entries> void build_dc(const code_table &codes, Entries &entries, u32 index_bits);
template <class Entries>
void build_dc_fast(const Entries &entries, u32 index_bits, dc_fast_table &fast);
void build_ac(const code_table &codes, vector<ac_entry> &entries);
void build_fast(const vector<ac_entry> &entries, ac_fast_table &fast);

} // namespace

u32 VIQ_JPEG_generate_H_codetable_LUTs(u32 hImage) {
    constexpr const char *name = "VIQ_JPEG_generate_H_codetable_LUTs";
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(name, hImage, record); is_error(code))
        return code;
    const huffman_set tables = huffman_set_of(*record, is_colour(hImage));
    const u32 code = check_tables(name, tables);
    if (is_error(code))
        return code;
    if (!tables_of_context->codes_built || tables_of_context->codes_source != tables) {
        build_codes(tables);
        tables_of_context->codes_source = tables;
        tables_of_context->codes_built = true;
    }
    return success;
}

u32 VIQ_JPEG_generate_Huffman_decode_tables(u32 hImage) {
    constexpr const char *name = "VIQ_JPEG_generate_Huffman_decode_tables";
    if (const u32 code = check_record(name, hImage); is_error(code))
        return code;
    if (tables_of_context->decoding_built &&
        tables_of_context->decoding_source == tables_of_context->codes_source)
        return success;
    tables_of_context->decoding_built = false;
    if (!build_decoding())
        return report(name, VIQ_ERR_MEMORY, "");
    tables_of_context->decoding_source = tables_of_context->codes_source;
    tables_of_context->decoding_built = true;
    return success;
}

namespace viq {

const code_tables &current_codes() {
    return tables_of_context->codes;
}

bool codes_are_complete(bool colour) {
    for (u32 slot = 0; slot < huffman_slots; slot += colour ? 1 : 2)
        for (u32 symbol = 0; symbol < 256; ++symbol) {
            const bool used =
                slot < ac_luminance ? symbol <= largest_category : is_ac_symbol(symbol);
            if (used && tables_of_context->codes.slots[slot].length[symbol] == 0)
                return false;
        }
    return true;
}

code_table make_code_table(const u8 (&bits)[16], const u8 (&vals)[256]) {
    code_table table = {};
    u32 code = 0;
    u32 at = 0;
    for (u32 length = 1; length <= 16; ++length, code <<= 1) {
        for (u32 i = 0; i < bits[length - 1]; ++i, ++at, ++code) {
            table.code[vals[at]] = static_cast<u16>(code);
            table.length[vals[at]] = static_cast<u8>(length);
        }
    }
    return table;
}

const decode_tables &current_decode_tables() {
    return tables_of_context->decoding;
}

bool build_dc_tables(const u8 (&bits)[16], const u8 (&vals)[256], dc_tables &tables) {
    if (!try_resize(tables.entries, u64{1} << any_dc_bits))
        return false;
    build_dc(make_code_table(bits, vals), tables.entries, any_dc_bits);
    build_dc_fast(tables.entries, any_dc_bits, tables.fast);
    return true;
}

bool build_ac_tables(const u8 (&bits)[16], const u8 (&vals)[256], ac_tables &tables) {
    if (!try_resize(tables.entries, ac_entries))
        return false;
    build_ac(make_code_table(bits, vals), tables.entries);
    build_fast(tables.entries, tables.fast);
    return true;
}

} // namespace viq

namespace {

bool is_colour(u32 hImage) {
    return VIQ_image_is_colour(hImage) == 1;
}

// The chrominance tables of a grey image are ignored; those in use are kept.
huffman_set huffman_set_of(const Tjpeg &record, bool colour) {
    huffman_set tables = tables_of_context->codes_source;
    for (u32 slot = 0; slot < huffman_slots; slot += colour ? 1 : 2) {
        std::memcpy(tables.bits[slot], record.h_bits[slot], sizeof tables.bits[slot]);
        std::memcpy(tables.vals[slot], record.h_vals[slot], sizeof tables.vals[slot]);
    }
    return tables;
}

u32 check_tables(const char *function, const huffman_set &tables) {
    for (const auto &bits : tables.bits)
        if (!is_valid_table(bits))
            return report(function, VIQ_ERR_CORRUPT, "Corrupt Huffman table");
    return success;
}

bool is_ac_symbol(u32 symbol) {
    const u32 size = symbol & 15;
    return (size >= 1 && size <= largest_size) || symbol == end_of_block || symbol == zero_run;
}

void build_codes(const huffman_set &tables) {
    code_tables &codes = tables_of_context->codes;
    for (u32 slot = 0; slot < huffman_slots; ++slot)
        codes.slots[slot] = make_code_table(tables.bits[slot], tables.vals[slot]);
    for (u32 i = 0; i < 2; ++i)
        for (u32 category = 0; category <= largest_category; ++category) {
            const code_table &table = codes.slots[dc_luminance + i];
            const u32 length = table.length[category] + category;
            for (u32 extra = 0; extra < 1u << category; ++extra) {
                const u32 bits = u32{table.code[category]} << category | extra;
                const i32 difference = category != 0 ? extended(extra, category) : 0;
                codes.dc_values[i][static_cast<u32>(difference + largest_difference)] = {
                    length != 0 ? bits << (32 - length) : 0, length};
            }
        }
}

// Sets every entry whose index starts with the code.
template <class Entries, class Entry>
void fill_prefix(Entries &entries, u32 index_bits, u32 code, u32 length, const Entry &entry) {
    if (length == 0 || length > index_bits)
        return;
    const u32 free_bits = index_bits - length;
    for (u32 i = 0; i < 1u << free_bits; ++i)
        entries[(code << free_bits) + i] = entry;
}

template <class Entries> void build_dc(const code_table &codes, Entries &entries, u32 index_bits) {
    std::fill(entries.begin(), entries.end(), dc_entry{invalid_category, 0});
    for (u32 category = 0; category < invalid_category; ++category)
        fill_prefix(entries, index_bits, codes.code[category], codes.length[category],
                    dc_entry{static_cast<u8>(category), codes.length[category]});
}

// The value that the last `size` bits of `bits` represent.
i32 value_of(u32 bits, u32 size) {
    return size == 0 ? 0 : extended(bits & ((1u << size) - 1), size);
}

template <class Entries>
void build_dc_fast(const Entries &entries, u32 index_bits, dc_fast_table &fast) {
    for (u32 bits = 0; bits < fast.size(); ++bits) {
        const u32 index = index_bits > dc_fast_bits ? bits << (index_bits - dc_fast_bits)
                                                    : bits >> (dc_fast_bits - index_bits);
        const dc_entry entry = entries[index];
        const u32 length = u32{entry.length} + entry.category;
        const bool fits = entry.category <= largest_category && length <= dc_fast_bits;
        fast[bits] = {};
        if (fits)
            fast[bits] = {
                static_cast<i16>(value_of(bits >> (dc_fast_bits - length), entry.category)),
                static_cast<u8>(length), 0};
    }
}

void build_ac(const code_table &codes, vector<ac_entry> &entries) {
    std::fill(entries.begin(), entries.end(), ac_entry{0, invalid_category, 0, 0});
    for (u32 symbol = 0; symbol < 256; ++symbol) {
        if (is_ac_symbol(symbol))
            fill_prefix(entries, ac_bits, codes.code[symbol], codes.length[symbol],
                        ac_entry{static_cast<u8>(symbol >> 4), static_cast<u8>(symbol & 15),
                                 codes.length[symbol], 0});
    }
}

struct coded_coefficient {
    i32 value;
    u32 zeros; // before the value
    u32 length;
    bool ends; // the code is the end of the block
};

// The code at the start of `bits`, a value of `fast_bits` bits of which the first `known` are
// given; length 0: it does not fit.
coded_coefficient first_code(const vector<ac_entry> &entries, u32 bits, u32 known) {
    const ac_entry &entry = entries[bits << (ac_bits - fast_bits)];
    const u32 length = u32{entry.length} + entry.size;
    if (entry.size == invalid_category || length > known)
        return {};
    if (entry.size == 0)
        return {0, entry.run, length, entry.run == 0};
    return {value_of(bits >> (fast_bits - length), entry.size), entry.run, length, false};
}

ac_fast_entry combined(const vector<ac_entry> &entries, u32 bits) {
    const coded_coefficient first = first_code(entries, bits, fast_bits);
    ac_fast_entry entry;
    entry.reach = not_fast;
    if (first.length == 0)
        return entry;
    const auto length = static_cast<u8>(first.length);
    if (first.ends)
        return {.advance = fast_end_of_block, .reach = 1, .length = length};
    const auto after = static_cast<u8>(first.zeros + 1);
    entry = {static_cast<i16>(first.value),
             0,
             static_cast<u8>(first.zeros),
             static_cast<u8>(first.zeros),
             after,
             after,
             length};
    const u32 rest = bits << first.length & ((1u << fast_bits) - 1);
    const coded_coefficient second = first_code(entries, rest, fast_bits - first.length);
    if (second.length == 0)
        return entry;
    entry.length = static_cast<u8>(first.length + second.length);
    if (second.ends) {
        entry.advance = static_cast<u8>(after + fast_end_of_block);
        entry.reach = static_cast<u8>(after + 1);
        return entry;
    }
    entry.second = static_cast<signed char>(second.value);
    entry.second_at = static_cast<u8>(after + second.zeros);
    entry.advance = entry.reach = static_cast<u8>(entry.second_at + 1);
    return entry;
}

void build_fast(const vector<ac_entry> &entries, ac_fast_table &fast) {
    for (u32 bits = 0; bits < fast.size(); ++bits)
        fast[bits] = combined(entries, bits);
}

bool build_decoding() {
    decode_tables &tables = tables_of_context->decoding;
    for (vector<ac_entry> &entries : tables.ac)
        if (entries.size() != ac_entries && !try_resize(entries, ac_entries))
            return false;
    const code_table *codes = tables_of_context->codes.slots;
    build_dc(codes[dc_luminance], tables.dc_luminance, dc_luminance_bits);
    build_dc(codes[dc_chrominance], tables.dc_chrominance, dc_chrominance_bits);
    build_dc_fast(tables.dc_luminance, dc_luminance_bits, tables.dc_fast[0]);
    build_dc_fast(tables.dc_chrominance, dc_chrominance_bits, tables.dc_fast[1]);
    for (u32 i = 0; i < 2; ++i) {
        build_ac(codes[ac_luminance + i], tables.ac[i]);
        build_fast(tables.ac[i], tables.ac_fast[i]);
    }
    return true;
}

} // namespace
