#include "tools/stored_picture.h"

#include <vector>

#include "tools/file_lines.h"
#include "tools/strip_stages.h"

namespace tool {

namespace {

void seek_line(const stored_picture &picture, uint32_t line, const std::string &name) {
    const uint64_t offset = uint64_t{line} * picture.line_bytes;
#ifdef _WIN32
    const int result = _fseeki64(picture.file.get(), static_cast<int64_t>(offset), SEEK_SET);
#else
    const int result = fseeko(picture.file.get(), static_cast<off_t>(offset), SEEK_SET);
#endif
    if (result != 0)
        fail_by_system(name, "a temporary file cannot be read");
}

} // namespace

strip_sink store_strips(const std::shared_ptr<stored_picture> &picture, const std::string &name) {
    const auto take = [picture, name](uint32_t strip, bool is_last) {
        const pixels from = pixels_of(strip);
        if (picture->file == nullptr) {
            picture->file = open_or_fail(text_of(picture->folder.path / "lines"), "w+b", name,
                                         "a temporary file cannot be created");
            picture->line_bytes = static_cast<uint32_t>(packed_bytes(format_of(strip), from.width));
            picture->height = VIQ_get_height(strip);
            picture->first_strip = image();
            shape_like(strip, picture->height, 1, picture->first_strip.handle, name);
        }
        for (uint32_t y = 0; y < from.lines; ++y)
            if (std::fwrite(from.line(y), 1, picture->line_bytes, picture->file.get()) !=
                picture->line_bytes)
                fail_by_system(name, "a temporary file cannot be written");
        if (is_last && std::fflush(picture->file.get()) != 0)
            fail_by_system(name, "a temporary file cannot be written");
    };
    return {take};
}

void read_stored(const stored_picture &picture, uint32_t first, uint32_t count, uint32_t handle,
                 const std::string &name) {
    shape_like(picture.first_strip.handle, picture.height, count, handle, name);
    const pixels to = pixels_of(handle);
    seek_line(picture, picture.from_last_line ? picture.height - first - count : first, name);
    for (uint32_t y = 0; y < count; ++y)
        if (std::fread(to.line(picture.from_last_line ? count - 1 - y : y), 1, picture.line_bytes,
                       picture.file.get()) != picture.line_bytes)
            fail_by_system(name, "a temporary file cannot be read");
}

} // namespace tool
