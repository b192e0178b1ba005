// Whole pictures through the coder, from memory or files to memory or files.
#include "core/image.h"
#include "core/report.h"
#include "jpeg/decoder.h"
#include "jpeg/record.h"

using namespace viq;

namespace {

enum : u16 { in_memory = 1, in_file = 2 };
enum : u16 { to_memory = 1, to_file = 2 };

void unlock(u32 handle) {
    VIQ_image_set_flags(handle, VIQ_FLAG_LOCKED, 0);
}

u32 pass_on(u32 hIn, u32 hJpeg, u32 hOutImage, u16 wOutMode) {
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
    // The number of strips is known when the first one has been read.
    for (u32 strip = 0; strip < VIQ_image_calc_total_strips(hInImage); ++strip) {
        u32 code = success;
        if (wInMode == in_memory)
            code = VIQ_image_read(hTemporary, hInImage, VIQ_STRIP_NEXT);
        else if (wInMode == in_file)
            code = VIQ_image_read(hInImage, 0, VIQ_STRIP_NEXT);
        else
            continue;
        if (!is_error(code))
            code =
                pass_on(wInMode == in_memory ? hTemporary : hInImage, hJpeg, hOutImage, wOutMode);
        if (is_error(code)) {
            VIQ_image_read(wInMode == in_memory ? hTemporary : hInImage,
                           wInMode == in_memory ? hInImage : 0, VIQ_STRIP_FINISH);
            return code;
        }
    }
    return success;
}

u32 decompress_strips(u32 hJpegImage, u32 hOutImage, u32 hTemporary, u16 wOutMode) {
    u32 code = success;
    do {
        if (wOutMode == to_memory) {
            code = VIQ_JPEG_decompress(hJpegImage, hTemporary, VIQ_STRIP_NEXT);
            if (!is_error(code))
                code = VIQ_write_to_memory(hTemporary, hOutImage, VIQ_STRIP_NEXT);
        } else {
            code = VIQ_JPEG_decompress(hJpegImage, hOutImage, VIQ_STRIP_NEXT);
            if (!is_error(code))
                code = VIQ_image_write(hOutImage, 0, wOutMode, VIQ_STRIP_NEXT);
        }
    } while (!is_error(code) && decode_under_way());
    if (is_error(code) && decode_under_way()) {
        VIQ_JPEG_decompress(hJpegImage, hTemporary, VIQ_STRIP_FINISH);
        if (wOutMode == to_memory)
            VIQ_write_to_memory(hTemporary, hOutImage, VIQ_STRIP_FINISH);
        else
            VIQ_image_write(hOutImage, 0, wOutMode, VIQ_STRIP_FINISH);
    }
    return code;
}

} // namespace

u32 VIQ_JPEG_compress_image_to_image(u32 hInImage, u32 hOutImage, u16 wInMode, u16 wOutMode) {
    constexpr const char *name = "VIQ_JPEG_compress_image_to_image";
    if (find_image(hInImage) == nullptr)
        return report_bad_handle(name);
    if (need_record(name, hOutImage) == nullptr)
        return VIQ_ERR_HANDLE;
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
    const Tjpeg *record = need_record(name, hJpegImage);
    if (record == nullptr)
        return VIQ_ERR_HANDLE;
    if (find_image(hOutImage) == nullptr)
        return report_bad_handle(name);
    u32 code = success;
    if (wInMode == in_file && record->file == nullptr) {
        code = VIQ_JPEG_file_read(hJpegImage);
        if (is_error(code))
            return code;
        find_image(hJpegImage)->lines_per_strip = 8;
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
    return decompress_strips(hJpegImage, hOutImage, temporary.handle, wOutMode);
}
