#include "tools/demo_timings.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <vector>

#include "tools/image_handle.h"
#include "tools/pipeline.h"

namespace tool {

namespace {

constexpr uint32_t width = 1920;
constexpr uint32_t height = 1080;

struct timed_call {
    const char *task;
    const char *function;
    std::function<uint32_t()> call;
};

// Time of the shortest of several calls: at least three, and as many as fit into a twentieth of a
// second.
double milliseconds_of(const timed_call &timed) {
    using std::chrono::steady_clock;
    constexpr double enough = 50;
    constexpr int fewest_calls = 3;
    double shortest = 0;
    double sum = 0;
    for (int calls = 0; calls < fewest_calls || sum < enough; ++calls) {
        const steady_clock::time_point begin = steady_clock::now();
        check(timed.call(), timed.function);
        const std::chrono::duration<double, std::milli> taken = steady_clock::now() - begin;
        shortest = calls == 0 ? taken.count() : std::min(shortest, taken.count());
        sum += taken.count();
    }
    return shortest;
}

std::string row(const timed_call &timed) {
    constexpr double pixels = double(width) * height;
    const double time = milliseconds_of(timed);
    return std::string("<tr><th>") + timed.task + "<code>" + timed.function +
           "</code></th><td class=\"number\">" + fixed_point(time, 2) +
           " ms</td><td class=\"number\">" + fixed_point(pixels / time / 1000, 0) + "</td></tr>\n";
}

} // namespace

section timing_section(const std::string &photo) {
    const image small = read_as_rgb24(photo);
    const image colour, yuv, mosaic, keyed, out, jpeg_out, wavelet_out;
    const image jpeg(VIQ_JPEG_image_create());
    const image fast(VIQ_WVLT_image_create(0));
    const image dense(VIQ_WVLT_image_create(1));
    const library_object key(VIQ_CK_create(), VIQ_CK_destroy);
    const int32_t sharpen[] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
    check(VIQ_IP_scale(small.handle, colour.handle, width, height, VIQ_STRIP_NEXT), photo);
    check(VIQ_convert_to_YUV422(colour.handle, yuv.handle, VIQ_STRIP_NEXT), photo);
    check(VIQ_BAY_RGB24_to_RGGB32(colour.handle, mosaic.handle, VIQ_STRIP_NEXT), photo);
    check(VIQ_JPEG_set_Quality_factor(jpeg.handle, 32), photo);

    const auto to = [&](const image &from, uint16_t format) {
        return [&from, &out, format] {
            return VIQ_image_convert(from.handle, out.handle, format, 0, VIQ_STRIP_NEXT);
        };
    };
    const auto demosaic = [&](uint16_t scheme) {
        return [&mosaic, &out, scheme] {
            return VIQ_BAY_RGGB32_to_BGRX32(mosaic.handle, out.handle, scheme, 1, VIQ_STRIP_NEXT);
        };
    };
    const auto compress = [&](const image &wavelet) {
        return [&] { return VIQ_WVLT_compress(yuv.handle, wavelet.handle, VIQ_STRIP_NEXT); };
    };
    const auto decompress = [&](const image &wavelet) {
        return
            [&] { return VIQ_WVLT_decompress(wavelet.handle, wavelet_out.handle, VIQ_STRIP_NEXT); };
    };
    const timed_call calls[] = {
        {"RGB24 to BGRX32", "VIQ_convert_to_BGRX32", to(colour, VIQ_BGRX32)},
        {"RGB24 to Y8", "VIQ_convert_to_Y8", to(colour, VIQ_Y8)},
        {"RGB24 to YUV 4:2:2", "VIQ_convert_to_YUV422", to(colour, VIQ_YUV422)},
        {"YUV 4:2:2 to RGB24", "VIQ_YUV422_to_RGB24", to(yuv, VIQ_RGB24)},
        {"Dither to 256 colours", "VIQ_convert_to_RGB8_dither",
         [&] { return VIQ_convert_to_RGB8_dither(colour.handle, out.handle, VIQ_STRIP_NEXT); }},
        {"Scale to half the size", "VIQ_IP_scale",
         [&] {
             return VIQ_IP_scale(colour.handle, out.handle, width / 2, height / 2, VIQ_STRIP_NEXT);
         }},
        {"Sharpen", "VIQ_IP_filter_3x3",
         [&] { return VIQ_IP_filter_3x3(colour.handle, out.handle, sharpen, VIQ_STRIP_NEXT); }},
        {"Rotate by 90 degrees", "VIQ_IP_rotate_image",
         [&] { return VIQ_IP_rotate_image(colour.handle, out.handle, 90); }},
        {"Demosaic, bilinear", "VIQ_BAY_RGGB32_to_BGRX32, scheme 2", demosaic(2)},
        {"Demosaic along edges", "VIQ_BAY_RGGB32_to_BGRX32, scheme 3", demosaic(3)},
        {"Chroma key", "VIQ_CK_chroma_key",
         [&] {
             return VIQ_CK_chroma_key(yuv.handle, keyed.handle, 0, 10, key.handle, 1,
                                      VIQ_STRIP_NEXT);
         }},
        {"Compress JPEG, from RGB24", "VIQ_JPEG_compress",
         [&] { return VIQ_JPEG_compress(colour.handle, jpeg.handle); }},
        {"Decompress JPEG", "VIQ_JPEG_decompress",
         [&] { return VIQ_JPEG_decompress(jpeg.handle, jpeg_out.handle, VIQ_STRIP_NEXT); }},
        {"Compress wavelet", "VIQ_WVLT_compress, type 0", compress(fast)},
        {"Decompress wavelet", "VIQ_WVLT_decompress, type 0", decompress(fast)},
        {"Compress wavelet, rANS", "VIQ_WVLT_compress, type 1", compress(dense)},
        {"Decompress wavelet, rANS", "VIQ_WVLT_decompress, type 1", decompress(dense)},
    };
    section s = {.id = "timings",
                 .title = "Time per call",
                 .intro = "A picture of 1920 &times; 1080 pixels in memory, one thread, on the "
                          "machine that made this page: time of the shortest of several calls."};
    s.table = "<div class=\"panel\"><table class=\"timings\"><thead><tr><th>Call</th>"
              "<th class=\"number\">Time</th><th class=\"number\">Mpixel/s</th></tr></thead>"
              "<tbody>\n";
    for (const timed_call &timed : calls)
        s.table += row(timed);
    s.table += "</tbody></table></div>\n";
    return s;
}

} // namespace tool
