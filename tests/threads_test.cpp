// Threads that work at the same time, each in a context of its own. Built with the thread sanitizer
// too, where every unsynchronised access fails the test.
#include <array>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

#include "core/image.h"
#include "tests/file_support.h"

using namespace viq;

namespace {

constexpr u32 thread_count = 8;

#define NEED_OK(call) need_ok((call), #call)

void need_ok(u32 code, const char *call) {
    if (is_error(code))
        throw std::runtime_error(text_of(call, std::hex, code));
}

u32 ignore_report(u32, const char *, u32, const char *) {
    return 0;
}

// All threads create their contexts at the same moment.
void run_threads(const std::function<void(u32)> &work) {
    std::atomic<u32> awaited = thread_count;
    std::vector<std::jthread> threads;
    for (u32 n = 0; n < thread_count; ++n)
        threads.emplace_back([&work, &awaited, n] {
            for (--awaited; awaited != 0;)
                std::this_thread::yield();
            const u32 context = VIQ_context_create();
            ASSERT_FALSE(is_error(context));
            ASSERT_EQ(VIQ_context_use(context), 0u);
            try {
                work(n);
            } catch (const std::exception &failure) {
                ADD_FAILURE() << "thread " << n << ": " << failure.what();
            }
            EXPECT_EQ(VIQ_context_destroy(context), 0u);
        });
}

// ---- The work of one thread

// The images that a thread creates, destroyed at the end.
struct own_images {
    std::vector<u32> handles;
    u32 add(u32 handle) {
        need_ok(handle, "create");
        handles.push_back(handle);
        return handle;
    }
    u32 make() { return add(VIQ_image_create()); }
    own_images() = default;
    own_images(const own_images &) = delete;
    own_images &operator=(const own_images &) = delete;
    ~own_images() {
        for (const u32 handle : handles)
            VIQ_image_destroy(handle);
    }
};

// FNV-1a of everything that a thread has made.
struct fingerprint {
    u64 value = 0xCBF29CE484222325u;
    void add(const void *data, u64 size) {
        const u8 *bytes = static_cast<const u8 *>(data);
        for (u64 n = 0; n < size; ++n)
            value = (value ^ bytes[n]) * 0x100000001B3u;
    }
    void add(u32 handle) {
        const tVIQ_Image &image = *find_image(handle);
        if (has_lines(image, image.lines_per_strip))
            add(image.data, u64{image.bytes_per_line} * image.lines_per_strip);
    }
};

struct job {
    u32 seed;
    own_images images;
    fingerprint print;

    u32 picture(u16 format, u32 width, u32 height, u32 lines);
};

u32 job::picture(u16 format, u32 width, u32 height, u32 lines) {
    const u32 handle = images.make();
    NEED_OK(VIQ_image_set_parameter(handle, VIQ_IMAGE_TYPE, format));
    NEED_OK(VIQ_image_set_parameter(handle, VIQ_WIDTH, width));
    NEED_OK(VIQ_image_set_parameter(handle, VIQ_HEIGHT, height));
    NEED_OK(VIQ_image_set_parameter(handle, VIQ_LINES_PER_STRIP, lines));
    if (format == VIQ_Y16)
        NEED_OK(VIQ_image_set_parameter(handle, VIQ_DATA_WIDTH, 12));
    NEED_OK(VIQ_image_malloc_a_strip(handle));
    tVIQ_Image &image = *find_image(handle);
    u32 level = seed;
    for (u32 n = 0; n < image.bytes_per_line * lines; ++n) {
        level = level * 1664525 + 1013904223;
        image.data[n] = static_cast<u8>(n / 3 + (level >> 28));
        if (format == VIQ_Y16 && n % 2 == 1)
            image.data[n] &= 15;
    }
    for (u32 n = 0; n < 256; ++n)
        image.colourmap[n] = {static_cast<u8>(n), static_cast<u8>(n * seed), static_cast<u8>(~n),
                              0};
    return handle;
}

// Every pair of formats that has a converter, in strips.
void convert_everything(job &own) {
    constexpr u16 inputs[] = {VIQ_Y8,     VIQ_Y16,    VIQ_PALETTED, VIQ_RGB15,  VIQ_RGB16,
                              VIQ_RGB24,  VIQ_BGR24,  VIQ_RGBX32,   VIQ_BGRX32, VIQ_XBGR32,
                              VIQ_XRGB32, VIQ_YUV422, VIQ_RGGB32};
    constexpr u16 outputs[] = {VIQ_Y8,     VIQ_Y16,    VIQ_PALETTED, VIQ_RGB8,   VIQ_RGB15,
                               VIQ_RGB16,  VIQ_RGB24,  VIQ_BGR24,    VIQ_RGBX32, VIQ_BGRX32,
                               VIQ_XBGR32, VIQ_XRGB32, VIQ_CMYK32,   VIQ_YUV422, VIQ_HSI};
    u32 converted = 0;
    for (const u16 input : inputs) {
        const u32 in = own.picture(input, 24 + 2 * own.seed, 8, 4);
        for (const u16 output : outputs) {
            const u32 out = own.images.make();
            for (u32 strip = 0; strip < 2; ++strip)
                if (!is_error(VIQ_image_convert(in, out, output, 0, VIQ_STRIP_NEXT))) {
                    own.print.add(out);
                    ++converted;
                }
            VIQ_image_convert(in, out, output, 0, VIQ_STRIP_FINISH);
        }
    }
    own.print.add(&converted, sizeof converted);
}

void process_everything(job &own) {
    const u32 grey = own.picture(VIQ_Y8, 40, 30, 30);
    const u32 colour = own.picture(VIQ_RGB24, 40, 30, 10);
    const u32 mosaic = own.picture(VIQ_RGGB32, 40, 30, 30);
    const u32 yuv = own.picture(VIQ_YUV422, 40, 30, 30);
    const i32 kernel[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
    const auto each = [&](u32 in, const std::function<u32(u32 in, u32 out)> &call,
                          int line = __builtin_LINE()) { // of the call
        const u32 out = own.images.make();
        need_ok(call(in, out), text_of("line", line).c_str());
        own.print.add(out);
    };
    const u32 filtered = own.images.make();
    for (u32 strip = 0; strip < 3; ++strip) {
        NEED_OK(VIQ_IP_filter_3x3(colour, filtered, kernel, VIQ_STRIP_NEXT));
        own.print.add(filtered);
    }
    each(grey, [](u32 in, u32 out) { return VIQ_IP_scale(in, out, 61, 47, VIQ_STRIP_NEXT); });
    each(grey, [](u32 in, u32 out) { return VIQ_IP_rotate_image(in, out, 90); });
    each(grey, [](u32 in, u32 out) { return VIQ_IP_mirror_image(in, out, VIQ_STRIP_NEXT); });
    each(grey, [](u32 in, u32 out) { return VIQ_IP_crop(in, out, 3, 4, 20, 20, VIQ_STRIP_NEXT); });
    each(mosaic,
         [](u32 in, u32 out) { return VIQ_BAY_RGGB32_to_BGRX32(in, out, 3, 1, VIQ_STRIP_NEXT); });
    each(yuv, [](u32 in, u32 out) { return VIQ_YUV422_to_HSI(in, out, VIQ_STRIP_NEXT); });
    each(yuv, [](u32 in, u32 out) { return VIQ_YUV422_to_RGB16_LUT(in, out, VIQ_STRIP_NEXT); });
    each(yuv, [](u32 in, u32 out) {
        return VIQ_SPL_YUV422_to_RGB_pseudo_colour(in, out, VIQ_STRIP_NEXT);
    });

    const u32 lut = VIQ_LUT_create(256, 1);
    NEED_OK(lut);
    NEED_OK(VIQ_LUT_generate(lut, static_cast<i16>(90 + own.seed), 120, 140, 100, 100, 100));
    each(grey, [lut](u32 in, u32 out) { return VIQ_LUT_apply(in, out, lut, VIQ_STRIP_NEXT); });
    const u32 key = VIQ_CK_create();
    NEED_OK(key);
    NEED_OK(VIQ_CK_calibrate(yuv, key, VIQ_STRIP_NEXT));
    const u32 hue = VIQ_CK_get_parameter(key, VIQ_CK_HUE_CENTRE);
    own.print.add(&hue, sizeof hue);
    NEED_OK(VIQ_LUT_destroy(lut));
    NEED_OK(VIQ_CK_destroy(key));
    tVIQ_Average average = {};
    NEED_OK(VIQ_IP_generate_averages(grey, &average, VIQ_STRIP_NEXT));
    own.print.add(&average, sizeof average);
    const u32 palette = own.picture(VIQ_RGB24, 160, 60, 60);
    const tVIQ_Font *font = nullptr;
    NEED_OK(VIQ_draw_get_ptr(0, &font));
    NEED_OK(VIQ_draw_text(palette, "threads", font, 1, 1, 0, 15));
    own.print.add(palette);
    NEED_OK(VIQ_image_set_parameter(palette, VIQ_NUM_COLOURS, 0));
    NEED_OK(VIQ_cmap_generate(palette, 64, VIQ_STRIP_NEXT));
    each(palette, [](u32 in, u32 out) { return VIQ_convert_to_paletted(in, out, VIQ_STRIP_NEXT); });
}

void write_and_read(u32 handle, u16 file, u32 copy, job &own) {
    const std::string path = scratch_file(("coded" + std::to_string(own.seed)).c_str());
    NEED_OK(VIQ_image_set_outfilename(handle, path.c_str()));
    NEED_OK(VIQ_image_write(handle, 0, file, VIQ_STRIP_NEXT));
    NEED_OK(VIQ_image_set_infilename(copy, path.c_str()));
    NEED_OK(VIQ_image_read(copy, 0, VIQ_STRIP_NEXT));
    const bytes written = read_file(path);
    own.print.add(written.data(), written.size());
}

void code_everything(job &own) {
    for (const u16 format : {VIQ_Y8, VIQ_YUV422}) {
        const u32 in = own.picture(format, 64, 48, 48);
        const u32 jpeg = own.images.add(VIQ_JPEG_image_create());
        const u32 out = own.images.make();
        NEED_OK(VIQ_JPEG_set_Quality_factor(jpeg, static_cast<u16>(8 + own.seed)));
        NEED_OK(VIQ_JPEG_compress(in, jpeg));
        write_and_read(jpeg, VIQ_FILE_JPEG, own.images.add(VIQ_JPEG_image_create()), own);
        NEED_OK(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT));
        own.print.add(out);
        for (const u16 type : {u16{0}, u16{1}}) {
            const u32 wavelet = own.images.add(VIQ_WVLT_image_create(type));
            const u32 decoded = own.images.make();
            NEED_OK(VIQ_WVLT_compress(in, wavelet, VIQ_STRIP_NEXT));
            write_and_read(wavelet, VIQ_FILE_WAVELET, own.images.add(VIQ_WVLT_image_create(type)),
                           own);
            NEED_OK(VIQ_WVLT_decompress(wavelet, decoded, VIQ_STRIP_NEXT));
            own.print.add(decoded);
        }
    }
}

// Written and read again in strips.
void file_everything(job &own) {
    struct kind {
        u16 file, format;
    };
    constexpr kind kinds[] = {{VIQ_FILE_TIFF, VIQ_RGB24}, {VIQ_FILE_TIFF, VIQ_Y16},
                              {VIQ_FILE_TGA, VIQ_RGB24},  {VIQ_FILE_EPS, VIQ_Y8},
                              {VIQ_FILE_BMP, VIQ_RGB24},  {VIQ_FILE_RAW, VIQ_RGB24}};
    for (const kind &each : kinds) {
        const std::string path = scratch_file(std::to_string(own.seed).c_str());
        const u32 in = own.picture(each.format, 32, 24, 8);
        NEED_OK(VIQ_image_set_outfilename(in, path.c_str()));
        for (u32 strip = 0; strip < 3; ++strip)
            NEED_OK(VIQ_image_write(in, 0, each.file, VIQ_STRIP_NEXT));
        const bytes written = read_file(path);
        own.print.add(written.data(), each.file == VIQ_FILE_EPS ? 0 : written.size());
        if (each.file == VIQ_FILE_RAW)
            continue;
        const u32 out = own.images.make();
        NEED_OK(VIQ_image_set_infilename(out, path.c_str()));
        NEED_OK(VIQ_image_read(out, 0, VIQ_STRIP_NEXT));
        own.print.add(out);
    }
}

u64 do_everything(u32 seed) {
    job own = {seed, {}, {}};
    VIQ_ErrHandlerInstall(ignore_report);
    convert_everything(own);
    process_everything(own);
    code_everything(own);
    file_everything(own);
    return own.print.value;
}

} // namespace

TEST(Threads, WorkSideBySideAsTheyDoInTurn) {
    std::array<u64, thread_count> in_turn = {};
    std::array<u64, thread_count> side_by_side = {};
    for (u32 n = 0; n < thread_count; ++n)
        in_turn[n] = do_everything(n + 1);
    run_threads([&](u32 n) { side_by_side[n] = do_everything(n + 1); });
    EXPECT_EQ(side_by_side, in_turn);
}

// Images are created, passed on, used and destroyed by all threads, while contexts come and go.
TEST(Threads, CreateAndDestroyAtRandom) {
    constexpr u32 steps = 1000000 / thread_count;
    std::array<std::atomic<u32>, 64> passed_on = {};
    run_threads([&](u32 n) {
        VIQ_ErrHandlerInstall(ignore_report);
        std::mt19937 generator(n + 1);
        const auto random = [&] { return static_cast<u32>(generator()); };
        std::vector<u32> own;
        for (u32 step = 0; step < steps; ++step) {
            const u32 choice = random() % 100;
            if (choice < 30) {
                if (const u32 handle = VIQ_image_create(); !is_error(handle))
                    own.push_back(handle);
            } else if (choice < 60 && !own.empty()) {
                NEED_OK(VIQ_image_destroy(own.back()));
                own.pop_back();
            } else if (choice < 70 && !own.empty()) {
                // Whoever takes a handle out of the exchange owns the image.
                const u32 taken = passed_on[random() % passed_on.size()].exchange(own.back());
                own.pop_back();
                if (taken != 0)
                    own.push_back(taken);
            } else if (choice < 90 && !own.empty()) {
                NEED_OK(VIQ_image_set_parameter(own.back(), VIQ_WIDTH, step));
                if (VIQ_get_width(own.back()) != step)
                    throw std::runtime_error("another thread has written to the image");
            } else if (choice == 90) {
                const u32 before = VIQ_context_current();
                const u32 made = VIQ_context_create();
                NEED_OK(made);
                NEED_OK(VIQ_context_use(made));
                if (step % 2 == 0)
                    NEED_OK(VIQ_context_destroy(made));
                NEED_OK(VIQ_context_use(before));
                if (step % 2 != 0)
                    NEED_OK(VIQ_context_destroy(made));
            } else {
                VIQ_get_width(0); // no image: looked up all the same
                VIQ_image_destroy(60000 + random() % 5000);
            }
        }
        for (const u32 handle : own)
            NEED_OK(VIQ_image_destroy(handle));
    });
    for (std::atomic<u32> &left : passed_on)
        VIQ_image_destroy(left);
    EXPECT_OK(VIQ_image_destroy(VIQ_ANY_IMAGE));
}

// Of images that are destroyed at the same time, exactly one frees the colourmap that they share.
TEST(Threads, FreeASharedColourmapOnce) {
    memory_in_use first = {}; // after the first round, with tables that are kept
    for (u32 round = 0; round < 200; ++round) {
        tVIQ_Colour *const map = VIQ_image_create_cmap();
        std::atomic<u32> waiting = thread_count;
        run_threads([&](u32) {
            const u32 image = VIQ_image_create();
            NEED_OK(VIQ_image_set_ptr(image, VIQ_PTR_CMAP, map));
            for (--waiting; waiting != 0;)
                std::this_thread::yield();
            NEED_OK(VIQ_image_destroy(image));
        });
        first = round == 0 ? current_memory() : first;
    }
    EXPECT_EQ(current_memory(), first);
}
