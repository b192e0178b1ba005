#include "tools/jpeg_file.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "tools/replace_file.h"
#include "tools/strip_stages.h"

namespace tool {

namespace {

constexpr uint16_t standard_quality = 16; // the factor whose tables are the standard's
constexpr uint8_t no_table = 255;         // identifier of an unused Huffman table
constexpr uint16_t frame_count_parameter = VIQ_PARAM_18;

double estimate_quality(const uint8_t (&steps)[64]);
void use_standard_huffman_tables(const image &jpeg, const std::string &name);

struct jpeg_writer {
    image jpeg = make_jpeg();
    bool is_writing = false; // a file is open
};

void check_content(const image &jpeg, const std::string &name) {
    if (record_of(jpeg).components == 0 || record_of(jpeg).data_length == 0)
        throw failure{name + ": the picture data ends early"};
}

image read_by(uint32_t (*read)(uint32_t), const input_file &file, const std::string &name) {
    image jpeg = make_jpeg();
    check(VIQ_image_set_infilename(jpeg.handle, file.path.c_str()), name);
    check(read(jpeg.handle), name);
    check_content(jpeg, name);
    return jpeg;
}

} // namespace

image read_jpeg(const std::string &file) {
    return read_by(VIQ_JPEG_file_read, open_input(file), file);
}

image open_jpeg(const input_file &file, const std::string &name) {
    return read_by(VIQ_JPEG_file_open, file, name);
}

image make_jpeg() {
    return image(VIQ_JPEG_image_create());
}

const Tjpeg &record_of(const image &jpeg) {
    return *static_cast<const Tjpeg *>(VIQ_image_get_ptr(jpeg.handle, VIQ_PTR_JPEG));
}

uint16_t decoded_format(const image &jpeg) {
    return record_of(jpeg).components != 1 ? VIQ_RGB24 : VIQ_Y8;
}

strip_sink jpeg_sink(const std::string &path, const std::string &name,
                     const coding_options &coding) {
    constexpr uint32_t block_lines = 8;
    const std::shared_ptr<jpeg_writer> writer = std::make_shared<jpeg_writer>();
    check(VIQ_JPEG_set_Quality_factor(writer->jpeg.handle, coding.quality), name);
    check(VIQ_JPEG_set_optimisation(writer->jpeg.handle, coding.optimisation), name);
    use_standard_huffman_tables(writer->jpeg, name);
    const auto take = [writer, path, name](uint32_t strip, bool is_last) {
        check(VIQ_image_set_outfilename(strip, path.c_str()), name);
        check(VIQ_JPEG_compress_strip(strip, writer->jpeg.handle, VIQ_STRIP_NEXT), name);
        writer->is_writing = true;
        check(VIQ_JPEG_file_write(writer->jpeg.handle, VIQ_STRIP_NEXT), name);
        writer->is_writing = !is_last;
    };
    const auto abandon = [writer](uint32_t strip) {
        VIQ_JPEG_compress_strip(strip, writer->jpeg.handle, VIQ_STRIP_FINISH);
        if (writer->is_writing)
            VIQ_JPEG_file_write(writer->jpeg.handle, VIQ_STRIP_FINISH);
    };
    return divide_into_strips(default_strip_lines / block_lines * block_lines, name,
                              {take, abandon});
}

void write_coded_jpeg(const image &jpeg, const std::string &path) {
    replace_file(path, [&](const std::string &temporary) {
        check(VIQ_image_set_outfilename(jpeg.handle, temporary.c_str()), path);
        check(VIQ_JPEG_file_write(jpeg.handle, VIQ_STRIP_NEXT), path);
    });
}

jpeg_facts facts_of(const image &jpeg) {
    const Tjpeg &record = record_of(jpeg);
    if (record.data == nullptr)
        check(VIQ_JPEG_file_read(jpeg.handle), "JPEG data");
    jpeg_facts facts = {{}, record.q_table_count, 0, 0, 0};
    for (uint16_t i = 0; i < record.components; ++i)
        facts.sampling.push_back(std::to_string(record.h_factor[i]) + "x" +
                                 std::to_string(record.v_factor[i]));
    facts.huffman_tables = static_cast<uint32_t>(
        std::find(std::begin(record.h_table_ids), std::end(record.h_table_ids), no_table) -
        std::begin(record.h_table_ids));
    facts.frames = frame_count(jpeg);
    facts.quality = estimate_quality(record.q_tables[0]);
    return facts;
}

uint32_t frame_count(const image &jpeg) {
    return VIQ_image_get_parameter(jpeg.handle, frame_count_parameter);
}

void set_frame_count(const image &jpeg, uint32_t count) {
    VIQ_image_set_parameter(jpeg.handle, frame_count_parameter, count);
}

namespace {

// The ratio of the standard luminance steps to these. Steps at the ends of the range are clamped
// and left out.
double estimate_quality(const uint8_t (&steps)[64]) {
    const image standard = make_jpeg();
    check(VIQ_JPEG_set_Quality_factor(standard.handle, standard_quality), "viq");
    check(VIQ_JPEG_make_Q_tables(standard.handle), "viq");
    const uint8_t(&standard_steps)[64] = record_of(standard).q_tables[0];
    double standard_sum = 0;
    double sum = 0;
    for (uint32_t k = 0; k < 64; ++k)
        if (steps[k] > 1 && steps[k] < 255) {
            standard_sum += standard_steps[k];
            sum += steps[k];
        }
    if (sum > 0)
        return standard_quality * standard_sum / sum;
    return steps[0] <= 1 ? highest_jpeg_quality : lowest_jpeg_quality;
}

// Without this call the encoder uses the Huffman tables of the last decoded picture, which the
// header of the written file does not contain.
void use_standard_huffman_tables(const image &jpeg, const std::string &name) {
    VIQ_image_set_parameter(jpeg.handle, VIQ_IMAGE_TYPE, VIQ_YUV422);
    check(VIQ_JPEG_set_default_H_tables(jpeg.handle), name);
    check(VIQ_JPEG_generate_H_codetable_LUTs(jpeg.handle), name);
}

} // namespace

} // namespace tool
