// viq motion: how much a frame differs from the frame before it.
#include <cstdio>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/json_output.h"
#include "tools/pipeline.h"
#include "tools/verbs.h"

namespace tool {

namespace {

struct motion_options {
    std::string before, after;
    bool json = false;
};

int motion(const motion_options &options);

} // namespace

action declare_motion(CLI::App &app) {
    const auto options = std::make_shared<motion_options>();
    app.add_option("A", options->before, "Picture file of the earlier frame")->required();
    app.add_option("B", options->after, "Picture file of the next frame, of the same size")
        ->required();
    app.add_flag("--json", options->json, "Print one JSON object instead of text");
    app.footer("Both frames are converted to grey and correlated with the first; the result is the "
               "change of the "
               "correlation, 0 % for equal frames.");
    return [options] { return motion(*options); };
}

namespace {

int motion(const motion_options &options) {
    constexpr uint32_t threshold = 0; // in percent
    constexpr uint32_t step = 1;      // use every pixel
    const image before = converted_to_any(read_whole(options.before), {VIQ_Y8}, options.before);
    const image after = converted_to_any(read_whole(options.after), {VIQ_Y8}, options.after);
    uint32_t percent = 0;
    // The first call stores the correlation of the frame with itself; the second call is compared
    // with the stored value.
    check(VIQ_IP_motion_detect(before.handle, before.handle, threshold, step, &percent),
          options.before);
    check(VIQ_IP_motion_detect(after.handle, before.handle, threshold, step, &percent),
          options.after);
    if (options.json)
        print_json({{"change_percent", percent}});
    else
        std::printf("%u %%\n", static_cast<unsigned>(percent));
    return exit_done;
}

} // namespace

} // namespace tool
