// Compares the samples of a JPEG file decoded by the library with those of libjpeg, plane by plane
// and before colour conversion. Arguments: the file, the largest difference allowed.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <jpeglib.h>

#include "viq.h"

namespace {

struct plane {
    std::size_t line;
    std::vector<uint8_t> samples;
    uint8_t at(uint32_t x, uint32_t y) const { return samples[y * line + x]; }
};

using planes = std::array<plane, 3>;

[[noreturn]] void stop(const char *reason, const char *file) {
    std::printf("%s: %s\n", file, reason);
    std::exit(2);
}

planes decode_there(const char *path) {
    std::FILE *file = std::fopen(path, "rb");
    if (file == nullptr)
        stop("cannot be opened", path);
    jpeg_decompress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_stdio_src(&info, file);
    jpeg_read_header(&info, TRUE);
    info.raw_data_out = TRUE;
    info.dct_method = JDCT_ISLOW;
    info.do_fancy_upsampling = FALSE;
    jpeg_start_decompress(&info);
    planes result;
    const uint32_t step = static_cast<uint32_t>(info.max_v_samp_factor) * DCTSIZE;
    for (int c = 0; c < info.num_components; ++c) {
        plane &p = result[static_cast<uint32_t>(c)];
        p.line = (info.comp_info[c].width_in_blocks + 4) * DCTSIZE;
        p.samples.resize(p.line * (info.output_height + 2 * step));
    }
    while (info.output_scanline < info.output_height) {
        JSAMPROW rows[3][4 * DCTSIZE];
        JSAMPARRAY of_planes[3] = {rows[0], rows[1], rows[2]};
        for (int c = 0; c < info.num_components; ++c) {
            plane &p = result[static_cast<uint32_t>(c)];
            const uint32_t lines = static_cast<uint32_t>(info.comp_info[c].v_samp_factor) * DCTSIZE;
            for (uint32_t y = 0; y < lines; ++y)
                rows[c][y] = &p.samples[(info.output_scanline / step * lines + y) * p.line];
        }
        jpeg_read_raw_data(&info, of_planes, step);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    std::fclose(file);
    return result;
}

} // namespace

int main(int count, char **arguments) {
    if (count != 3)
        stop("wants a file and a tolerance", arguments[0]);
    const char *path = arguments[1];
    const planes theirs = decode_there(path);

    const uint32_t jpeg = VIQ_JPEG_image_create();
    const uint32_t picture = VIQ_image_create();
    VIQ_image_set_infilename(jpeg, path);
    VIQ_image_set_parameter(picture, VIQ_IMAGE_TYPE, VIQ_YUV422);
    if (VIQ_JPEG_file_read(jpeg) != 0)
        stop("cannot be read", path);
    const uint32_t width = VIQ_get_width(jpeg);
    const uint32_t height = VIQ_get_height(jpeg);
    if (VIQ_JPEG_decompress(jpeg, picture, VIQ_STRIP_NEXT) != 0)
        stop("cannot be decoded", path);
    const auto *ours = static_cast<const tVIQ_Image *>(VIQ_image_get_ptr(picture, VIQ_PTR_IMAGE));
    const bool colour = ours->pixel_format == VIQ_YUV422;
    const auto *record = static_cast<const Tjpeg *>(VIQ_image_get_ptr(jpeg, VIQ_PTR_JPEG));
    const uint32_t lines_of_chroma = colour ? record->v_factor[0] : 1;

    int worst[3] = {};
    const auto compare = [&](uint32_t component, uint8_t sample, uint32_t x, uint32_t y) {
        const int difference = std::abs(sample - theirs[component].at(x, y));
        worst[component] = std::max(worst[component], difference);
    };
    for (uint32_t y = 0; y < height; ++y) {
        const uint8_t *line = ours->data + std::size_t{y} * ours->bytes_per_line;
        for (uint32_t x = 0; x < width; ++x) {
            compare(0, line[colour ? 2 * x : x], x, y);
            for (uint32_t c = 1; colour && c < 3; ++c)
                compare(c, line[x / 2 * 4 + 2 * c - 1], x / 2, y / lines_of_chroma);
        }
    }
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    std::printf("largest differences: Y %d, U %d, V %d\n", worst[0], worst[1], worst[2]);
    const int allowed = std::atoi(arguments[2]);
    return worst[0] <= allowed && worst[1] <= allowed && worst[2] <= allowed ? 0 : 1;
}
