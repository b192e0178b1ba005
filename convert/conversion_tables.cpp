// Conversion lookup tables: generating, freeing, saving and loading.
#include "convert/conversion_tables.h"

#include "convert/closest_colour.h"
#include "convert/pixel_formulas.h"
#include "core/cmap_record.h"
#include "core/context.h"
#include "core/file_io.h"
#include "core/image.h"
#include "core/limits.h"
#include "core/report.h"

using namespace viq;

namespace {

// A table of words holds packed colours; a table of bytes holds indices of the nearest colours of a
// colourmap.
struct lut_rule {
    u16 type;
    const char *generator;
    const char *no_memory;
    u32 entries; // 0: 2 to the power of the data width
    rgb (*colour)(u32 index, u32 shift);
    u32 (*pack)(rgb colour); // null for a table of bytes
};

struct lut {
    vector<u8> bytes;
    u16 data_width = 0; // of the images that the table is for; 0: any
    bool from_file = false;
};

constexpr u32 lut_types = 6;
struct lut_set {
    lut of_rule[lut_types];
};

VIQ_PER_CONTEXT(lut_set, tables);

const lut_rule *find_rule(u16 type);
lut &table_of(const lut_rule &rule);
u32 generate(const lut_rule &rule, u32 hImage);
u32 destroy(u16 type);
u32 find_rule_for_file(const char *function, u32 hImage, u16 type, const char *path,
                       const lut_rule *&rule);
u32 check_fit(const char *function, const lut &table, const tVIQ_Image &image);
u32 make_room(const char *function, const lut_rule &rule, const tVIQ_Image &image, lut &made);
u32 report_unavailable(const char *function);

u32 generate(u16 type, u32 hImage) {
    return generate(*find_rule(type), hImage);
}

} // namespace

u32 VIQ_image_conv_LUT_generate(u32 hImage, u16 wLUTType) {
    constexpr const char *name = "VIQ_image_conv_LUT_generate";
    if (find_image(hImage) == nullptr)
        return report_bad_handle(name);
    const lut_rule *rule = find_rule(wLUTType);
    return rule != nullptr ? generate(*rule, hImage) : report_unavailable(name);
}

u32 VIQ_image_conv_LUT_destroy(u16 wLUTType) {
    return find_rule(wLUTType) != nullptr ? destroy(wLUTType)
                                          : report_unavailable("VIQ_image_conv_LUT_destroy");
}

u32 VIQ_image_conv_LUT_save(u32 hImage, u16 wLUTType, const char *pszFileName) {
    constexpr const char *name = "VIQ_image_conv_LUT_save";
    const lut_rule *rule = nullptr;
    u32 code = find_rule_for_file(name, hImage, wLUTType, pszFileName, rule);
    if (is_error(code))
        return code;
    const lut &table = table_of(*rule);
    if (table.bytes.empty())
        return report(name, VIQ_ERR_STATE, "LUT not generated");
    code = check_fit(name, table, *find_image(hImage));
    if (is_error(code))
        return code;
    unique_stream file(open_file(pszFileName, "wb"));
    if (file == nullptr)
        return report(name, VIQ_ERR_OPEN, "Failed to create file");
    std::fwrite(table.bytes.data(), 1, table.bytes.size(), file.get());
    return close_file(name, file);
}

// The existing table is replaced only after the whole file has been read.
u32 VIQ_image_conv_LUT_load(u32 hImage, u16 wLUTType, const char *pszFileName) {
    constexpr const char *name = "VIQ_image_conv_LUT_load";
    if (called_by_handler())
        return VIQ_ERR_STATE;
    const lut_rule *rule = nullptr;
    u32 code = find_rule_for_file(name, hImage, wLUTType, pszFileName, rule);
    if (is_error(code))
        return code;
    const tVIQ_Image &image = *find_image(hImage);
    lut &table = table_of(*rule);
    lut loaded;
    if (!table.bytes.empty())
        code = check_fit(name, table, image);
    if (!is_error(code))
        code = make_room(name, *rule, image, loaded);
    if (is_error(code))
        return code;
    unique_stream file(open_file(pszFileName, "rb"));
    if (file == nullptr)
        return report(name, VIQ_ERR_OPEN, "Failed to create file");
    code = check_file_limit(name, file.get());
    if (is_error(code))
        return code;
    const std::size_t size = loaded.bytes.size();
    if (std::fread(loaded.bytes.data(), 1, size, file.get()) != size ||
        std::fgetc(file.get()) != EOF)
        return report(name, VIQ_ERR_STATE,
                      "Incorrect number of bytes read - correct LUT selected?");
    code = close_file(name, file);
    loaded.from_file = true;
    if (!is_error(code))
        table = std::move(loaded);
    return code;
}

u32 VIQ_generate_RGB16_to_paletted_LUT(u32 hImage) {
    return generate(VIQ_CONV_LUT_RGB16_TO_PALETTED, hImage);
}

u32 VIQ_generate_Y8_to_paletted_LUT(u32 hImage) {
    return generate(VIQ_CONV_LUT_Y8_TO_PALETTED, hImage);
}

u32 VIQ_generate_Y16_to_paletted_LUT(u32 hImage) {
    return generate(VIQ_CONV_LUT_Y16_TO_PALETTED, hImage);
}

u32 VIQ_generate_YUV422_to_RGB16_LUT(void) {
    return generate(VIQ_CONV_LUT_YUV422_TO_RGB16, 0);
}

u32 VIQ_generate_YUV422_to_RGB15_LUT(void) {
    return generate(VIQ_CONV_LUT_YUV422_TO_RGB15, 0);
}

u32 VIQ_generate_YUV422_to_paletted_LUT(u32 hImage) {
    return generate(VIQ_CONV_LUT_YUV422_TO_PALETTED, hImage);
}

u32 VIQ_destroy_RGB16_to_paletted_LUT(void) {
    return destroy(VIQ_CONV_LUT_RGB16_TO_PALETTED);
}

u32 VIQ_destroy_Y8_to_paletted_LUT(void) {
    return destroy(VIQ_CONV_LUT_Y8_TO_PALETTED);
}

u32 VIQ_destroy_Y16_to_paletted_LUT(void) {
    return destroy(VIQ_CONV_LUT_Y16_TO_PALETTED);
}

u32 VIQ_destroy_YUV422_to_RGB16_LUT(void) {
    return destroy(VIQ_CONV_LUT_YUV422_TO_RGB16);
}

u32 VIQ_destroy_YUV422_to_RGB15_LUT(void) {
    return destroy(VIQ_CONV_LUT_YUV422_TO_RGB15);
}

u32 VIQ_destroy_YUV422_to_paletted_LUT(void) {
    return destroy(VIQ_CONV_LUT_YUV422_TO_PALETTED);
}

namespace viq {

u32 need_lut(const char *function, u16 type, u32 hImage, lut_view &view) {
    const lut_rule &rule = *find_rule(type);
    const lut &table = table_of(rule);
    const u32 code = table.bytes.empty() ? generate(rule, hImage)
                                         : check_fit(function, table, *find_image(hImage));
    const std::size_t entries = table.bytes.size() / (rule.pack != nullptr ? 2 : 1);
    view = {table.bytes.data(), static_cast<u32>(entries), table.from_file};
    return code;
}

} // namespace viq

namespace {

// ---- Contents of the tables

rgb colour_of_rgb16(u32 index, u32) {
    return unpack_fields<VIQ_RGB16>(index);
}

rgb colour_of_grey(u32 index, u32 shift) {
    return grey_rgb(y16_to_y8(index, shift));
}

// An index holds the upper bits of Y, U and V: 7, 6 and 6 in a fine table, 5 each in a coarse one.
// The entry is the colour whose dropped bits are 0.
rgb colour_of_fine_yuv(u32 index, u32) {
    return yuv_to_rgb({static_cast<u8>(index >> 11 & 254), static_cast<u8>(index >> 4 & 252),
                       static_cast<u8>((index & 63) * 4)});
}

rgb colour_of_coarse_yuv(u32 index, u32) {
    return yuv_to_rgb({static_cast<u8>(index >> 7 & 248), static_cast<u8>(index >> 2 & 248),
                       static_cast<u8>((index & 31) * 8)});
}

u32 word_of_rgb16(rgb colour) {
    return pack_fields<VIQ_RGB16>(colour);
}

u32 word_of_rgb15(rgb colour) {
    return pack_fields<VIQ_RGB15>(colour);
}

constexpr lut_rule rules[lut_types] = {
    {VIQ_CONV_LUT_RGB16_TO_PALETTED, "VIQ_generate_RGB16_to_paletted_LUT",
     "Unable to generate RGB16 to paletted LUT", 65536, colour_of_rgb16, nullptr},
    {VIQ_CONV_LUT_Y8_TO_PALETTED, "VIQ_generate_Y8_to_paletted_LUT",
     "Unable to generate Y8 to paletted LUT", 256, colour_of_grey, nullptr},
    {VIQ_CONV_LUT_Y16_TO_PALETTED, "VIQ_generate_Y16_to_paletted_LUT",
     "Unable to generate Y16 to paletted LUT", 0, colour_of_grey, nullptr},
    {VIQ_CONV_LUT_YUV422_TO_RGB16, "VIQ_generate_YUV422_to_RGB16_LUT",
     "Unable to generate YUV to RGB16 LUT", 524288, colour_of_fine_yuv, word_of_rgb16},
    {VIQ_CONV_LUT_YUV422_TO_RGB15, "VIQ_generate_YUV422_to_RGB15_LUT",
     "Unable to generate YUV to RGB15 LUT", 524288, colour_of_fine_yuv, word_of_rgb15},
    {VIQ_CONV_LUT_YUV422_TO_PALETTED, "VIQ_generate_YUV422_to_paletted_LUT",
     "Unable to generate YUV to paletted LUT", 32768, colour_of_coarse_yuv, nullptr},
};

// ---- Steps

u32 check_data_width(const char *function, u32 width);
void fill_nearest_indices(const lut_rule &rule, const tVIQ_Image &image, lut &made);
void fill_packed_colours(const lut_rule &rule, lut &made);

u32 report_unavailable(const char *function) {
    return report(function, VIQ_ERR_UNSUPPORTED,
                  "LUT function not available for this image pixel format");
}

const lut_rule *find_rule(u16 type) {
    for (const lut_rule &rule : rules)
        if (rule.type == type)
            return &rule;
    return nullptr;
}

lut &table_of(const lut_rule &rule) {
    return tables->of_rule[&rule - rules];
}

u32 destroy(u16 type) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    table_of(*find_rule(type)) = {};
    return success;
}

u32 generate(const lut_rule &rule, u32 hImage) {
    if (called_by_handler())
        return VIQ_ERR_STATE;
    lut made;
    if (rule.pack != nullptr) {
        const u32 code = make_room(rule.generator, rule, {}, made);
        if (is_error(code))
            return code;
        fill_packed_colours(rule, made);
    } else {
        const tVIQ_Image *image = find_image(hImage);
        if (image == nullptr)
            return report_bad_handle(rule.generator);
        if (image->colourmap == nullptr)
            return report_no_colourmap(rule.generator);
        const u32 code = make_room(rule.generator, rule, *image, made);
        if (is_error(code))
            return code;
        fill_nearest_indices(rule, *image, made);
    }
    table_of(rule) = std::move(made);
    return success;
}

void fill_packed_colours(const lut_rule &rule, lut &made) {
    for (u32 i = 0; i < rule.entries; ++i)
        store_word(made.bytes.data() + std::size_t{2} * i, rule.pack(rule.colour(i, 0)));
}

void fill_nearest_indices(const lut_rule &rule, const tVIQ_Image &image, lut &made) {
    const u32 shift = made.data_width != 0 ? made.data_width - 8u : 0;
    const colour_planes planes = planes_of(image.colourmap, colour_count(image));
    rgb last = {};
    u8 nearest = 0;
    for (u32 i = 0; i < made.bytes.size(); ++i) {
        const rgb c = rule.colour(i, shift);
        if (i == 0 || c.red != last.red || c.green != last.green || c.blue != last.blue)
            nearest = closest_colour(planes, c.red, c.green, c.blue);
        made.bytes[i] = nearest;
        last = c;
    }
}

u32 make_room(const char *function, const lut_rule &rule, const tVIQ_Image &image, lut &made) {
    u64 size = rule.entries;
    if (size == 0) {
        const u32 code = check_data_width(function, image.data_width);
        if (is_error(code))
            return code;
        made.data_width = image.data_width;
        size = u64{1} << image.data_width;
    }
    if (rule.pack != nullptr)
        size *= 2;
    return try_resize(made.bytes, size) ? success
                                        : report(function, VIQ_ERR_MEMORY, rule.no_memory);
}

u32 check_data_width(const char *function, u32 width) {
    if (width < 9)
        return report(function, VIQ_ERR_CORRUPT, "data width should > 8 (and <= 16)");
    if (width > 16)
        return report(function, VIQ_ERR_CORRUPT, "data width should <= 16 (and > 8)");
    return success;
}

u32 check_fit(const char *function, const lut &table, const tVIQ_Image &image) {
    return table.data_width == 0 || table.data_width == image.data_width
               ? success
               : report(function, VIQ_ERR_CORRUPT, "LUT does not fit the data width");
}

u32 find_rule_for_file(const char *function, u32 hImage, u16 type, const char *path,
                       const lut_rule *&rule) {
    if (find_image(hImage) == nullptr)
        return report_bad_handle(function);
    rule = find_rule(type);
    if (rule == nullptr)
        return report(function, VIQ_ERR_UNSUPPORTED, "Unrecognized LUT type");
    return path != nullptr ? success : report_null(function);
}

} // namespace
