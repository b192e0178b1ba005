#include "tools/convert.h"

namespace tool {

int convert(const convert_options &options) {
    const file_kind &kind = kind_of_path(options.out);
    const bool processed = wants_processing(options.process);
    image held; // processing wants the whole picture
    if (processed)
        held = process(run_to_memory({options.in, 0, {}}), options.process, options.in);
    route way = route_from(processed ? picture_of(held.handle) : read_header(options.in));
    way.whole = processed;
    if (!options.format.empty())
        extend(way, format_named(options.format), options.in);
    extend_to_any(way, kind.accepts, options.in);
    const pipeline line = {options.in, processed ? held.handle : 0, way.steps, options.lines};
    run_to_file(line, kind, options.out, options.coding);
    return 0;
}

} // namespace tool
