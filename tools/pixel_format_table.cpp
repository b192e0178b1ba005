#include "tools/pixel_format_table.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "core/pixel_formats.h"

namespace tool {

namespace {

struct format_role {
    uint16_t code;
    bool is_target;
    int colour_rank, grey_rank;
};

// In the order of the search for conversion routes.
constexpr format_role roles[] = {
    {VIQ_RGB24, true, 9, 8},    {VIQ_BGR24, true, 9, 8},   {VIQ_RGBX32, true, 9, 8},
    {VIQ_BGRX32, true, 9, 8},   {VIQ_XBGR32, true, 9, 8},  {VIQ_XRGB32, true, 9, 8},
    {VIQ_RGB16, true, 6, 4},    {VIQ_RGB15, true, 5, 3},   {VIQ_YUV422, true, 8, 7},
    {VIQ_RGB8, true, 3, 2},     {VIQ_Y16, true, 2, 9},     {VIQ_Y8, true, 2, 8},
    {VIQ_PALETTED, true, 4, 7}, {VIQ_CMYK32, true, 9, 8},  {VIQ_HSI, true, 7, 6},
    {VIQ_Y1, false, 1, 1},      {VIQ_RGGB32, false, 0, 0}, {VIQ_Y64, false, 0, 0},
    {VIQ_YUV411, false, 0, 0},
};

constexpr auto make_table() {
    std::array<pixel_format, std::size(roles)> table = {};
    for (std::size_t n = 0; n < table.size(); ++n) {
        const viq::pixel_format &row = viq::format_row(roles[n].code);
        const bool is_grey = row.layout == viq::pixel_layout::grey || row.code == VIQ_Y1;
        table[n] = {row.code,          row.name,           row.bytes_per_pixel,
                    is_grey,           roles[n].is_target, roles[n].colour_rank,
                    roles[n].grey_rank};
    }
    return table;
}

constexpr auto table = make_table();

const pixel_format *find_format(uint16_t code) {
    const auto *row = std::find_if(table.begin(), table.end(),
                                   [code](const pixel_format &f) { return f.code == code; });
    return row == table.end() ? nullptr : row;
}

} // namespace

std::span<const pixel_format> pixel_formats() {
    return table;
}

std::string format_name(uint16_t code) {
    const pixel_format *format = find_format(code);
    return format != nullptr ? format->name : "format " + std::to_string(code);
}

uint16_t format_from_name(const std::string &name) {
    return std::find_if(table.begin(), table.end(),
                        [&name](const pixel_format &f) { return name == f.name; })
        ->code;
}

std::vector<std::string> target_format_names() {
    std::vector<std::string> names;
    for (const pixel_format &format : table)
        if (format.is_target)
            names.emplace_back(format.name);
    return names;
}

bool is_grey_format(uint16_t code) {
    const pixel_format *format = find_format(code);
    return format != nullptr && format->is_grey;
}

int rank_of(uint16_t code, bool colour) {
    const pixel_format *format = find_format(code);
    return colour ? format->colour_rank : format->grey_rank;
}

uint32_t bytes_per_pixel(uint16_t code) {
    return find_format(code)->bytes_per_pixel;
}

} // namespace tool
