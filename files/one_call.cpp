// Whole pictures in one call: opening, saving, decoding and encoding. Every call works in the inner
// context, so that no reader, writer or coder of the caller is disturbed.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string_view>

#include "convert/convert_as.h"
#include "core/byte_order.h"
#include "core/file_extensions.h"
#include "core/format_checks.h"
#include "core/replaced_file.h"
#include "core/report.h"
#include "files/detect.h"

using namespace viq;

namespace {

constexpr const char *open_name = "VIQ_open_as";
constexpr const char *decode_name = "VIQ_decode_as";
constexpr const char *save_name = "VIQ_save";
constexpr const char *encode_name = "VIQ_encode";

// Memory that a caller frees with free().
struct memory_deleter {
    void operator()(u8 *memory) const { std::free(memory); }
};
struct encoded_file {
    std::unique_ptr<u8, memory_deleter> data;
    u64 size = 0;
};

u32 open_substitute(const char *function, const substitute_file &file, u16 format);
u32 file_format_of(const char *file_name);
u32 make_writable(const char *function, u32 hImage, u32 file_format, owned_image &picture);
bool is_coded(u32 file_format);
u32 encode_picture(const owned_image &picture, u32 width, u32 file_format, u16 quality,
                   encoded_file &encoded);
u32 write_picture(const char *function, const owned_image &picture, u32 file_format,
                  std::FILE *target);
u32 write_bytes(const char *function, const encoded_file &encoded, std::FILE *target);
u32 write_in_memory(const owned_image &picture, u32 file_format, encoded_file &encoded);

} // namespace

u32 VIQ_open_as(const char *pszFileName, u16 wFormat) {
    if (pszFileName == nullptr)
        return report_null(open_name);
    const inner_context inner;
    return is_error(inner.status) ? inner.status
                                  : open_substitute(open_name, {.path = pszFileName}, wFormat);
}

u32 VIQ_decode_as(const u8 *pData, u64 qwSize, u16 wFormat) {
    if (pData == nullptr)
        return report_null(decode_name);
    const inner_context inner;
    if (is_error(inner.status))
        return inner.status;
    if (qwSize > PTRDIFF_MAX)
        return report(decode_name, VIQ_ERR_MEMORY, "");
    return open_substitute(decode_name, {.data = pData, .size = qwSize}, wFormat);
}

u32 VIQ_save(u32 hImage, const char *pszFileName, u16 wQuality) try {
    if (pszFileName == nullptr)
        return report_null(save_name);
    const inner_context inner;
    u32 code = inner.status;
    if (!is_error(code))
        code = check_whole_picture(save_name, hImage);
    if (is_error(code))
        return code;
    const u32 format = file_format_of(pszFileName);
    if (format == 0)
        return report(save_name, VIQ_ERR_UNSUPPORTED, "File name has no known extension");

    owned_image picture(0);
    encoded_file encoded;
    code = make_writable(save_name, hImage, format, picture);
    if (!is_error(code) && is_coded(format))
        code = encode_picture(picture, VIQ_get_width(hImage), format, wQuality, encoded);
    if (is_error(code))
        return code;

    replaced_file file;
    unique_stream stream;
    code = open_replacement(save_name, pszFileName, hImage, file, stream);
    if (is_error(code))
        return code;
    code = is_coded(format) ? write_bytes(save_name, encoded, stream.release())
                            : write_picture(save_name, picture, format, stream.release());
    if (!is_error(code))
        return finish_replacement(save_name, file);
    discard_replacement(file);
    return code;
} catch (const std::exception &) {
    return report(save_name, VIQ_ERR_MEMORY, "");
}

u32 VIQ_encode(u32 hImage, u16 wFileFormat, u16 wQuality, u8 **ppData, u64 *pqwSize) {
    if (ppData == nullptr || pqwSize == nullptr)
        return report_null(encode_name);
    *ppData = nullptr;
    *pqwSize = 0;
    const inner_context inner;
    u32 code = inner.status;
    if (!is_error(code))
        code = check_whole_picture(encode_name, hImage);
    owned_image picture(0);
    encoded_file encoded;
    if (!is_error(code))
        code = make_writable(encode_name, hImage, wFileFormat, picture);
    if (is_error(code))
        return code;
    code = is_coded(wFileFormat) || wFileFormat == VIQ_FILE_BMP
               ? encode_picture(picture, VIQ_get_width(hImage), wFileFormat, wQuality, encoded)
               : write_in_memory(picture, wFileFormat, encoded);
    if (is_error(code))
        return code;
    *ppData = encoded.data.release();
    *pqwSize = encoded.size;
    return success;
}

namespace {

// ---- Reading

// The width of a picture of odd width follows the data of its wavelet stream: four characters and
// the width, little-endian.
constexpr char width_tag[] = {'W', 'i', 'd', 't'};
constexpr std::size_t width_size = sizeof width_tag + 4;

owned_image read_file(u16 format, u32 &width);
owned_image read_jpeg(u16 format);
owned_image read_wavelet(u32 &width);

u32 open_substitute(const char *function, const substitute_file &file, u16 format) {
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
    const file_substitution substitution(file);
    u32 width = 0; // of the picture, if it is not that of the image
    owned_image read = read_file(format, width);
    if (is_error(read))
        return read;
    if (file.path != nullptr && std::strlen(file.path) < sizeof tVIQ_Image::infilename)
        VIQ_image_set_infilename(read, file.path);
    const u16 as_read = find_image(read)->pixel_format;
    if (format == 0 || format == as_read)
        return read.release();
    if (width == 0)
        return convert_whole(function, read, format).release();
    // The added column is cut off where a pixel is a pixel.
    owned_image result = convert_whole(function, read, VIQ_RGB24);
    if (!is_error(result))
        result = copy_columns(result, width, find_image(result)->line_alignment);
    if (!is_error(result) && format != VIQ_RGB24)
        result = convert_whole(function, result, format);
    return result.release();
}

owned_image read_file(u16 format, u32 &width) {
    unique_stream file;
    const u32 type = open_and_detect("", file);
    file.reset();
    if (is_error(type))
        return owned_image(type);
    if (type == VIQ_FILE_JPEG)
        return read_jpeg(format);
    if (type == VIQ_FILE_WAVELET)
        return read_wavelet(width);
    owned_image image;
    const u32 code = is_error(image) ? image.handle : VIQ_image_read(image, 0, VIQ_STRIP_NEXT);
    return is_error(code) ? owned_image(code) : std::move(image);
}

owned_image read_jpeg(u16 format) {
    const owned_image jpeg(VIQ_JPEG_image_create());
    owned_image image;
    u32 code = is_error(jpeg) ? jpeg.handle : is_error(image) ? image.handle : success;
    if (!is_error(code))
        code = VIQ_JPEG_file_read(jpeg);
    if (!is_error(code)) {
        VIQ_image_set_parameter(jpeg, VIQ_LINES_PER_STRIP, VIQ_get_height(jpeg));
        VIQ_image_set_parameter(image, VIQ_IMAGE_TYPE,
                                format == VIQ_YUV422 ? VIQ_YUV422 : VIQ_RGB24);
        code = VIQ_JPEG_decompress(jpeg, image, VIQ_STRIP_NEXT);
    }
    return is_error(code) ? owned_image(code) : std::move(image);
}

u32 decompress(u16 coding_type, u32 image) {
    const owned_image stream(VIQ_WVLT_image_create(coding_type));
    u32 code = is_error(stream) ? stream.handle : VIQ_WVLT_file_read(stream);
    if (!is_error(code))
        code = VIQ_WVLT_decompress(stream, image, VIQ_STRIP_NEXT);
    return code;
}

u32 read_true_width() {
    const unique_stream file(open_to_read(""));
    u8 end[width_size];
    if (file == nullptr)
        return 0;
    const u64 size = file_size(file.get());
    if (size < width_size || !seek_to(file.get(), size - width_size) ||
        std::fread(end, 1, width_size, file.get()) != width_size ||
        std::memcmp(end, width_tag, sizeof width_tag) != 0)
        return 0;
    return load<u32>(end + sizeof width_tag, endian::little);
}

// The stream does not contain its coding type: type 0 is tried without a report, then type 1.
owned_image read_wavelet(u32 &width) {
    owned_image image;
    if (is_error(image))
        return image;
    const error_records records = copy_error_records();
    VIQ_ErrHandlerInstall(nullptr);
    u32 code = decompress(0, image);
    set_error_records(records);
    if (is_error(code))
        code = decompress(1, image);
    if (is_error(code))
        return owned_image(code);
    const u32 true_width = read_true_width();
    if (find_image(image)->pixel_format == VIQ_YUV422 && true_width != 0 &&
        true_width + 1 == find_image(image)->width)
        width = true_width;
    return image;
}

// ---- Writing

u32 file_format_of(const char *file_name) {
    const std::string_view name = file_name;
    const auto ends_with = [name](std::string_view end) {
        return name.size() >= end.size() &&
               std::equal(end.begin(), end.end(), name.end() - static_cast<long>(end.size()),
                          [](char wanted, char given) {
                              return wanted == (given >= 'A' && given <= 'Z' ? given + 32 : given);
                          });
    };
    for (const file_extension &row : file_extensions)
        if (ends_with(row.text))
            return row.file_format;
    return 0;
}

// The pixel formats that a file format holds; others are converted to its format for colour, or to
// Y8.
struct writable_file {
    u32 file_format;
    format_set held;
    u16 colour = VIQ_RGB24;
    bool without_padding = false; // lines are written with their padding, which must not be there
};
constexpr writable_file writable_files[] = {
    {.file_format = VIQ_FILE_BMP, .held = formats(VIQ_Y8, VIQ_PALETTED, VIQ_RGB24)},
    {.file_format = VIQ_FILE_TIFF,
     .held = formats(VIQ_Y1, VIQ_Y8, VIQ_Y16, VIQ_RGB24, VIQ_CMYK32, VIQ_PALETTED)},
    {.file_format = VIQ_FILE_TGA,
     .held = formats(VIQ_Y8, VIQ_RGB15, VIQ_RGB24),
     .without_padding = true},
    // Paletted EPS files are read by this library only.
    {.file_format = VIQ_FILE_EPS, .held = formats(VIQ_Y1, VIQ_Y8, VIQ_RGB24)},
    {.file_format = VIQ_FILE_JPEG, .held = formats(VIQ_Y8, VIQ_RGB24, VIQ_BGR24) | rgb_32_formats},
    {.file_format = VIQ_FILE_RAW, .held = ~0u, .without_padding = true},
    {.file_format = VIQ_FILE_WAVELET, .held = formats(VIQ_Y8, VIQ_YUV422), .colour = VIQ_YUV422},
    {.file_format = VIQ_FILE_WAVELET_SMALL,
     .held = formats(VIQ_Y8, VIQ_YUV422),
     .colour = VIQ_YUV422},
};

bool is_coded(u32 file_format) {
    return file_format == VIQ_FILE_JPEG || file_format == VIQ_FILE_WAVELET ||
           file_format == VIQ_FILE_WAVELET_SMALL;
}

// A second image with the caller's pixels, because writers change the parameters and the colourmap
// of what they write.
u32 share_pixels(u32 hImage, owned_image &shared) {
    const tVIQ_Image &image = *find_image(hImage);
    shared = owned_image();
    u32 code = is_error(shared) ? shared.handle : VIQ_image_copy_parameters_raw(hImage, shared);
    if (is_error(code))
        return code;
    VIQ_image_set_flags(shared, VIQ_FLAG_LOCKED, 1);
    return VIQ_image_set_ptr(shared, VIQ_PTR_DATA, image.data);
}

// TIFF palettes have 256 colours; those that the image does not have become black.
void fill_palette(u32 picture) {
    const tVIQ_Image &image = *find_image(picture);
    constexpr u16 all = 256;
    if (image.pixel_format != VIQ_PALETTED || image.colourmap == nullptr)
        return;
    for (u32 n = image.num_colours; n < all; ++n)
        image.colourmap[n] = {};
    VIQ_image_set_parameter(picture, VIQ_NUM_COLOURS, all);
}

// Makes a picture that the writer accepts, without changing the caller's image.
u32 make_writable(const char *function, u32 hImage, u32 file_format, owned_image &picture) {
    const auto *file = std::find_if(
        std::begin(writable_files), std::end(writable_files),
        [file_format](const writable_file &row) { return row.file_format == file_format; });
    if (file == std::end(writable_files))
        return report(function, VIQ_ERR_UNSUPPORTED, "Unsupported/unrecognized image format");
    const tVIQ_Image &image = *find_image(hImage);
    const bool is_colour = VIQ_image_is_colour(hImage) == 1 || image.pixel_format == VIQ_XRGB32;
    if (!contains(file->held, image.pixel_format) && file->held != ~0u) {
        picture = convert_whole(function, hImage, is_colour ? file->colour : u16{VIQ_Y8});
        if (is_error(picture))
            return picture;
    } else if (const u32 code = share_pixels(hImage, picture); is_error(code)) {
        return code;
    }
    if (file_format == VIQ_FILE_TIFF)
        fill_palette(picture);
    const tVIQ_Image &made = *find_image(picture);
    if (file->without_padding && made.skip_bytes != 0)
        picture = copy_columns(picture, made.width, 1);
    return is_error(picture) ? picture.handle : success;
}

u32 allocate(const char *function, u64 size, encoded_file &encoded) {
    encoded.data.reset(size <= PTRDIFF_MAX
                           ? static_cast<u8 *>(allocate_for_caller(static_cast<std::size_t>(size)))
                           : nullptr);
    return encoded.data != nullptr ? success : report_no_memory(function, size);
}

u32 encode_jpeg(u32 picture, u16 quality, encoded_file &encoded) {
    constexpr u32 header_and_end = 1500; // at most
    const owned_image jpeg(VIQ_JPEG_image_create());
    u32 code = is_error(jpeg) ? jpeg.handle : success;
    if (!is_error(code) && quality != 0)
        code = VIQ_JPEG_set_Quality_factor(jpeg, quality);
    if (!is_error(code))
        code = VIQ_JPEG_compress(picture, jpeg);
    if (is_error(code))
        return code;
    const u32 coded = find_image(jpeg)->jpeg->data_length;
    u32 size = 0;
    code = allocate(encode_name, u64{coded} + header_and_end, encoded);
    if (!is_error(code))
        code = VIQ_JPEG_buffer_write(jpeg, encoded.data.get(), &size, VIQ_STRIP_NEXT);
    encoded.size = size;
    return code;
}

u32 encode_wavelet(u32 picture, u32 width, u16 coding_type, u16 quality, encoded_file &encoded) {
    constexpr u32 header_and_settings = 28 + 0xFFFF; // at most
    const owned_image stream(VIQ_WVLT_image_create(coding_type));
    u32 code = is_error(stream) ? stream.handle : success;
    if (!is_error(code) && quality != 0)
        code = VIQ_WVLT_set_Quality_factor(stream, quality);
    if (!is_error(code))
        code = VIQ_WVLT_compress(picture, stream, VIQ_STRIP_NEXT);
    if (is_error(code))
        return code;
    u32 size = 0;
    const u64 coded = find_image(stream)->param_16;
    code = allocate(encode_name, coded + header_and_settings + width_size, encoded);
    if (!is_error(code))
        code = VIQ_WVLT_buffer_write(stream, encoded.data.get(), &size, VIQ_STRIP_NEXT);
    if (is_error(code))
        return code;
    encoded.size = size;
    if (find_image(picture)->width != width) {
        u8 *end = encoded.data.get() + encoded.size;
        std::memcpy(end, width_tag, sizeof width_tag);
        store<u32>(end + sizeof width_tag, width, endian::little);
        encoded.size += width_size;
    }
    return success;
}

u32 encode_bmp(u32 picture, encoded_file &encoded) {
    constexpr u32 header_and_palette = 1078; // at most
    const tVIQ_Image &image = *find_image(picture);
    u32 size = 0;
    u32 code = allocate(
        encode_name, (u64{image.bytes_per_line} + 3) * image.height + header_and_palette, encoded);
    if (!is_error(code))
        code = VIQ_image_write_BMP_buffer(picture, encoded.data.get(), &size, VIQ_STRIP_NEXT);
    encoded.size = size;
    return code;
}

// `width` is that of the caller's image.
u32 encode_picture(const owned_image &picture, u32 width, u32 file_format, u16 quality,
                   encoded_file &encoded) {
    switch (file_format) {
    case VIQ_FILE_JPEG:
        return encode_jpeg(picture, quality, encoded);
    case VIQ_FILE_BMP:
        return encode_bmp(picture, encoded);
    default:
        return encode_wavelet(picture, width, file_format == VIQ_FILE_WAVELET_SMALL ? 1 : 0,
                              quality, encoded);
    }
}

// Writes with the writer of a file format, which closes the target.
u32 write_picture(const char *function, const owned_image &picture, u32 file_format,
                  std::FILE *target) {
    const file_substitution substitution({.target = target});
    if (find_image(picture)->height == 0)
        return report(function, VIQ_ERR_CORRUPT, "Corrupt image");
    return VIQ_image_write(picture, 0, static_cast<u16>(file_format), VIQ_STRIP_NEXT);
}

u32 write_bytes(const char *function, const encoded_file &encoded, std::FILE *target) {
    unique_stream stream(target);
    std::fwrite(encoded.data.get(), 1, static_cast<std::size_t>(encoded.size), target);
    return close_file(function, stream);
}

#if defined(_WIN32)

u32 write_in_memory(const owned_image &picture, u32 file_format, encoded_file &encoded) {
    const std::unique_ptr<char, decltype(&std::free)> name(_tempnam(nullptr, "viq"), std::free);
    std::FILE *target = name != nullptr ? open_file(name.get(), "wb") : nullptr;
    if (target == nullptr)
        return report(encode_name, VIQ_ERR_OPEN, "Failed to create file");
    u32 code = write_picture(encode_name, picture, file_format, target);
    if (!is_error(code)) {
        const unique_stream file(open_file(name.get(), "rb"));
        const u64 size = file != nullptr ? file_size(file.get()) : 0;
        code = allocate(encode_name, size, encoded);
        encoded.size = size;
        if (!is_error(code) &&
            std::fread(encoded.data.get(), 1, static_cast<std::size_t>(size), file.get()) != size)
            code = report(encode_name, VIQ_ERR_SYSTEM, "Failed to read from file");
    }
    std::remove(name.get());
    return code;
}

#else

u32 write_in_memory(const owned_image &picture, u32 file_format, encoded_file &encoded) {
    char *data = nullptr;
    std::size_t size = 0;
    std::FILE *target = open_memstream(&data, &size);
    if (target == nullptr)
        return report(encode_name, VIQ_ERR_MEMORY, "");
    const u32 code = write_picture(encode_name, picture, file_format, target);
    encoded.data.reset(reinterpret_cast<u8 *>(data));
    encoded.size = size;
    return code;
}

#endif

} // namespace
