#include "tools/limit_options.h"

#include <map>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/image_handle.h"

namespace tool {

void declare_limits(CLI::App &verb, limits &values) {
    const std::map<std::string, uint64_t> thousands = {
        {"K", 1000u}, {"M", 1000000u}, {"G", 1000000000u}};
    const std::map<std::string, uint64_t> kibibytes = {
        {"K", 1u << 10}, {"M", 1u << 20}, {"G", 1u << 30}};
    verb.add_option("--max-pixels", values.pixels,
                    "Reject pictures of more pixels; K, M and G are thousands, millions and "
                    "thousands of millions")
        ->type_name("N")
        ->transform(CLI::AsNumberWithUnit(thousands));
    verb.add_option("--max-memory", values.memory,
                    "Fail when the library would need more memory, in bytes or with K, M or G")
        ->type_name("BYTES")
        ->transform(CLI::AsNumberWithUnit(kibibytes));
    for (CLI::App *part : verb.get_subcommands([](CLI::App *) { return true; }))
        part->fallthrough();
}

void set_limits(const limits &values) {
    check(VIQ_set_limit(VIQ_LIMIT_PIXELS, values.pixels), "--max-pixels");
    check(VIQ_set_limit(VIQ_LIMIT_MEMORY, values.memory), "--max-memory");
}

} // namespace tool
