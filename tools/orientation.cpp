#include "tools/orientation.h"

#include <array>
#include <cstring>

#include "tools/temporary_folder.h"

namespace tool {

namespace {

constexpr uint16_t highest_orientation = 8;

struct turn {
    const char *text;
    std::vector<requested_step> steps;
};

const std::array<turn, highest_orientation + 1> turns = {{
    {},
    {"upright", {}},
    {"mirrored", {{"--mirror"}}},
    {"rotated by 180 degrees", {{"--rotate", "180"}}},
    {"flipped", {{"--flip"}}},
    {"mirrored, then rotated by 270 degrees", {{"--mirror"}, {"--rotate", "270"}}},
    {"rotated by 90 degrees", {{"--rotate", "90"}}},
    {"mirrored, then rotated by 90 degrees", {{"--mirror"}, {"--rotate", "90"}}},
    {"rotated by 270 degrees", {{"--rotate", "270"}}},
}};

// Bytes in the order of an EXIF block. Numbers outside the block are 0.
struct exif_block {
    const uint8_t *data;
    std::size_t size;
    bool is_little_endian;

    uint32_t number(std::size_t at, std::size_t bytes) const {
        uint32_t value = 0;
        for (std::size_t n = 0; n < bytes && at < size && bytes <= size - at; ++n)
            value = value << 8 | data[at + (is_little_endian ? bytes - 1 - n : n)];
        return value;
    }
};

} // namespace

uint16_t exif_orientation(const uint8_t *exif, std::size_t size) {
    constexpr uint32_t orientation_tag = 274;
    constexpr uint32_t type_short = 3;
    constexpr std::size_t entry_bytes = 12;
    if (size < 8 || (exif[0] != 'I' && exif[0] != 'M') || exif[0] != exif[1])
        return upright;
    const exif_block block = {exif, size, exif[0] == 'I'};
    const std::size_t directory = block.number(4, 4);
    const uint32_t entries = block.number(directory, 2);
    for (uint32_t n = 0; n < entries; ++n) {
        const std::size_t entry = directory + 2 + n * entry_bytes;
        if (block.number(entry, 2) != orientation_tag || block.number(entry + 2, 2) != type_short)
            continue;
        const uint32_t value = block.number(entry + 8, 2);
        return static_cast<uint16_t>(value >= upright && value <= highest_orientation ? value
                                                                                      : upright);
    }
    return upright;
}

// EXIF data is in a segment of type APP1 before the first scan.
uint16_t jpeg_orientation(const std::string &path) {
    constexpr int start_of_scan = 0xDA;
    constexpr int app1 = 0xE1;
    constexpr char signature[] = "Exif\0";
    const file_ptr file = open_or_fail(path, "rb", path, "cannot be opened");
    std::fseek(file.get(), 2, SEEK_SET);
    for (;;) {
        int marker = std::fgetc(file.get());
        if (marker != 0xFF)
            return upright;
        while (marker == 0xFF)
            marker = std::fgetc(file.get());
        const int high = std::fgetc(file.get());
        const int low = std::fgetc(file.get());
        const int length = high * 256 + low - 2;
        if (marker == start_of_scan || high < 0 || low < 0 || length < 0)
            return upright;
        if (marker != app1) {
            std::fseek(file.get(), length, SEEK_CUR);
            continue;
        }
        std::vector<uint8_t> data(static_cast<std::size_t>(length));
        if (std::fread(data.data(), 1, data.size(), file.get()) != data.size())
            return upright;
        if (data.size() > sizeof signature &&
            std::memcmp(data.data(), signature, sizeof signature) == 0)
            return exif_orientation(data.data() + sizeof signature, data.size() - sizeof signature);
    }
}

std::string orientation_text(uint16_t orientation) {
    return turns.at(orientation).text;
}

std::vector<requested_step> steps_to_upright(uint16_t orientation) {
    return turns.at(orientation).steps;
}

} // namespace tool
