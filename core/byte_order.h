// Integers in a fixed byte order, in memory and on streams: one rule for both orders and both
// places.
#pragma once

#include <bit>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "core/types.h"

namespace viq {

// A null address or stream reads as 0 or as the end of the stream, and takes nothing.
enum class endian { little, big };
constexpr endian host_order =
    std::endian::native == std::endian::little ? endian::little : endian::big;

// Bits to shift byte `index` of a value of `size` bytes to its place.
constexpr unsigned byte_shift(endian order, unsigned size, unsigned index) {
    return 8 * (order == endian::little ? index : size - 1 - index);
}

template <class Value> Value load(const u8 *bytes, endian order) {
    if (bytes == nullptr)
        return 0;
    if (order == host_order) {
        Value value;
        std::memcpy(&value, bytes, sizeof value);
        return value;
    }
    using wide = std::conditional_t<(sizeof(Value) > sizeof(u32)), u64, u32>;
    wide value = 0;
    for (unsigned i = 0; i < sizeof(Value); ++i)
        value |= wide{bytes[i]} << byte_shift(order, sizeof(Value), i);
    return static_cast<Value>(value);
}

template <class Value> void store(u8 *bytes, Value value, endian order) {
    for (unsigned i = 0; bytes != nullptr && i < sizeof(Value); ++i)
        bytes[i] = static_cast<u8>(u32{value} >> byte_shift(order, sizeof(Value), i));
}

// A byte behind the end of the stream counts as all ones.
template <class Value> Value read(std::FILE *stream, endian order) {
    u8 bytes[sizeof(Value)];
    for (u8 &byte : bytes)
        byte = static_cast<u8>(stream != nullptr ? std::fgetc(stream) : EOF);
    return load<Value>(bytes, order);
}

// The result of the last byte's write.
template <class Value> int write(std::FILE *stream, Value value, endian order) {
    int result = EOF;
    for (unsigned i = 0; stream != nullptr && i < sizeof(Value); ++i)
        result =
            std::fputc(static_cast<u8>(u32{value} >> byte_shift(order, sizeof(Value), i)), stream);
    return result;
}

} // namespace viq
