// Mutations that keep the structure of a format: the parts of a file are dropped, repeated,
// exchanged and changed, and the lengths and counts that describe them follow.
#pragma once

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "core/types.h"

extern "C" std::size_t LLVMFuzzerMutate(viq::u8 *data, std::size_t size, std::size_t max_size);

namespace viq {

using file_bytes = std::vector<u8>;
using random_source = std::minstd_rand;

inline file_bytes range(const file_bytes &file, std::size_t from, std::size_t to) {
    to = std::min(to, file.size());
    from = std::min(from, to);
    return {file.begin() + static_cast<std::ptrdiff_t>(from),
            file.begin() + static_cast<std::ptrdiff_t>(to)};
}

inline void append(file_bytes &file, const file_bytes &more) {
    file.insert(file.end(), more.begin(), more.end());
}

inline u32 load(const file_bytes &file, std::size_t at, u32 count, bool big_endian) {
    u32 value = 0;
    for (u32 i = 0; i < count && at + i < file.size(); ++i)
        value |= u32{file[at + i]} << 8 * (big_endian ? count - 1 - i : i);
    return value;
}

inline void store(file_bytes &file, std::size_t at, u32 count, bool big_endian, u32 value) {
    for (u32 i = 0; i < count && at + i < file.size(); ++i)
        file[at + i] = static_cast<u8>(value >> 8 * (big_endian ? count - 1 - i : i));
}

// With the mutations of the fuzzer, from byte `first` on; the part grows little.
inline void mutate_bytes(file_bytes &part, std::size_t first) {
    const std::size_t size = part.size() - std::min(first, part.size());
    part.resize(first + size + 64);
    part.resize(first + LLVMFuzzerMutate(part.data() + first, size, size + 64));
}

template <class Change>
void mutate_parts(std::vector<file_bytes> &parts, random_source &random, Change change) {
    if (parts.empty())
        return;
    const auto any = [&] {
        return parts.begin() + static_cast<std::ptrdiff_t>(random() % parts.size());
    };
    switch (random() % 8) {
    case 0:
        parts.erase(any());
        break;
    case 1: {
        const file_bytes copy = *any();
        parts.insert(any(), copy);
        break;
    }
    case 2:
        std::swap(*any(), *any());
        break;
    default:
        change(*any());
    }
}

// The entries of the first directory. It moves to the end of the file, so that offsets of other
// data stay valid.
inline file_bytes mutate_tiff(const file_bytes &file, random_source &random) {
    constexpr u32 entry_size = 12;
    constexpr u16 tags[] = {254, 256, 257, 258, 259, 262, 266, 273, 274, 277, 278, 279,
                            284, 296, 317, 320, 322, 323, 324, 325, 332, 338, 339, 530};
    constexpr u32 values[] = {0,  1,  2,   3,     4,      5,          8,
                              16, 32, 255, 32773, 0xFFFF, 0x7FFFFFFF, 0xFFFFFFFF};
    const bool big_endian = !file.empty() && file[0] == 'M';
    const std::size_t directory = load(file, 4, 4, big_endian);
    const std::size_t count = load(file, directory, 2, big_endian);
    const std::size_t end = directory + 2 + count * entry_size;
    if (file.size() < 8 || directory < 8 || end > file.size())
        return {};
    std::vector<file_bytes> entries;
    for (std::size_t at = directory + 2; at < end; at += entry_size)
        entries.push_back(range(file, at, at + entry_size));
    mutate_parts(entries, random, [&](file_bytes &entry) {
        switch (random() % 5) {
        case 0:
            store(entry, 0, 2, big_endian, tags[random() % std::size(tags)]);
            break;
        case 1:
            store(entry, 2, 2, big_endian, static_cast<u32>(random() % 14));
            break;
        case 2:
            store(entry, 4, 4, big_endian, values[random() % std::size(values)]);
            break;
        case 3: // a small number, at the start of the field whatever its type
            store(entry, 8, 2, big_endian, values[random() % std::size(values)]);
            break;
        default: // an offset
            store(entry, 8, 4, big_endian, static_cast<u32>(random() % (file.size() + 16)));
        }
    });
    file_bytes result = end + 4 >= file.size() ? range(file, 0, directory) : file;
    store(result, 4, 4, big_endian, static_cast<u32>(result.size()));
    result.resize(result.size() + 2);
    store(result, result.size() - 2, 2, big_endian, static_cast<u32>(entries.size()));
    for (const file_bytes &entry : entries)
        append(result, entry);
    result.resize(result.size() + 4);
    return result;
}

// The segments before the coded data of the first scan, and that data.
inline file_bytes mutate_jpeg(const file_bytes &file, random_source &random) {
    constexpr u8 start_of_scan = 0xDA;
    std::vector<file_bytes> segments;
    std::size_t at = 2;
    bool in_header = true;
    while (in_header && at + 4 <= file.size() && file[at] == 0xFF) {
        const std::size_t next = at + 2 + load(file, at + 2, 2, true);
        in_header = file[at + 1] != start_of_scan;
        segments.push_back(range(file, at, next));
        at = next;
    }
    if (segments.empty())
        return {};
    file_bytes data = range(file, at, file.size());
    if (random() % 4 == 0)
        mutate_bytes(data, 0);
    else
        mutate_parts(segments, random, [](file_bytes &segment) { mutate_bytes(segment, 4); });
    file_bytes result = range(file, 0, 2);
    for (file_bytes &segment : segments) {
        store(segment, 2, 2, true, static_cast<u32>(segment.size() - 2));
        append(result, segment);
    }
    append(result, data);
    return result;
}

// The compressed data of the components; that of type 1 is a packet that starts with its length.
inline file_bytes mutate_wavelet(const file_bytes &file, random_source &random) {
    constexpr std::size_t header_size = 28, lengths = 10, components = 3;
    if (file.size() < header_size)
        return {};
    std::size_t at = header_size + load(file, 26, 2, false);
    file_bytes result = range(file, 0, at);
    std::vector<file_bytes> parts;
    for (std::size_t i = 0; i < components; ++i) {
        const std::size_t next = at + load(file, lengths + 4 * i, 4, false);
        parts.push_back(range(file, at, next));
        at = std::min(next, file.size());
    }
    const auto packet_start = [](const file_bytes &part) -> std::size_t {
        const u32 length = (load(part, 0, 1, false) & 127) | load(part, 1, 1, false) << 7;
        return part.size() > 2 && part[0] > 127 && part[1] < 128 && length + 2 == part.size() ? 2
                                                                                              : 0;
    };
    mutate_parts(parts, random, [&](file_bytes &part) {
        const std::size_t first = packet_start(part);
        mutate_bytes(part, first);
        if (first > 0) {
            part[0] = static_cast<u8>((part.size() - 2) | 128);
            part[1] = static_cast<u8>((part.size() - 2) >> 7 & 127);
        }
    });
    parts.resize(components);
    for (std::size_t i = 0; i < components; ++i) {
        store(result, lengths + 4 * i, 4, false, static_cast<u32>(parts[i].size()));
        append(result, parts[i]);
    }
    return result;
}

// Half of the mutations are those of the fuzzer, which do not regard the structure.
inline std::size_t mutate(file_bytes (*by_structure)(const file_bytes &, random_source &), u8 *data,
                          std::size_t size, std::size_t max_size, unsigned seed) {
    random_source random(seed);
    if (random() % 2 == 0) {
        const file_bytes changed = by_structure({data, data + size}, random);
        if (!changed.empty() && changed.size() <= max_size) {
            std::memcpy(data, changed.data(), changed.size());
            return changed.size();
        }
    }
    return LLVMFuzzerMutate(data, size, max_size);
}

} // namespace viq

// The mutations of a fuzz target.
#define VIQ_MUTATOR(by_structure)                                                                  \
    extern "C" std::size_t LLVMFuzzerCustomMutator(viq::u8 *data, std::size_t size,                \
                                                   std::size_t max_size, unsigned seed) {          \
        return viq::mutate(by_structure, data, size, max_size, seed);                              \
    }
