// Every allocation and every file operation of every public function fails once. The call then
// reports an error or does without, the next one works, and nothing leaks.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>

#include "core/allocation.h"
#include "core/file_io.h"
#include "tests/support.h"

namespace viq {
namespace {

constexpr const char *public_functions[] = {
#include "public_functions.inc"
};

// ---- What a scenario works with

constexpr u32 width = 24, height = 16;

struct stage {
    u32 in, out, third;
    std::string file;
};

u32 make_picture(u16 format) {
    const u32 handle = VIQ_image_create();
    VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(handle, VIQ_WIDTH, width);
    VIQ_image_set_parameter(handle, VIQ_HEIGHT, height);
    VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, height);
    VIQ_image_set_parameter(handle, VIQ_DATA_WIDTH, format == VIQ_Y16 ? 12 : 8);
    VIQ_cmap_set_type(handle, VIQ_CMAP_CUBE);
    VIQ_image_malloc_a_strip(handle);
    auto *image = static_cast<tVIQ_Image *>(VIQ_image_get_ptr(handle, VIQ_PTR_IMAGE));
    for (std::size_t i = 0; i < std::size_t{image->bytes_per_line} * height; ++i)
        image->data[i] = static_cast<u8>(format == VIQ_Y16 && i % 2 != 0 ? i % 16 : i * 7);
    return handle;
}

u32 make_jpeg(u32 picture) {
    const u32 jpeg = VIQ_JPEG_image_create();
    VIQ_JPEG_compress(picture, jpeg);
    return jpeg;
}

u32 make_wavelet(u32 picture, u16 type) {
    const u32 wavelet = VIQ_WVLT_image_create(type);
    VIQ_WVLT_compress(picture, wavelet, VIQ_STRIP_NEXT);
    return wavelet;
}

void set_image_file(const stage &s, u32 handle) {
    VIQ_image_set_infilename(handle, s.file.c_str());
    VIQ_image_set_outfilename(handle, s.file.c_str());
}

// The handle becomes 0, the object is destroyed.
u32 only_created(u32 handle, u32 (*destroy)(u32) = VIQ_image_destroy) {
    return is_error(handle) ? handle : destroy(handle);
}

// Functions that return null report nothing.
u32 only_allocated(void *memory, void (*release)(void *) = std::free) {
    release(memory);
    return memory != nullptr ? success : VIQ_ERR_MEMORY;
}

template <u32 (*write)(u32, u16)> void written(stage &s) {
    set_image_file(s, s.in);
    write(s.in, VIQ_STRIP_NEXT);
    set_image_file(s, s.out);
}

template <u32 (*read)(u32, u16)> u32 read_whole(const stage &s) {
    set_lines(s.out, 0);
    u32 code = read(s.out, VIQ_STRIP_NEXT);
    if (!is_error(code)) {
        set_lines(s.out, height);
        code = read(s.out, VIQ_STRIP_NEXT);
    }
    if (is_error(code))
        read(s.out, VIQ_STRIP_FINISH);
    return code;
}

template <u32 (*write)(u32, u16)> u32 write_strips(const stage &s) {
    set_image_file(s, s.in);
    u32 code = success;
    for (u32 done = 0; done < height && !is_error(code); done += 4) {
        set_lines(s.in, 4);
        code = write(s.in, VIQ_STRIP_NEXT);
    }
    if (is_error(code))
        write(s.in, VIQ_STRIP_FINISH);
    return code;
}

void as_jpeg(stage &s) {
    s.in = make_jpeg(s.in);
    set_image_file(s, s.in);
    VIQ_JPEG_file_write(s.in, VIQ_STRIP_NEXT);
    s.third = VIQ_JPEG_image_create();
    set_image_file(s, s.third);
}

void as_conforming_jpeg(stage &s) {
    as_jpeg(s);
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
    VIQ_JPEG_file_read(s.third);
}

void as_wavelet(stage &s) {
    s.in = make_wavelet(s.in, 1);
    set_image_file(s, s.in);
    VIQ_WVLT_file_write(s.in, VIQ_STRIP_NEXT);
    s.third = VIQ_WVLT_image_create(1);
    set_image_file(s, s.third);
}

void as_huffman_wavelet(stage &s) {
    s.in = make_wavelet(s.in, 0);
}

template <u16 format> void third_like(stage &s) {
    s.third = make_picture(format);
    s.out = make_picture(format);
}

// ---- The scenarios

struct scenario {
    const char *function;
    u16 format; // of the input
    u32 (*call)(const stage &s);
    void (*prepare)(stage &s) = nullptr;
    bool uses_files = false;
};

#define CALL(expression) [](const stage &s [[maybe_unused]]) -> u32 { return expression; }
#define CONVERTS(function, format)                                                                 \
    { #function, format, CALL(function(s.in, s.out, VIQ_STRIP_NEXT)) }
#define READS(read, write, format)                                                                 \
    { #read, format, read_whole < read>, written < write>, true }
#define WRITES(write, format)                                                                      \
    { #write, format, write_strips < write>, nullptr, true }

constexpr i32 blur[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
constexpr u16 gains[4] = {256, 300, 300, 280};
tVIQ_Histogram histogram;
tVIQ_Average averages;
u8 stream_buffer[20000];
u32 stream_length;
constexpr u32 pfnc_mono8 = 0x01080001;

u32 buffer_of_wavelet(u32 wavelet) {
    stream_length = sizeof stream_buffer;
    return VIQ_WVLT_buffer_write(wavelet, stream_buffer, &stream_length);
}

u32 run_in_a_context() {
    const u32 made = VIQ_context_create();
    return is_error(made) ? made : VIQ_context_destroy(made);
}

const scenario scenarios[] = {
    // Images
    {"VIQ_image_create", VIQ_Y8, CALL(only_created(VIQ_image_create()))},
    {"VIQ_context_create", VIQ_Y8, CALL(run_in_a_context())},
    {"VIQ_image_create_cmap", VIQ_Y8,
     CALL(only_allocated(VIQ_image_create_cmap(), [](void *map) {
         const u32 user = VIQ_image_create();
         VIQ_image_set_ptr(user, VIQ_PTR_CMAP, map);
         VIQ_image_destroy(user);
     }))},
    {"VIQ_cmap_create_info", VIQ_Y8, CALL(only_allocated(VIQ_cmap_create_info()))},
    {"VIQ_malloc_N_lines", VIQ_Y8, CALL(only_allocated(VIQ_malloc_N_lines(s.in, 3)))},
    {"VIQ_DebugMalloc", VIQ_Y8,
     CALL(only_allocated(VIQ_DebugMalloc(10), [](void *memory) { VIQ_DebugFree(memory); }))},
    {"VIQ_image_malloc_a_strip", VIQ_Y8,
     CALL(VIQ_image_free_data(s.in) + VIQ_image_malloc_a_strip(s.in))},
    {"VIQ_image_copy", VIQ_RGB24, CALL(VIQ_image_copy(s.in, s.out))},
    {"VIQ_image_copy", VIQ_RGB24, CALL(VIQ_image_copy(s.in, s.third)), as_jpeg},
    {"VIQ_image_copy_parameters", VIQ_RGB24, CALL(VIQ_image_copy_parameters(s.in, s.out)),
     [](stage &s) { VIQ_cmap_generate(s.in, 300, VIQ_STRIP_NEXT); }},
    {"VIQ_image_copy_parameters_raw", VIQ_RGB24, CALL(VIQ_image_copy_parameters_raw(s.in, s.out)),
     [](stage &s) { VIQ_cmap_generate(s.in, 300, VIQ_STRIP_NEXT); }},
    {"VIQ_image_move", VIQ_RGB24, CALL(VIQ_image_copy(s.third, s.in) + VIQ_image_move(s.in, s.out)),
     third_like<VIQ_RGB24>},
    {"VIQ_image_set_ptr", VIQ_Y8,
     CALL([](u32 handle) {
         static tVIQ_Image own;
         own = {};
         const u32 code = VIQ_image_set_ptr(handle, VIQ_PTR_IMAGE, &own);
         VIQ_image_set_ptr(handle, VIQ_PTR_IMAGE, nullptr);
         return code;
     }(s.out))},
    CONVERTS(VIQ_write_to_memory, VIQ_RGB24),
    CONVERTS(VIQ_read_from_memory, VIQ_RGB24),
    {"VIQ_test_pattern", VIQ_RGB24, CALL(VIQ_test_pattern(s.in, VIQ_STRIP_NEXT))},
    {"VIQ_cmap_copy", VIQ_RGB24, CALL(VIQ_cmap_copy(s.in, s.out)),
     [](stage &s) { VIQ_cmap_generate(s.in, 300, VIQ_STRIP_NEXT); }},
    {"VIQ_cmap_generate", VIQ_RGB24, CALL(VIQ_cmap_generate(s.in, 300, VIQ_STRIP_NEXT))},
    {"VIQ_cmap_set_bits", VIQ_RGB24, CALL(VIQ_cmap_set_bits(s.in, 3, 3, 3, 3))},
    {"VIQ_cmap_get_occurrences", VIQ_RGB24,
     CALL(VIQ_cmap_generate(s.in, 300, VIQ_STRIP_NEXT) + 0 * VIQ_cmap_get_occurrences(s.in, 1))},
    // Conversions
    CONVERTS(VIQ_convert_to_BGR24, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_BGRX32, VIQ_Y8),
    CONVERTS(VIQ_convert_to_CMYK32, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_RGB15, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_RGB16, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_RGB24, VIQ_BGR24),
    CONVERTS(VIQ_convert_to_RGB8, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_RGB8_dither, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_RGBX32, VIQ_Y8),
    CONVERTS(VIQ_convert_to_XBGR32, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_XRGB32, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_Y16, VIQ_Y8),
    CONVERTS(VIQ_convert_to_Y8, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_YUV422, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_paletted, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_paletted_LUT, VIQ_RGB16),
    CONVERTS(VIQ_paletted_to_RGB24_or_Y8, VIQ_PALETTED),
    CONVERTS(VIQ_YUV422_to_BGR24, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_BGRX32, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_HSI, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_RGB15, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_RGB16, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_RGB24, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_RGBX32, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_XBGR32, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_XRGB32, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_Y8, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_BGR24_LUT, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_BGRX32_LUT, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_RGB15_LUT, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_RGB16_LUT, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_RGB24_LUT, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_RGBX32_LUT, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_XBGR32_LUT, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_XRGB32_LUT, VIQ_YUV422),
    CONVERTS(VIQ_YUV422_to_paletted_LUT, VIQ_YUV422),
    {"VIQ_image_convert", VIQ_RGB24,
     CALL(VIQ_image_set_flags(s.out, VIQ_FLAG_DIB, 1) +
          VIQ_image_convert(s.in, s.out, VIQ_RGB24, 24, VIQ_STRIP_NEXT))},
    {"VIQ_image_convert", VIQ_Y16,
     CALL(VIQ_image_set_flags(s.out, VIQ_FLAG_DIB, 1) +
          VIQ_image_convert(s.in, s.out, VIQ_RGB24, 8, VIQ_STRIP_NEXT))},
    // Tables
    {"VIQ_generate_RGB16_to_paletted_LUT", VIQ_RGB16,
     CALL(VIQ_generate_RGB16_to_paletted_LUT(s.in))},
    {"VIQ_generate_Y8_to_paletted_LUT", VIQ_Y8, CALL(VIQ_generate_Y8_to_paletted_LUT(s.in))},
    {"VIQ_generate_Y16_to_paletted_LUT", VIQ_Y16, CALL(VIQ_generate_Y16_to_paletted_LUT(s.in))},
    {"VIQ_generate_YUV422_to_RGB16_LUT", VIQ_Y8, CALL(VIQ_generate_YUV422_to_RGB16_LUT())},
    {"VIQ_generate_YUV422_to_RGB15_LUT", VIQ_Y8, CALL(VIQ_generate_YUV422_to_RGB15_LUT())},
    {"VIQ_generate_YUV422_to_paletted_LUT", VIQ_YUV422,
     CALL(VIQ_generate_YUV422_to_paletted_LUT(s.in))},
    {"VIQ_image_conv_LUT_generate", VIQ_RGB16,
     CALL(VIQ_image_conv_LUT_generate(s.in, VIQ_CONV_LUT_RGB16_TO_PALETTED))},
    {"VIQ_image_conv_LUT_save", VIQ_Y8,
     CALL(VIQ_image_conv_LUT_save(s.in, VIQ_CONV_LUT_Y8_TO_PALETTED, s.file.c_str())),
     [](stage &s) { VIQ_image_conv_LUT_generate(s.in, VIQ_CONV_LUT_Y8_TO_PALETTED); }, true},
    {"VIQ_image_conv_LUT_load", VIQ_Y8,
     CALL(VIQ_image_conv_LUT_load(s.in, VIQ_CONV_LUT_Y8_TO_PALETTED, s.file.c_str())),
     [](stage &s) {
         VIQ_image_conv_LUT_generate(s.in, VIQ_CONV_LUT_Y8_TO_PALETTED);
         VIQ_image_conv_LUT_save(s.in, VIQ_CONV_LUT_Y8_TO_PALETTED, s.file.c_str());
         VIQ_image_conv_LUT_destroy(VIQ_CONV_LUT_Y8_TO_PALETTED);
     },
     true},
    {"VIQ_LUT_create", VIQ_Y8, CALL(only_created(VIQ_LUT_create(256, 1), VIQ_LUT_destroy))},
    {"VIQ_LUT_apply", VIQ_RGB24, CALL(VIQ_LUT_apply(s.in, s.out, 1, VIQ_STRIP_NEXT)),
     [](stage &) { VIQ_LUT_create(256, 1); }},
    {"VIQ_CK_generate_UV_to_hue_LUT", VIQ_Y8, CALL(VIQ_CK_generate_UV_to_hue_LUT())},
    // Processing
    {"VIQ_IP_crop", VIQ_RGB24, CALL(VIQ_IP_crop(s.in, s.out, 2, 2, 8, 8, VIQ_STRIP_NEXT))},
    {"VIQ_IP_mirror", VIQ_RGB24, CALL(VIQ_IP_mirror(s.in, s.out, 2, 2, 8, 8, VIQ_STRIP_NEXT))},
    CONVERTS(VIQ_IP_mirror_image, VIQ_RGB24),
    {"VIQ_IP_image_insert", VIQ_RGB24, CALL(VIQ_IP_image_insert(s.out, s.third, 0, 0)),
     third_like<VIQ_RGB24>},
    {"VIQ_IP_subsample", VIQ_RGB24, CALL(VIQ_IP_subsample(s.in, s.out, 2, VIQ_STRIP_NEXT))},
    {"VIQ_IP_pixel_rep", VIQ_RGB24, CALL(VIQ_IP_pixel_rep(s.in, s.out, 2, VIQ_STRIP_NEXT))},
    {"VIQ_IP_scale", VIQ_RGB24, CALL(VIQ_IP_scale(s.in, s.out, 30, 20, VIQ_STRIP_NEXT))},
    {"VIQ_IP_rotate_image", VIQ_RGB24, CALL(VIQ_IP_rotate_image(s.in, s.out, 90))},
    {"VIQ_IP_extract_region", VIQ_Y8,
     CALL(VIQ_IP_extract_region(s.in, s.out, 0, 8, 8, 4, VIQ_STRIP_NEXT))},
    {"VIQ_IP_histogram_generate", VIQ_Y8,
     CALL(VIQ_IP_histogram_generate(s.in, &histogram, VIQ_STRIP_NEXT))},
    {"VIQ_IP_threshold_grayscale", VIQ_Y8,
     CALL(VIQ_IP_threshold_grayscale(s.in, s.out, 200, 50, VIQ_STRIP_NEXT))},
    {"VIQ_IP_filter_3x3", VIQ_RGB24, CALL(VIQ_IP_filter_3x3(s.in, s.out, blur, VIQ_STRIP_NEXT))},
    {"VIQ_IP_generate_averages", VIQ_Y8,
     CALL(VIQ_IP_generate_averages(s.in, &averages, VIQ_STRIP_NEXT))},
    {"VIQ_IP_motion_detect", VIQ_Y8,
     CALL([](const stage &s) {
         u32 changed = 0;
         return VIQ_IP_motion_detect(s.in, s.third, 10, 1, &changed);
     }(s)),
     third_like<VIQ_Y8>},
    {"VIQ_IP_ShadingCorrection_Generate", VIQ_Y16,
     CALL(VIQ_IP_ShadingCorrection_Generate(s.in, s.in, s.out, s.third)), third_like<VIQ_Y16>},
    {"VIQ_IP_ShadingCorrection", VIQ_Y16,
     CALL(VIQ_IP_ShadingCorrection(s.in, s.out, s.third, s.third)), third_like<VIQ_Y16>},
    {"VIQ_SPL_2fields_to_frame", VIQ_RGB24,
     CALL(VIQ_SPL_2fields_to_frame(s.in, s.third, s.out, VIQ_STRIP_NEXT)), third_like<VIQ_RGB24>},
    {"VIQ_SPL_field_to_frame", VIQ_RGB24,
     CALL(VIQ_SPL_field_to_frame(s.in, s.out, 1, VIQ_STRIP_NEXT))},
    {"VIQ_SPL_interlace_frame", VIQ_RGB24,
     CALL(VIQ_SPL_interlace_frame(s.in, s.out, VIQ_STRIP_NEXT)),
     [](stage &s) { VIQ_image_set_parameter(s.in, VIQ_PARAM_23, 4); }},
    {"VIQ_SPL_Data32_to_Y8", VIQ_RGBX32,
     CALL(VIQ_SPL_Data32_to_Y8(s.in, s.out, 8, VIQ_STRIP_NEXT))},
    {"VIQ_SPL_XXXX32_to_Y8", VIQ_RGBX32,
     CALL(VIQ_SPL_XXXX32_to_Y8(s.in, s.out, 1, VIQ_STRIP_NEXT))},
    CONVERTS(VIQ_SPL_YUV422_to_RGB_pseudo_colour, VIQ_YUV422),
    CONVERTS(VIQ_SPL_HSI_to_RGB_pseudo_colour, VIQ_HSI),
    {"VIQ_SPL_Y8_to_pseudo_colour", VIQ_Y8,
     CALL(VIQ_SPL_Y8_to_pseudo_colour(s.in, s.out, 0, VIQ_STRIP_NEXT))},
    // Cameras
    CONVERTS(VIQ_BAY_RGB24_to_RGGB32, VIQ_RGB24),
    CONVERTS(VIQ_BAY_RGGB32_map_to_RGB24, VIQ_RGGB32),
    CONVERTS(VIQ_BAY_RGGB32_map_to_Y8, VIQ_RGGB32),
    {"VIQ_BAY_RGGB32_to_BGRX32", VIQ_RGGB32,
     CALL(VIQ_BAY_RGGB32_to_BGRX32(s.in, s.out, 2, 1, VIQ_STRIP_NEXT))},
    {"VIQ_BAY_RGGB32_to_RGB16", VIQ_RGGB32,
     CALL(VIQ_BAY_RGGB32_to_RGB16(s.in, s.out, 2, 1, VIQ_STRIP_NEXT))},
    {"VIQ_BAY_apply_gains", VIQ_RGGB32,
     CALL(VIQ_BAY_apply_gains(s.in, s.out, 1, 0, gains, 100, VIQ_STRIP_NEXT))},
    {"VIQ_CK_create", VIQ_Y8, CALL(only_created(VIQ_CK_create(), VIQ_CK_destroy))},
    {"VIQ_CK_chroma_key", VIQ_YUV422,
     CALL(VIQ_CK_chroma_key(s.in, s.out, 0, 9, 1, 0, VIQ_STRIP_NEXT)),
     [](stage &) { VIQ_CK_create(); }},
    {"VIQ_CK_calibrate", VIQ_YUV422, CALL(VIQ_CK_calibrate(s.in, 1, VIQ_STRIP_NEXT)),
     [](stage &) { VIQ_CK_create(); }},
    {"VIQ_frame_unpack", VIQ_Y8,
     CALL(VIQ_frame_unpack(stream_buffer, sizeof stream_buffer, pfnc_mono8, width, height, 0, s.out,
                           VIQ_STRIP_NEXT))},
    {"VIQ_frame_pack", VIQ_Y8,
     CALL(VIQ_frame_pack(stream_buffer, sizeof stream_buffer, pfnc_mono8, width, height, 0, s.in,
                         VIQ_STRIP_NEXT))},
    // Drawing
    {"VIQ_draw_text", VIQ_RGB24,
     CALL([](u32 image) {
         const tVIQ_Font *font = nullptr;
         VIQ_draw_get_ptr(0, &font);
         return VIQ_draw_text(image, "a", font, 1, 1, 0, 15);
     }(s.in))},
    // Files
    WRITES(VIQ_write_BMP_file, VIQ_RGB24),
    WRITES(VIQ_write_BMP_file, VIQ_PALETTED),
    WRITES(VIQ_write_TIFF_file, VIQ_RGB24),
    WRITES(VIQ_write_TIFF_file, VIQ_Y16),
    WRITES(VIQ_write_TGA_file, VIQ_RGB15),
    WRITES(VIQ_write_EPS_file, VIQ_PALETTED),
    WRITES(VIQ_write_EPS_file, VIQ_Y8),
    WRITES(VIQ_write_raw_data_file, VIQ_RGB24),
    READS(VIQ_read_BMP_file, VIQ_write_BMP_file, VIQ_RGB24),
    READS(VIQ_read_BMP_file, VIQ_write_BMP_file, VIQ_PALETTED),
    READS(VIQ_read_TIFF_file, VIQ_write_TIFF_file, VIQ_RGB24),
    READS(VIQ_read_TIFF_file, VIQ_write_TIFF_file, VIQ_Y16),
    READS(VIQ_read_TGA_file, VIQ_write_TGA_file, VIQ_RGB24),
    READS(VIQ_read_EPS_file, VIQ_write_EPS_file, VIQ_RGB24),
    {"VIQ_image_read", VIQ_RGB24, CALL(VIQ_image_read(s.out, 0, VIQ_STRIP_NEXT)),
     [](stage &s) {
         written<VIQ_write_TIFF_file>(s);
         VIQ_image_set_parameter(s.out, VIQ_HEIGHT, VIQ_HEIGHT_UNKNOWN);
     },
     true},
    {"VIQ_image_write", VIQ_RGB24,
     CALL(VIQ_image_write(s.in, 0, VIQ_FILE_BMP, VIQ_STRIP_NEXT)),
     [](stage &s) { set_image_file(s, s.in); }, true},
    {"VIQ_image_write_BMP_buffer", VIQ_RGB24,
     CALL(VIQ_image_write_BMP_buffer(s.in, stream_buffer, &stream_length, VIQ_STRIP_NEXT))},
    {"VIQ_image_find_file_format", VIQ_RGB24, CALL([](const stage &s) {
         const u32 format = VIQ_image_find_file_format(s.file.c_str());
         return is_error(format) ? format : success;
     }(s)),
     written<VIQ_write_TIFF_file>, true},
    // JPEG
    {"VIQ_Init", VIQ_Y8, CALL([] {
         const u32 code = VIQ_Init();
         VIQ_ErrHandlerInstall(record_failure);
         return code;
     }())},
    {"VIQ_JPEG_image_create", VIQ_Y8, CALL(only_created(VIQ_JPEG_image_create()))},
    {"VIQ_JPEG_malloc_data", VIQ_RGB24, CALL(VIQ_JPEG_malloc_data(s.third)), as_jpeg},
    {"VIQ_JPEG_malloc_N_bytes_data", VIQ_RGB24, CALL(VIQ_JPEG_malloc_N_bytes_data(s.third, 50000)),
     as_jpeg},
    {"VIQ_JPEG_copy_parameters", VIQ_RGB24,
     CALL(VIQ_JPEG_copy_parameters(s.third, s.in)), as_conforming_jpeg},
    {"VIQ_JPEG_generate_H_codetable_LUTs", VIQ_RGB24,
     CALL(VIQ_JPEG_generate_H_codetable_LUTs(s.in)), as_jpeg},
    {"VIQ_JPEG_generate_Huffman_decode_tables", VIQ_RGB24,
     CALL(VIQ_JPEG_generate_Huffman_decode_tables(s.in)), as_jpeg},
    {"VIQ_JPEG_compress", VIQ_RGB24,
     CALL(VIQ_JPEG_free_data(s.third) + VIQ_JPEG_compress(s.in, s.third)),
     [](stage &s) { s.third = VIQ_JPEG_image_create(); }},
    {"VIQ_JPEG_decompress", VIQ_RGB24, CALL(VIQ_JPEG_decompress(s.in, s.out, VIQ_STRIP_NEXT)),
     as_jpeg},
    {"VIQ_JPEG_decompress", VIQ_RGB24, CALL(VIQ_JPEG_decompress(s.third, s.out, VIQ_STRIP_NEXT)),
     as_conforming_jpeg},
    {"VIQ_pad_to_MCU_1_strip", VIQ_RGB24, CALL(VIQ_pad_to_MCU_1_strip(s.in, s.out))},
    {"VIQ_JPEG_file_write", VIQ_RGB24, CALL(VIQ_JPEG_file_write(s.in, VIQ_STRIP_NEXT)), as_jpeg,
     true},
    {"VIQ_JPEG_buffer_write", VIQ_RGB24,
     CALL(VIQ_JPEG_buffer_write(s.in, stream_buffer, &stream_length, VIQ_STRIP_NEXT)), as_jpeg},
    {"VIQ_JPEG_file_read", VIQ_RGB24, CALL(VIQ_JPEG_file_read(s.third)), as_jpeg, true},
    {"VIQ_JPEG_file_open", VIQ_RGB24, CALL([](u32 jpeg) {
         u32 code = VIQ_JPEG_file_open(jpeg);
         if (!is_error(code)) {
             code = VIQ_JPEG_sequence_calc_length(jpeg);
             const u32 closed = VIQ_JPEG_file_close(jpeg);
             code = is_error(code) ? code : closed;
         }
         return code;
     }(s.third)),
     as_jpeg, true},
    {"VIQ_JPEG_buffer_read", VIQ_RGB24,
     CALL(VIQ_JPEG_buffer_read(s.third, stream_buffer, stream_length)),
     [](stage &s) {
         as_jpeg(s);
         VIQ_JPEG_buffer_write(s.in, stream_buffer, &stream_length, VIQ_STRIP_NEXT);
     }},
    {"VIQ_JPEG_build_image", VIQ_RGB24, CALL(VIQ_JPEG_build_image(s.in, s.third, VIQ_STRIP_NEXT)),
     as_jpeg},
    {"VIQ_JPEG_sequence_build", VIQ_RGB24, CALL(VIQ_JPEG_sequence_build(s.in, s.third)),
     [](stage &s) {
         as_jpeg(s);
         VIQ_JPEG_copy_parameters(s.in, s.third);
     }},
    {"VIQ_JPEG_sequence_extract_frame", VIQ_RGB24,
     CALL(VIQ_JPEG_sequence_extract_frame(s.in, s.third, 1)), as_jpeg},
    {"VIQ_JPEG_compress_image_to_image", VIQ_RGB24,
     CALL(VIQ_JPEG_compress_image_to_image(s.in, s.third, 1, VIQ_FILE_JPEG)),
     [](stage &s) {
         s.third = VIQ_JPEG_image_create();
         set_image_file(s, s.in);
         set_image_file(s, s.third);
     },
     true},
    {"VIQ_JPEG_decompress_image_to_image", VIQ_RGB24,
     CALL(VIQ_JPEG_decompress_image_to_image(s.third, s.out, 2, 1)), as_jpeg, true},
    // Wavelets
    {"VIQ_WVLT_image_create", VIQ_Y8, CALL(only_created(VIQ_WVLT_image_create(1)))},
    {"VIQ_WVLT_compress", VIQ_YUV422, CALL(VIQ_WVLT_compress(s.in, s.third, VIQ_STRIP_NEXT)),
     [](stage &s) { s.third = VIQ_WVLT_image_create(1); }},
    {"VIQ_WVLT_compress", VIQ_Y8, CALL(VIQ_WVLT_compress(s.in, s.third, VIQ_STRIP_NEXT)),
     [](stage &s) { s.third = VIQ_WVLT_image_create(0); }},
    {"VIQ_WVLT_decompress", VIQ_YUV422, CALL(VIQ_WVLT_decompress(s.in, s.out, VIQ_STRIP_NEXT)),
     as_wavelet},
    {"VIQ_WVLT_decompress", VIQ_Y8, CALL(VIQ_WVLT_decompress(s.in, s.out, VIQ_STRIP_NEXT)),
     as_huffman_wavelet},
    {"VIQ_WVLT_file_write", VIQ_Y8, CALL(VIQ_WVLT_file_write(s.in, VIQ_STRIP_NEXT)), as_wavelet,
     true},
    {"VIQ_WVLT_file_read", VIQ_Y8, CALL(VIQ_WVLT_file_read(s.third)), as_wavelet, true},
    {"VIQ_WVLT_buffer_write", VIQ_Y8, CALL(buffer_of_wavelet(s.in)), as_wavelet},
    {"VIQ_WVLT_buffer_read", VIQ_Y8,
     CALL(VIQ_WVLT_buffer_read(s.third, stream_buffer, stream_length)),
     [](stage &s) {
         as_wavelet(s);
         buffer_of_wavelet(s.in);
     }},
};
