#include "files/detect.h"

#include <cstring>

#include "core/byte_order.h"
#include "core/file_reading.h"
#include "core/report.h"
#include "files/tga.h"
#include "files/tiff.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_image_find_file_format";

// The first bytes of the file, which all tests except the one for TIFF examine; bytes after the end
// of a shorter file are 0xFF.
constexpr std::size_t head_size = 17;
using file_head = u8[head_size];

bool is_tiff(std::FILE *file);
bool is_tga(const file_head &head);
bool starts_with(const file_head &head, const char *text);
bool is_bmp(const file_head &head);
u32 format_of(std::FILE *file, const file_head &head);

} // namespace

u32 VIQ_image_find_file_format(const char *pszFileName) {
    if (pszFileName == nullptr)
        return report_null(name);
    unique_stream file;
    const u32 format = open_and_detect(pszFileName, file);
    if (is_error(format))
        return format;
    return std::fclose(file.release()) == 0 ? format
                                            : report(name, VIQ_ERR_CLOSE, "Failed to close file");
}

u32 viq::open_and_detect(const char *path, unique_stream &file) {
    file.reset(open_to_read(path));
    file_head head;
    std::memset(head, 0xFF, sizeof head);
    // Some systems open a directory; reading from it fails on all of them.
    if (file == nullptr ||
        (std::fread(head, 1, sizeof head, file.get()) == 0 && std::ferror(file.get()) != 0)) {
        file.reset();
        return report(name, VIQ_ERR_OPEN, "Failed to open file");
    }
    return format_of(file.get(), head);
}

namespace {

u32 format_of(std::FILE *file, const file_head &head) {
    if (is_tiff(file))
        return VIQ_FILE_TIFF;
    if (is_tga(head))
        return VIQ_FILE_TGA;
    if (head[0] == 0xFF && head[1] == 0xD8)
        return VIQ_FILE_JPEG;
    if (starts_with(head, "DWT"))
        return VIQ_FILE_WAVELET;
    if (starts_with(head, "%!PS"))
        return VIQ_FILE_EPS;
    if (is_bmp(head))
        return VIQ_FILE_BMP;
    return 0;
}

// In the original mode, the first entry of the first directory must have a valid field type. In the
// conforming mode the reader reports what it does not support.
bool is_tiff(std::FILE *file) {
    if (!seek_to(file, 0))
        return false;
    const int first = std::fgetc(file);
    const int second = std::fgetc(file);
    if (first != 'M' && first != 'I')
        return false;
    const endian order = first == 'M' ? endian::big : endian::little;
    const u16 magic = read<u16>(file, order);
    if (reads_conforming())
        return first == second && (magic == tiff::magic || magic == tiff::big_magic);
    if (magic != tiff::magic)
        return false;
    if (!seek_to(file, read<u32>(file, order)))
        return false;
    read<u16>(file, order); // entry count
    read<u16>(file, order); // tag
    const u16 type = read<u16>(file, order);
    return type >= 1 && type <= tiff::last_type;
}

bool is_tga(const file_head &head) {
    const auto one_of = [](u8 value, std::initializer_list<u8> values) {
        return std::memchr(values.begin(), value, values.size()) != nullptr;
    };
    const bool is_typed = head[1] <= 1 && one_of(head[2], {1, 2, 3, 9, 10, 11});
    if (!reads_conforming())
        return is_typed && one_of(head[16], {1, 8, 16, 24, 32});
    const bool is_mapped = (head[2] & ~tga::run_length) == tga::mapped;
    const bool valid_map =
        head[1] == 0 ? !is_mapped : one_of(head[tga::map_bits_at], {15, 16, 24, 32});
    return is_typed && valid_map && one_of(head[16], {8, 15, 16, 24, 32});
}

bool starts_with(const file_head &head, const char *text) {
    return std::memcmp(head, text, std::strlen(text)) == 0;
}

bool is_bmp(const file_head &head) {
    constexpr u8 reserved[4] = {};
    return starts_with(head, "BM") &&
           (reads_conforming() || std::memcmp(head + 6, reserved, sizeof reserved) == 0);
}

} // namespace
