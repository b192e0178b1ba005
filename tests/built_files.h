// Files that tests build byte by byte: TIFF and TGA.
#pragma once

#include <map>
#include <string_view>

#include "core/byte_order.h"
#include "tests/file_support.h"

namespace viq {

inline bytes hex(std::string_view digits) {
    bytes result;
    for (std::size_t at = 0; at < digits.size(); at += 2)
        result.push_back(
            static_cast<u8>(std::stoi(std::string(digits.substr(at, 2)), nullptr, 16)));
    return result;
}

inline void append(bytes &to, const bytes &more) {
    to.insert(to.end(), more.begin(), more.end());
}

inline void append(bytes &to, u32 value, unsigned size, endian order = endian::little) {
    for (unsigned i = 0; i < size; ++i)
        to.push_back(static_cast<u8>(value >> byte_shift(order, size, i)));
}

// ---- TIFF

using tiff_fields = std::map<u16, numbers>;

// Width, height, depth, photometric interpretation, samples; one TIFF strip.
inline tiff_fields usual_fields(u32 width, u32 height, u32 bits, u32 photometric, u32 samples = 1) {
    return {{256, {width}},   {257, {height}},      {258, numbers(samples, bits)},
            {259, {1}},       {262, {photometric}}, {273, {8}},
            {277, {samples}}, {278, {height}}};
}

inline tiff_fields with(tiff_fields fields, const tiff_fields &changes) {
    for (const auto &[tag, values] : changes)
        fields[tag] = values;
    return fields;
}

// The data begins at offset 8. The counts of values can be wrong.
inline bytes tiff(endian order, const bytes &data, const tiff_fields &fields,
                  unsigned offset_type = 4, const std::map<u16, u32> &counts = {}) {
    bytes file(2, order == endian::big ? 'M' : 'I');
    append(file, 42, 2, order);
    append(file, 0, 4, order);
    append(file, data);
    bytes directory;
    append(directory, static_cast<u32>(fields.size()), 2, order);
    for (const auto &[tag, values] : fields) {
        const unsigned type = tag == 273 ? offset_type : tag == 254 || tag == 279 ? 4 : 3;
        const auto count = counts.find(tag);
        append(directory, tag, 2, order);
        append(directory, type, 2, order);
        append(directory, count != counts.end() ? count->second : static_cast<u32>(values.size()),
               4, order);
        bytes list;
        for (const u32 value : values)
            append(list, value, type == 3 ? 2 : 4, order);
        if (list.size() <= 4) {
            list.resize(4);
            append(directory, list);
        } else {
            append(directory, static_cast<u32>(file.size()), 4, order);
            append(file, list);
        }
    }
    for (unsigned i = 0; i < 4; ++i)
        file[4 + i] = byte_of(static_cast<u32>(file.size()), order, i);
    append(file, directory);
    append(file, 0, 4, order);
    return file;
}

// ---- TGA

inline bytes tga(u8 type, u32 width, u32 height, u8 bits, u8 descriptor, const bytes &rest,
                 const bytes &map_header = {0, 0, 0, 0, 0, 0}, u8 identification = 0) {
    bytes file = {identification, map_header[0], type};
    file.insert(file.end(), map_header.begin() + 1, map_header.end());
    file.resize(12);
    append(file, width, 2);
    append(file, height, 2);
    append(file, bytes{bits, descriptor});
    append(file, rest);
    return file;
}

} // namespace viq
