#include "tools/file_kinds.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "tools/image_handle.h"

namespace tool {

namespace {

const std::vector<file_kind> kinds = {
    {VIQ_FILE_BMP, "BMP", ".bmp", VIQ_read_BMP_file, {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED}},
    {VIQ_FILE_TIFF,
     "TIFF",
     ".tif",
     VIQ_read_TIFF_file,
     {VIQ_RGB24, VIQ_Y8, VIQ_Y16, VIQ_PALETTED, VIQ_Y1, VIQ_CMYK32}},
    {VIQ_FILE_TGA, "TGA", ".tga", VIQ_read_TGA_file, {VIQ_RGB24, VIQ_Y8, VIQ_RGB15}, true},
    {VIQ_FILE_EPS, "EPS", ".eps", VIQ_read_EPS_file, {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED, VIQ_Y1}},
    {VIQ_FILE_JPEG,
     "JPEG",
     ".jpg",
     nullptr,
     {VIQ_RGB24, VIQ_Y8, VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32}},
    {VIQ_FILE_RAW,
     "raw data",
     ".raw",
     nullptr,
     {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED, VIQ_Y16, VIQ_RGB8, VIQ_RGB15, VIQ_RGB16, VIQ_BGR24,
      VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32, VIQ_XRGB32, VIQ_HSI, VIQ_YUV422}},
    {VIQ_FILE_WAVELET, "wavelet", ".dwt", nullptr, {VIQ_YUV422, VIQ_Y8}},
};

} // namespace

const file_kind &kind_of_extension(const std::string &path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const auto row = std::find_if(kinds.begin(), kinds.end(), [&extension](const file_kind &k) {
        return extension == k.extension;
    });
    if (row == kinds.end())
        throw failure{path + ": unknown output extension (known: " + known_extensions() + ")"};
    return *row;
}

const file_kind &kind_of_content(const std::string &path) {
    const uint32_t code = VIQ_image_find_file_format(path.c_str());
    check(code, path);
    const auto row = std::find_if(kinds.begin(), kinds.end(),
                                  [code](const file_kind &k) { return k.code == code; });
    if (row == kinds.end())
        throw failure{path + ": unsupported or unrecognised image format"};
    return *row;
}

std::string known_extensions() {
    std::string known;
    for (const file_kind &kind : kinds)
        known += (known.empty() ? "" : " ") + std::string(kind.extension);
    return known;
}

} // namespace tool
