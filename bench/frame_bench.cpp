// Unpacking and packing of camera frames against copying the image: memcpy moves as many bytes as
// the image has, which is what an unpacked layout would cost. The frame is smaller.
#include "bench/bench_support.h"
#include "camera/frame_rows.h"
#include "core/cpu.h"

#include <cstring>

using bench::job;
using bench::need_ok;

namespace viq {
namespace {

struct picture {
    u32 width, height;
};

constexpr u32 whole = 0xFFFFFF; // lines per strip

void measure(const char *name, const picture &p) {
    tVIQ_FrameLayout layout;
    need_ok(VIQ_frame_find_layout(name, &layout), name);
    u64 size = 0;
    need_ok(VIQ_frame_get_size(layout.pixel_format, p.width, p.height, 0, &size), name);
    std::vector<u8> frame(static_cast<std::size_t>(size));
    u32 state = 1;
    for (u8 &byte : frame)
        byte = static_cast<u8>(bench::next_random(state) >> 24);
    const u32 image = VIQ_image_create();
    const job unpack = [&] {
        VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, whole);
        need_ok(VIQ_frame_unpack(frame.data(), frame.size(), layout.pixel_format, p.width, p.height,
                                 0, image, VIQ_STRIP_NEXT),
                "unpacking");
    };
    const job pack = [&] {
        need_ok(VIQ_frame_pack(frame.data(), frame.size(), layout.pixel_format, p.width, p.height,
                               0, image, VIQ_STRIP_NEXT),
                "packing");
    };
    unpack();
    std::vector<u8> source(bench::bytes_of(image), 1), target(source.size());
    const job copy = [&] { std::memcpy(target.data(), source.data(), source.size()); };
    const u32 rounds = 200'000'000 / (p.width * p.height) + 5;
    const instruction_set best = current_set();
    force_set(instruction_set::plain);
    const double plain = bench::best_seconds({unpack}, rounds / 4 + 1)[0];
    force_set(best);
    const std::vector<double> times = bench::best_seconds({unpack, copy, pack}, rounds, 2);
    std::printf("%4u x %-4u  %-14s plain unpack %7.3f  unpack %7.3f  pack %7.3f  memcpy %7.3f ms"
                "  (unpack %.2f, pack %.2f of memcpy)\n",
                p.width, p.height, name, plain * 1e3, times[0] * 1e3, times[2] * 1e3,
                times[1] * 1e3, times[0] / times[1], times[2] / times[1]);
    VIQ_image_destroy(image);
}

} // namespace
} // namespace viq

int main() {
    for (const viq::picture &p : {viq::picture{640, 480}, {1920, 1080}, {4096, 3000}})
        for (const char *name :
             {"Mono8", "Mono10", "Mono10p", "Mono10Packed", "Mono12p", "Mono12Packed", "Mono14p",
              "Mono16", "YUV422_8_UYVY", "YUV411_8_UYYVYY", "RGB565p", "RGB12"})
            viq::measure(name, p);
    return 0;
}
