// Generic reading and writing: calls the reader or writer of the file format for each strip.
#include <algorithm>
#include <iterator>
#include <utility>

#include "core/image.h"
#include "core/memory_image.h"
#include "core/report.h"
#include "files/detect.h"
#include "files/tga.h"
#include "files/tiff.h"

using namespace viq;

namespace {

constexpr const char *read_name = "VIQ_image_read";
constexpr const char *write_name = "VIQ_image_write";

using file_function = u32 (*)(u32 hImage, u16 wMode);
using opened_file_function = u32 (*)(u32 hImage, u16 mode, unique_stream opened);

u32 read_wavelet_file(u32 hImage, u16 mode);
u32 read_jpeg(u32 hImage, u16 mode);

// Null: the format is not read or not written.
struct file_format {
    u32 code;
    file_function read;
    file_function write;
    // Null: the reader opens the file itself, because it sets the buffer of the stream before it
    // reads, or because the file belongs to the image's JPEG or wavelet record.
    opened_file_function read_opened = nullptr;
};

constexpr file_format file_formats[] = {
    {VIQ_FILE_TIFF, VIQ_read_TIFF_file, VIQ_write_TIFF_file, read_opened_tiff},
    {VIQ_FILE_TGA, VIQ_read_TGA_file, VIQ_write_TGA_file, read_opened_tga},
    {VIQ_FILE_TGA + 1, nullptr, VIQ_write_TGA_file},
    {VIQ_FILE_TGA + 2, nullptr, VIQ_write_TGA_file},
    {VIQ_FILE_EPS, VIQ_read_EPS_file, VIQ_write_EPS_file},
    {VIQ_FILE_JPEG, read_jpeg, VIQ_JPEG_file_write},
    {VIQ_FILE_BMP, VIQ_read_BMP_file, VIQ_write_BMP_file},
    {VIQ_FILE_RAW, nullptr, VIQ_write_raw_data_file},
    {VIQ_FILE_WAVELET, read_wavelet_file, VIQ_WVLT_file_write},
};

// The reader of the format has the strip sequence.
struct generic_read {
    bool under_way = false;
    u32 code = 0;
    u32 lines_done = 0;
    unique_stream file; // opened for detection, until the reader takes it over
    const tVIQ_Image *image = nullptr;
};

void end_sequences(generic_read &state, const tVIQ_Image *image);

VIQ_PER_CONTEXT(generic_read, reading);

struct source {
    u32 hImage;
    u32 hMemory;
};

file_format find_file_format(u32 code);
u32 start_reading(const tVIQ_Image &image, u32 hMemory);
u32 read_whole_header(const source &from, tVIQ_Image &image);
u32 read_strip(const source &from, const tVIQ_Image &image);
u32 call_reader(const source &from, u16 mode);
u32 end_reading(const source &from, u32 code);
u32 finish_reading(const source &from);

u32 report_unrecognised(const char *function) {
    return report(function, VIQ_ERR_UNSUPPORTED, "Unsupported/unrecognized image format");
}

} // namespace

u32 VIQ_image_read(u32 hImage, u32 hMemory, u16 wMode) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    const source from = {hImage, hMemory};
    if (wMode == VIQ_STRIP_FINISH && reading->under_way)
        return finish_reading(from);
    tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return end_reading(from, report_bad_handle(read_name));
    if (!reading->under_way) {
        u32 code = start_reading(*image, hMemory);
        // Wavelet files are read completely by one call, which needs no size.
        if (!is_error(code) && image->height == VIQ_HEIGHT_UNKNOWN &&
            reading->code != VIQ_FILE_WAVELET)
            code = read_whole_header(from, *image);
        if (is_error(code))
            return code;
    }
    reading->image = image;
    companion(*image).in_sequence = true;
    switch (wMode) {
    case VIQ_STRIP_NEXT:
        return read_strip(from, *image);
    case VIQ_STRIP_FINISH:
        return finish_reading(from);
    default:
        return end_reading(from, VIQ_ERR_STATE);
    }
}

u32 VIQ_image_write(u32 hImage, u32 hMemory, u16 wFormat, u16 wMode) {
    if (wFormat == VIQ_FILE_MEMORY)
        return VIQ_write_to_memory(hImage, hMemory, wMode);
    const file_function write = find_file_format(wFormat).write;
    return write != nullptr ? write(hImage, wMode) : report_unrecognised(write_name);
}

namespace {

void end_sequences(generic_read &state, const tVIQ_Image *image) {
    if (image == nullptr || image == state.image)
        state = {};
}

file_format find_file_format(u32 code) {
    const auto *found =
        std::find_if(std::begin(file_formats), std::end(file_formats),
                     [code](const file_format &format) { return format.code == code; });
    return found != std::end(file_formats) ? *found : file_format{code, nullptr, nullptr, nullptr};
}

// A wavelet file is closed after each call; there is no sequence to finish.
u32 read_wavelet_file(u32 hImage, u16 mode) {
    return mode == VIQ_STRIP_NEXT ? VIQ_WVLT_file_read(hImage) : report_unrecognised(read_name);
}

u32 start_reading(const tVIQ_Image &image, u32 hMemory) {
    u32 code = VIQ_FILE_MEMORY;
    unique_stream file;
    if (hMemory == 0)
        code = open_and_detect(image.infilename, file);
    if (is_error(code))
        return report(read_name, code, "Failed to recognise file format");
    if (find_file_format(code).read_opened == nullptr)
        file.reset();
    *reading = {true, code, 0, std::move(file)};
    return success;
}

// The size of a new image is unknown: the header is read first, then the whole picture is read as
// one strip. After a failure the image has its initial size again.
u32 read_whole_header(const source &from, tVIQ_Image &image) {
    const u32 lines = image.lines_per_strip;
    image.lines_per_strip = 0;
    image.height = 0;
    u32 code = success;
    if (reading->code == VIQ_FILE_MEMORY) {
        code = begin_read_from_memory(from.hMemory, from.hImage);
        if (is_error(code))
            end_reading(from, code);
    } else {
        const u32 format = reading->code;
        code = read_strip(from, image);
        // A header that sets the lines per strip has ended the sequence like the last strip.
        if (!is_error(code))
            *reading = {true, format, 0, nullptr};
    }
    if (is_error(code)) {
        image.height = VIQ_HEIGHT_UNKNOWN;
        image.lines_per_strip = lines;
    } else {
        image.lines_per_strip = image.height;
    }
    return code;
}

u32 read_strip(const source &from, const tVIQ_Image &image) {
    const u32 code = call_reader(from, VIQ_STRIP_NEXT);
    if (is_error(code))
        return end_reading(from, code);
    reading->lines_done += image.lines_per_strip;
    if (reading->lines_done >= image.height)
        *reading = {};
    return success;
}

u32 call_reader(const source &from, u16 mode) {
    if (reading->code == VIQ_FILE_MEMORY)
        return VIQ_read_from_memory(from.hMemory, from.hImage, mode);
    const file_format format = find_file_format(reading->code);
    if (format.read_opened != nullptr)
        return format.read_opened(from.hImage, mode, std::move(reading->file));
    return format.read != nullptr ? format.read(from.hImage, mode) : report_unrecognised(read_name);
}

u32 finish_reading(const source &from) {
    const u32 code = call_reader(from, VIQ_STRIP_FINISH);
    *reading = {};
    return code;
}

// Reads the coded data of the whole JPEG file, or only the header if the strip has no lines. The
// file is closed after each call.
u32 read_jpeg(u32 hImage, u16 mode) {
    if (mode == VIQ_STRIP_FINISH)
        return success;
    if (VIQ_get_lines_this_strip(hImage) != 0)
        return VIQ_JPEG_file_read(hImage);
    const u32 code = VIQ_JPEG_file_open(hImage);
    return is_error(code) ? code : VIQ_JPEG_file_close(hImage);
}

// After a failure: finishes the reader's own sequence and closes its file.
u32 end_reading(const source &from, u32 code) {
    const file_function read = find_file_format(reading->code).read;
    if (reading->code == VIQ_FILE_MEMORY)
        VIQ_read_from_memory(from.hMemory, from.hImage, VIQ_STRIP_FINISH);
    else if (read != nullptr && reading->code != VIQ_FILE_WAVELET)
        read(from.hImage, VIQ_STRIP_FINISH);
    *reading = {};
    return code;
}

} // namespace
