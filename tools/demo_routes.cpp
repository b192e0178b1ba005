#include "tools/demo_routes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>
#include <vector>

#include "tools/pipeline.h"
#include "tools/pixel_format_table.h"
#include "tools/psnr.h"

namespace tool {

namespace {

// PSNR in dB of each pair of formats.
using route_table = std::map<std::pair<uint16_t, uint16_t>, double>;

// PSNR after the conversion to one format, to the other, and back to RGB24.
double run_route(const image &original, uint16_t from, uint16_t to) {
    const std::string name = format_name(from) + " to " + format_name(to);
    picture_source source = picture_in_memory(original.handle, name);
    route way = route_from(source.header);
    way.is_whole = true;
    for (uint16_t format : {from, to, uint16_t{VIQ_RGB24}})
        extend(way, format, name);
    return psnr_of(original, run_to_memory({source, way.steps}));
}

std::string cell(const route_table &routes, uint16_t from, uint16_t to) {
    const auto found = routes.find({from, to});
    if (found == routes.end())
        return "<td class=\"none\">&middot;</td>";
    const std::string value = std::isinf(found->second) ? "=" : fixed_point(found->second, 0);
    return "<td title=\"" + format_name(from) + " to " + format_name(to) + ": " +
           psnr_text(found->second) + "\">" + value + "</td>";
}

std::string table_html(const route_table &routes) {
    std::vector<uint16_t> rows;
    std::vector<uint16_t> columns;
    for (const pixel_format &f : pixel_formats()) {
        const auto has = [&routes, code = f.code](auto end_of) {
            return std::any_of(routes.begin(), routes.end(),
                               [&](const auto &r) { return end_of(r.first) == code; });
        };
        if (has([](const auto &pair) { return pair.first; }))
            rows.push_back(f.code);
        if (has([](const auto &pair) { return pair.second; }))
            columns.push_back(f.code);
    }
    std::string text = "<div class=\"panel\"><table class=\"routes\"><colgroup><col></colgroup>"
                       "<thead><tr><td></td>";
    for (const uint16_t to : columns)
        text += "<th>" + format_name(to) + "</th>";
    text += "</tr></thead><tbody>\n";
    for (const uint16_t from : rows) {
        text += "<tr><th>" + format_name(from) + "</th>";
        for (const uint16_t to : columns)
            text += cell(routes, from, to);
        text += "</tr>\n";
    }
    return text + "</tbody></table></div>\n";
}

} // namespace

route_results run_all_routes(const std::string &photo) {
    const image original = read_as_rgb24(photo);
    route_table routes;
    for (const pixel_format &from : pixel_formats())
        for (const pixel_format &to : pixel_formats())
            if (from.is_target && to.is_target && from.code != to.code &&
                library_converts(from.code, to.code, true))
                routes[{from.code, to.code}] = run_route(original, from.code, to.code);
    section s = {.id = "routes",
                 .title = "All conversions",
                 .intro = "The photograph is converted to the format of the row, by one converter "
                          "of the library to the format of the column, and back to RGB24. The "
                          "numbers are the PSNR in dB; = means that no pixel has changed. There "
                          "are " +
                          std::to_string(routes.size()) + " converters."};
    s.table = table_html(routes);
    return {routes.size(), s};
}

} // namespace tool
