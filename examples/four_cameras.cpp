// Records four simulated cameras: four_cameras FRAMES FOLDER
//
// Each camera is a thread with a context of its own. It makes frames of a moving scene as a sensor
// with a colour-filter mosaic delivers them, demosaics and corrects them, draws the time into them
// and compresses them. Every second frame goes to a JPEG sequence, FOLDER/camera1.jpg to
// camera4.jpg. Meanwhile the main thread shows statistics. The library prints error messages on
// standard error, so the program checks the results only.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <semaphore>
#include <string>
#include <thread>

#include "viq.h"

namespace {

constexpr int cameras = 4;
constexpr int width = 640;
constexpr int height = 480;

// What a camera has done so far; the main thread reads it while the camera works.
struct statistics {
    std::atomic<int> frames = 0;
    std::atomic<std::uint64_t> compressed_bytes = 0;
    std::atomic<bool> failed = false;
};

struct camera {
    int number; // 1 to 4
    std::uint32_t mosaic = VIQ_image_create();
    std::uint32_t demosaiced = VIQ_image_create();
    std::uint32_t picture = VIQ_image_create();
    std::uint32_t corrected = VIQ_image_create();
    std::uint32_t jpeg = VIQ_JPEG_image_create();
    std::uint32_t correction = VIQ_LUT_create(256, 1);
    const tVIQ_Font *font = nullptr;
};

bool good(std::uint32_t status) {
    return !VIQ_IS_ERROR(status);
}

bool set_up(camera &c, const std::string &file) {
    VIQ_image_set_parameter(c.mosaic, VIQ_IMAGE_TYPE, VIQ_RGGB32);
    VIQ_image_set_parameter(c.mosaic, VIQ_WIDTH, width);
    VIQ_image_set_parameter(c.mosaic, VIQ_HEIGHT, height);
    VIQ_image_set_parameter(c.mosaic, VIQ_LINES_PER_STRIP, height);
    // The mosaic is dark and too green: gamma 1.5, less green, more red and blue.
    return good(VIQ_image_malloc_a_strip(c.mosaic)) &&
           good(VIQ_LUT_generate(c.correction, 100, 100, 150, 110, 90, 120)) &&
           good(VIQ_JPEG_set_Quality_factor(c.jpeg, 32)) && good(VIQ_draw_get_ptr(1, &c.font)) &&
           // The operations pass the name on from image to image.
           good(VIQ_image_set_outfilename(c.mosaic, file.c_str()));
}

// A red disc that moves across a grey ramp, seen by a sensor that is most sensitive to green.
void expose(const camera &c, int frame) {
    constexpr int disc[3] = {150, 40, 30};        // red, green, blue
    constexpr int sensitivity[3] = {87, 117, 76}; // percent
    constexpr int radius = height / 6;
    const int disc_x = (c.number * width / cameras + 4 * frame) % width;
    auto *sample = static_cast<std::uint8_t *>(VIQ_image_get_ptr(c.mosaic, VIQ_PTR_DATA));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const int dx = x - disc_x;
            const int dy = y - height / 2;
            const bool in_disc = dx * dx + dy * dy < radius * radius;
            const int filter = x % 2 + y % 2; // of the colour 0, 1 or 2
            const int ramp = x * sensitivity[filter] / 600;
            *sample++ = static_cast<std::uint8_t>(in_disc ? disc[filter] : ramp);
        }
}

bool develop(const camera &c) {
    constexpr std::uint16_t adaptive = 3;
    constexpr std::uint16_t red_green_first = 1;
    constexpr std::uint16_t halved_background = 0;
    constexpr std::uint16_t white = 15;
    return good(VIQ_BAY_RGGB32_to_BGRX32(c.mosaic, c.demosaiced, adaptive, red_green_first,
                                         VIQ_STRIP_NEXT)) &&
           good(VIQ_convert_to_RGB24(c.demosaiced, c.picture, VIQ_STRIP_NEXT)) &&
           good(VIQ_LUT_apply(c.picture, c.corrected, c.correction, VIQ_STRIP_NEXT)) &&
           good(VIQ_draw_timestamp(c.corrected, c.font, 8, 8, halved_background, white)) &&
           good(VIQ_JPEG_compress(c.corrected, c.jpeg));
}

// The file is complete when the lines written reach the height. A frame that counts no lines leaves
// it open for the next one.
bool record(const camera &c, bool first) {
    VIQ_image_set_parameter(c.jpeg, VIQ_LINES_PER_STRIP, 0);
    return (first || good(VIQ_JPEG_file_write(c.jpeg, VIQ_JPEG_SEPARATOR))) &&
           good(VIQ_JPEG_file_write(c.jpeg, VIQ_STRIP_NEXT));
}

bool film(int number, int frames, const std::string &folder, statistics &counts) {
    camera c = {number};
    bool fine = set_up(c, folder + "/camera" + std::to_string(number) + ".jpg");
    for (int frame = 0; fine && frame < frames; ++frame) {
        expose(c, frame);
        fine = develop(c);
        if (fine && frame % 2 == 0)
            fine = record(c, frame == 0);
        ++counts.frames;
        counts.compressed_bytes += VIQ_image_get_parameter(c.jpeg, VIQ_JPEG_PARAM);
    }
    return fine && good(VIQ_JPEG_file_write(c.jpeg, VIQ_STRIP_FINISH));
}

void run_camera(int number, std::uint32_t context, int frames, const std::string &folder,
                statistics &counts) {
    counts.failed = !good(VIQ_context_use(context)) || !film(number, frames, folder, counts);
    VIQ_context_destroy(context);
}

void show(const statistics (&counts)[cameras], double seconds) {
    for (int n = 0; n < cameras; ++n)
        std::printf("camera %d: %5d frames, %6.1f a second, %8.3f MB\n", n + 1,
                    counts[n].frames.load(), counts[n].frames / seconds,
                    double(counts[n].compressed_bytes) / 1e6);
}

// Shows the statistics once a second until all cameras have ended.
void watch(const statistics (&counts)[cameras], std::counting_semaphore<cameras> &ended) {
    using clock = std::chrono::steady_clock;
    const clock::time_point start = clock::now();
    for (int running = cameras; running > 0;) {
        const bool one_ended = ended.try_acquire_for(std::chrono::seconds(1));
        running -= one_ended ? 1 : 0;
        if (!one_ended || running == 0)
            show(counts, std::chrono::duration<double>(clock::now() - start).count());
    }
}

} // namespace

int main(int argc, char **argv) {
    const int frames = argc == 3 ? std::atoi(argv[1]) : 0;
    if (frames < 1) {
        std::fprintf(stderr, "usage: four_cameras FRAMES FOLDER\n");
        return 1;
    }
    VIQ_Init(); // installs the error handler, which new contexts inherit
    std::uint32_t contexts[cameras];
    for (std::uint32_t &context : contexts)
        context = VIQ_context_create();

    statistics counts[cameras];
    std::counting_semaphore<cameras> ended(0);
    std::thread threads[cameras];
    for (int n = 0; n < cameras; ++n)
        threads[n] = std::thread([&, n] {
            run_camera(n + 1, contexts[n], frames, argv[2], counts[n]);
            ended.release();
        });
    watch(counts, ended);

    bool failed = false;
    for (int n = 0; n < cameras; ++n) {
        threads[n].join();
        failed = failed || counts[n].failed;
    }
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    return failed ? 1 : 0;
}
