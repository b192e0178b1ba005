// Image processing on 1920 x 1080 pictures through the public functions, beside OpenCV on one
// thread and beside memcpy of the same bytes, in one run.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "bench/types.h"

#if defined(VIQ_HAVE_OPENCV)
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr u32 width = 1920;
constexpr u32 height = 1080;

using job = std::function<void()>;

void need(u32 code, const char *what) {
    if (!VIQ_IS_ERROR(code))
        return;
    std::fprintf(stderr, "%s failed: 0x%08x\n", what, code);
    std::exit(1);
}

// Noise that neighbouring pixels share, so that branches meet both sides and runs exist.
void fill(u8 *data, std::size_t size) {
    u32 state = 1;
    u32 level = 128;
    for (std::size_t n = 0; n < size; ++n) {
        state = state * 1664525 + 1013904223;
        if (n % 512 == 0)
            level = 40 + (state >> 24) % 176;
        data[n] = static_cast<u8>(level + (state >> 27));
    }
}

u32 make_image(u16 format, u32 w = width, u32 h = height) {
    const u32 image = VIQ_image_create();
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(image, VIQ_WIDTH, w);
    VIQ_image_set_parameter(image, VIQ_HEIGHT, h);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, h);
    need(VIQ_image_malloc_a_strip(image), "allocation");
    fill(static_cast<u8 *>(VIQ_image_get_ptr(image, VIQ_PTR_DATA)),
         std::size_t{h} * VIQ_get_bytes_per_line(image));
    return image;
}

u8 *data_of(u32 image) {
    return static_cast<u8 *>(VIQ_image_get_ptr(image, VIQ_PTR_DATA));
}

double milliseconds(const job &work) {
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin)
        .count();
}

// The best of many runs, both jobs in turn, so that a slow moment of the machine meets both.
void compare(const char *name, const char *peer, const job &ours, const job &theirs) {
    double best[2] = {std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
    for (u32 round = 0; round < 25; ++round) {
        best[0] = std::min(best[0], milliseconds(ours));
        best[1] = std::min(best[1], milliseconds(theirs));
    }
    std::printf("%-34s %7.3f ms   %-10s %7.3f ms   %5.2f\n", name, best[0], peer, best[1],
                best[1] / best[0]);
}

// Copies so many bytes.
job memcpy_of(std::size_t size) {
    static std::vector<u8> from(64u << 20, 1);
    static std::vector<u8> to(64u << 20, 2);
    return [size] { std::memcpy(to.data(), from.data(), size); };
}

void compare_with_memcpy(const char *name, std::size_t size, const job &ours) {
    compare(name, "memcpy", ours, memcpy_of(size));
}

void against_memory();

#if defined(VIQ_HAVE_OPENCV)

cv::Mat mat_of(u32 image, int type) {
    return cv::Mat(static_cast<int>(VIQ_get_height(image)), static_cast<int>(VIQ_get_width(image)),
                   type, data_of(image), VIQ_get_bytes_per_line(image));
}

struct kind {
    const char *name;
    u16 format;
    int type;
};

constexpr kind kinds[] = {
    {"Y8", VIQ_Y8, CV_8UC1}, {"RGB24", VIQ_RGB24, CV_8UC3}, {"BGRX32", VIQ_BGRX32, CV_8UC4}};

void against_opencv() {
    cv::setNumThreads(1);
    cv::Mat target;
    const u32 out = VIQ_image_create();
    const u32 lut = VIQ_LUT_create(256, 1);
    VIQ_LUT_generate(lut, 110, 120, 150, 100, 100, 100);
    for (const kind &k : kinds) {
        const u32 in = make_image(k.format);
        const cv::Mat source = mat_of(in, k.type);
        const std::string name = k.name;
        const auto opencv = [&](const std::string &what, const job &ours, const job &theirs) {
            compare((what + " " + name).c_str(), "OpenCV", ours, theirs);
        };
        for (const int angle : {90, 180, 270})
            opencv(
                "rotate " + std::to_string(angle),
                [&] { need(VIQ_IP_rotate_image(in, out, static_cast<u16>(angle)), "rotate"); },
                [&] { cv::rotate(source, target, angle / 90 - 1); });
        opencv(
            "mirror", [&] { need(VIQ_IP_mirror_image(in, out, 3), "mirror"); },
            [&] { cv::flip(source, target, 1); });
        opencv(
            "crop 1600 x 900", [&] { need(VIQ_IP_crop(in, out, 100, 90, 1600, 900, 3), "crop"); },
            [&] { source(cv::Rect(100, 90, 1600, 900)).copyTo(target); });
        const u32 small = make_image(k.format, 1600, 900);
        const cv::Mat small_source = mat_of(small, k.type);
        cv::Mat host = source.clone();
        opencv(
            "insert 1600 x 900", [&] { need(VIQ_IP_image_insert(in, small, 101, 91), "insert"); },
            [&] { small_source.copyTo(host(cv::Rect(100, 90, 1600, 900))); });
        VIQ_image_destroy(small);
        if (k.format == VIQ_BGRX32)
            continue;
        for (const double factor : {0.5, 0.75, 1.5, 2.0}) {
            const u32 w = static_cast<u32>(width * factor);
            const u32 h = static_cast<u32>(height * factor);
            char what[32];
            std::snprintf(what, sizeof what, "scale %.2f", factor);
            opencv(
                what, [&, w, h] { need(VIQ_IP_scale(in, out, w, h, 3), "scale"); },
                [&, w, h] {
                    cv::resize(source, target, cv::Size(static_cast<int>(w), static_cast<int>(h)),
                               0, 0, cv::INTER_LINEAR);
                });
        }
        const i32 blur[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
        const i32 sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
        cv::Mat sharpener = (cv::Mat_<float>(3, 3) << 0, -1, 0, -1, 5, -1, 0, -1, 0);
        opencv(
            "blur", [&] { need(VIQ_IP_filter_3x3(in, out, blur, 3), "filter"); },
            [&] { cv::blur(source, target, cv::Size(3, 3)); });
        opencv(
            "sharpen", [&] { need(VIQ_IP_filter_3x3(in, out, sharpen, 3), "filter"); },
            [&] { cv::filter2D(source, target, -1, sharpener); });
        cv::Mat table(1, 256, CV_8U);
        std::memcpy(table.data, VIQ_LUT_get_ptr(lut, 8), 256);
        opencv(
            "LUT", [&] { need(VIQ_LUT_apply(in, out, lut, 3), "LUT"); },
            [&] { cv::LUT(source, table, target); });
        if (k.format == VIQ_RGB24) {
            VIQ_LUT_generate(lut, 110, 120, 150, 90, 100, 130);
            cv::Mat tables(1, 256, CV_8UC3);
            for (int n = 0; n < 3 * 256; ++n)
                tables.data[n] =
                    static_cast<u8 *>(VIQ_LUT_get_ptr(lut, static_cast<u16>(4 >> n % 3)))[n / 3];
            opencv(
                "LUT of three tables", [&] { need(VIQ_LUT_apply(in, out, lut, 3), "LUT"); },
                [&] { cv::LUT(source, tables, target); });
        }
        VIQ_image_destroy(in);
    }
    VIQ_LUT_destroy(lut);

    const u32 grey = make_image(VIQ_Y8);
    const u32 again = make_image(VIQ_Y8);
    const cv::Mat grey_source = mat_of(grey, CV_8UC1);
    compare(
        "threshold Y8", "OpenCV",
        [&] { need(VIQ_IP_threshold_grayscale(grey, out, 180, 60, 3), "threshold"); },
        [&] { cv::threshold(grey_source, target, 120, 255, cv::THRESH_BINARY); });
    tVIQ_Average average;
    compare(
        "averages Y8", "OpenCV",
        [&] { need(VIQ_IP_generate_averages(grey, &average, 3), "averages"); },
        [&] {
            double least = 0;
            double most = 0;
            cv::minMaxLoc(grey_source, &least, &most);
            average.average[0] = static_cast<u32>(cv::mean(grey_source)[0] + least);
        });
    u32 motion = 0;
    compare(
        "motion Y8", "OpenCV",
        [&] { need(VIQ_IP_motion_detect(grey, again, 5, 1, &motion), "motion"); },
        [&] {
            cv::Mat masked;
            cv::bitwise_and(grey_source, cv::Scalar(0xFC), target);
            cv::bitwise_and(mat_of(again, CV_8UC1), cv::Scalar(0xFC), masked);
            motion = static_cast<u32>(target.dot(masked) / (width * height));
        });

    const u32 hsi = make_image(VIQ_HSI);
    const cv::Mat hsi_source = mat_of(hsi, CV_8UC4);
    tVIQ_Histogram histogram;
    compare(
        "histogram HSI", "OpenCV",
        [&] { need(VIQ_IP_histogram_generate(hsi, &histogram, 3), "histogram"); },
        [&] {
            const int bins[] = {256};
            const float range[] = {0, 256};
            const float *ranges[] = {range};
            for (const int channel : {0, 2, 3}) {
                const int channels[] = {channel};
                cv::calcHist(&hsi_source, 1, channels, cv::Mat(), target, 1, bins, ranges);
            }
        });
    compare(
        "averages HSI", "OpenCV",
        [&] { need(VIQ_IP_generate_averages(hsi, &average, 3), "averages"); },
        [&] { average.average[0] = static_cast<u32>(cv::mean(hsi_source)[0]); });

    u32 y16[4];
    for (u32 &image : y16)
        image = make_image(VIQ_Y16);
    const cv::Mat a = mat_of(y16[0], CV_16UC1);
    compare(
        "shading Y16", "OpenCV",
        [&] { need(VIQ_IP_ShadingCorrection(y16[0], out, y16[1], y16[2]), "shading"); },
        [&] {
            cv::subtract(a, mat_of(y16[1], CV_16UC1), target);
            cv::multiply(target, mat_of(y16[2], CV_16UC1), target, 1.0 / 4096);
        });

    const u32 mosaic = make_image(VIQ_RGGB32);
    const cv::Mat mosaic_source(height, width, CV_8UC1, data_of(mosaic), width);
    for (const u16 scheme : {u16{2}, u16{3}}) {
        const int code = scheme == 2 ? cv::COLOR_BayerBG2BGR : cv::COLOR_BayerBG2BGR_EA;
        const std::string name = "demosaic " + std::to_string(scheme);
        const job theirs = [&, code] { cv::cvtColor(mosaic_source, target, code); };
        compare((name + " BGRX32").c_str(), "OpenCV",
                [&] { need(VIQ_BAY_RGGB32_to_BGRX32(mosaic, out, scheme, 1, 3), "demosaic"); },
                theirs);
        compare((name + " RGB16").c_str(), "OpenCV",
                [&] { need(VIQ_BAY_RGGB32_to_RGB16(mosaic, out, scheme, 1, 3), "demosaic"); },
                theirs);
    }
    VIQ_image_destroy(VIQ_ALL_IMAGES);
}

#else

void against_opencv() {}

#endif

void against_memory() {
    const u32 out = VIQ_image_create();
    const u32 yuv = make_image(VIQ_YUV422);
    const u32 background = make_image(VIQ_YUV422);
    const u32 hsi = make_image(VIQ_HSI);
    const u32 words = make_image(VIQ_BGRX32);
    const u32 grey = make_image(VIQ_Y8);
    const u32 field = make_image(VIQ_RGB24, width, height / 2);
    const u32 other_field = make_image(VIQ_RGB24, width, height / 2);
    const u32 stacked = make_image(VIQ_RGB24);
    VIQ_image_set_parameter(stacked, VIQ_PARAM_23, 4);
    const u32 key = VIQ_CK_create();
    need(VIQ_CK_set_parameter(key, VIQ_CK_HUE_CENTRE, 285), "key"); // meets half of the noise
    const std::size_t pixels = std::size_t{width} * height;
    for (const u16 mode : {u16{0}, u16{1}})
        compare_with_memcpy(
            ("chroma key mode " + std::to_string(mode)).c_str(), 6 * pixels, [&, mode] {
                need(VIQ_CK_chroma_key(yuv, out, background, 0, key, mode, 3), "chroma key");
            });
    compare_with_memcpy("2 fields to frame RGB24", 3 * pixels, [&] {
        need(VIQ_SPL_2fields_to_frame(field, other_field, out, 3), "fields");
    });
    compare_with_memcpy("interlace RGB24", 3 * pixels,
                        [&] { need(VIQ_SPL_interlace_frame(stacked, out, 3), "interlace"); });
    for (const u16 scheme : {u16{2}, u16{3}, u16{4}})
        compare_with_memcpy(("field to frame " + std::to_string(scheme)).c_str(), 3 * pixels,
                            [&] { need(VIQ_SPL_field_to_frame(field, out, scheme, 3), "field"); });
    compare_with_memcpy("Data32 to Y8", 4 * pixels,
                        [&] { need(VIQ_SPL_Data32_to_Y8(words, out, 8, 3), "extractor"); });
    compare_with_memcpy("XXXX32 to Y8", 4 * pixels,
                        [&] { need(VIQ_SPL_XXXX32_to_Y8(words, out, 2, 3), "extractor"); });
    compare_with_memcpy("pseudo-colour YUV422", 3 * pixels, [&] {
        need(VIQ_SPL_YUV422_to_RGB_pseudo_colour(yuv, out, 3), "pseudo-colour");
    });
    compare_with_memcpy("pseudo-colour HSI", 4 * pixels, [&] {
        need(VIQ_SPL_HSI_to_RGB_pseudo_colour(hsi, out, 3), "pseudo-colour");
    });
    compare_with_memcpy("pseudo-colour Y8", 2 * pixels, [&] {
        need(VIQ_SPL_Y8_to_pseudo_colour(grey, out, 0, 3), "pseudo-colour");
    });
    VIQ_image_destroy(VIQ_ALL_IMAGES);
}

} // namespace

int main() {
    std::printf("%-34s %10s   %-21s   times as fast\n", "1920 x 1080", "ours", "peer");
    against_opencv();
    against_memory();
    return 0;
}
