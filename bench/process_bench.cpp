// Image processing on 1920 x 1080 pictures through the public functions, compared with OpenCV on
// one thread, or with memcpy of the bytes that an operation reads and writes.
#include <cstring>
#include <string>

#include "bench/bench_support.h"

#if defined(VIQ_HAVE_OPENCV)
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

using namespace bench;

namespace {

constexpr u32 width = 1920;
constexpr u32 height = 1080;

// Noise around a level that changes every 512 bytes, so that data-dependent branches go both ways
// and neighbouring pixels have similar values.
u32 make_noise(u16 format, u32 columns = width, u32 lines = height) {
    const u32 image = make_image(format, columns, lines);
    u8 *data = data_of(image);
    const std::size_t size = bytes_of(image);
    u32 state = 1;
    u32 level = 128;
    for (std::size_t n = 0; n < size; ++n) {
        const u32 random = next_random(state);
        if (n % 512 == 0)
            level = 40 + (random >> 24) % 176;
        data[n] = static_cast<u8>(level + (random >> 27));
    }
    return image;
}

void compare(const std::string &name, const char *peer, const job &ours, const job &theirs) {
    const std::vector<double> best = best_seconds({ours, theirs}, 25);
    std::printf("%-34s %7.3f ms   %-10s %7.3f ms   %5.2f\n", name.c_str(), best[0] * 1e3, peer,
                best[1] * 1e3, best[1] / best[0]);
}

// ---- Comparisons with OpenCV

#if defined(VIQ_HAVE_OPENCV)

struct kind {
    const char *name;
    u16 format;
    int type;
};

constexpr kind kinds[] = {
    {"Y8", VIQ_Y8, CV_8UC1}, {"RGB24", VIQ_RGB24, CV_8UC3}, {"BGRX32", VIQ_BGRX32, CV_8UC4}};

// An input as an image and as a matrix that shares its pixels, and an output of each library.
struct subject {
    std::string format_name;
    u32 in, out;
    cv::Mat source, target;
};

cv::Mat mat_of(u32 image, int type) {
    return cv::Mat(static_cast<int>(VIQ_get_height(image)), static_cast<int>(VIQ_get_width(image)),
                   type, data_of(image), VIQ_get_bytes_per_line(image));
}

subject make_subject(const kind &k) {
    const u32 in = make_noise(k.format);
    return {k.name, in, VIQ_image_create(), mat_of(in, k.type), {}};
}

void destroy(const subject &s) {
    VIQ_image_destroy(s.in);
    VIQ_image_destroy(s.out);
}

// Compares a call of a public function with a call of the peer.
#define AGAINST_OPENCV(name, call, peer)                                                           \
    compare(                                                                                       \
        name, "OpenCV", [&] { need_ok(call, #call); }, [&] { peer; })

void rotate_and_mirror(subject &s) {
    for (const u16 angle : {u16{90}, u16{180}, u16{270}})
        AGAINST_OPENCV("rotate " + std::to_string(angle) + " " + s.format_name,
                       VIQ_IP_rotate_image(s.in, s.out, angle),
                       cv::rotate(s.source, s.target, angle / 90 - 1));
    AGAINST_OPENCV("mirror " + s.format_name, VIQ_IP_mirror_image(s.in, s.out, 3),
                   cv::flip(s.source, s.target, 1));
}

void crop_and_insert(subject &s, const kind &k) {
    const cv::Rect area(100, 90, 1600, 900);
    AGAINST_OPENCV("crop 1600 x 900 " + s.format_name,
                   VIQ_IP_crop(s.in, s.out, 100, 90, 1600, 900, 3),
                   s.source(area).copyTo(s.target));
    const u32 small = make_noise(k.format, 1600, 900);
    const cv::Mat small_source = mat_of(small, k.type);
    cv::Mat host = s.source.clone();
    AGAINST_OPENCV("insert 1600 x 900 " + s.format_name, VIQ_IP_image_insert(s.in, small, 101, 91),
                   small_source.copyTo(host(area)));
    VIQ_image_destroy(small);
}

void scale(subject &s) {
    for (const double factor : {0.5, 0.75, 1.5, 2.0}) {
        const u32 columns = static_cast<u32>(width * factor);
        const u32 lines = static_cast<u32>(height * factor);
        const cv::Size size(static_cast<int>(columns), static_cast<int>(lines));
        char name[32];
        std::snprintf(name, sizeof name, "scale %.2f %s", factor, s.format_name.c_str());
        AGAINST_OPENCV(name, VIQ_IP_scale(s.in, s.out, columns, lines, 3),
                       cv::resize(s.source, s.target, size, 0, 0, cv::INTER_LINEAR));
    }
}

void filter(subject &s) {
    const i32 blur[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    const i32 sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
    const cv::Mat sharpener = (cv::Mat_<float>(3, 3) << 0, -1, 0, -1, 5, -1, 0, -1, 0);
    AGAINST_OPENCV("blur " + s.format_name, VIQ_IP_filter_3x3(s.in, s.out, blur, 3),
                   cv::blur(s.source, s.target, cv::Size(3, 3)));
    AGAINST_OPENCV("sharpen " + s.format_name, VIQ_IP_filter_3x3(s.in, s.out, sharpen, 3),
                   cv::filter2D(s.source, s.target, -1, sharpener));
}

void apply_lut(subject &s, u16 format) {
    const u32 lut = VIQ_LUT_create(256, 1);
    VIQ_LUT_generate(lut, 110, 120, 150, 100, 100, 100);
    cv::Mat table(1, 256, CV_8U);
    std::memcpy(table.data, VIQ_LUT_get_ptr(lut, 8), 256);
    AGAINST_OPENCV("LUT " + s.format_name, VIQ_LUT_apply(s.in, s.out, lut, 3),
                   cv::LUT(s.source, table, s.target));
    if (format == VIQ_RGB24) {
        VIQ_LUT_generate(lut, 110, 120, 150, 90, 100, 130);
        cv::Mat tables(1, 256, CV_8UC3);
        for (int n = 0; n < 3 * 256; ++n)
            tables.data[n] =
                static_cast<u8 *>(VIQ_LUT_get_ptr(lut, static_cast<u16>(4 >> n % 3)))[n / 3];
        AGAINST_OPENCV("LUT of three tables " + s.format_name, VIQ_LUT_apply(s.in, s.out, lut, 3),
                       cv::LUT(s.source, tables, s.target));
    }
    VIQ_LUT_destroy(lut);
}

void threshold(subject &grey) {
    AGAINST_OPENCV("threshold Y8", VIQ_IP_threshold_grayscale(grey.in, grey.out, 180, 60, 3),
                   cv::threshold(grey.source, grey.target, 120, 255, cv::THRESH_BINARY));
}

void grey_statistics(subject &grey) {
    tVIQ_Average average;
    const auto mean_and_range = [&] {
        double lowest = 0;
        double highest = 0;
        cv::minMaxLoc(grey.source, &lowest, &highest);
        average.average[0] = static_cast<u32>(cv::mean(grey.source)[0] + lowest);
    };
    AGAINST_OPENCV("averages Y8", VIQ_IP_generate_averages(grey.in, &average, 3), mean_and_range());

    const u32 other = make_noise(VIQ_Y8);
    const cv::Mat other_source = mat_of(other, CV_8UC1);
    u32 motion = 0;
    const auto masked_product = [&] {
        cv::Mat masked;
        cv::bitwise_and(grey.source, cv::Scalar(0xFC), grey.target);
        cv::bitwise_and(other_source, cv::Scalar(0xFC), masked);
        motion = static_cast<u32>(grey.target.dot(masked) / (width * height));
    };
    AGAINST_OPENCV("motion Y8", VIQ_IP_motion_detect(grey.in, other, 5, 1, &motion),
                   masked_product());
    VIQ_image_destroy(other);
}

// Of hue, in the first two of the four bytes of a pixel, only the low byte is counted.
void calculate_histograms(const cv::Mat &hsi, cv::Mat &histogram) {
    const int bins[] = {256};
    const float range[] = {0, 256};
    const float *ranges[] = {range};
    for (const int channel : {0, 2, 3}) {
        const int channels[] = {channel};
        cv::calcHist(&hsi, 1, channels, cv::Mat(), histogram, 1, bins, ranges);
    }
}

void hsi_statistics(subject &hsi) {
    tVIQ_Histogram histogram;
    AGAINST_OPENCV("histogram HSI", VIQ_IP_histogram_generate(hsi.in, &histogram, 3),
                   calculate_histograms(hsi.source, hsi.target));
    tVIQ_Average average;
    AGAINST_OPENCV("averages HSI", VIQ_IP_generate_averages(hsi.in, &average, 3),
                   average.average[0] = static_cast<u32>(cv::mean(hsi.source)[0]));
}

void correct_shading(subject &y16) {
    const u32 offset = make_noise(VIQ_Y16);
    const u32 gain = make_noise(VIQ_Y16);
    const cv::Mat offset_source = mat_of(offset, CV_16UC1);
    const cv::Mat gain_source = mat_of(gain, CV_16UC1);
    const auto subtract_and_multiply = [&] {
        cv::subtract(y16.source, offset_source, y16.target);
        cv::multiply(y16.target, gain_source, y16.target, 1.0 / 4096);
    };
    AGAINST_OPENCV("shading Y16", VIQ_IP_ShadingCorrection(y16.in, y16.out, offset, gain),
                   subtract_and_multiply());
    VIQ_image_destroy(offset);
    VIQ_image_destroy(gain);
}

void demosaic() {
    const u32 mosaic = make_noise(VIQ_RGGB32);
    const u32 out = VIQ_image_create();
    const cv::Mat source(height, width, CV_8UC1, data_of(mosaic), width);
    cv::Mat target;
    for (const u16 scheme : {u16{2}, u16{3}}) {
        const int code = scheme == 2 ? cv::COLOR_BayerBG2BGR : cv::COLOR_BayerBG2BGR_EA;
        const std::string name = "demosaic " + std::to_string(scheme);
        AGAINST_OPENCV(name + " BGRX32", VIQ_BAY_RGGB32_to_BGRX32(mosaic, out, scheme, 1, 3),
                       cv::cvtColor(source, target, code));
        AGAINST_OPENCV(name + " RGB16", VIQ_BAY_RGGB32_to_RGB16(mosaic, out, scheme, 1, 3),
                       cv::cvtColor(source, target, code));
    }
    VIQ_image_destroy(mosaic);
    VIQ_image_destroy(out);
}

void against_opencv() {
    cv::setNumThreads(1);
    for (const kind &k : kinds) {
        subject s = make_subject(k);
        rotate_and_mirror(s);
        crop_and_insert(s, k);
        if (k.format != VIQ_BGRX32) {
            scale(s);
            filter(s);
            apply_lut(s, k.format);
        }
        destroy(s);
    }
    subject grey = make_subject({"Y8", VIQ_Y8, CV_8UC1});
    threshold(grey);
    grey_statistics(grey);
    destroy(grey);
    subject hsi = make_subject({"HSI", VIQ_HSI, CV_8UC4});
    hsi_statistics(hsi);
    destroy(hsi);
    subject y16 = make_subject({"Y16", VIQ_Y16, CV_16UC1});
    correct_shading(y16);
    destroy(y16);
    demosaic();
}

#else

void against_opencv() {}

#endif

// ---- Comparisons with memcpy

void compare_with_memcpy(const std::string &name, std::size_t size, const job &ours) {
    static std::vector<u8> from(64u << 20, 1);
    static std::vector<u8> to(64u << 20, 2);
    compare(name, "memcpy", ours, [size] { std::memcpy(to.data(), from.data(), size); });
}

// Compares a call with memcpy of so many bytes per pixel of a 1920 x 1080 picture.
#define AGAINST_MEMCPY(name, bytes, call)                                                          \
    compare_with_memcpy(name, std::size_t{bytes} * width * height, [&] { need_ok(call, #call); })

void key_chroma(u32 out) {
    const u32 yuv = make_noise(VIQ_YUV422);
    const u32 background = make_noise(VIQ_YUV422);
    const u32 key = VIQ_CK_create();
    // The key colour matches half of the noise.
    need_ok(VIQ_CK_set_parameter(key, VIQ_CK_HUE_CENTRE, 285), "chroma key");
    for (const u16 mode : {u16{0}, u16{1}})
        AGAINST_MEMCPY("chroma key mode " + std::to_string(mode), 6,
                       VIQ_CK_chroma_key(yuv, out, background, 0, key, mode, 3));
    VIQ_CK_destroy(key);
}

void convert_fields(u32 out) {
    const u32 field = make_noise(VIQ_RGB24, width, height / 2);
    const u32 other_field = make_noise(VIQ_RGB24, width, height / 2);
    const u32 stacked = make_noise(VIQ_RGB24);
    VIQ_image_set_parameter(stacked, VIQ_PARAM_23, 4);
    AGAINST_MEMCPY("2 fields to frame RGB24", 3,
                   VIQ_SPL_2fields_to_frame(field, other_field, out, 3));
    AGAINST_MEMCPY("interlace RGB24", 3, VIQ_SPL_interlace_frame(stacked, out, 3));
    for (const u16 scheme : {u16{2}, u16{3}, u16{4}})
        AGAINST_MEMCPY("field to frame " + std::to_string(scheme), 3,
                       VIQ_SPL_field_to_frame(field, out, scheme, 3));
}

void extract_grey(u32 out) {
    const u32 words = make_noise(VIQ_BGRX32);
    AGAINST_MEMCPY("Data32 to Y8", 4, VIQ_SPL_Data32_to_Y8(words, out, 8, 3));
    AGAINST_MEMCPY("XXXX32 to Y8", 4, VIQ_SPL_XXXX32_to_Y8(words, out, 2, 3));
}

void make_pseudo_colours(u32 out) {
    const u32 yuv = make_noise(VIQ_YUV422);
    const u32 hsi = make_noise(VIQ_HSI);
    const u32 grey = make_noise(VIQ_Y8);
    AGAINST_MEMCPY("pseudo-colour YUV422", 3, VIQ_SPL_YUV422_to_RGB_pseudo_colour(yuv, out, 3));
    AGAINST_MEMCPY("pseudo-colour HSI", 4, VIQ_SPL_HSI_to_RGB_pseudo_colour(hsi, out, 3));
    AGAINST_MEMCPY("pseudo-colour Y8", 2, VIQ_SPL_Y8_to_pseudo_colour(grey, out, 0, 3));
}

void against_memcpy() {
    const u32 out = VIQ_image_create();
    key_chroma(out);
    convert_fields(out);
    extract_grey(out);
    make_pseudo_colours(out);
}

} // namespace

int main() {
    std::printf("%-34s %10s   %-21s   times as fast\n", "1920 x 1080", "ours", "peer");
    against_opencv();
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    against_memcpy();
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    return 0;
}
