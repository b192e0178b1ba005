#include "files/stream.h"

#include <algorithm>
#include <bit>

#include "core/geometry.h"
#include "core/image.h"
#include "core/report.h"

#if defined(_WIN32)
#define VIQ_SEEK _fseeki64
#define VIQ_TELL _ftelli64
#else
#define VIQ_SEEK fseeko
#define VIQ_TELL ftello
#endif

namespace viq {

namespace {

u32 open_and_read_header(const strip_reader &reader, const strip_call &call);
u32 read_strip(const strip_reader &reader, u32 hImage, tVIQ_Image &image);
u32 fail_reading(const strip_reader &reader, u32 code);
u32 finish_reading(const strip_reader &reader);

} // namespace

bool seek_to(std::FILE *stream, u64 position) {
    return position <= INT64_MAX && VIQ_SEEK(stream, static_cast<i64>(position), SEEK_SET) == 0;
}

u64 file_size(std::FILE *stream) {
    const auto here = VIQ_TELL(stream);
    if (here < 0 || VIQ_SEEK(stream, 0, SEEK_END) != 0)
        return 0;
    const auto size = VIQ_TELL(stream);
    VIQ_SEEK(stream, here, SEEK_SET);
    return size > 0 ? static_cast<u64>(size) : 0;
}

void write_words(std::FILE *stream, const u8 *words, u64 count, endian order) {
    constexpr bool little_host = std::endian::native == std::endian::little;
    if ((order == endian::little) == little_host) {
        std::fwrite(words, 2, static_cast<std::size_t>(count), stream);
        return;
    }
    u8 swapped[4096];
    while (count > 0) {
        const auto block = static_cast<std::size_t>(std::min<u64>(count, sizeof swapped / 2));
        for (std::size_t i = 0; i < block; ++i) {
            swapped[2 * i] = words[2 * i + 1];
            swapped[2 * i + 1] = words[2 * i];
        }
        std::fwrite(swapped, 2, block, stream);
        words += 2 * block;
        count -= block;
    }
}

u32 create_file(const char *function, write_state &state, const char *path, std::size_t buffer_size,
                const char *mode) {
    state.file.reset(std::fopen(path, mode));
    if (state.file == nullptr)
        return report(function, VIQ_ERR_OPEN, "Failed to create file");
    if (buffer_size != 0)
        std::setvbuf(state.file.get(), nullptr, _IOFBF, buffer_size);
    return success;
}

u32 close_file(const char *function, unique_stream &file) {
    if (file == nullptr)
        return success;
    const bool failed = std::ferror(file.get()) != 0;
    const bool closed = std::fclose(file.release()) == 0;
    return closed && !failed ? success : report(function, VIQ_ERR_CLOSE, "Failed to close file");
}

u32 check_written(const char *function, write_state &state) {
    if (std::ferror(state.file.get()) == 0)
        return success;
    state.sequence = {};
    state.file.reset();
    return report(function, VIQ_ERR_SYSTEM, "Failed to write to file");
}

u32 run_reader(const strip_reader &reader, u32 hImage, u16 mode) {
    read_state &state = *reader.state;
    if (mode == VIQ_STRIP_FINISH)
        return finish_reading(reader);
    tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return report_bad_handle(reader.name);
    if (!state.sequence.under_way) {
        const strip_call call = {nullptr, hImage, 0, image, nullptr, nullptr};
        const u32 code = open_and_read_header(reader, call);
        if (is_error(code))
            return code;
    } else {
        const u32 code = check_image(reader.name, hImage, "VIQ_image_check failed");
        if (is_error(code))
            return fail_reading(reader, code);
        if (state.sequence.geometry != geometry_of(*image))
            return fail_reading(reader, report_changed_image(reader.name));
    }
    if (mode != VIQ_STRIP_NEXT || image->lines_per_strip == 0)
        return success;
    return read_strip(reader, hImage, *image);
}

namespace {

u32 open_and_read_header(const strip_reader &reader, const strip_call &call) {
    read_state &state = *reader.state;
    tVIQ_Image &image = *call.in;
    state.file.reset(std::fopen(image.infilename, reader.open_mode));
    if (state.file == nullptr)
        return report(reader.name, VIQ_ERR_OPEN, "Failed to open file");
    if (reader.unbuffered)
        std::setvbuf(state.file.get(), nullptr, _IONBF, 0);
    u32 code = reader.read_header({state.file.get(), image, call.in_handle, 0});
    if (!is_error(code) && (image.width == 0 || image.height == 0))
        code = report(reader.name, VIQ_ERR_CORRUPT, "Corrupt image");
    if (!is_error(code))
        code = check_image(reader.name, call.in_handle, "VIQ_image_check failed");
    if (is_error(code))
        return fail_reading(reader, code);
    state.sequence = {true, 0, geometry_of(image)};
    return success;
}

u32 read_strip(const strip_reader &reader, u32 hImage, tVIQ_Image &image) {
    read_state &state = *reader.state;
    const bool last = clip_last_strip(image, state.sequence.lines_done);
    u32 code = renew_strip(hImage);
    if (is_error(code))
        return fail_reading(reader, report(reader.name, code, ""));
    code = reader.read_lines({state.file.get(), image, hImage, state.sequence.lines_done});
    if (is_error(code))
        return code == seek_failed ? code : fail_reading(reader, code);
    state.sequence.lines_done += image.lines_per_strip;
    return last ? finish_reading(reader) : success;
}

u32 fail_reading(const strip_reader &reader, u32 code) {
    reader.state->sequence = {};
    reader.state->file.reset();
    return code;
}

u32 finish_reading(const strip_reader &reader) {
    reader.state->sequence = {};
    return close_file(reader.name, reader.state->file);
}

} // namespace

} // namespace viq
