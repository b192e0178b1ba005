#include "tools/formats.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>

#include "tools/image.h"

namespace tool {

namespace {

constexpr format_name names[] = {
    {VIQ_RGB24, "rgb24", true},       {VIQ_BGR24, "bgr24", true},
    {VIQ_RGBX32, "rgbx32", true},     {VIQ_BGRX32, "bgrx32", true},
    {VIQ_XBGR32, "xbgr32", true},     {VIQ_XRGB32, "xrgb32", true},
    {VIQ_RGB16, "rgb16", true},       {VIQ_RGB15, "rgb15", true},
    {VIQ_YUV422, "yuv422", true},     {VIQ_RGB8, "rgb8", true},
    {VIQ_Y16, "y16", true},           {VIQ_Y8, "y8", true},
    {VIQ_PALETTED, "paletted", true}, {VIQ_CMYK32, "cmyk32", true},
    {VIQ_HSI, "hsi", true},           {VIQ_Y1, "y1", false},
    {VIQ_RGGB32, "rggb32", false},    {VIQ_Y64, "y64", false},
    {VIQ_YUV411, "yuv411", false},
};

const std::vector<file_kind> kinds = {
    {VIQ_FILE_BMP, "BMP", ".bmp", {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED}},
    {VIQ_FILE_RAW,
     "raw data",
     ".raw",
     {VIQ_RGB24, VIQ_Y8, VIQ_PALETTED, VIQ_Y16, VIQ_RGB8, VIQ_RGB15, VIQ_RGB16, VIQ_BGR24,
      VIQ_RGBX32, VIQ_BGRX32, VIQ_XBGR32, VIQ_XRGB32, VIQ_HSI, VIQ_YUV422}},
};

} // namespace

std::span<const format_name> formats() {
    return names;
}

std::string name_of(u16 format) {
    const auto *row = std::find_if(std::begin(names), std::end(names),
                                   [format](const format_name &f) { return f.code == format; });
    return row == std::end(names) ? "format " + std::to_string(format) : row->name;
}

u16 format_named(const std::string &name) {
    const auto *row = std::find_if(std::begin(names), std::end(names),
                                   [&name](const format_name &f) { return name == f.name; });
    return row == std::end(names) ? u16{0} : row->code;
}

const file_kind &kind_of_path(const std::string &path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const auto row = std::find_if(kinds.begin(), kinds.end(), [&extension](const file_kind &k) {
        return extension == k.extension;
    });
    if (row != kinds.end())
        return *row;
    std::string known;
    for (const file_kind &k : kinds)
        known += (known.empty() ? "" : " ") + std::string(k.extension);
    throw failure{path + ": unknown output extension (known: " + known + ")"};
}

std::string kind_name(u16 code) {
    const auto row = std::find_if(kinds.begin(), kinds.end(),
                                  [code](const file_kind &k) { return k.code == code; });
    return row == kinds.end() ? "file format " + std::to_string(code) : row->name;
}

} // namespace tool
