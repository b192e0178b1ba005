// Inserting one image into another.
#include "process/insert.h"

#include <cstring>

#include "core/report.h"

using namespace viq;

namespace {

constexpr const char *name = "VIQ_IP_image_insert";

u32 check_position(const tVIQ_Image &host, const tVIQ_Image &insert, i64 x, i64 y);

} // namespace

u32 VIQ_IP_image_insert(u32 hInImage, u32 hInsertImage, u32 x, u32 y) {
    u32 code = check_image(name, hInImage, "hInImage is corrupt");
    if (!is_error(code))
        code = check_image(name, hInsertImage, "hInsertImage is corrupt");
    if (is_error(code))
        return code;
    const tVIQ_Image &host = *find_image(hInImage);
    const tVIQ_Image &insert = *find_image(hInsertImage);
    if (host.pixel_format != insert.pixel_format)
        return report(name, VIQ_ERR_UNSUPPORTED, "Pixel Formats are different");
    code = check_position(host, insert, x, y);
    if (is_error(code))
        return code;
    if (host.lines_per_strip < host.height || insert.lines_per_strip < insert.height)
        return report(name, VIQ_ERR_UNSUPPORTED, "Images do not match");
    if (!has_lines(host, host.height) || !has_lines(insert, insert.height))
        return report_no_data(name);
    insert_lines(host, x - 1, y - 1, insert, insert.height);
    return success;
}

namespace viq {

void insert_lines(const tVIQ_Image &host, u64 x, u64 y, const tVIQ_Image &insert, u64 lines) {
    if (host.width == 0)
        return;
    const u64 offset = x * (host.bytes_per_line / host.width);
    if (offset + u64{bytes_per_pixel(insert)} * insert.width <= host.bytes_per_line)
        insert_lines_at(host, offset, y, insert, lines);
}

void insert_lines_at(const tVIQ_Image &host, u64 offset, u64 y, const tVIQ_Image &insert,
                     u64 lines) {
    const line_view to = lines_of(host);
    const line_view from = lines_of(insert);
    const std::size_t bytes = std::size_t{bytes_per_pixel(insert)} * insert.width;
    for (u64 n = 0; n < lines; ++n)
        std::memmove(to.line(y + n) + static_cast<std::size_t>(offset), from.line(n), bytes);
}

} // namespace viq

namespace {

u32 check_position(const tVIQ_Image &host, const tVIQ_Image &insert, i64 x, i64 y) {
    if (x == 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "Trying to insert image too far left");
    if (x > i64{host.width} - insert.width + 1)
        return report(name, VIQ_ERR_UNSUPPORTED, "Trying to insert image too far right");
    if (y == 0)
        return report(name, VIQ_ERR_UNSUPPORTED, "Trying to insert image too high");
    if (y > i64{host.height} - insert.height + 1)
        return report(name, VIQ_ERR_UNSUPPORTED, "Trying to insert image too low");
    return success;
}

} // namespace
