#include "tools/file_kinds.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <utility>

#include "core/file_extensions.h"
#include "tools/image_handle.h"
#include "tools/jpeg_file.h"
#include "tools/libjpeg_file.h"
#include "tools/libtiff_file.h"
#include "tools/png_file.h"
#include "tools/pnm_file.h"
#include "tools/raw_file.h"
#include "tools/temporary_folder.h"

namespace tool {

namespace {

// Kinds of files with one page.
template <decoded_picture (*read)(const std::string &, const std::string &)>
decoded_picture first_page(const std::string &path, const std::string &name, uint32_t page) {
    if (page != 1)
        throw failure{name + ": has only one page"};
    return read(path, name);
}

// Readers and writers by other libraries; null if the tool was built without them.
#if VIQ_HAS_PNG
constexpr whole_reader png_reader = first_page<read_png>;
constexpr sink_maker png_writer = png_sink;
const std::vector<uint16_t> png_formats = {VIQ_RGB24, VIQ_Y8, VIQ_Y16, VIQ_Y1};
#else
constexpr whole_reader png_reader = nullptr;
constexpr sink_maker png_writer = nullptr;
const std::vector<uint16_t> png_formats;
#endif
#if VIQ_HAS_LIBJPEG
constexpr whole_reader jpeg_fallback = first_page<read_by_libjpeg>;
#else
constexpr whole_reader jpeg_fallback = nullptr;
#endif
#if VIQ_HAS_LIBTIFF
constexpr whole_reader tiff_fallback = read_by_libtiff;
constexpr auto tiff_pages = count_pages_by_libtiff;
#else
constexpr whole_reader tiff_fallback = nullptr;
constexpr uint32_t (*tiff_pages)(const std::string &) = nullptr;
#endif
constexpr whole_reader pnm_reader = first_page<read_pnm>;

constexpr const char *png_name = "PNG";
constexpr const char *pnm_name = "PNM";

std::vector<std::string> extensions_of(uint32_t file_format) {
    std::vector<std::string> found;
    for (const viq::file_extension &row : viq::file_extensions)
        if (row.file_format == file_format)
            found.emplace_back(row.text);
    return found;
}

const std::vector<file_kind> kinds = {
    {VIQ_FILE_BMP,
     "BMP",
     extensions_of(VIQ_FILE_BMP),
     VIQ_read_BMP_file,
     {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED}},
    {VIQ_FILE_TIFF,
     "TIFF",
     extensions_of(VIQ_FILE_TIFF),
     VIQ_read_TIFF_file,
     {VIQ_RGB24, VIQ_Y8, VIQ_Y16, VIQ_PALETTED, VIQ_Y1, VIQ_CMYK32},
     false,
     tiff_fallback,
     nullptr,
     tiff_pages},
    {VIQ_FILE_TGA,
     "TGA",
     extensions_of(VIQ_FILE_TGA),
     VIQ_read_TGA_file,
     {VIQ_RGB24, VIQ_Y8, VIQ_RGB15},
     true},
    {VIQ_FILE_EPS,
     "EPS",
     extensions_of(VIQ_FILE_EPS),
     VIQ_read_EPS_file,
     {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED, VIQ_Y1}},
    {VIQ_FILE_JPEG,
     "JPEG",
     extensions_of(VIQ_FILE_JPEG),
     nullptr,
     {VIQ_RGB24, VIQ_Y8, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32},
     false,
     jpeg_fallback,
     jpeg_sink},
    {VIQ_FILE_WAVELET, "wavelet", extensions_of(VIQ_FILE_WAVELET), nullptr, {VIQ_YUV422, VIQ_Y8}},
    {0, png_name, {".png"}, nullptr, png_formats, false, png_reader, png_writer},
    {0,
     pnm_name,
     {".pnm"},
     nullptr,
     {VIQ_RGB24, VIQ_Y8, VIQ_Y16, VIQ_Y1},
     false,
     pnm_reader,
     pnm_sink},
    {0, pnm_name, {".ppm"}, nullptr, {VIQ_RGB24}, false, pnm_reader, pnm_sink},
    {0, pnm_name, {".pgm"}, nullptr, {VIQ_Y8, VIQ_Y16}, false, pnm_reader, pnm_sink},
    {0, pnm_name, {".pbm"}, nullptr, {VIQ_Y1}, false, pnm_reader, pnm_sink},
    {0, "PAM", {".pam"}, nullptr, {VIQ_RGB24, VIQ_Y8, VIQ_Y16}, false, pnm_reader, pam_sink},
    {VIQ_FILE_RAW,
     "raw data",
     extensions_of(VIQ_FILE_RAW),
     nullptr,
     {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED, VIQ_Y16, VIQ_RGB8, VIQ_RGB15, VIQ_RGB16, VIQ_BGR24,
      VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32, VIQ_XRGB32, VIQ_HSI, VIQ_YUV422, VIQ_CMYK32, VIQ_Y1},
     false,
     nullptr,
     raw_sink},
};

// First bytes of files that the library does not detect, and of those that need no other look.
struct signature {
    std::string_view bytes;
    const char *kind;
};

constexpr signature signatures[] = {
    {"\x89PNG\r\n\x1A\n", png_name},
    {"P1", pnm_name},
    {"P2", pnm_name},
    {"P3", pnm_name},
    {"P4", pnm_name},
    {"P5", pnm_name},
    {"P6", pnm_name},
    {"P7", "PAM"},
    {{"II\x2A\0", 4}, "TIFF"},
    {{"MM\0\x2A", 4}, "TIFF"},
    {{"II\x2B\0", 4}, "TIFF"}, // with offsets of 64 bits
    {{"MM\0\x2B", 4}, "TIFF"},
    {"GIF8", "GIF"},
    {"RIFF", "WebP"},
    {"%PDF", "PDF"},
    {{"\0\0\0\x0CjP", 6}, "JPEG 2000"},
};

template <class Condition> const file_kind *find_kind(Condition condition) {
    const auto row = std::find_if(kinds.begin(), kinds.end(), condition);
    return row == kinds.end() ? nullptr : &*row;
}

const file_kind *find_extension(std::string extension) {
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return find_kind([&extension](const file_kind &kind) {
        return std::find(kind.extensions.begin(), kind.extensions.end(), extension) !=
               kind.extensions.end();
    });
}

// Names that several kinds share appear once.
void append_once(std::string &list, const std::string &name) {
    if ((" " + list + " ").find(" " + name + " ") == std::string::npos)
        list += (list.empty() ? "" : " ") + name;
}

} // namespace

const file_kind &kind_of_extension(const std::string &path) {
    const file_kind *kind = find_extension(text_of(path_from(path).extension()));
    if (kind == nullptr)
        throw failure{path + ": unknown output extension (known: " + writable_extensions() + ")"};
    if (!kind->is_writable())
        throw failure{path + ": this build of viq cannot write " + kind->name +
                      " files (known: " + writable_extensions() + ")"};
    return *kind;
}

bool has_picture_extension(const std::string &path) {
    const file_kind *kind = find_extension(text_of(path_from(path).extension()));
    return kind != nullptr && kind->is_readable();
}

const file_kind &kind_of_type(const std::string &type) {
    const file_kind *kind = find_extension(type.starts_with('.') ? type : "." + type);
    if (kind == nullptr)
        throw failure{"'" + type + "' is not a file type (known: " + writable_extensions() + ")"};
    return *kind;
}

const file_kind &kind_of_content(const input_file &input, const std::string &name) {
    const std::string &bytes = input.first_bytes;
    if (bytes.empty())
        throw failure{name + ": the file is empty"};
    const auto *known =
        std::find_if(std::begin(signatures), std::end(signatures),
                     [&](const signature &s) { return bytes.starts_with(s.bytes); });
    const std::string readable = " (viq reads: " + readable_kinds() + ")";
    if (known != std::end(signatures)) {
        const file_kind *kind = find_kind([known](const file_kind &k) {
            return std::string_view(k.name) == known->kind && k.is_readable();
        });
        if (kind == nullptr)
            throw failure{name + ": this build of viq cannot read " + known->kind + " files" +
                          readable};
        return *kind;
    }
    const uint32_t code = VIQ_image_find_file_format(input.path.c_str());
    check(code, name);
    const file_kind *kind =
        find_kind([code](const file_kind &k) { return k.code == code && k.is_readable(); });
    if (kind == nullptr || code == 0)
        throw failure{name + ": unsupported or unrecognised image format" + readable};
    return *kind;
}

std::string writable_extensions() {
    std::string known;
    for (const file_kind &kind : kinds)
        if (kind.is_writable())
            for (const std::string &extension : kind.extensions)
                append_once(known, extension);
    return known;
}

std::string readable_kinds() {
    std::string known;
    for (const file_kind &kind : kinds)
        if (kind.is_readable())
            append_once(known, kind.name);
    return known;
}

std::string linked_libraries() {
    constexpr std::pair<const char *, bool> libraries[] = {{"libpng", VIQ_HAS_PNG != 0},
                                                           {"libjpeg", VIQ_HAS_LIBJPEG != 0},
                                                           {"libtiff", VIQ_HAS_LIBTIFF != 0}};
    std::string names;
    for (const auto &[name, is_linked] : libraries)
        if (is_linked)
            append_once(names, name);
    return names.empty() ? "none" : names;
}

} // namespace tool
