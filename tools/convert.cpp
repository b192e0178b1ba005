#include "tools/convert.h"

#include "tools/pipeline.h"

namespace tool {

int convert(const convert_options &options) {
    const file_kind &kind = kind_of_path(options.out);
    route way = route_from(read_header(options.in));
    if (!options.format.empty())
        extend(way, format_named(options.format), options.in);
    extend_to_any(way, kind.accepts, options.in);
    run_to_file({options.in, 0, way.steps, options.lines}, kind, options.out);
    return 0;
}

} // namespace tool
