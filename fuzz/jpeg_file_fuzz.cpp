// JPEG files of any content: opening, counting frames, the generic reader, decoding.
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "core/image.h"

using namespace viq;

namespace {

struct scratch {
    const std::string file =
        (std::filesystem::temp_directory_path() / ("viq" + std::to_string(std::random_device{}())))
            .string();
    scratch() {
        VIQ_Init();
        VIQ_ErrHandlerInstall(nullptr);
    }
    ~scratch() { std::remove(file.c_str()); }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    static const scratch place;
    std::FILE *file = std::fopen(place.file.c_str(), "wb");
    if (file == nullptr)
        return 0;
    if (size > 0)
        std::fwrite(data, 1, size, file);
    std::fclose(file);

    const u32 jpeg = VIQ_JPEG_image_create();
    VIQ_image_set_infilename(jpeg, place.file.c_str());
    if (VIQ_JPEG_file_open(jpeg) == 0) {
        VIQ_JPEG_sequence_calc_length(jpeg);
        VIQ_JPEG_sequence_set_start_frame(jpeg, VIQ_image_get_parameter(jpeg, VIQ_PARAM_18));
        VIQ_JPEG_file_close(jpeg);
    }
    VIQ_image_set_parameter(jpeg, VIQ_HEIGHT, VIQ_HEIGHT_UNKNOWN);
    if (VIQ_image_read(jpeg, 0, VIQ_STRIP_NEXT) == 0) {
        const scoped_image out;
        VIQ_JPEG_decompress(jpeg, out.handle, VIQ_STRIP_NEXT);
        VIQ_JPEG_decompress(jpeg, out.handle, VIQ_STRIP_FINISH);
    }
    VIQ_image_destroy(jpeg);
    return 0;
}
