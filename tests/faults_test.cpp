// Every allocation and every file operation of every public function fails once. The call then
// reports an error or does without, the next one works, and nothing leaks.
#include <cstdio>
#include <cstdlib>
#include <set>
#include <utility>

#if defined(__GLIBC__)
#include <fcntl.h>
#include <unistd.h>
#endif

#include "core/allocation.h"
#include "core/file_io.h"
#include "tests/built_files.h"
#include "tests/memory_windows.h"

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
    VIQ_image_set_parameter(handle, VIQ_NUM_COLOURS, format == VIQ_PALETTED ? 256 : 0);
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

template <u32 (*write)(u32, u16)> void written_conforming(stage &s) {
    written<write>(s);
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
}

// Every line is a run of one colour.
void written_runs(stage &s) {
    bytes runs;
    for (u32 y = 0; y < height; ++y)
        append(runs, bytes{0x80 + width - 1, 7});
    write_file(s.file, tga(11, width, height, 8, 0, runs));
    set_image_file(s, s.out);
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
}

void with_display(stage &) {
    set_window_system(&memory_windows);
    VIQ_display_create();
}

void with_window(stage &s) {
    with_display(s);
    VIQ_display_open(1, "", width, height);
}

// Another picture has to be made for the next refresh.
void with_shown_picture(stage &s) {
    with_window(s);
    VIQ_display_image(1, s.in, VIQ_STRIP_NEXT);
    VIQ_display_set_parameter(1, VIQ_DISPLAY_REGION_WIDTH, 7);
    VIQ_display_set_parameter(1, VIQ_DISPLAY_FIT, VIQ_DISPLAY_FIT_STRETCH);
}

u32 only_opened(u32 code) {
    VIQ_display_close(1);
    return code;
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

u32 encoded(const stage &s, u16 format) {
    u8 *data = nullptr;
    u64 size = 0;
    const u32 code = VIQ_encode(s.in, format, 0, &data, &size);
    std::free(data);
    return code;
}

u32 decoded(const stage &s, u16 format) {
    u8 *data = nullptr;
    u64 size = 0;
    u32 result = VIQ_encode(s.in, format, 0, &data, &size);
    if (!is_error(result))
        result = VIQ_decode_as(data, size, VIQ_RGB24);
    std::free(data);
    return result;
}

// Calls with a record of the caller, for which the library allocates what it adds.
template <class Call> u32 with_own_record(u32 image, Call call) {
    static Tjpeg own;
    own = {};
    void *const present = VIQ_image_get_ptr(image, VIQ_PTR_JPEG);
    VIQ_image_set_ptr(image, VIQ_PTR_JPEG, &own);
    const u32 code = call(image);
    VIQ_JPEG_destroy_Tjpeg(image);
    VIQ_image_set_ptr(image, VIQ_PTR_JPEG, present);
    return code;
}

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
#define READS_CONFORMING(read, write, format)                                                      \
    { #read, format, read_whole < read>, written_conforming < write>, true }
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
    return VIQ_WVLT_buffer_write(wavelet, stream_buffer, &stream_length, VIQ_STRIP_NEXT);
}

u32 in_opened_jpeg(u32 jpeg, u32 (*use)(u32)) {
    u32 code = VIQ_JPEG_file_open(jpeg);
    if (is_error(code))
        return code;
    code = use(jpeg);
    const u32 closed = VIQ_JPEG_file_close(jpeg);
    return is_error(code) ? code : closed;
}

u32 run_in_a_context() {
    const u32 made = VIQ_context_create();
    return is_error(made) ? made : VIQ_context_destroy(made);
}

u32 print_to_file(const stage &s) {
    tVIQ_PrintOptions options;
    VIQ_display_print_defaults(&options);
    options.file_name = s.file.c_str();
    return VIQ_display_print(s.in, "", "faults", &options, VIQ_STRIP_NEXT);
}

const scenario scenarios[] = {
    // Whole pictures
    {"VIQ_convert_as", VIQ_RGB24, CALL(only_created(VIQ_convert_as(s.in, VIQ_PALETTED)))},
    {"VIQ_encode", VIQ_RGB24, CALL(encoded(s, VIQ_FILE_JPEG))},
    {"VIQ_encode", VIQ_Y8, CALL(encoded(s, VIQ_FILE_TIFF)), nullptr, true},
    {"VIQ_decode_as", VIQ_RGB24, CALL(only_created(decoded(s, VIQ_FILE_WAVELET)))},
    {"VIQ_decode_as", VIQ_RGB24, CALL(only_created(decoded(s, VIQ_FILE_BMP)))},
    {"VIQ_save", VIQ_RGB24, CALL(VIQ_save(s.in, s.file.c_str(), 0)),
     [](stage &s) { s.file += ".jpg"; }, true},
    {"VIQ_open_as", VIQ_RGB24, CALL(only_created(VIQ_open_as(s.file.c_str(), VIQ_Y8))),
     [](stage &s) {
         s.file += ".bmp";
         VIQ_save(s.in, s.file.c_str(), 0);
     },
     true},

    {"VIQ_display_print", VIQ_RGB24, print_to_file, nullptr, true},
    {"VIQ_display_print", VIQ_PALETTED, print_to_file, nullptr, true},

    // Images
    {"VIQ_image_create", VIQ_Y8, CALL(only_created(VIQ_image_create()))},
    {"VIQ_context_create", VIQ_Y8, CALL(run_in_a_context())},
    {"VIQ_image_create_cmap", VIQ_Y8,
     CALL([](u32 user) {
         tVIQ_Colour *map = VIQ_image_create_cmap();
         return map != nullptr ? VIQ_image_set_ptr(user, VIQ_PTR_CMAP, map) : VIQ_ERR_MEMORY;
     }(s.out))},
    {"VIQ_cmap_create_info", VIQ_Y8, CALL(only_allocated(VIQ_cmap_create_info()))},
    {"VIQ_malloc_N_lines", VIQ_Y8, CALL(only_allocated(VIQ_malloc_N_lines(s.in, 3)))},
    {"VIQ_DebugMalloc", VIQ_Y8,
     CALL(only_allocated(VIQ_DebugMalloc(10), [](void *memory) { VIQ_DebugFree(memory); }))},
    {"VIQ_image_malloc_a_strip", VIQ_Y8,
     CALL(VIQ_image_free_data(s.in) + VIQ_image_malloc_a_strip(s.in))},
    {"VIQ_image_copy", VIQ_RGB24, CALL(VIQ_image_copy(s.in, s.out))},
    {"VIQ_image_copy", VIQ_RGB24, CALL(VIQ_image_copy(s.in, s.third)), as_jpeg},
    {"VIQ_image_copy_parameters", VIQ_RGB24, CALL(VIQ_image_copy_parameters(s.in, s.out)),
     [](stage &s) { VIQ_cmap_generate(s.in, 100, VIQ_STRIP_NEXT); }},
    {"VIQ_image_copy_parameters_raw", VIQ_RGB24, CALL(VIQ_image_copy_parameters_raw(s.in, s.out)),
     [](stage &s) { VIQ_cmap_generate(s.in, 100, VIQ_STRIP_NEXT); }},
    {"VIQ_image_move", VIQ_RGB24, CALL(VIQ_image_copy(s.third, s.in) + VIQ_image_move(s.in, s.out)),
     third_like<VIQ_RGB24>},
    {"VIQ_image_set_ptr", VIQ_Y8,
     CALL([](u32 handle) {
         static tVIQ_Image own;
         own = {};
         const u32 code = VIQ_image_set_ptr(handle, VIQ_PTR_IMAGE, &own);
         return is_error(code) ? code : VIQ_image_set_ptr(handle, VIQ_PTR_IMAGE, nullptr);
     }(s.out))},
    {"VIQ_JPEG_set_optimisation", VIQ_Y8, CALL(with_own_record(s.out, [](u32 image) {
         return VIQ_JPEG_set_optimisation(image, VIQ_JPEG_OPTIMISE_CODES);
     }))},
    CONVERTS(VIQ_write_to_memory, VIQ_RGB24),
    CONVERTS(VIQ_read_from_memory, VIQ_RGB24),
    {"VIQ_test_pattern", VIQ_RGB24, CALL(VIQ_test_pattern(s.in, VIQ_STRIP_NEXT))},
    {"VIQ_cmap_copy", VIQ_RGB24, CALL(VIQ_cmap_copy(s.in, s.out)),
     [](stage &s) { VIQ_cmap_generate(s.in, 100, VIQ_STRIP_NEXT); }},
    {"VIQ_cmap_generate", VIQ_RGB24, CALL(VIQ_cmap_generate(s.in, 100, VIQ_STRIP_NEXT))},
    {"VIQ_cmap_set_bits", VIQ_RGB24, CALL(VIQ_cmap_set_bits(s.in, 3, 3, 3, 3))},
    // Conversions
    CONVERTS(VIQ_convert_to_BGR24, VIQ_RGB24),
    CONVERTS(VIQ_convert_to_BGRX32, VIQ_Y8),
    CONVERTS(VIQ_convert_to_CMYK32, VIQ_PALETTED),
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
    {"VIQ_convert_to_paletted", VIQ_RGB24,
     CALL(VIQ_convert_to_paletted(s.in, s.out, VIQ_STRIP_NEXT)),
     [](stage &s) { VIQ_cmap_generate(s.in, 100, VIQ_STRIP_NEXT); }},
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
    // Display
    {"VIQ_display_create", VIQ_Y8, CALL(only_created(VIQ_display_create(), VIQ_display_destroy))},
    {"VIQ_display_open", VIQ_Y8, CALL(only_opened(VIQ_display_open(1, "", 20, 10))), with_display},
    {"VIQ_display_set_window", VIQ_Y8,
     CALL(only_opened(VIQ_display_set_window(1, &averages, nullptr))), with_display},
    {"VIQ_display_image", VIQ_Y16, CALL(VIQ_display_image(1, s.in, VIQ_STRIP_NEXT)), with_window},
    {"VIQ_display_refresh", VIQ_Y16, CALL(VIQ_display_refresh(1)), with_shown_picture},
    // Processing
    {"VIQ_IP_crop", VIQ_RGB24, CALL(VIQ_IP_crop(s.in, s.out, 2, 2, 8, 8, VIQ_STRIP_NEXT))},
    {"VIQ_IP_mirror", VIQ_RGB24, CALL(VIQ_IP_mirror(s.in, s.out, 2, 2, 8, 8, VIQ_STRIP_NEXT))},
    CONVERTS(VIQ_IP_mirror_image, VIQ_RGB24),
    {"VIQ_IP_image_insert", VIQ_RGB24, CALL(VIQ_IP_image_insert(s.out, s.third, 1, 1)),
     third_like<VIQ_RGB24>},
    {"VIQ_IP_subsample", VIQ_RGB24, CALL(VIQ_IP_subsample(s.in, s.out, 2, VIQ_STRIP_NEXT))},
    {"VIQ_IP_pixel_rep", VIQ_RGB24, CALL(VIQ_IP_pixel_rep(s.in, s.out, 2, VIQ_STRIP_NEXT))},
    {"VIQ_IP_scale", VIQ_RGB24, CALL(VIQ_IP_scale(s.in, s.out, 30, 20, VIQ_STRIP_NEXT))},
    {"VIQ_IP_rotate_image", VIQ_RGB24, CALL(VIQ_IP_rotate_image(s.in, s.out, 90))},
    {"VIQ_IP_extract_region", VIQ_YUV422,
     CALL(VIQ_IP_extract_region(s.in, s.out, 0, 8, 8, 4, VIQ_STRIP_NEXT))},
    {"VIQ_IP_histogram_generate", VIQ_HSI,
     CALL(VIQ_IP_histogram_generate(s.in, &histogram, VIQ_STRIP_NEXT))},
    {"VIQ_IP_threshold_grayscale", VIQ_Y8,
     CALL(VIQ_IP_threshold_grayscale(s.in, s.out, 200, 50, VIQ_STRIP_NEXT))},
    {"VIQ_IP_filter_3x3", VIQ_RGB24, CALL(VIQ_IP_filter_3x3(s.in, s.out, blur, VIQ_STRIP_NEXT))},
    {"VIQ_IP_generate_averages", VIQ_Y8,
     CALL(VIQ_IP_generate_averages(s.in, &averages, VIQ_STRIP_NEXT))},
    {"VIQ_IP_motion_detect", VIQ_Y8,
     CALL([](u32 image, u32 reference) {
         u32 changed = 0;
         return VIQ_IP_motion_detect(image, reference, 10, 1, &changed);
     }(s.in, s.third)),
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
         return VIQ_draw_text(image, "a", font, 2, 2, 0, 15);
     }(s.in))},
    {"VIQ_draw_timestamp", VIQ_RGB24, CALL([](u32 image) {
         const tVIQ_Font *font = nullptr;
         VIQ_draw_get_ptr(0, &font);
         return VIQ_draw_timestamp(image, font, 2, 2, 0, 15);
     }(s.in)),
     [](stage &s) {
         VIQ_image_set_parameter(s.in, VIQ_WIDTH, 200);
         VIQ_image_malloc_a_strip(s.in);
     }},
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
    READS_CONFORMING(VIQ_read_BMP_file, VIQ_write_BMP_file, VIQ_PALETTED),
    READS_CONFORMING(VIQ_read_TIFF_file, VIQ_write_TIFF_file, VIQ_PALETTED),
    READS_CONFORMING(VIQ_read_TIFF_file, VIQ_write_TIFF_file, VIQ_RGB24),
    {"VIQ_read_TGA_file", VIQ_Y8, read_whole<VIQ_read_TGA_file>, written_runs, true},
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
    {"VIQ_image_find_file_format", VIQ_RGB24, CALL([](const std::string &file) {
         const u32 format = VIQ_image_find_file_format(file.c_str());
         return is_error(format) ? format : success;
     }(s.file)),
     written<VIQ_write_TIFF_file>, true},
    // JPEG
    {"VIQ_Init", VIQ_Y8, CALL([] {
         const u32 code = VIQ_Init();
         VIQ_ErrHandlerInstall(record_failure);
         return code;
     }())},
    {"VIQ_JPEG_image_create", VIQ_Y8, CALL(only_created(VIQ_JPEG_image_create()))},
    {"VIQ_JPEG_set_image", VIQ_RGB24, CALL(VIQ_JPEG_set_image(s.in, s.third)),
     [](stage &s) { s.third = VIQ_JPEG_image_create(); }},
    {"VIQ_JPEG_malloc_data", VIQ_RGB24, CALL(VIQ_JPEG_free_data(s.in) + VIQ_JPEG_malloc_data(s.in)), as_jpeg},
    {"VIQ_JPEG_malloc_N_bytes_data", VIQ_RGB24, CALL(VIQ_JPEG_malloc_N_bytes_data(s.third, 50000)),
     as_jpeg},
    {"VIQ_JPEG_copy_parameters", VIQ_RGB24,
     CALL(VIQ_JPEG_copy_parameters(s.third, s.in)), as_conforming_jpeg},
    {"VIQ_JPEG_generate_H_codetable_LUTs", VIQ_RGB24,
     CALL(VIQ_JPEG_generate_H_codetable_LUTs(s.in)), as_jpeg},
    {"VIQ_JPEG_generate_Huffman_decode_tables", VIQ_RGB24,
     CALL(VIQ_JPEG_generate_Huffman_decode_tables(s.in)), as_jpeg},
    {"VIQ_JPEG_compress_strip", VIQ_RGB24,
     CALL([](u32 picture, u32 jpeg) {
         const u32 code = VIQ_JPEG_compress_strip(picture, jpeg, VIQ_STRIP_NEXT);
         VIQ_JPEG_compress_strip(picture, jpeg, VIQ_STRIP_FINISH);
         return is_error(code) ? code : VIQ_JPEG_free_data(jpeg);
     }(s.in, s.third)),
     [](stage &s) { s.third = VIQ_JPEG_image_create(); }},
    {"VIQ_JPEG_compress", VIQ_RGB24,
     CALL(VIQ_JPEG_free_data(s.third) + VIQ_JPEG_compress(s.in, s.third)),
     [](stage &s) { s.third = VIQ_JPEG_image_create(); }},
    {"VIQ_JPEG_compress", VIQ_RGB24,
     CALL(VIQ_JPEG_free_data(s.third) + VIQ_JPEG_compress(s.in, s.third)),
     [](stage &s) {
         s.third = VIQ_JPEG_image_create();
         VIQ_JPEG_set_optimisation(s.third, VIQ_JPEG_OPTIMISE_VALUES);
     }},
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
    {"VIQ_JPEG_file_read", VIQ_RGB24,
     CALL(with_own_record(s.third, [](u32 image) { return VIQ_JPEG_file_read(image); })), as_jpeg,
     true},
    {"VIQ_JPEG_file_open", VIQ_RGB24, CALL(in_opened_jpeg(s.third, [](u32) { return success; })),
     as_jpeg, true},
    {"VIQ_JPEG_file_close", VIQ_RGB24, CALL(in_opened_jpeg(s.third, [](u32) { return success; })),
     as_jpeg, true},
    {"VIQ_JPEG_sequence_calc_length", VIQ_RGB24,
     CALL(in_opened_jpeg(s.third, VIQ_JPEG_sequence_calc_length)), as_jpeg, true},
    {"VIQ_JPEG_sequence_set_start_frame", VIQ_RGB24,
     CALL(in_opened_jpeg(s.third,
                         [](u32 jpeg) { return VIQ_JPEG_sequence_set_start_frame(jpeg, 1); })),
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

std::set<std::string> names_in(const char *text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

// The other functions neither allocate nor use files by name, or only free.
const std::set<std::string> cannot_fail =
    names_in("TIFF_read_data TIFF_read_ui16 TIFF_read_ui32 VIQ_BAY_grey_world_gains VIQ_CK_destroy "
             "VIQ_CK_destroy_UV_to_hue_LUT VIQ_CK_get_component VIQ_CK_get_parameter "
             "VIQ_CK_get_YUV_values VIQ_CK_get_YUV_values_RGB VIQ_CK_set_parameter "
             "VIQ_cmap_destroy_info VIQ_cmap_find_closest_colour VIQ_cmap_get_occurrences "
             "VIQ_cmap_get_RGB_colour VIQ_cmap_is_grayscale VIQ_cmap_set_colour "
             "VIQ_cmap_set_RGB_colour VIQ_cmap_set_type VIQ_context_current VIQ_context_destroy "
             "VIQ_context_use VIQ_copy_outfilename VIQ_DebugFree VIQ_DebugMallocPrint "
             "VIQ_destroy_RGB16_to_paletted_LUT VIQ_destroy_Y16_to_paletted_LUT "
             "VIQ_destroy_Y8_to_paletted_LUT VIQ_destroy_YUV422_to_paletted_LUT "
             "VIQ_destroy_YUV422_to_RGB15_LUT VIQ_destroy_YUV422_to_RGB16_LUT VIQ_display_close "
             "VIQ_display_destroy VIQ_display_get_parameter VIQ_display_get_pixel "
             "VIQ_display_list_printers VIQ_display_next_event VIQ_display_print_defaults "
             "VIQ_display_set_parameter VIQ_display_set_title VIQ_draw_get_ptr VIQ_DrawPixel "
             "VIQ_ErrHandlerDefault VIQ_ErrHandlerInstall VIQ_error_name VIQ_error_text "
             "VIQ_ErrProcess VIQ_fget_ui16i VIQ_fget_ui16m VIQ_fget_ui32i VIQ_fget_ui32m "
             "VIQ_fput_ui16i VIQ_fput_ui16m VIQ_fput_ui32i VIQ_fput_ui32m VIQ_fput_ui8 "
             "VIQ_frame_find_layout VIQ_frame_get_layout VIQ_frame_get_size VIQ_get_bytes_per_line "
             "VIQ_get_depth VIQ_get_file_reading VIQ_get_height VIQ_get_limit "
             "VIQ_get_lines_this_strip VIQ_get_width VIQ_image_calc_skip_bytes "
             "VIQ_image_calc_total_strips VIQ_image_check VIQ_image_conv_LUT_destroy "
             "VIQ_image_destroy VIQ_image_free_data VIQ_image_get_file_info VIQ_image_get_flags "
             "VIQ_image_get_infilename VIQ_image_get_outfilename VIQ_image_get_parameter "
             "VIQ_image_get_ptr VIQ_image_is_colour VIQ_image_set_flags VIQ_image_set_infilename "
             "VIQ_image_set_outfilename VIQ_image_set_parameter VIQ_IP_histogram_clear "
             "VIQ_IP_histogram_copy VIQ_IP_histogram_filter VIQ_IP_histogram_match "
             "VIQ_JPEG_destroy_Tjpeg VIQ_JPEG_free_data VIQ_JPEG_get_file_ptr "
             "VIQ_JPEG_get_optimisation VIQ_JPEG_get_parameter VIQ_JPEG_make_Q_tables "
             "VIQ_JPEG_set_default_H_tables VIQ_JPEG_set_file_ptr "
             "VIQ_JPEG_set_Quality_factor VIQ_JPEG_set_Quantization_factor VIQ_LUT_destroy "
             "VIQ_LUT_generate VIQ_LUT_get_ptr VIQ_mget_ui16i VIQ_mget_ui16m VIQ_mget_ui32i "
             "VIQ_mget_ui32m VIQ_mput_ui16i VIQ_mput_ui16m VIQ_mput_ui32i VIQ_mput_ui32m "
             "VIQ_mput_ui8 VIQ_print_cmap VIQ_print_Huffman_tables VIQ_print_image "
             "VIQ_print_jpeg_image VIQ_set_file_reading VIQ_set_limit VIQ_sscanf "
             "VIQ_test_pattern_1_strip VIQ_Util_ParseCommand VIQ_WVLT_image_destroy "
             "VIQ_WVLT_set_optimisation VIQ_WVLT_set_Quality_factor VIQ_WVLT_set_subbands");

// They return null without a report; VIQ_Init reports to the handler that it installs.
const std::set<std::string> silent = {"VIQ_image_create_cmap", "VIQ_cmap_create_info",
                                      "VIQ_malloc_N_lines", "VIQ_DebugMalloc", "VIQ_Init"};

// The rule of core/report.h: one report, or that of the step that failed and one of its caller.
bool is_one_report(const failures &made, u32 code) {
    const struct {
        const char *step, *message;
    } repeated[] = {{"VIQ_image_malloc_a_strip", ""},
                    {"VIQ_image_find_file_format", "Failed to recognise file format"},
                    {"VIQ_image_create", "VIQ_image_create(hCropImage) failed"},
                    {"VIQ_image_create", "VIQ_image_create(hMirroredImage) failed"}};
    if (made.size() < 2)
        return made.size() == 1 && made[0].code == code;
    return made.size() == 2 && made[0].code == code && made[1].code == code &&
           std::any_of(std::begin(repeated), std::end(repeated), [&](const auto &each) {
               return made[0].function == each.step && made[1].message == each.message;
           });
}

// ---- Faults

u64 steps_done, failing_step; // 0: none
bool fired;

bool next_step_fails() {
    const bool fails = ++steps_done == failing_step;
    fired = fired || fails;
    return fails;
}

void clear_library() {
    set_window_system(nullptr);
    VIQ_set_file_reading(VIQ_READING_ORIGINAL);
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    for (u16 type = VIQ_CONV_LUT_RGB16_TO_PALETTED; type <= VIQ_CONV_LUT_YUV422_TO_PALETTED; ++type)
        VIQ_image_conv_LUT_destroy(type);
    VIQ_CK_destroy_UV_to_hue_LUT();
}

stage prepared(const scenario &from) {
    stage s = {make_picture(from.format), VIQ_image_create(), VIQ_image_create(),
               scratch_file("fault")};
    std::remove(s.file.c_str()); // as write_file does
    if (from.prepare != nullptr)
        from.prepare(s);
    reported.clear();
    return s;
}

// Every step of a scenario fails once; `set_faults(true)` lets next_step_fails() decide. The number
// of faults.
u64 fail_every_step(const scenario &tested, void (*set_faults)(bool on)) {
    const auto run = [&](const stage &s, u64 step) {
        steps_done = 0;
        failing_step = step;
        fired = false;
        reported.clear();
        set_faults(true);
        const u32 code = tested.call(s);
        set_faults(false);
        return code;
    };
    memory_in_use idle = {};
    for (int n = 0; n < 2; ++n) { // tables and maps that stay are made on the first call
        EXPECT_EQ(run(prepared(tested), 0), success);
        EXPECT_EQ(reported, failures());
        clear_library();
        idle = current_memory();
    }
    const auto failures_so_far = [] {
        return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
    };
    const int failures_before = failures_so_far();
    bool repeated = false;
    u64 step = 1;
    for (;; ++step) {
        SCOPED_TRACE(text_of(tested.function, "format", tested.format, "step", step));
        const stage s = prepared(tested);
        const u32 code = run(s, step);
        const bool failed = fired;
        if (failed) {
            const bool reports = is_error(code) && !silent.contains(tested.function);
            EXPECT_TRUE(reports ? is_one_report(reported, code) : reported.empty())
                << testing::PrintToString(reported);
        }
        if (failed && is_error(code)) {
            EXPECT_EQ(run(s, 0), success);
            EXPECT_EQ(reported, failures());
        }
        clear_library();
        repeated = !repeated && current_memory() != idle; // a map grows once, a leak each time
        if (repeated) {
            idle = current_memory();
            --step;
            continue;
        }
        EXPECT_EQ(current_memory().allocations, idle.allocations);
        EXPECT_EQ(current_memory().bytes, idle.bytes);
        if (!failed || failures_so_far() != failures_before)
            return step - 1;
    }
}

// ---- Error handlers

bytes content_of(const stage &s) {
    bytes content;
    const auto add = [&](const void *memory, std::size_t size) {
        const u8 *start = static_cast<const u8 *>(memory);
        content.insert(content.end(), start, start + (start != nullptr ? size : 0));
    };
    for (const u32 handle : {s.in, s.out, s.third}) {
        const auto &image =
            *static_cast<const tVIQ_Image *>(VIQ_image_get_ptr(handle, VIQ_PTR_IMAGE));
        add(&image, sizeof image);
        add(image.colourmap, 256 * sizeof(tVIQ_Colour));
        add(image.jpeg, sizeof(Tjpeg));
        if (image.jpeg != nullptr)
            add(image.jpeg->data, image.jpeg->data_length);
        if ((image.flags & VIQ_FLAG_100) == 0)
            add(image.data, std::size_t{image.bytes_per_line} * image.lines_per_strip);
    }
    return content;
}

const scenario *called;
stage caller_images;

u32 calling_handler(u32, const char *, u32, const char *) {
    return std::exchange(called, nullptr)->call(caller_images);
}

TEST(Faults, HandlersChangeNoImageOfTheirCaller) {
    for (const scenario &tested : scenarios) {
        SCOPED_TRACE(text_of(tested.function, "format", tested.format));
        called = &tested;
        caller_images = prepared(tested);
        const bytes before = content_of(caller_images);
        VIQ_ErrHandlerInstall(calling_handler);
        VIQ_LUT_generate(0, 0, 0, 0, 0, 0, 0); // reports
        VIQ_ErrHandlerInstall(record_failure);
        EXPECT_EQ(called, nullptr);
        EXPECT_EQ(reported, failures());
        EXPECT_TRUE(content_of(caller_images) == before);
        EXPECT_EQ(tested.call(caller_images), success);
        clear_library();
    }
}

TEST(Faults, HaveAScenarioForEveryPublicFunction) {
    std::set<std::string> covered = cannot_fail;
    for (const scenario &tested : scenarios)
        covered.insert(tested.function);
    for (const char *function : public_functions)
        EXPECT_EQ(covered.count(function), 1u) << function;
}

TEST(Faults, OfEveryAllocationAreReportedOnceAndForgotten) {
    u64 faults = 0;
    for (const scenario &tested : scenarios)
        faults += fail_every_step(
            tested, [](bool on) { set_allocation_fault(on ? next_step_fails : nullptr); });
    clear_library();
    RecordProperty("faults", std::to_string(faults));
    EXPECT_GT(faults, 500u);
}

#if defined(__GLIBC__)

// A stream of which every operation may fail.
struct failing_stream {
    static ssize_t read(void *file, char *bytes, size_t count) {
        return next_step_fails() ? -1 : ::read(descriptor(file), bytes, count);
    }
    static ssize_t write(void *file, const char *bytes, size_t count) {
        return next_step_fails() ? 0 : ::write(descriptor(file), bytes, count);
    }
    static int seek(void *file, off64_t *offset, int whence) {
        if (next_step_fails())
            return -1;
        *offset = ::lseek64(descriptor(file), *offset, whence);
        return *offset < 0 ? -1 : 0;
    }
    static int close(void *file) {
        const int failed = ::close(descriptor(file));
        return next_step_fails() ? -1 : failed;
    }
    static int descriptor(void *file) { return static_cast<int>(reinterpret_cast<intptr_t>(file)); }
};

std::FILE *open_failing(const char *path, const char *mode) {
    if (next_step_fails())
        return nullptr;
    const int flags = mode[0] == 'r' ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
    const intptr_t descriptor = ::open(path, flags, 0644);
    if (descriptor < 0)
        return nullptr;
    return ::fopencookie(
        reinterpret_cast<void *>(descriptor), mode,
        {failing_stream::read, failing_stream::write, failing_stream::seek, failing_stream::close});
}

TEST(Faults, OfEveryFileOperationAreReportedOnceAndForgotten) {
    u64 faults = 0;
    for (const scenario &tested : scenarios)
        if (tested.uses_files)
            faults += fail_every_step(
                tested, [](bool on) { set_file_opener(on ? open_failing : nullptr); });
    clear_library();
    RecordProperty("faults", std::to_string(faults));
    EXPECT_GT(faults, 200u);
}

#endif

} // namespace
} // namespace viq
