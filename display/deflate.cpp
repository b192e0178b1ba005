#include "display/deflate.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

namespace viq {

namespace {

constexpr std::size_t capacity = deflater::window + deflater::block;
constexpr u32 shortest_repetition = 4; // the hash is that of 4 bytes
constexpr u32 longest_repetition = 258;
constexpr u32 end_of_block = 256;
constexpr u32 length_symbols = 286; // literals, end of the block, lengths
constexpr u32 distance_symbols = 30;
constexpr u32 longest_code = 15;

struct prefix_code {
    u16 code[length_symbols] = {}; // its first bit in the lowest position
    u8 length[length_symbols] = {};
    u32 used = 0; // symbols up to the last one that has a code
};

// A symbol and the bits that follow its code.
struct coded_number {
    u32 symbol, extra, extra_bits;
};

bool make_room(deflater &coder);
bool reserve_output(deflater &coder, std::size_t tokens);
void add_to_checksum(deflater &coder, std::size_t count);
bool code_block(deflater &coder, bool is_last);
u32 find_tokens(deflater &coder);
prefix_code make_code(u32 *counts, u32 symbols, u32 limit);
void write_codes(deflater &coder, const prefix_code &lengths, const prefix_code &distances);
void write_bits(deflater &coder, u32 value, u32 count);
coded_number number_of_length(u32 length);
coded_number number_of_distance(u32 distance);
void predict(const u8 *line, const u8 *above, std::size_t begin, std::size_t end, u32 distance,
             u8 *difference);

} // namespace

bool begin_deflate(deflater &coder, std::size_t line_size, u32 pixel_bytes) {
    constexpr u32 header = 0x9C78;
    coder.coded = coder.filled = 0;
    coder.pixel_bytes = pixel_bytes;
    coder.bits = coder.bit_count = 0;
    coder.checksum_a = 1;
    coder.checksum_b = 0;
    coder.last_at.clear();
    coder.above.clear();
    coder.output.clear();
    if (!try_resize(coder.pending, capacity) || !try_resize(coder.tokens, capacity) ||
        !try_resize(coder.last_at, u64{1} << deflater::hash_bits) ||
        !try_resize(coder.above, line_size) || !reserve_output(coder, 0))
        return false;
    write_bits(coder, header, 16);
    return true;
}

bool deflate_line(deflater &coder, const u8 *line, std::size_t size) {
    constexpr u8 not_predicted = 0, by_paeth = 4;
    if (!make_room(coder))
        return false;
    coder.pending[coder.filled] = coder.pixel_bytes != 0 ? by_paeth : not_predicted;
    add_to_checksum(coder, 1);
    for (std::size_t done = 0; done < size;) {
        if (!make_room(coder))
            return false;
        const std::size_t count = std::min(size - done, capacity - coder.filled);
        u8 *target = coder.pending.data() + coder.filled;
        if (coder.pixel_bytes != 0)
            predict(line, coder.above.data(), done, done + count, coder.pixel_bytes, target);
        else
            std::memcpy(target, line + done, count);
        add_to_checksum(coder, count);
        done += count;
    }
    std::memcpy(coder.above.data(), line, size);
    return true;
}

bool end_deflate(deflater &coder) {
    if (!code_block(coder, true))
        return false;
    write_bits(coder, 0, (8 - coder.bit_count % 8) % 8);
    for (const u32 half : {coder.checksum_b, coder.checksum_a})
        write_bits(coder, half >> 8 | (half & 0xFF) << 8, 16);
    return true;
}

namespace {

// A byte's neighbour that is nearest to left + above - upper left.
u8 paeth(u8 left, u8 up, u8 upper_left) {
    const int to_left = std::abs(up - upper_left);
    const int to_up = std::abs(left - upper_left);
    const int to_both = std::abs(left + up - 2 * upper_left);
    const u8 other = to_up <= to_both ? up : upper_left;
    return to_left <= to_up && to_left <= to_both ? left : other;
}

void predict(const u8 *line, const u8 *above, std::size_t begin, std::size_t end, u32 distance,
             u8 *difference) {
    std::size_t i = begin;
    for (; i < end && i < distance; ++i)
        *difference++ = static_cast<u8>(line[i] - above[i]);
    for (; i < end; ++i)
        *difference++ =
            static_cast<u8>(line[i] - paeth(line[i - distance], above[i], above[i - distance]));
}

// Codes a block if there is no room for a byte.
bool make_room(deflater &coder) {
    return coder.filled < capacity || code_block(coder, false);
}

// Bytes that have been added to the pending ones.
void add_to_checksum(deflater &coder, std::size_t count) {
    constexpr u32 modulus = 65521;
    constexpr std::size_t without_overflow = 5552;
    while (count > 0) {
        const std::size_t run = std::min(count, without_overflow);
        for (const u8 *byte = coder.pending.data() + coder.filled, *end = byte + run; byte < end;
             ++byte) {
            coder.checksum_a += *byte;
            coder.checksum_b += coder.checksum_a;
        }
        coder.checksum_a %= modulus;
        coder.checksum_b %= modulus;
        coder.filled += static_cast<u32>(run);
        count -= run;
    }
}

// Keeps the last bytes as the window of the next block.
void slide(deflater &coder) {
    const u32 kept = std::min(coder.filled, deflater::window);
    const u32 shift = coder.filled - kept;
    std::memmove(coder.pending.data(), coder.pending.data() + shift, kept);
    coder.coded = coder.filled = kept;
    for (u32 &position : coder.last_at)
        position = position > shift ? position - shift : 0;
}

// Room for the tokens of a block, the codes, header and end.
bool reserve_output(deflater &coder, std::size_t tokens) {
    constexpr std::size_t token_bytes = 6; // two codes of 15 bits and 18 extra bits
    constexpr std::size_t others = 400;    // codes of at most 7 bits for each length
    try {
        coder.output.reserve(coder.output.size() + tokens * token_bytes + others);
    } catch (const std::bad_alloc &) {
        return false;
    }
    return true;
}

bool code_block(deflater &coder, bool is_last) {
    constexpr u32 dynamic_codes = 2;
    u32 lengths[length_symbols] = {};
    u32 distances[distance_symbols] = {};
    const u32 count = find_tokens(coder);
    lengths[end_of_block] = 1;
    for (u32 n = 0; n < count; ++n) {
        const u32 token = coder.tokens[n];
        if (token < end_of_block) {
            ++lengths[token];
        } else {
            ++lengths[number_of_length(token & 0x1FF).symbol];
            ++distances[number_of_distance(token >> 9).symbol];
        }
    }
    if (!reserve_output(coder, count))
        return false;
    const prefix_code length_code = make_code(lengths, length_symbols, longest_code);
    const prefix_code distance_code = make_code(distances, distance_symbols, longest_code);
    write_bits(coder, (is_last ? 1 : 0) | dynamic_codes << 1, 3);
    write_codes(coder, length_code, distance_code);
    const auto write = [&coder](const prefix_code &code, const coded_number &number) {
        write_bits(coder, code.code[number.symbol], code.length[number.symbol]);
        write_bits(coder, number.extra, number.extra_bits);
    };
    for (u32 n = 0; n < count; ++n) {
        const u32 token = coder.tokens[n];
        if (token < end_of_block) {
            write(length_code, {token, 0, 0});
        } else {
            write(length_code, number_of_length(token & 0x1FF));
            write(distance_code, number_of_distance(token >> 9));
        }
    }
    write(length_code, {end_of_block, 0, 0});
    slide(coder);
    return true;
}

u32 load_4(const u8 *bytes) {
    u32 value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

// Splits the bytes that are not coded into literals and repetitions, which are stored as
// distance x 512 + length. Returns their number.
u32 find_tokens(deflater &coder) {
    const u8 *bytes = coder.pending.data();
    u32 count = 0;
    for (u32 i = coder.coded; i < coder.filled;) {
        u32 length = 0, distance = 0;
        if (i + shortest_repetition <= coder.filled) {
            u32 &last = coder.last_at[load_4(bytes + i) * 2654435761u >> (32 - coder.hash_bits)];
            distance = i + 1 - last;
            if (last != 0 && distance <= coder.window) {
                const u32 most = std::min(longest_repetition, coder.filled - i);
                while (length < most && bytes[i + length] == bytes[i + length - distance])
                    ++length;
            }
            last = i + 1;
        }
        const bool repeats = length >= shortest_repetition;
        coder.tokens[count++] = repeats ? distance << 9 | length : bytes[i];
        i += repeats ? length : 1;
    }
    return count;
}

// ---- Prefix codes

// The lengths of the codes of symbols in the order of their counts, from the rarest on.
void find_lengths(const u32 *counts, u32 symbols, u8 *lengths) {
    u32 weights[2 * length_symbols];
    u32 parents[2 * length_symbols];
    std::copy(counts, counts + symbols, weights);
    u32 leaf = 0, node = symbols;
    for (u32 made = symbols; made < 2 * symbols - 1; ++made) {
        weights[made] = 0;
        for (u32 n = 0; n < 2; ++n) {
            const bool takes_leaf =
                leaf < symbols && (node >= made || weights[leaf] <= weights[node]);
            const u32 child = takes_leaf ? leaf++ : node++;
            weights[made] += weights[child];
            parents[child] = made;
        }
    }
    u32 *depths = weights; // which are no longer needed
    depths[2 * symbols - 2] = 0;
    for (u32 n = 2 * symbols - 2; n-- > 0;) {
        depths[n] = depths[parents[n]] + 1;
        if (n < symbols)
            lengths[n] = static_cast<u8>(std::min(depths[n], u32{255}));
    }
}

// Shortens codes to the limit, and lengthens others so that all still have different codes. The
// lengths do not increase.
void limit_lengths(u8 *lengths, u32 symbols, u32 limit) {
    u32 numbers[256] = {};
    for (u32 n = 0; n < symbols; ++n)
        ++numbers[std::min<u32>(lengths[n], limit)];
    u32 space = 0; // in units of the longest code
    for (u32 length = 1; length <= limit; ++length)
        space += numbers[length] << (limit - length);
    for (; space > 1u << limit; --space) {
        u32 length = limit - 1;
        while (numbers[length] == 0)
            --length;
        --numbers[length];
        numbers[length + 1] += 2;
        --numbers[limit];
    }
    for (u32 n = 0, length = limit; n < symbols; ++n) {
        while (numbers[length] == 0)
            --length;
        --numbers[length];
        lengths[n] = static_cast<u8>(length);
    }
}

u32 reversed(u32 code, u32 length) {
    u32 result = 0;
    for (u32 n = 0; n < length; ++n)
        result |= (code >> n & 1) << (length - 1 - n);
    return result;
}

// The counts change: a code has at least two symbols, as decoders require.
prefix_code make_code(u32 *counts, u32 symbols, u32 limit) {
    prefix_code code;
    u32 order[length_symbols];
    const auto find_used = [&] {
        u32 used = 0;
        for (u32 symbol = 0; symbol < symbols; ++symbol)
            if (counts[symbol] != 0)
                order[used++] = symbol;
        return used;
    };
    u32 used = find_used();
    for (u32 symbol = 0; used < 2; ++symbol, used = find_used())
        counts[symbol] = std::max(counts[symbol], 1u);
    code.used = order[used - 1] + 1;

    std::sort(order, order + used, [counts](u32 one, u32 other) {
        return counts[one] != counts[other] ? counts[one] < counts[other] : one < other;
    });
    u32 sorted[length_symbols];
    u8 lengths[length_symbols];
    std::transform(order, order + used, sorted, [counts](u32 symbol) { return counts[symbol]; });
    find_lengths(sorted, used, lengths);
    limit_lengths(lengths, used, limit);
    for (u32 n = 0; n < used; ++n)
        code.length[order[n]] = lengths[n];

    u32 next = 0;
    for (u32 length = 1; length <= limit; ++length, next <<= 1)
        for (u32 symbol = 0; symbol < code.used; ++symbol)
            if (code.length[symbol] == length)
                code.code[symbol] = static_cast<u16>(reversed(next++, length));
    return code;
}

// The lengths of both codes, which are coded themselves, without run lengths.
void write_codes(deflater &coder, const prefix_code &lengths, const prefix_code &distances) {
    constexpr u8 order[] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
    constexpr u32 symbols = std::size(order), limit = 7;
    const u32 used_lengths = std::max(lengths.used, end_of_block + 1);
    const auto for_each_length = [&](auto visit) {
        std::for_each(lengths.length, lengths.length + used_lengths, visit);
        std::for_each(distances.length, distances.length + distances.used, visit);
    };
    u32 counts[symbols] = {};
    for_each_length([&counts](u8 length) { ++counts[length]; });
    const prefix_code code = make_code(counts, symbols, limit);
    write_bits(coder, used_lengths - (end_of_block + 1), 5);
    write_bits(coder, distances.used - 1, 5);
    write_bits(coder, symbols - 4, 4);
    for (const u8 symbol : order)
        write_bits(coder, code.length[symbol], 3);
    for_each_length([&](u8 length) { write_bits(coder, code.code[length], code.length[length]); });
}

// ---- Bits

// The output has room.
void write_bits(deflater &coder, u32 value, u32 count) {
    coder.bits |= u64{value} << coder.bit_count;
    coder.bit_count += count;
    for (; coder.bit_count >= 8; coder.bit_count -= 8, coder.bits >>= 8)
        coder.output.push_back(static_cast<u8>(coder.bits));
}

// Numbers from 0 on: `values` of each number of extra bits, as a power of 2.
coded_number number_in_classes(u32 number, u32 values_log) {
    const u32 values = 1u << values_log;
    if (number < 2 * values)
        return {number, 0, 0};
    const u32 top = static_cast<u32>(std::bit_width(number)) - 1;
    const u32 extra_bits = top - values_log;
    return {(extra_bits << values_log) + (number >> extra_bits), number & ((1u << extra_bits) - 1),
            extra_bits};
}

coded_number number_of_length(u32 length) {
    if (length == longest_repetition)
        return {length_symbols - 1, 0, 0};
    coded_number number = number_in_classes(length - 3, 2);
    number.symbol += end_of_block + 1;
    return number;
}

coded_number number_of_distance(u32 distance) {
    return number_in_classes(distance - 1, 1);
}

} // namespace

} // namespace viq
