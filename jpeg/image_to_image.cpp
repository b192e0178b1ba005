// Coding and decoding between memory images and files.
#include "core/image.h"
#include "core/report.h"
#include "core/strip_driver.h"
#include "jpeg/decoder.h"
#include "jpeg/jpeg_record.h"

using namespace viq;

namespace {

enum : u16 { in_memory = 1, in_file = 2 };
enum : u16 { to_memory = 1, to_file = 2 };

constexpr u32 strip_lines = 8; // of a file that is decoded

void unlock(u32 handle) {
    VIQ_image_set_flags(handle, VIQ_FLAG_LOCKED, 0);
}

u32 read_strip(u32 hInImage, u32 hTemporary, u16 wInMode, u16 wMode) {
    return wInMode == in_memory ? VIQ_image_read(hTemporary, hInImage, wMode)
                                : VIQ_image_read(hInImage, 0, wMode);
}

u32 compress_strip(u32 hIn, u32 hJpeg, u32 hOutImage, u16 wOutMode) {
    if (wOutMode == to_memory) {
        const u32 code = VIQ_JPEG_compress(hIn, hJpeg);
        return is_error(code) ? code : VIQ_JPEG_build_image(hJpeg, hOutImage, VIQ_STRIP_NEXT);
    }
    if (wOutMode == to_file) {
        const u32 code = VIQ_JPEG_compress(hIn, hOutImage);
        return is_error(code) ? code : VIQ_JPEG_file_write(hOutImage, VIQ_STRIP_NEXT);
    }
    return success;
}

u32 compress_strips(u32 hInImage, u32 hTemporary, u32 hJpeg, u32 hOutImage, u16 wInMode,
                    u16 wOutMode) {
    // The number of strips is valid after the first strip has been read.
    for (u32 strip = 0; strip < VIQ_image_calc_total_strips(hInImage); ++strip) {
        if (wInMode != in_memory && wInMode != in_file)
            continue;
        u32 code = read_strip(hInImage, hTemporary, wInMode, VIQ_STRIP_NEXT);
        if (is_error(code))
            return code;
        code = compress_strip(wInMode == in_memory ? hTemporary : hInImage, hJpeg, hOutImage,
                              wOutMode);
        if (is_error(code)) {
            // After the last strip, the reader has ended its sequence.
            if (strip + 1 < VIQ_image_calc_total_strips(hInImage))
                read_strip(hInImage, hTemporary, wInMode, VIQ_STRIP_FINISH);
            return code;
        }
    }
    return success;
}

u32 write_strip(u32 hStrip, u32 hOutImage, u16 wOutMode, u16 wMode) {
    return wOutMode == to_memory ? VIQ_write_to_memory(hStrip, hOutImage, wMode)
                                 : VIQ_image_write(hOutImage, 0, wOutMode, wMode);
}

u32 decompress_strips(u32 hJpegImage, u32 hOutImage, u32 hTemporary, u16 wOutMode) {
    const u32 hStrip = wOutMode == to_memory ? hTemporary : hOutImage;
    u32 code = success;
    bool writing = false;
    do {
        code = VIQ_JPEG_decompress(hJpegImage, hStrip, VIQ_STRIP_NEXT);
        if (is_error(code))
            break;
        code = write_strip(hStrip, hOutImage, wOutMode, VIQ_STRIP_NEXT);
        // After a failed write, the file is closed already.
        writing = !is_error(code) || wOutMode == to_memory;
    } while (!is_error(code) && decode_under_way());
    if (is_error(code) && decode_under_way())
        VIQ_JPEG_decompress(hJpegImage, hStrip, VIQ_STRIP_FINISH);
    if (is_error(code) && writing)
        write_strip(hStrip, hOutImage, wOutMode, VIQ_STRIP_FINISH);
    return code;
}

} // namespace

u32 VIQ_JPEG_compress_image_to_image(u32 hInImage, u32 hOutImage, u16 wInMode, u16 wOutMode) {
    constexpr const char *name = "VIQ_JPEG_compress_image_to_image";
    if (find_image(hInImage) == nullptr)
        return report_bad_handle(name);
    if (const u32 code = check_record(name, hOutImage); is_error(code))
        return code;
    const scoped_image temporary;
    if (is_error(temporary.handle))
        return temporary.handle;
    const u32 hJpeg = VIQ_JPEG_image_create();
    if (is_error(hJpeg))
        return hJpeg;
    u32 code = VIQ_image_copy_parameters(hOutImage, hJpeg);
    if (!is_error(code))
        code = compress_strips(hInImage, temporary.handle, hJpeg, hOutImage, wInMode, wOutMode);
    unlock(temporary.handle);
    VIQ_image_destroy(hJpeg);
    return code;
}

u32 VIQ_JPEG_decompress_image_to_image(u32 hJpegImage, u32 hOutImage, u16 wInMode, u16 wOutMode) {
    constexpr const char *name = "VIQ_JPEG_decompress_image_to_image";
    Tjpeg *record = nullptr;
    if (const u32 code = need_record(name, hJpegImage, record); is_error(code))
        return code;
    if (find_image(hOutImage) == nullptr)
        return report_bad_handle(name);
    if (find_image(hJpegImage) == find_image(hOutImage))
        return report_same_image(name);
    u32 code = success;
    if (wInMode == in_file && record->file == nullptr) {
        code = VIQ_JPEG_file_read(hJpegImage);
        if (is_error(code))
            return code;
        find_image(hJpegImage)->lines_per_strip = strip_lines;
    }
    const u16 format = find_image(hOutImage)->pixel_format == VIQ_YUV422 ? VIQ_YUV422 : VIQ_RGB24;
    const scoped_image temporary;
    if (is_error(temporary.handle))
        return temporary.handle;
    code = VIQ_image_copy_parameters_raw(hJpegImage, hOutImage);
    if (is_error(code))
        return code;
    unlock(hOutImage);
    VIQ_image_set_parameter(hOutImage, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(temporary.handle, VIQ_IMAGE_TYPE, format);
    if (find_image(hJpegImage)->lines_per_strip == 0)
        return success;
    return decompress_strips(hJpegImage, hOutImage, temporary.handle, wOutMode);
}
