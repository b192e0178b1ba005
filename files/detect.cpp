// Which format a file has, by its content.
#include <cstring>

#include "core/report.h"
#include "files/stream.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_image_find_file_format";

// The bytes that all tests but TIFF's look at; what the file does not have is all ones.
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
    unique_stream file(std::fopen(pszFileName, "rb"));
    file_head head;
    std::memset(head, 0xFF, sizeof head);
    // A directory opens on some systems; reading from it fails everywhere.
    if (file == nullptr ||
        (std::fread(head, 1, sizeof head, file.get()) == 0 && std::ferror(file.get()) != 0))
        return report(name, VIQ_ERR_OPEN, "Failed to open file");
    const u32 format = format_of(file.get(), head);
    return std::fclose(file.release()) == 0 ? format
                                            : report(name, VIQ_ERR_CLOSE, "Failed to close file");
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

// The first directory's first entry must have a field type that exists.
bool is_tiff(std::FILE *file) {
    constexpr u16 magic = 42;
    constexpr u16 last_field_type = 11;
    if (!seek_to(file, 0))
        return false;
    const int first = std::fgetc(file);
    std::fgetc(file);
    if (first != 'M' && first != 'I')
        return false;
    const endian order = first == 'M' ? endian::big : endian::little;
    if (read<u16>(file, order) != magic)
        return false;
    if (!seek_to(file, read<u32>(file, order)))
        return false;
    read<u16>(file, order); // entry count
    read<u16>(file, order); // tag
    const u16 type = read<u16>(file, order);
    return type >= 1 && type <= last_field_type;
}

bool is_tga(const file_head &head) {
    const auto one_of = [](u8 value, std::initializer_list<u8> values) {
        return std::memchr(values.begin(), value, values.size()) != nullptr;
    };
    return head[1] <= 1 && one_of(head[2], {1, 2, 3, 9, 10, 11}) &&
           one_of(head[16], {1, 8, 16, 24, 32});
}

bool starts_with(const file_head &head, const char *text) {
    return std::memcmp(head, text, std::strlen(text)) == 0;
}

bool is_bmp(const file_head &head) {
    constexpr u8 reserved[4] = {};
    return starts_with(head, "BM") && std::memcmp(head + 6, reserved, sizeof reserved) == 0;
}

} // namespace
