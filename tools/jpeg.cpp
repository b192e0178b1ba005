#include "tools/jpeg.h"

#include <algorithm>
#include <cstring>

namespace tool {

namespace {

// The factor that scales the standard luminance steps to these; steps at the ends of the range do
// not tell.
double quality_of(const u8 (&steps)[64]) {
    const image standard = make_jpeg();
    check(VIQ_JPEG_set_Quality_factor(standard.handle, 16), "viq");
    check(VIQ_JPEG_make_Q_tables(standard.handle), "viq");
    const u8(&usual)[64] = record_of(standard).q_tables[0];
    double wanted = 0;
    double found = 0;
    for (u32 k = 0; k < 64; ++k)
        if (steps[k] > 1 && steps[k] < 255) {
            wanted += usual[k];
            found += steps[k];
        }
    return found > 0 ? 16 * wanted / found : steps[0] <= 1 ? 400 : 1;
}

// The coder goes on with the codes of what has been decoded, which a written header does not name.
void use_standard_codes(const image &jpeg, const std::string &name) {
    VIQ_image_set_parameter(jpeg.handle, VIQ_IMAGE_TYPE, VIQ_YUV422);
    check(VIQ_JPEG_set_default_H_tables(jpeg.handle), name);
    check(VIQ_JPEG_generate_H_codetable_LUTs(jpeg.handle), name);
}

} // namespace

bool is_jpeg(const std::string &file) {
    const u32 code = VIQ_image_find_file_format(file.c_str());
    forget_report();
    return code == VIQ_FILE_JPEG;
}

image make_jpeg() {
    image jpeg;
    VIQ_image_destroy(jpeg.handle);
    jpeg.handle = VIQ_JPEG_image_create();
    check(jpeg.handle, "viq");
    return jpeg;
}

image read_jpeg(const std::string &file) {
    image jpeg = make_jpeg();
    check(VIQ_image_set_infilename(jpeg.handle, file.c_str()), file);
    check(VIQ_JPEG_file_read(jpeg.handle), file);
    return jpeg;
}

const Tjpeg &record_of(const image &jpeg) {
    return *static_cast<const Tjpeg *>(VIQ_image_get_ptr(jpeg.handle, VIQ_PTR_JPEG));
}

picture jpeg_header(const std::string &file) {
    const image jpeg = make_jpeg();
    check(VIQ_image_set_infilename(jpeg.handle, file.c_str()), file);
    check(VIQ_JPEG_file_open(jpeg.handle), file);
    check(VIQ_JPEG_file_close(jpeg.handle), file);
    picture header = picture_of(jpeg.handle);
    header.colour = record_of(jpeg).components != 1;
    header.format = header.colour ? VIQ_RGB24 : VIQ_Y8;
    header.bits = header.colour ? 24 : 8;
    const u32 line = header.width * header.bits / 8;
    header.bytes_per_line = line + line % 2;
    return header;
}

image decode_jpeg(const std::string &file) {
    const image jpeg = read_jpeg(file);
    const u32 width = VIQ_get_width(jpeg.handle);
    const u32 height = VIQ_get_height(jpeg.handle);
    const image decoded;
    VIQ_image_set_parameter(decoded.handle, VIQ_IMAGE_TYPE, VIQ_RGB24);
    check(VIQ_JPEG_decompress(jpeg.handle, decoded.handle, VIQ_STRIP_NEXT), file);
    if (VIQ_get_lines_this_strip(decoded.handle) == 0)
        throw failure{file + ": the picture ends early"};
    image result;
    const u16 format = format_of(decoded.handle);
    check(shape(result.handle, format, width, height, height), file);
    const pixels from = pixels_of(decoded.handle);
    const pixels to = pixels_of(result.handle);
    for (u32 y = 0; y < height; ++y)
        std::memcpy(to.line(y), from.line(y), std::size_t{width} * (format == VIQ_Y8 ? 1 : 3));
    return result;
}

void write_jpeg(u32 picture, u16 quality, const std::string &path, const std::string &name) {
    const image jpeg = make_jpeg();
    check(VIQ_JPEG_set_Quality_factor(jpeg.handle, quality), name);
    use_standard_codes(jpeg, name);
    check(VIQ_image_set_outfilename(picture, path.c_str()), name);
    check(VIQ_JPEG_compress(picture, jpeg.handle), name);
    check(VIQ_JPEG_file_write(jpeg.handle, VIQ_STRIP_NEXT), name);
}

void put_jpeg(const image &jpeg, const std::string &path) {
    put_in_place(path, [&](const std::string &draft) {
        check(VIQ_image_set_outfilename(jpeg.handle, draft.c_str()), path);
        check(VIQ_JPEG_file_write(jpeg.handle, VIQ_STRIP_NEXT), path);
    });
}

jpeg_facts facts_of(const std::string &file) {
    const image jpeg = read_jpeg(file);
    const Tjpeg &record = record_of(jpeg);
    jpeg_facts facts = {{}, record.q_table_count, 0, 0, 0};
    for (u16 i = 0; i < record.components; ++i)
        facts.sampling.push_back(std::to_string(record.h_factor[i]) + "x" +
                                 std::to_string(record.v_factor[i]));
    facts.huffman_tables = static_cast<u32>(
        std::find(record.h_table_ids, record.h_table_ids + 4, 255) - record.h_table_ids);
    facts.frames = VIQ_image_get_parameter(jpeg.handle, VIQ_PARAM_18);
    facts.quality = quality_of(record.q_tables[0]);
    return facts;
}

} // namespace tool
