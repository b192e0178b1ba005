// Records four simulated cameras, each in a context of its own: four_cameras FRAMES FOLDER
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "viq.hpp"

// A red disc that moves across a grey ramp, as a sensor with a colour-filter mosaic delivers it.
void expose(const viq::image &mosaic, int camera, int frame) {
    const int disc_x = (160 * camera + 4 * frame) % 640;
    for (int y = 0; y < 480; ++y)
        for (int x = 0; x < 640; ++x) {
            const int dx = x - disc_x, dy = y - 240,
                      filter = x % 2 + y % 2; // 0 red, 1 green, 2 blue
            const int light = dx * dx + dy * dy < 80 * 80 ? 200 - 80 * filter : x * 2 / 5;
            mosaic.line(std::uint32_t(y))[std::size_t(x)] = static_cast<std::uint8_t>(light);
        }
}

void film(int camera, int frames, const std::string &folder) {
    const std::string file = folder + "/camera" + std::to_string(camera) + ".jpg";
    const viq::context own;
    const viq::image mosaic(VIQ_RGGB32, 640, 480), jpeg(viq::call(VIQ_JPEG_image_create));
    const tVIQ_Font *font = nullptr;
    viq::call(VIQ_draw_get_ptr, 1, &font);
    for (int frame = 0; frame < frames; ++frame) {
        expose(mosaic, camera, frame);
        const viq::image picture = mosaic.through(VIQ_BAY_RGGB32_to_BGRX32, 3, 1).to(VIQ_RGB24);
        viq::call(VIQ_draw_timestamp, picture.handle(), font, 8, 8, 0, 15);
        viq::call(VIQ_image_set_outfilename, picture.handle(), file.c_str());
        viq::call(VIQ_JPEG_compress, picture.handle(), jpeg.handle());
        // A frame that counts no lines leaves the file open.
        viq::call(VIQ_image_set_parameter, jpeg.handle(), VIQ_LINES_PER_STRIP, 0);
        if (frame > 0)
            viq::call(VIQ_JPEG_file_write, jpeg.handle(), VIQ_JPEG_SEPARATOR);
        viq::call(VIQ_JPEG_file_write, jpeg.handle(), VIQ_STRIP_NEXT);
    }
    viq::call(VIQ_JPEG_file_write, jpeg.handle(), VIQ_STRIP_FINISH);
}

int main(int argc, char **argv) {
    if (argc != 3)
        return std::fprintf(stderr, "usage: four_cameras FRAMES FOLDER\n"), 1;
    std::atomic<bool> failed = false;
    std::thread threads[4];
    for (int camera = 1; camera <= 4; ++camera)
        threads[camera - 1] = std::thread([&, camera] {
            try {
                film(camera, std::atoi(argv[1]), argv[2]);
            } catch (const viq::error &failure) {
                std::fprintf(stderr, "camera %d: %s\n", camera, failure.what());
                failed = true;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    return failed ? 1 : 0;
}
