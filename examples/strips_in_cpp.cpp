// Reduces a picture of any size to grey with little memory: strips_in_cpp IN OUT.bmp
#include <exception>
#include <iostream>

#include "viq.hpp"

int main(int argc, char **argv) try {
    if (argc != 3) {
        std::cerr << "usage: strips_in_cpp IN OUT.bmp\n";
        return 1;
    }
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
    viq::strips picture(argv[1], 64);
    viq::strip_stage smaller(VIQ_IP_scale, picture.width() / 2, picture.height() / 2);
    viq::strip_stage grey(VIQ_convert_to_Y8);
    const viq::strip_file result(argv[2], VIQ_FILE_BMP);
    for (const viq::image &strip : picture)
        result.write(grey(smaller(strip)));
    return 0;
} catch (const std::exception &failure) {
    std::cerr << failure.what() << '\n';
    return 1;
}
