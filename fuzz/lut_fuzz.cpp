// Any bytes as the file of a conversion lookup table; the first byte chooses type and data width.
#include "fuzz/input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const u8 *data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string &name = viq::input_file(data + 1, size - 1);
    const auto type = static_cast<u16>(199 + data[0] % 8);
    const u32 image = VIQ_image_create();
    VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE, VIQ_Y16);
    VIQ_image_set_parameter(image, VIQ_DATA_WIDTH, data[0] / 8);
    VIQ_image_set_parameter(image, VIQ_WIDTH, 2);
    VIQ_image_set_parameter(image, VIQ_HEIGHT, 1);
    VIQ_image_set_parameter(image, VIQ_LINES_PER_STRIP, 1);
    const u32 code = VIQ_image_conv_LUT_load(image, type, name.c_str());
    VIQ_image_malloc_a_strip(image);
    const u32 out = VIQ_image_create();
    VIQ_convert_to_paletted_LUT(image, out, VIQ_STRIP_NEXT);
    VIQ_convert_to_paletted_LUT(image, out, VIQ_STRIP_FINISH);
    if (!viq::is_error(code))
        VIQ_image_conv_LUT_save(image, type, name.c_str());
    VIQ_image_conv_LUT_destroy(type);
    VIQ_image_conv_LUT_destroy(VIQ_CONV_LUT_Y16_TO_PALETTED);
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    std::remove(name.c_str());
    return 0;
}
