// Pixel format conversion in nanoseconds per pixel: the public functions, with their checks and
// allocations, the row kernels alone, and other libraries on the same data in the same run.
#include "bench/bench_support.h"
#include "convert/pixel_formulas.h"
#include "core/cpu.h"

#if defined(VIQ_HAVE_LIBYUV)
#include <libyuv.h>
#else
namespace libyuv {}
#endif
#if defined(VIQ_HAVE_OPENCV)
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

using bench::job;
using bench::need_ok;

namespace viq {
namespace {

struct picture {
    u32 width, height;
    std::size_t input_bytes, output_bytes;        // per pixel
    std::vector<u8> source, target, intermediate; // of four bytes per pixel each
};

struct peer {
    const char *library;
    std::function<void(picture &)> convert;
};

struct row_case {
    const char *name;
    u16 input, output;
    std::vector<peer> peers;
};

std::vector<row_case> cases();

struct image_pair {
    u32 in = VIQ_image_create();
    u32 out = VIQ_image_create();
};

// Describes the source of the picture in the input image, which uses its buffer.
void set_input(const image_pair &images, picture &p, u16 format) {
    VIQ_image_set_flags(images.in, VIQ_FLAG_LOCKED, 1);
    VIQ_image_set_parameter(images.in, VIQ_IMAGE_TYPE, format);
    VIQ_image_set_parameter(images.in, VIQ_WIDTH, p.width);
    VIQ_image_set_parameter(images.in, VIQ_HEIGHT, p.height);
    VIQ_image_set_parameter(images.in, VIQ_LINES_PER_STRIP, p.height);
    VIQ_image_set_ptr(images.in, VIQ_PTR_DATA, p.source.data());
}

job through_interface(const image_pair &images, u16 format) {
    return [=] {
        need_ok(VIQ_image_convert(images.in, images.out, format, 0, VIQ_STRIP_NEXT), "conversion");
    };
}

// A picture without line padding is converted as one long row, as the other libraries do it.
job with_kernel(const row_case &c, picture &p, instruction_set set) {
    return [&c, &p, set] {
        force_set(set);
        const row_kernel kernel = find_row(c.input, c.output);
        static const std::vector<u16> hues(65536);
        const row_options options = {.hue = hues.data()};
        kernel(p.source.data(), p.target.data(), p.width * p.height, options);
    };
}

std::vector<double> best_nanoseconds(const std::vector<job> &jobs, const picture &p) {
    const u32 pixels = p.width * p.height;
    std::vector<double> best = bench::best_seconds(jobs, 60'000'000 / pixels + 5, 4);
    for (double &time : best)
        time *= 1e9 / pixels;
    return best;
}

void measure(const row_case &c, picture &p, const image_pair &images, instruction_set best_set) {
    const double plain = best_nanoseconds({with_kernel(c, p, instruction_set::plain)}, p)[0];
    set_input(images, p, c.input);
    force_set(best_set);
    const double kernel = best_nanoseconds({with_kernel(c, p, best_set)}, p)[0];
    std::vector<job> jobs = {through_interface(images, c.output)};
    for (const peer &other : c.peers)
        jobs.push_back([&other, &p] { other.convert(p); });
    const std::vector<double> times = best_nanoseconds(jobs, p);
    std::printf("%4u x %-4u  %-18s plain kernel %6.3f  kernel %6.3f  library %6.3f ns/pixel",
                p.width, p.height, c.name, plain, kernel, times[0]);
    for (std::size_t n = 0; n < c.peers.size(); n++)
        std::printf("  %s %6.3f (%.2f times)", c.peers[n].library, times[n + 1],
                    times[n + 1] / times[0]);
    std::printf("\n");
}

#if defined(VIQ_HAVE_LIBYUV)
template <class Convert> peer libyuv_peer(Convert convert) {
    return {"libyuv", [=](picture &p) {
                const int w = static_cast<int>(p.width);
                convert(p.source.data(), w * static_cast<int>(p.input_bytes), p.target.data(),
                        w * static_cast<int>(p.output_bytes), w, static_cast<int>(p.height));
            }};
}

// In two steps, with an intermediate picture of four bytes per pixel.
template <class First, class Second> peer libyuv_peer(First first, Second second) {
    return {"libyuv", [=](picture &p) {
                const int w = static_cast<int>(p.width);
                const int h = static_cast<int>(p.height);
                first(p.source.data(), w * static_cast<int>(p.input_bytes), p.intermediate.data(),
                      w * 4, w, h);
                second(p.intermediate.data(), w * 4, p.target.data(),
                       w * static_cast<int>(p.output_bytes), w, h);
            }};
}
#define LIBYUV(...) libyuv_peer(__VA_ARGS__)
#else
#define LIBYUV(...) peer()
#endif

#if defined(VIQ_HAVE_OPENCV)
peer opencv_peer(int code) {
    return {"OpenCV", [=](picture &p) {
                const auto matrix = [&p](std::size_t bytes, u8 *data) {
                    return cv::Mat(static_cast<int>(p.height), static_cast<int>(p.width),
                                   CV_8UC(static_cast<int>(bytes)), data);
                };
                cv::Mat target = matrix(p.output_bytes, p.target.data());
                cv::cvtColor(matrix(p.input_bytes, p.source.data()), target, code);
            }};
}
#define OPENCV(code) opencv_peer(cv::COLOR_##code)
#else
#define OPENCV(code) peer()
#endif

// clang-format off
std::vector<row_case> cases() {
    using namespace libyuv;
    std::vector<row_case> all = {
        {"YUV422 to BGRX32", VIQ_YUV422, VIQ_BGRX32, {LIBYUV(YUY2ToARGB), OPENCV(YUV2BGRA_YUY2)}},
        {"YUV422 to RGB24", VIQ_YUV422, VIQ_RGB24, {LIBYUV(YUY2ToARGB, ARGBToRAW), OPENCV(YUV2RGB_YUY2)}},
        {"YUV422 to RGB16", VIQ_YUV422, VIQ_RGB16, {LIBYUV(YUY2ToARGB, ARGBToRGB565)}},
        {"YUV422 to Y8", VIQ_YUV422, VIQ_Y8, {LIBYUV(YUY2ToY), OPENCV(YUV2GRAY_YUY2)}},
        {"YUV422 to HSI", VIQ_YUV422, VIQ_HSI, {}},
        {"RGB24 to YUV422", VIQ_RGB24, VIQ_YUV422, {LIBYUV(RAWToARGB, ARGBToYUY2)}},
        {"BGRX32 to YUV422", VIQ_BGRX32, VIQ_YUV422, {LIBYUV(ARGBToYUY2)}},
        {"RGB24 to Y8", VIQ_RGB24, VIQ_Y8, {LIBYUV(RAWToJ400), OPENCV(RGB2GRAY)}},
        {"BGRX32 to Y8", VIQ_BGRX32, VIQ_Y8, {LIBYUV(ARGBToJ400), OPENCV(BGRA2GRAY)}},
        {"RGB24 to BGR24", VIQ_RGB24, VIQ_BGR24, {LIBYUV(RAWToRGB24), OPENCV(RGB2BGR)}},
        {"RGB24 to BGRX32", VIQ_RGB24, VIQ_BGRX32, {LIBYUV(RAWToARGB), OPENCV(RGB2BGRA)}},
        {"RGB24 to RGB16", VIQ_RGB24, VIQ_RGB16, {LIBYUV(RAWToARGB, ARGBToRGB565), OPENCV(RGB2BGR565)}},
        {"RGB24 to RGB15", VIQ_RGB24, VIQ_RGB15, {LIBYUV(RAWToARGB, ARGBToARGB1555), OPENCV(RGB2BGR555)}},
        {"BGRX32 to RGB24", VIQ_BGRX32, VIQ_RGB24, {LIBYUV(ARGBToRAW), OPENCV(BGRA2RGB)}},
        {"BGRX32 to RGB16", VIQ_BGRX32, VIQ_RGB16, {LIBYUV(ARGBToRGB565), OPENCV(BGRA2BGR565)}},
        {"RGBX32 to BGRX32", VIQ_RGBX32, VIQ_BGRX32, {LIBYUV(ABGRToARGB), OPENCV(RGBA2BGRA)}},
        {"RGB16 to BGRX32", VIQ_RGB16, VIQ_BGRX32, {LIBYUV(RGB565ToARGB), OPENCV(BGR5652BGRA)}},
        {"Y8 to BGRX32", VIQ_Y8, VIQ_BGRX32, {LIBYUV(J400ToARGB), OPENCV(GRAY2BGRA)}},
        {"Y8 to RGB24", VIQ_Y8, VIQ_RGB24, {OPENCV(GRAY2RGB)}},
    };
    for (row_case &c : all)
        std::erase_if(c.peers, [](const peer &p) { return p.library == nullptr; });
    return all;
}
// clang-format on

void measure_paletted(picture &p, const image_pair &images) {
    set_input(images, p, VIQ_RGB24);
    VIQ_image_set_parameter(images.in, VIQ_NUM_COLOURS, 0);
    // 64 bins, fewer than the 256 colours, so that every bin gets a colour.
    VIQ_cmap_set_bits(images.in, 2, 2, 2, 6);
    VIQ_cmap_generate(images.in, 256, VIQ_STRIP_NEXT);
    const double time = best_nanoseconds({through_interface(images, VIQ_PALETTED)}, p)[0];
    std::printf("%4u x %-4u  RGB24 to paletted  library %6.3f ns/pixel\n", p.width, p.height, time);
}

} // namespace
} // namespace viq

int main() {
    using namespace viq;
#if defined(VIQ_HAVE_OPENCV)
    cv::setNumThreads(1);
#endif
    const image_pair images;
    const instruction_set best_set = current_set();
    const u32 sizes[2][2] = {{1920, 1080}, {640, 480}};
    for (const auto &[width, height] : sizes) {
        std::vector<u8> noise(std::size_t{width} * height * 4);
        for (std::size_t n = 0; n < noise.size(); n++)
            noise[n] = static_cast<u8>(n * 2654435761u >> 13);
        picture p = {width, height, 0, 0, noise, noise, noise};
        for (const row_case &c : cases()) {
            p.input_bytes = pixel_bytes(c.input);
            p.output_bytes = pixel_bytes(c.output);
            measure(c, p, images, best_set);
        }
        measure_paletted(p, images);
    }
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    return 0;
}
