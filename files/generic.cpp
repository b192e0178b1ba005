// Generic reading and writing: the format's reader or writer, strip by strip.
#include <algorithm>
#include <iterator>

#include "core/image.h"
#include "core/memory_image.h"
#include "core/report.h"

using namespace viq;

namespace {

constexpr const char *read_name = "VIQ_image_read";
constexpr const char *write_name = "VIQ_image_write";

using file_function = u32 (*)(u32 hImage, u16 wMode);

u32 read_wavelet_file(u32 hImage, u16 mode);

// Null: the format is not read or not written.
struct file_format {
    u32 code;
    file_function read;
    file_function write;
};

u32 read_jpeg(u32 hImage, u16 mode);

constexpr file_format file_formats[] = {
    {VIQ_FILE_TIFF, VIQ_read_TIFF_file, VIQ_write_TIFF_file},
    {VIQ_FILE_TGA, VIQ_read_TGA_file, VIQ_write_TGA_file},
    {VIQ_FILE_TGA + 1, nullptr, VIQ_write_TGA_file},
    {VIQ_FILE_TGA + 2, nullptr, VIQ_write_TGA_file},
    {VIQ_FILE_EPS, VIQ_read_EPS_file, VIQ_write_EPS_file},
    {VIQ_FILE_JPEG, read_jpeg, VIQ_JPEG_file_write},
    {VIQ_FILE_BMP, VIQ_read_BMP_file, VIQ_write_BMP_file},
    {VIQ_FILE_RAW, nullptr, VIQ_write_raw_data_file},
    {VIQ_FILE_WAVELET, read_wavelet_file, VIQ_WVLT_file_write},
};

struct generic_read {
    bool under_way = false;
    u32 code = 0;
    u32 lines_done = 0;
};

generic_read reading;

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
    if (wMode == VIQ_STRIP_FINISH && reading.under_way)
        return finish_reading(from);
    tVIQ_Image *image = find_image(hImage);
    if (image == nullptr)
        return end_reading(from, report_bad_handle(read_name));
    if (!reading.under_way) {
        u32 code = start_reading(*image, hMemory);
        // A wavelet file has no header to read ahead: it comes whole, and as a stream.
        if (!is_error(code) && image->height == VIQ_HEIGHT_UNKNOWN &&
            reading.code != VIQ_FILE_WAVELET)
            code = read_whole_header(from, *image);
        if (is_error(code))
            return code;
    }
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

file_format find_file_format(u32 code) {
    const auto *found =
        std::find_if(std::begin(file_formats), std::end(file_formats),
                     [code](const file_format &format) { return format.code == code; });
    return found != std::end(file_formats) ? *found : file_format{code, nullptr, nullptr};
}

// Nothing stays open after a wavelet file, so that there is nothing to finish either.
u32 read_wavelet_file(u32 hImage, u16 mode) {
    return mode == VIQ_STRIP_NEXT ? VIQ_WVLT_file_read(hImage) : report_unrecognised(read_name);
}

u32 start_reading(const tVIQ_Image &image, u32 hMemory) {
    u32 code = VIQ_FILE_MEMORY;
    if (hMemory == 0)
        code = VIQ_image_find_file_format(image.infilename);
    if (is_error(code))
        return report(read_name, code, "Failed to recognise file format");
    reading = {true, code, 0};
    return success;
}

// A new image does not know its size yet: the header alone is read first, and then the whole
// picture comes as one strip. After a failure the image is new again.
u32 read_whole_header(const source &from, tVIQ_Image &image) {
    const u32 lines = image.lines_per_strip;
    image.lines_per_strip = 0;
    image.height = 0;
    u32 code = success;
    if (reading.code == VIQ_FILE_MEMORY) {
        code = begin_read_from_memory(from.hMemory, from.hImage);
        if (is_error(code))
            end_reading(from, code);
    } else {
        const u32 format = reading.code;
        code = read_strip(from, image);
        // A header that says the lines of a strip ends the reading as their strip would.
        if (!is_error(code))
            reading = {true, format, 0};
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
    reading.lines_done += image.lines_per_strip;
    if (reading.lines_done >= image.height)
        reading = {};
    return success;
}

u32 call_reader(const source &from, u16 mode) {
    if (reading.code == VIQ_FILE_MEMORY)
        return VIQ_read_from_memory(from.hMemory, from.hImage, mode);
    const file_function read = find_file_format(reading.code).read;
    return read != nullptr ? read(from.hImage, mode) : report_unrecognised(read_name);
}

u32 finish_reading(const source &from) {
    const u32 code = call_reader(from, VIQ_STRIP_FINISH);
    reading = {};
    return code;
}

// A JPEG file is read whole, unless only its header is asked for; it is closed after every call.
u32 read_jpeg(u32 hImage, u16 mode) {
    if (mode == VIQ_STRIP_FINISH)
        return success;
    if (VIQ_get_lines_this_strip(hImage) != 0)
        return VIQ_JPEG_file_read(hImage);
    const u32 code = VIQ_JPEG_file_open(hImage);
    return is_error(code) ? code : VIQ_JPEG_file_close(hImage);
}

// Whatever the reader still holds open goes with the failed read.
u32 end_reading(const source &from, u32 code) {
    const file_function read = find_file_format(reading.code).read;
    if (reading.code == VIQ_FILE_MEMORY)
        VIQ_read_from_memory(from.hMemory, from.hImage, VIQ_STRIP_FINISH);
    else if (read != nullptr && reading.code != VIQ_FILE_WAVELET)
        read(from.hImage, VIQ_STRIP_FINISH);
    reading = {};
    return code;
}

} // namespace
