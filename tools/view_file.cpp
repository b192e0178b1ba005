#include "tools/view_file.h"

#include <memory>
#include <utility>

#include "tools/frame_file.h"
#include "tools/image_operations.h"
#include "tools/jpeg_sequence.h"
#include "tools/orientation.h"
#include "tools/picture_source.h"
#include "tools/pipeline.h"
#include "tools/processing_steps.h"

namespace tool {

namespace {

// A picture file, which is opened again for every page that is read.
struct page_reader {
    input_file input;
    std::string name, type;
    std::unique_ptr<picture_source> first; // page 1, until it is read
};

view_file view_frames(const std::string &file, const viewing_options &options) {
    frame_file frames = open_frames(file, parse_frame_format(options.raw));
    frames.selected = parse_frames(options.frames.empty() ? "all" : options.frames, frames);
    const frame_range range = frames.selected;
    view_file view;
    view.name = frames.name;
    view.frames = range.last - range.first + 1;
    view.is_film = view.frames > 1;
    view.mosaic_phase = frames.format.phase;
    view.read = [frames = std::move(frames)](uint64_t frame) {
        return read_frame(frames, frames.selected.first + frame - 1);
    };
    return view;
}

image upright_picture(picture_source &source) {
    picture_flow flow = {source.name, &source};
    process(flow, {steps_to_upright(source.orientation)});
    return take_whole(flow);
}

view_file view_pages(const std::shared_ptr<page_reader> &reader) {
    const uint32_t pages = reader->first->pages;
    const auto read = [reader](uint64_t page) {
        std::unique_ptr<picture_source> source = std::move(reader->first);
        if (source == nullptr || page != 1)
            source = std::make_unique<picture_source>(open_picture(
                reader->input.path, {.type = reader->type, .page = static_cast<uint32_t>(page)}));
        source->name = reader->name;
        return upright_picture(*source);
    };
    return {reader->name, pages, false, 0, read};
}

// A frame is decoded as a whole.
image decode_frame(const image &sequence, uint64_t number, const std::string &name) {
    const image frame = extract_frame(sequence, static_cast<uint32_t>(number), name);
    image picture;
    VIQ_image_set_parameter(picture.handle, VIQ_IMAGE_TYPE, VIQ_RGB24);
    VIQ_image_set_parameter(frame.handle, VIQ_LINES_PER_STRIP, VIQ_get_height(frame.handle));
    check(VIQ_JPEG_decompress(frame.handle, picture.handle, VIQ_STRIP_NEXT), name);
    return picture;
}

// The file is read from its path, because the name can be that of standard input.
view_file view_sequence(const std::string &path, const std::string &name) {
    const auto sequence = std::make_shared<image>(read_jpeg(path));
    const auto read = [sequence, name](uint64_t frame) {
        return decode_frame(*sequence, frame, name);
    };
    return {name, frame_count(*sequence), true, 0, read};
}

// The number of frames in a JPEG file whose header has been read.
uint32_t count_frames(const picture_source &source) {
    check(VIQ_JPEG_sequence_calc_length(source.coded.handle), source.name);
    return frame_count(source.coded);
}

} // namespace

view_file open_to_view(const std::string &file, const viewing_options &options) {
    if (!options.raw.empty())
        return view_frames(file, options);
    auto source = std::make_unique<picture_source>(open_picture(file, {.type = options.type}));
    if (source->coded.handle != 0 && count_frames(*source) > 1) {
        close_picture(*source);
        return view_sequence(source->input.path, source->name);
    }
    const auto reader = std::make_shared<page_reader>(
        page_reader{source->input, source->name, options.type, std::move(source)});
    return view_pages(reader);
}

} // namespace tool
