#include "tools/picture_source.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "tools/grey16_operations.h"
#include "tools/jpeg_file.h"
#include "tools/note.h"
#include "tools/orientation.h"
#include "tools/pixel_format_table.h"
#include "tools/wavelet_file.h"

namespace tool {

namespace {

void open_by_library(picture_source &source, const reading_options &how);
void take_facts(picture_source &source);
void open_by_fallback(picture_source &source, uint32_t page);
picture_header decoded_header(const image &jpeg);
void open_strips(picture_source &source);
uint32_t call_reader(picture_source &source, uint16_t command);
void read_coded_strip(picture_source &source);
void check_size(const picture_source &source);

} // namespace

picture_header header_of(uint32_t handle) {
    const uint16_t format = format_of(handle);
    const uint32_t colours =
        format == VIQ_PALETTED ? VIQ_image_get_parameter(handle, VIQ_NUM_COLOURS) : 0;
    return {VIQ_get_width(handle),
            VIQ_get_height(handle),
            format,
            VIQ_get_depth(handle),
            static_cast<uint16_t>(colours),
            VIQ_image_is_colour(handle) == 1,
            VIQ_get_bytes_per_line(handle)};
}

picture_source::~picture_source() {
    if (owned.handle != 0) // 0 after a move
        close_picture(*this);
}

picture_source open_picture(const std::string &file, const reading_options &how) {
    picture_source source;
    source.name = file == standard_stream ? "standard input" : file;
    source.input = open_input(file);
    source.kind =
        how.type.empty() ? &kind_of_content(source.input, source.name) : &kind_of_type(how.type);
    if (!source.kind->is_readable())
        throw failure{source.name + ": viq cannot read files of type " + source.kind->name};
    if (source.kind->code == 0 || how.page != 1) {
        open_by_fallback(source, how.page);
        return source;
    }
    try {
        open_by_library(source, how);
        check_size(source);
    } catch (const failure &) {
        if (source.kind->fallback == nullptr)
            throw;
        const std::exception_ptr rejected = std::current_exception();
        try {
            open_by_fallback(source, how.page);
        } catch (const failure &) {
            std::rethrow_exception(rejected);
        }
    }
    return source;
}

picture_source picture_in_memory(uint32_t handle, const std::string &name) {
    picture_source source;
    source.name = name;
    source.header = header_of(handle);
    source.handle = handle;
    source.is_whole = true;
    return source;
}

picture_source stored_source(const std::shared_ptr<stored_picture> &stored,
                             const picture_header &header, const std::string &name) {
    picture_source source;
    source.name = name;
    source.header = header;
    source.owned = image();
    source.handle = source.owned.handle;
    source.stored = stored;
    return source;
}

void start_reading(picture_source &source, uint32_t lines_per_strip) {
    print_notes(source.name, source.notes);
    source.notes.clear();
    if (source.is_whole)
        return;
    const uint32_t lines = std::min(lines_per_strip, source.header.height);
    if (source.stored != nullptr) {
        source.lines_read = 0;
        VIQ_image_set_parameter(source.handle, VIQ_LINES_PER_STRIP, lines);
        return;
    }
    if (!source.is_open)
        open_strips(source);
    VIQ_image_set_parameter(source.coded.handle != 0 ? source.coded.handle : source.handle,
                            VIQ_LINES_PER_STRIP, lines);
}

void read_strip(picture_source &source) {
    if (source.stored != nullptr)
        read_stored(*source.stored, source.lines_read,
                    std::min(VIQ_get_lines_this_strip(source.handle),
                             source.header.height - source.lines_read),
                    source.handle, source.name);
    else if (source.coded.handle != 0)
        read_coded_strip(source);
    else if (!source.is_whole)
        check(call_reader(source, VIQ_STRIP_NEXT), source.name);
    const uint32_t lines = VIQ_get_lines_this_strip(source.handle);
    if (lines == 0)
        throw failure{source.name + ": the picture data ends early"};
    if (source.grey_bits < 16) {
        VIQ_image_set_parameter(source.handle, VIQ_DATA_WIDTH, source.grey_bits);
        scale_to_16_bits(source.handle);
    }
    // The library closes the file after the last strip.
    source.lines_read += lines;
    if (source.lines_read >= source.header.height)
        source.is_open = false;
}

void close_picture(picture_source &source) {
    if (!source.is_open)
        return;
    call_reader(source, VIQ_STRIP_FINISH);
    discard_error_message();
    source.is_open = false;
}

picture_header read_header(const std::string &file) {
    return open_picture(file).header;
}

namespace {

void open_by_library(picture_source &source, const reading_options &how) {
    source.unpadded = how.unpadded || source.kind->unpadded;
    if (source.kind->code == VIQ_FILE_JPEG) {
        source.coded = open_jpeg(source.input, source.name);
        source.header = decoded_header(source.coded);
        source.stored_format = source.header.format;
        source.orientation = jpeg_orientation(source.input.path);
        return;
    }
    if (source.kind->code == VIQ_FILE_WAVELET) {
        decoded_wavelet decoded = read_wavelet(source.input.path, source.name);
        source.owned = std::move(decoded.picture);
        source.small_wavelet = decoded.small;
        source.handle = source.owned.handle;
        source.is_whole = true;
        source.stored_format = decoded.format;
    } else {
        open_strips(source);
        source.stored_format = format_of(source.handle);
        if (source.kind->count_pages != nullptr)
            source.pages = source.kind->count_pages(source.input.path);
        take_facts(source);
    }
    source.header = header_of(source.handle);
}

// What the header of the file says that the pixels do not show.
void take_facts(picture_source &source) {
    const auto fact = [&source](uint16_t id) {
        return static_cast<uint16_t>(VIQ_image_get_file_info(source.handle, id));
    };
    if (format_of(source.handle) == VIQ_Y16)
        source.grey_bits =
            static_cast<uint16_t>(VIQ_image_get_parameter(source.handle, VIQ_DATA_WIDTH));
    else if (fact(VIQ_FILE_INFO_SAMPLE_BITS) > 8)
        source.notes.push_back(std::to_string(fact(VIQ_FILE_INFO_SAMPLE_BITS)) +
                               " bits a colour sample are reduced to 8");
    if (fact(VIQ_FILE_INFO_DROPPED_SAMPLES) != 0)
        source.notes.emplace_back(alpha_dropped);
    if (const uint16_t orientation = fact(VIQ_FILE_INFO_ORIENTATION); orientation != 0)
        source.orientation = orientation;
}

void open_by_fallback(picture_source &source, uint32_t page) {
    if (source.kind->fallback == nullptr)
        throw failure{source.name + ": has only one page, or this build of viq reads only one"};
    decoded_picture decoded = source.kind->fallback(source.input.path, source.name, page);
    close_picture(source);
    source.coded = image(0);
    source.owned = std::move(decoded.picture);
    source.handle = source.owned.handle;
    source.is_whole = true;
    source.header = header_of(source.handle);
    source.stored_format = source.header.format;
    source.reader = decoded.reader;
    source.notes = decoded.notes;
    source.pages = decoded.pages;
    source.orientation = decoded.orientation;
}

uint32_t call_reader(picture_source &source, uint16_t command) {
    return source.coded.handle != 0
               ? VIQ_JPEG_decompress(source.coded.handle, source.handle, command)
               : source.kind->read_strip(source.handle, command);
}

// Some features of JPEG files are rejected by the decoder, not by the reader of the headers.
void read_coded_strip(picture_source &source) {
    try {
        check(call_reader(source, VIQ_STRIP_NEXT), source.name);
    } catch (const failure &) {
        source.is_open = false;
        if (source.lines_read != 0 || source.kind->fallback == nullptr)
            throw;
        const std::exception_ptr rejected = std::current_exception();
        const uint16_t format = source.header.format;
        try {
            open_by_fallback(source, 1);
        } catch (const failure &) {
            std::rethrow_exception(rejected);
        }
        // The steps of the pipeline have been chosen for the format in the header.
        if (source.header.format != format)
            std::rethrow_exception(rejected);
        print_notes(source.name, source.notes);
    }
}

void check_size(const picture_source &source) {
    if (source.header.width == 0 || source.header.height == 0)
        throw failure{source.name + ": contains no picture"};
}

picture_header decoded_header(const image &jpeg) {
    picture_header header = header_of(jpeg.handle);
    header.format = decoded_format(jpeg);
    header.colour = !is_grey_format(header.format);
    header.palette_colours = 0;
    const uint32_t bytes = bytes_per_pixel(header.format);
    header.bits_per_pixel = static_cast<uint16_t>(8 * bytes);
    const uint32_t line = header.width * bytes;
    header.bytes_per_line = line + line % 2; // lines of an image begin at even addresses
    return header;
}

// A reader that is called with a height and lines per strip of 0 reads the header and keeps the
// file open for the strips. The headers of JPEG files have been read already.
void open_strips(picture_source &source) {
    source.owned = image();
    source.handle = source.owned.handle;
    source.lines_read = 0;
    if (source.coded.handle != 0) {
        VIQ_image_set_parameter(source.handle, VIQ_IMAGE_TYPE, VIQ_RGB24);
        if (source.unpadded)
            VIQ_image_set_parameter(source.coded.handle, VIQ_LINE_ALIGNMENT, 1);
        source.is_open = true;
        return;
    }
    check(VIQ_image_set_infilename(source.handle, source.input.path.c_str()), source.name);
    if (source.unpadded)
        VIQ_image_set_parameter(source.handle, VIQ_LINE_ALIGNMENT, 1);
    VIQ_image_set_parameter(source.handle, VIQ_HEIGHT, 0);
    VIQ_image_set_parameter(source.handle, VIQ_LINES_PER_STRIP, 0);
    check(source.kind->read_strip(source.handle, VIQ_STRIP_NEXT), source.name);
    source.is_open = true;
    // EPS files store the index of the last colour instead of the number of colours.
    if (source.kind->code == VIQ_FILE_EPS && format_of(source.handle) == VIQ_PALETTED)
        VIQ_image_set_parameter(source.handle, VIQ_NUM_COLOURS,
                                VIQ_image_get_parameter(source.handle, VIQ_NUM_COLOURS) + 1);
}

} // namespace

} // namespace tool
