// Runs kernels of the plain and the NEON set on a row of 1920 pixels. Calls of the system before
// and after each kernel let the plugin of the emulator count its instructions.
#include <algorithm>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

#include "camera/camera_rows.h"
#include "convert/conversion_rows.h"
#include "convert/table_rows.h"
#include "core/cpu.h"
#include "core/pixel_formats.h"
#include "jpeg/block_kernels.h"
#include "process/process_rows.h"
#include "wavelet/stages/lifting_kernels.h"

using namespace viq;

namespace {

constexpr u32 pixels = 1920;
constexpr u32 bytes = 4 * pixels + 64;

std::vector<u8> noise(u32 seed) {
    std::vector<u8> result(bytes);
    for (u8 &b : result)
        b = static_cast<u8>((seed = seed * 1664525 + 1013904223) >> 24);
    return result;
}

std::vector<u8> target(bytes);
const std::vector<u8> lines[5] = {noise(1), noise(2), noise(3), noise(4), noise(5)};

template <class Run> void count(const std::string &name, Run run) {
    std::printf("%-32s", name.c_str());
    std::fflush(stdout);
    for (const auto set : {instruction_set::plain, instruction_set::neon}) {
        force_set(set);
        run(); // finds the table of the set
        syscall(5000);
        run();
        syscall(5001);
    }
    std::printf("\n");
    std::fflush(stdout);
}

void count_conversions() {
    const u16 formats[] = {VIQ_Y8,    VIQ_RGB15,  VIQ_RGB16,  VIQ_RGB24,
                           VIQ_BGR24, VIQ_RGBX32, VIQ_BGRX32, VIQ_YUV422};
    for (const u16 from : formats)
        for (const u16 to : formats)
            if (find_row(from, to) != nullptr)
                count("row " + std::string(format_row(from).name) + " to " + format_row(to).name,
                      [&] { find_row(from, to)(lines[0].data(), target.data(), pixels, {}); });
    const auto table = noise(6);
    count("table of bytes",
          [&] { table_rows().map_bytes(lines[0].data(), target.data(), pixels, table.data()); });
}

void count_process() {
    const filter_lines around = {lines[0].data(), lines[1].data(), lines[2].data(), lines[2].data(),
                                 target.data()};
    const small_kernel sharpen = {{0, -1, 0, -1, 5, -1, 0, -1, 0}, 1};
    const small_kernel mean = {{1, 1, 1, 1, 1, 1, 1, 1, 1}, 9};
    const auto &rows = process_rows;
    const u8 *a = lines[0].data();
    const u8 *b = lines[1].data();
    u8 *to = target.data();
    count("filter sharpen", [&] { rows().filter_small(around, to, pixels, 1, sharpen); });
    count("filter mean", [&] { rows().filter_small(around, to, pixels, 1, mean); });
    for (u32 size = 1; size < pixel_sizes; ++size) {
        const std::string name = std::to_string(size) + " bytes per pixel";
        count("reverse " + name, [&] { rows().reverse[size](a, to, pixels); });
        count("transpose 16 x 16 " + name, [&] {
            rows().transpose[size]({a, 16 * size}, {to, 16 * size}, 16, 16);
        });
    }
    count("reverse pairs", [&] { rows().reverse_pairs(a, to, pixels / 2); });
    count("blend", [&] { rows().blend(a, b, to, pixels, 77, to); });
    count("threshold", [&] { rows().threshold(a, to, pixels, 180, 60); });
    count("shade", [&] { rows().shade(a, b, lines[2].data(), to, pixels); });
    count("correlate Y8", [&] { rows().correlate(a, b, pixels, 1); });
    count("correlate YUV422", [&] { rows().correlate(a, b, pixels, 2); });
    count("range", [&] { rows().range_of(a, pixels); });
    u64 sums[3] = {};
    count("sums of HSI", [&] { rows().sum_hsi(a, pixels, sums); });
    count("mean of lines", [&] { rows().mean(a, b, to, pixels); });
    count("cubic of lines", [&] { rows().cubic(a, b, a, b, to, pixels); });
    count("directed", [&] { rows().directed(a, b, to, 8, pixels, 1); });
    count("pseudo YUV", [&] { rows().pseudo_yuv(a, to, pixels / 2); });
    count("pseudo HSI", [&] { rows().pseudo_hsi(a, to, pixels); });
}

void count_camera() {
    const mosaic_lines mosaic = {{lines[0].data() + 8, lines[1].data() + 8, lines[2].data() + 8,
                                  lines[3].data() + 8, lines[4].data() + 8}};
    const mosaic_line red = {true, false};
    const char *schemes[] = {"replicate", "bilinear", "bilinear top", "adaptive"};
    for (u32 n = 0; n < demosaic_schemes; ++n)
        count(std::string("demosaic ") + schemes[n],
              [&] { camera_rows().to_bgrx32[n](mosaic, target.data(), pixels, red); });
    count("mosaic", [&] { camera_rows().mosaic(lines[0].data(), target.data(), pixels, red); });
    count("show", [&] { camera_rows().show(lines[0].data(), target.data(), pixels, red); });
}

void count_blocks() {
    u8 steps[64];
    u32 reciprocals[64];
    u16 wide_steps[64];
    for (u32 n = 0; n < 64; ++n) {
        steps[n] = static_cast<u8>(16 + n);
        wide_steps[n] = steps[n];
        reciprocals[n] = (65536 + steps[n] / 2) / steps[n];
    }
    const quantiser forward = make_quantiser(steps, reciprocals);
    const quantiser inverse = make_quantiser(wide_steps);
    block_pair luma = {};
    block_pair chroma = {};
    sample_pair samples = {};
    const u8 *from = lines[0].data();
    u8 *to = target.data();
    count("DCT of 16 x 8 grey pixels",
          [&] { current_blocks().forward_grey(from, 16, forward, luma); });
    count("inverse DCT of two blocks",
          [&] { current_blocks().inverse(luma, inverse, samples.rows[0], pair_width); });
    count("DCT of 16 x 8 YUV 4:2:2",
          [&] { current_blocks().forward_colour(from, 32, forward, forward, luma, chroma); });
    count("YUV 4:2:2 of 16 x 8 samples",
          [&] { current_blocks().interleave(samples, from, 1, to, 32); });
}

void count_wavelet() {
    std::vector<i16> rows[12];
    for (std::vector<i16> &row : rows)
        for (u32 n = 0; n < pixels + 2 * line_margin; ++n)
            row.push_back(static_cast<i16>((lines[0][n] - 128) * 16));
    const auto row = [&](u32 n) { return rows[n].data() + line_margin; };
    const i16 *const source[] = {row(0), row(1)};
    const line_halves halves[] = {{row(2), row(3)}, {row(4), row(5)}};
    i16 *const target_rows[] = {row(6), row(7)};
    const line_window window = {row(0), row(1), row(2), row(3), row(4),
                                row(5), row(6), row(7), row(8)};
    std::vector<i32> scratch(pixels + line_scratch_padding);
    std::vector<i32> state_rows(state_lines * pixels);
    u8 exact_steps[pixels / column_group] = {};
    const column_state state = {state_rows.data(), pixels, exact_steps};
    const auto &kernels = current_wavelet_kernels;
    const auto clear = [&] { std::fill(state_rows.begin(), state_rows.end(), 0); };
    count("wavelet of two rows",
          [&] { kernels().forward_lines(source, halves, pixels, scratch.data()); });
    count("inverse wavelet of two rows",
          [&] { kernels().inverse_lines(halves, target_rows, pixels, scratch.data()); });
    clear();
    count("wavelet of columns",
          [&] { kernels().forward_step(window, row(9), row(10), state, pixels); });
    clear();
    count("inverse wavelet of columns",
          [&] { kernels().inverse_step(window, row(9), row(10), state, pixels); });
    count("quantise", [&] { kernels().quantise(row(0), row(9), pixels, 80, 0); });
    count("dequantise", [&] { kernels().dequantise(row(9), row(10), pixels, 20, 0); });
}

} // namespace

int main() {
    count_conversions();
    count_process();
    count_camera();
    count_blocks();
    count_wavelet();
}
