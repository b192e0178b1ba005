// Makes a small JPEG of a picture, with a frame of white lines: thumbnail IN OUT.jpg
#include <algorithm>
#include <iostream>

#include "viq.hpp"

int main(int argc, char **argv) try {
    if (argc != 3) {
        std::cerr << "usage: thumbnail IN OUT.jpg\n";
        return 1;
    }
    const viq::context own; // threads that do this at the same time have one each
    const viq::image photo = viq::image::open(argv[1], VIQ_RGB24);
    const std::uint32_t width = 160;
    const viq::image small =
        photo.through(VIQ_IP_scale, width, photo.height() * width / photo.width());
    for (const std::span<std::uint8_t> line : small.lines()) {
        std::ranges::fill(line.first(3), 255);
        std::ranges::fill(line.last(3), 255);
    }
    small.save(argv[2], 24);
    std::cout << argv[2] << ": " << small.width() << " x " << small.height() << '\n';
    return 0;
} catch (const viq::error &failure) {
    std::cerr << failure.function() << ": " << failure.text() << '\n';
    return 2;
}
