#include "tools/picture_flow.h"

#include <algorithm>
#include <utility>

#include "tools/note.h"
#include "tools/pixel_format_table.h"

namespace tool {

namespace {

void continue_from(picture_flow &flow, std::unique_ptr<picture_source> source) {
    flow.stages.clear();
    flow.operations.clear();
    flow.converters.clear();
    flow.own_source = std::move(source);
    flow.source = flow.own_source.get();
}

} // namespace

pipeline pipeline_of(const picture_flow &flow, const std::vector<step> &steps) {
    return {*flow.source, steps, flow.lines_per_strip, flow.stages};
}

const picture_header &header_of(const picture_flow &flow) {
    return flow.stages.empty() ? flow.source->header : flow.stages.back().result;
}

void append_operation(picture_flow &flow, const std::string &operation,
                      const picture_header &result, const strip_call &call) {
    if (flow.operations.contains(operation))
        store_flow(flow, false);
    flow.operations.insert(operation);
    append_stage(flow, result, [call, name = flow.name](strip_sink next) {
        return process_strips(call, name, std::move(next));
    });
}

void append_stage(picture_flow &flow, const picture_header &result,
                  const std::function<strip_sink(strip_sink next)> &make) {
    flow.stages.push_back({result, make});
}

void convert_flow(picture_flow &flow, std::initializer_list<uint16_t> formats, bool with_notes) {
    route way = route_from(header_of(flow));
    way.is_whole = true;
    extend_to_any(way, {formats.begin(), formats.size()}, flow.name);
    if (with_notes)
        print_notes(flow.name, way.notes);
    if (way.steps.empty())
        return;
    const auto is_in_use = [&flow](uint32_t converter) {
        return flow.converters.contains(converter);
    };
    if (std::any_of(way.used_converters.begin(), way.used_converters.end(), is_in_use))
        store_flow(flow, false);
    flow.converters.insert(way.used_converters.begin(), way.used_converters.end());
    picture_header result = header_of(flow);
    result.format = way.format;
    result.colour = way.colour;
    append_stage(flow, result, [steps = way.steps, name = flow.name](strip_sink next) {
        return convert_strips(steps, name, std::move(next));
    });
}

void store_flow(picture_flow &flow, bool from_last_line) {
    const auto picture = std::make_shared<stored_picture>();
    picture->from_last_line = from_last_line;
    run(pipeline_of(flow), store_strips(picture, flow.name));
    continue_from(
        flow, std::make_unique<picture_source>(stored_source(picture, header_of(flow), flow.name)));
}

image take_whole(picture_flow &flow) {
    if (flow.stages.empty() && flow.memory.handle != 0)
        return std::move(flow.memory);
    return run_to_memory(pipeline_of(flow));
}

void continue_with(picture_flow &flow, image picture) {
    flow.memory = std::move(picture);
    continue_from(
        flow, std::make_unique<picture_source>(picture_in_memory(flow.memory.handle, flow.name)));
}

} // namespace tool
