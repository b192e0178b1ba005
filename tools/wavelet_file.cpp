#include "tools/wavelet_file.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <iterator>

#include "tools/temporary_folder.h"
#include "tools/upper_left_part.h"

namespace tool {

namespace {

// Entropy coder types of VIQ_WVLT_image_create.
constexpr uint16_t fast_coder = 0;
constexpr uint16_t small_coder = 1;

// The file header; numbers are little-endian.
constexpr std::size_t header_size = 28;
constexpr std::size_t component_count_offset = 8;  // 16 bits
constexpr std::size_t component_bytes_offset = 10; // 32 bits each
constexpr std::size_t most_components = 4;
constexpr std::size_t settings_bytes_offset = 26; // 16 bits

// The width of the original follows the coded data: four characters and the width, little-endian.
constexpr char width_tag[] = {'W', 'i', 'd', 't'};
constexpr std::size_t width_bytes = 4;

uint32_t decode(const std::string &file, uint16_t coder, const image &picture);
uint32_t read_true_width(const std::string &path);
void append_true_width(uint32_t width, const std::string &path, const std::string &name);
uint32_t little_endian(const char *bytes, std::size_t count);

} // namespace

decoded_wavelet read_wavelet(const std::string &path, const std::string &name) {
    decoded_wavelet decoded = {image(), false, 0};
    const uint32_t code = decode(path, fast_coder, decoded.picture);
    if (VIQ_IS_ERROR(code)) {
        if (is_memory_error(code))
            check(code, name);
        discard_error_message();
        decoded.small = true;
        check(decode(path, small_coder, decoded.picture), name);
    }
    decoded.format = format_of(decoded.picture.handle);
    const uint32_t coded_width = VIQ_get_width(decoded.picture.handle);
    const uint32_t true_width = read_true_width(path);
    if (decoded.format == VIQ_YUV422 && true_width + 1 == coded_width && true_width > 0) {
        const image colour;
        check(
            VIQ_image_convert(decoded.picture.handle, colour.handle, VIQ_RGB24, 0, VIQ_STRIP_NEXT),
            name);
        decoded.picture = upper_left_part(colour, true_width, VIQ_get_height(colour.handle), name);
    }
    return decoded;
}

wavelet_sizes read_wavelet_sizes(const std::string &file) {
    std::array<char, header_size> header = {};
    std::ifstream(file, std::ios::binary).read(header.data(), header.size());
    const auto number = [&header](std::size_t offset, std::size_t bytes) {
        return little_endian(header.data() + offset, bytes);
    };
    wavelet_sizes sizes = {{}, number(settings_bytes_offset, 2)};
    const std::size_t count =
        std::min<std::size_t>(number(component_count_offset, 2), most_components);
    for (std::size_t i = 0; i < count; ++i)
        sizes.component_bytes.push_back(number(component_bytes_offset + 4 * i, 4));
    return sizes;
}

void write_wavelet(uint32_t picture, uint32_t true_width, const wavelet_options &options,
                   const std::string &path, const std::string &name) {
    const image wavelet(VIQ_WVLT_image_create(options.small ? small_coder : fast_coder));
    check(VIQ_WVLT_set_Quality_factor(wavelet.handle, options.quality), name);
    check(VIQ_WVLT_set_subbands(wavelet.handle, options.decompositions), name);
    check(VIQ_WVLT_set_optimisation(wavelet.handle, options.optimised ? 1 : 0), name);
    check(VIQ_WVLT_compress(picture, wavelet.handle, VIQ_STRIP_NEXT), name);
    check(VIQ_image_set_outfilename(wavelet.handle, path.c_str()), name);
    check(VIQ_image_write(wavelet.handle, 0, VIQ_FILE_WAVELET, VIQ_STRIP_NEXT), name);
    if (true_width != VIQ_get_width(picture))
        append_true_width(true_width, path, name);
}

namespace {

uint32_t decode(const std::string &file, uint16_t coder, const image &picture) {
    const image wavelet(VIQ_WVLT_image_create(coder));
    uint32_t code = VIQ_image_set_infilename(wavelet.handle, file.c_str());
    if (!VIQ_IS_ERROR(code))
        code = VIQ_WVLT_file_read(wavelet.handle);
    return VIQ_IS_ERROR(code) ? code
                              : VIQ_WVLT_decompress(wavelet.handle, picture.handle, VIQ_STRIP_NEXT);
}

// 0 if the file does not contain it.
uint32_t read_true_width(const std::string &path) {
    std::array<char, sizeof width_tag + width_bytes> end = {};
    std::ifstream file(path, std::ios::binary);
    file.seekg(-static_cast<std::streamoff>(end.size()), std::ios::end);
    file.read(end.data(), end.size());
    if (!file || !std::equal(std::begin(width_tag), std::end(width_tag), end.begin()))
        return 0;
    return little_endian(end.data() + sizeof width_tag, width_bytes);
}

void append_true_width(uint32_t width, const std::string &path, const std::string &name) {
    const file_ptr file = open_or_fail(path, "ab", name, "cannot be written");
    std::fwrite(width_tag, 1, sizeof width_tag, file.get());
    for (std::size_t n = 0; n < width_bytes; ++n)
        std::fputc(static_cast<int>(width >> 8 * n & 0xFF), file.get());
    if (std::fflush(file.get()) != 0)
        fail_by_system(name, "cannot be written");
}

uint32_t little_endian(const char *bytes, std::size_t count) {
    uint32_t value = 0;
    while (count-- > 0)
        value = value << 8 | static_cast<unsigned char>(bytes[count]);
    return value;
}

} // namespace

} // namespace tool
