// Prints the upper half of a picture and then does something else than printing the rest.
//     print_half ACTION PRINTER [FILE]
// ACTION: abandon, destroy (the image), exit, or wait, which prints the rest after a line has been
// read from standard input. The exit status is 0 if the last call succeeded.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "viq.h"

static uint32_t print_to_error(uint32_t, const char *function, uint32_t, const char *message) {
    std::fprintf(stderr, "%s: %s\n", function, message);
    return 0;
}

int main(int argc, char **argv) {
    constexpr uint32_t width = 600, height = 4000, strip = 100;
    if (argc < 3)
        return 2;
    const char *action = argv[1];
    VIQ_Init();
    VIQ_ErrHandlerInstall(print_to_error);
    const uint32_t image = VIQ_image_create();
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, VIQ_RGB24);
    VIQ_image_set_parameter(image, VIQ_WIDTH, width);
    VIQ_image_set_parameter(image, VIQ_HEIGHT, height);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, strip);
    VIQ_image_malloc_a_strip(image);
    tVIQ_PrintOptions options;
    VIQ_display_print_defaults(&options);
    if (argc > 3)
        options.file_name = argv[3];
    uint32_t noise = 1;
    auto *pixels = static_cast<uint8_t *>(VIQ_image_get_ptr(image, VIQ_PTR_DATA));
    const auto print = [&](uint32_t lines) {
        uint32_t code = 0;
        for (uint32_t done = 0; done < lines && !VIQ_IS_ERROR(code); done += strip) {
            for (uint32_t n = 0; n < strip * width * 3; ++n) // which cannot be compressed
                pixels[n] = static_cast<uint8_t>((noise = noise * 1664525 + 1013904223) >> 24);
            code = VIQ_display_print(image, argv[2], "half", &options, VIQ_STRIP_NEXT);
        }
        return code;
    };
    uint32_t code = print(height / 2);
    if (VIQ_IS_ERROR(code))
        return 1;
    if (std::strcmp(action, "abandon") == 0) {
        code = VIQ_display_print(image, argv[2], "half", &options, VIQ_STRIP_FINISH);
    } else if (std::strcmp(action, "destroy") == 0) {
        code = VIQ_image_destroy(image);
    } else if (std::strcmp(action, "wait") == 0) {
        std::puts("half");
        std::fflush(stdout);
        std::getchar();
        code = print(height / 2);
    }
    return VIQ_IS_ERROR(code) ? 1 : 0;
}
