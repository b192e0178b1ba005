#include "jpeg/pair_store.h"

#include <algorithm>
#include <cstring>

namespace viq {

namespace {

// A part has four times the size of the one before it: the system provides large blocks page by
// page as they are written, and small ones would be mapped and unmapped with every picture.
constexpr std::size_t first_size = std::size_t{64} << 10;
constexpr std::size_t last_size = std::size_t{8} << 20;
constexpr std::size_t row_coefficients = 8;
constexpr std::size_t rows = block_size / row_coefficients;
constexpr std::size_t row_bytes = row_coefficients * sizeof(i16);
constexpr std::size_t largest_pair =
    1 + sizeof decoded_pair::dc + 2 * (1 + block_size * sizeof(i16)) + row_bytes;

// The first byte of a packed pair: which blocks have AC coefficients, and whether the DC values
// have 32 bits instead of 16.
constexpr u32 wide_dc = 4;

template <class Value> void put(u8 *&at, Value value) {
    std::memcpy(at, &value, sizeof value);
    at += sizeof value;
}

template <class Value> Value get(const u8 *&at) {
    Value value;
    std::memcpy(&value, at, sizeof value);
    at += sizeof value;
    return value;
}

// A mask of the rows that are not 0, then these rows. Both loops have no branches: rows that are
// left out are written, or read, as well.
void pack_block(u8 *&to, const i16 *coefficients) {
    u8 *const at_mask = to++;
    u32 mask = 0;
    for (u32 y = 0; y < rows; ++y, coefficients += row_coefficients) {
        u64 halves[2];
        std::memcpy(halves, coefficients, row_bytes);
        std::memcpy(to, halves, row_bytes);
        const bool kept = (halves[0] | halves[1]) != 0;
        mask |= u32{kept} << y;
        to += kept ? row_bytes : 0;
    }
    *at_mask = static_cast<u8>(mask);
}

void unpack_block(const u8 *&from, i16 *coefficients) {
    const u32 mask = *from++;
    for (u32 y = 0; y < rows; ++y, coefficients += row_coefficients) {
        const u64 kept = mask >> y & 1;
        u64 halves[2];
        std::memcpy(halves, from, row_bytes);
        halves[0] &= 0 - kept;
        halves[1] &= 0 - kept;
        std::memcpy(coefficients, halves, row_bytes);
        from += kept * row_bytes;
    }
}

u8 *pack(u8 *to, const decoded_pair &pair) {
    const bool wide =
        pair.dc[0] != static_cast<i16>(pair.dc[0]) || pair.dc[1] != static_cast<i16>(pair.dc[1]);
    const u32 blocks =
        (pair.blocks.masks[0] != 0 ? 1u : 0u) | (pair.blocks.masks[1] != 0 ? 2u : 0u);
    put(to, static_cast<u8>(blocks | (wide ? wide_dc : 0)));
    for (u32 i = 0; i < 2; ++i)
        if (wide)
            put(to, pair.dc[i]);
        else
            put(to, static_cast<i16>(pair.dc[i]));
    for (u32 i = 0; i < 2; ++i)
        if ((blocks >> i & 1) != 0)
            pack_block(to, pair.blocks.coefficients[i]);
    return to;
}

const u8 *unpack(const u8 *from, decoded_pair &pair) {
    const u32 head = *from++;
    for (i32 &dc : pair.dc)
        dc = (head & wide_dc) != 0 ? get<i32>(from) : get<i16>(from);
    for (u32 i = 0; i < 2; ++i) {
        i16 *coefficients = pair.blocks.coefficients[i];
        pair.blocks.masks[i] = head >> i & 1;
        if (pair.blocks.masks[i] != 0) {
            unpack_block(from, coefficients);
        } else {
            std::memset(coefficients, 0, sizeof pair.blocks.coefficients[i]);
            coefficients[0] = static_cast<i16>(pair.dc[i]);
        }
    }
    return from;
}

bool begin_part(vector<pair_store::part> &parts) {
    const std::size_t index = parts.size();
    if (!try_resize(parts, index + 1))
        return false;
    pair_store::part &made = parts[index];
    made.size = index == 0 ? first_size : std::min(4 * parts[index - 1].size, last_size);
    made.bytes = make_bytes(made.size);
    return made.bytes != nullptr;
}

} // namespace

bool add_pairs(pair_store &store, const decoded_pair *pairs, std::size_t count) {
    for (const decoded_pair *const end = pairs + count; pairs != end; ++pairs) {
        const bool full =
            store.parts.empty() || store.parts.back().size - store.parts.back().used < largest_pair;
        if (full && !begin_part(store.parts))
            return false;
        pair_store::part &last = store.parts.back();
        u8 *const start = last.bytes.get();
        last.used = static_cast<std::size_t>(pack(start + last.used, *pairs) - start);
    }
    return true;
}

void take_pairs(pair_store &store, decoded_pair *pairs, std::size_t count) {
    for (decoded_pair *const end = pairs + count; pairs != end; ++pairs) {
        if (store.next_byte == store.parts[store.next_part].used) {
            store.parts[store.next_part++].bytes.reset();
            store.next_byte = 0;
        }
        const u8 *const start = store.parts[store.next_part].bytes.get();
        store.next_byte = static_cast<std::size_t>(unpack(start + store.next_byte, *pairs) - start);
    }
}

} // namespace viq
