#include "tools/shown_frame.h"

#include <bit>
#include <utility>

#include "tools/area_average.h"
#include "tools/development.h"
#include "tools/image_operations.h"
#include "tools/pipeline.h"

namespace tool {

namespace {

// The colours of a mosaic are interpolated in the simplest way, and its samples are not changed.
image picture_of_mosaic(image frame, const shown_frame &how) {
    constexpr uint16_t replication = 1;
    constexpr uint16_t linear = 100;
    if (!how.as_samples)
        return develop(std::move(frame),
                       {.phase = how.file.mosaic_phase, .scheme = replication, .gamma = linear},
                       no_gains, how.file.name);
    return format_of(frame.handle) == VIQ_RGGB32 ? with_format(frame, VIQ_Y8, how.file.name)
                                                 : std::move(frame);
}

image reduced_copy(const image &picture, uint32_t factor, const std::string &name) {
    picture_source source = picture_in_memory(picture.handle, name);
    picture_flow flow = {name, &source};
    const auto part = [factor](uint32_t side) { return (side + factor - 1) / factor; };
    reduce_by_area(flow, part(source.header.width), part(source.header.height));
    return take_whole(flow);
}

// Small copies are computed from a larger copy, so that a change of the zoom seldom needs all
// pixels of a large picture.
const image &copy_with_factor(shown_frame &frame, uint32_t factor) {
    constexpr uint32_t large_copy = 4;
    const auto known = frame.reduced.find(factor);
    if (known != frame.reduced.end())
        return known->second;
    const bool is_small = factor > large_copy;
    const image &from = is_small ? copy_with_factor(frame, large_copy) : frame.picture;
    image copy = reduced_copy(from, is_small ? factor / large_copy : factor, frame.file.name);
    return frame.reduced.emplace(factor, std::move(copy)).first->second;
}

} // namespace

void read_frame(shown_frame &frame, uint64_t number) {
    image picture = frame.file.read(number);
    if (frame.file.mosaic_phase != 0)
        picture = picture_of_mosaic(std::move(picture), frame);
    if (format_of(picture.handle) == VIQ_HSI)
        picture = converted_to_any(std::move(picture), {VIQ_RGB24}, frame.file.name);
    frame.picture = std::move(picture);
    frame.number = number;
    frame.reduced.clear();
}

view_size size_of(const shown_frame &frame) {
    return {VIQ_get_width(frame.picture.handle), VIQ_get_height(frame.picture.handle)};
}

const image &picture_for_zoom(shown_frame &frame, double zoom) {
    const uint32_t factor = zoom >= 1 ? 1 : std::bit_floor(static_cast<uint32_t>(1 / zoom));
    if (factor == 1 || frame.file.is_film || format_of(frame.picture.handle) == VIQ_Y16)
        return frame.picture;
    return copy_with_factor(frame, factor);
}

} // namespace tool
