#include "jpeg/jpeg_tables.h"

#include <algorithm>
#include <cstring>

#include "core/report.h"
#include "jpeg/jpeg_record.h"

using namespace viq;

namespace {

// The standard quantisation tables of luminance and chrominance, in natural order.
constexpr u8 standard_steps[2][block_size] = {
    {16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
     14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
     18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
     49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99},
    {17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99, 24, 26, 56, 99, 99, 99,
     99, 99, 47, 66, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
     99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99}};

constexpr u8 standard_bits[huffman_slots][16] = {
    {0, 1, 5, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0},
    {0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0},
    {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125},
    {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 119}};

constexpr u8 standard_dc[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};

constexpr u8 standard_ac[2][162] = {
    {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61,
     0x07, 0x22, 0x71, 0x14, 0x32, 0x81, 0x91, 0xA1, 0x08, 0x23, 0x42, 0xB1, 0xC1, 0x15, 0x52,
     0xD1, 0xF0, 0x24, 0x33, 0x62, 0x72, 0x82, 0x09, 0x0A, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x25,
     0x26, 0x27, 0x28, 0x29, 0x2A, 0x34, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3A, 0x43, 0x44, 0x45,
     0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0x63, 0x64,
     0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A, 0x83,
     0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99,
     0x9A, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6,
     0xB7, 0xB8, 0xB9, 0xBA, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xD2, 0xD3,
     0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7, 0xE8,
     0xE9, 0xEA, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA},
    {0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61,
     0x71, 0x13, 0x22, 0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xA1, 0xB1, 0xC1, 0x09, 0x23, 0x33,
     0x52, 0xF0, 0x15, 0x62, 0x72, 0xD1, 0x0A, 0x16, 0x24, 0x34, 0xE1, 0x25, 0xF1, 0x17, 0x18,
     0x19, 0x1A, 0x26, 0x27, 0x28, 0x29, 0x2A, 0x35, 0x36, 0x37, 0x38, 0x39, 0x3A, 0x43, 0x44,
     0x45, 0x46, 0x47, 0x48, 0x49, 0x4A, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59, 0x5A, 0x63,
     0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6A, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7A,
     0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8A, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97,
     0x98, 0x99, 0x9A, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xB2, 0xB3, 0xB4,
     0xB5, 0xB6, 0xB7, 0xB8, 0xB9, 0xBA, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA,
     0xD2, 0xD3, 0xD4, 0xD5, 0xD6, 0xD7, 0xD8, 0xD9, 0xDA, 0xE2, 0xE3, 0xE4, 0xE5, 0xE6, 0xE7,
     0xE8, 0xE9, 0xEA, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xFA}};

constexpr u16 table_ids[huffman_slots] = {0x00, 0x01, 0x10, 0x11};

u32 set_factor(const char *function, u32 hImage, u32 factor);

} // namespace

u32 VIQ_JPEG_set_Quality_factor(u32 hImage, u16 wFactor) {
    return set_factor("VIQ_JPEG_set_Quality_factor", hImage, wFactor <= 400 ? wFactor : 0);
}

u32 VIQ_JPEG_set_Quantization_factor(u32 hImage, u16 wFactor) {
    const bool in_range = wFactor >= 2 && wFactor <= 800;
    return set_factor("VIQ_JPEG_set_Quantization_factor", hImage,
                      in_range ? static_cast<u32>(50.0 / wFactor * 16.0) : 0);
}

u32 VIQ_JPEG_make_Q_tables(u32 hImage) {
    constexpr const char *name = "VIQ_JPEG_make_Q_tables";
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(name, hImage, record); is_error(code))
        return code;
    if (record->quality_factor == 0)
        return report(name, VIQ_ERR_PARAMETER, "Q factor of range");
    const double scale = 16.0 / record->quality_factor;
    for (u32 table = 0; table < 2; ++table) {
        for (u32 k = 0; k < block_size; ++k) {
            const double scaled = standard_steps[table][natural_of[k]] * scale + 0.5;
            // Large quality factors scale small entries to 0, which cannot be a divisor.
            const u32 q = std::clamp(static_cast<u32>(scaled), 1u, 255u);
            record->q_tables[table][k] = static_cast<u8>(q);
            record->q_recip[table][k] = (q / 2 + 65536) / q;
        }
    }
    record->q_table_count = 2;
    record->dqt_length = 2 + 2 * (1 + block_size);
    record->q_table_id[0] = 0;
    record->q_table_id[1] = 1;
    record->q_table_id[2] = 1;
    return success;
}

u32 VIQ_JPEG_set_default_H_tables(u32 hImage) {
    Tjpeg *record = nullptr;
    if (const u32 code = need_record("VIQ_JPEG_set_default_H_tables", hImage, record);
        is_error(code))
        return code;
    std::memcpy(record->h_bits, standard_bits, sizeof standard_bits);
    std::memset(record->h_vals, 0, sizeof record->h_vals);
    for (u32 i = 0; i < 2; ++i) {
        std::copy(std::begin(standard_dc), std::end(standard_dc), record->h_vals[dc_luminance + i]);
        std::copy(std::begin(standard_ac[i]), std::end(standard_ac[i]),
                  record->h_vals[ac_luminance + i]);
    }
    std::copy(std::begin(table_ids), std::end(table_ids), record->h_table_ids);
    record->h_table_ids[huffman_slots] = no_table;
    record->dht_length = 416;
    return success;
}

namespace viq {

u32 symbol_count(const u8 (&bits)[16]) {
    u32 count = 0;
    for (const u8 number : bits)
        count += number;
    return count;
}

bool is_valid_table(const u8 (&bits)[16]) {
    u32 free_codes = 1;
    for (const u8 number : bits) {
        free_codes *= 2;
        if (number > free_codes)
            return false;
        free_codes -= number;
    }
    return symbol_count(bits) <= 256;
}

} // namespace viq

namespace {

// A factor of 0 is out of range.
u32 set_factor(const char *function, u32 hImage, u32 factor) {
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(function, hImage, record); is_error(code))
        return code;
    if (factor == 0)
        return report(function, VIQ_ERR_PARAMETER, "Q factor of range");
    record->quality_factor = static_cast<u16>(factor);
    return success;
}

} // namespace
