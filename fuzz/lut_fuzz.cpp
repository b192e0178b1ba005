// Loading, using and saving the file of a conversion lookup table. The first byte of the input
// selects the type of the table and the data width of the image; the rest is the file.
#include "fuzz/fuzz_support.h"

using namespace viq;

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    if (size == 0)
        return 0;
    const viq::input_file file(data + 1, size - 1);
    constexpr u64 small_table = 5000;
    VIQ_set_limit(VIQ_LIMIT_ALLOCATION, viq::is_one_of(data, size, 32) ? 0 : small_table);
    const auto type = static_cast<u16>(199 + data[0] % 8);
    const u32 image = VIQ_image_create();
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, VIQ_Y16);
    VIQ_image_set_parameter(image, VIQ_DATA_WIDTH, data[0] / 8);
    VIQ_image_set_parameter(image, VIQ_WIDTH, 2);
    VIQ_image_set_parameter(image, VIQ_HEIGHT, 1);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, 1);
    const u32 code = VIQ_image_conv_LUT_load(image, type, file.name.c_str());
    VIQ_image_malloc_a_strip(image);
    const u32 out = VIQ_image_create();
    VIQ_convert_to_paletted_LUT(image, out, VIQ_STRIP_NEXT);
    VIQ_convert_to_paletted_LUT(image, out, VIQ_STRIP_FINISH);
    if (!viq::is_error(code))
        VIQ_image_conv_LUT_save(image, type, file.name.c_str());
    VIQ_image_conv_LUT_destroy(type);
    VIQ_image_conv_LUT_destroy(VIQ_CONV_LUT_Y16_TO_PALETTED);
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    return 0;
}
