// Integers in a given byte order, in memory and on streams, and 16-bit words of pixels in the byte
// order of the machine.
#pragma once

#include <bit>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "core/types.h"

namespace viq {

// A null address reads as 0, a null stream as the end of the stream; writing to either does
// nothing.
enum class endian { little, big };
constexpr endian host_order =
    std::endian::native == std::endian::little ? endian::little : endian::big;

// Position, in bits, of byte `index` in memory of a value of `size` bytes.
constexpr unsigned byte_shift(endian order, unsigned size, unsigned index) {
    return 8 * (order == endian::little ? index : size - 1 - index);
}

// Wide enough to shift every byte of a value.
template <class Value>
using shifted_value = std::conditional_t<(sizeof(Value) > sizeof(u32)), u64, u32>;

template <class Value> u8 byte_of(Value value, endian order, unsigned index) {
    return static_cast<u8>(shifted_value<Value>{value} >> byte_shift(order, sizeof(Value), index));
}

template <class Value> Value load(const u8 *bytes, endian order) {
    if (bytes == nullptr)
        return 0;
    if (order == host_order) {
        Value value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }
    shifted_value<Value> value = 0;
    for (unsigned i = 0; i < sizeof(Value); ++i)
        value |= shifted_value<Value>{bytes[i]} << byte_shift(order, sizeof(Value), i);
    return static_cast<Value>(value);
}

template <class Value> void store(u8 *bytes, Value value, endian order) {
    for (unsigned i = 0; bytes != nullptr && i < sizeof(Value); ++i)
        bytes[i] = byte_of(value, order, i);
}

// A byte after the end of the stream reads as 0xFF.
template <class Value> Value read(std::FILE *stream, endian order) {
    u8 bytes[sizeof(Value)];
    for (u8 &byte : bytes)
        byte = static_cast<u8>(stream != nullptr ? std::fgetc(stream) : EOF);
    return load<Value>(bytes, order);
}

// Returns what fputc returns for the last byte.
template <class Value> int write(std::FILE *stream, Value value, endian order) {
    int result = EOF;
    for (unsigned i = 0; stream != nullptr && i < sizeof(Value); ++i)
        result = std::fputc(byte_of(value, order, i), stream);
    return result;
}

// ---- Words of pixels

VIQ_FORMULA u16 load_word(const u8 *bytes) {
    u16 word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

VIQ_FORMULA void store_word(u8 *bytes, u32 value) {
    const auto word = static_cast<u16>(value);
    std::memcpy(bytes, &word, sizeof word);
}

} // namespace viq
