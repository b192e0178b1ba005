#include "tools/samples.h"

#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

#include "tools/image.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr photograph photos[] = {
    {"coffee", "Coffee cup", "Rachel Michetti, CC0"},
    {"chelsea", "Chelsea the cat (odd width)", "Stefan van der Walt, CC0"},
    {"camera", "Man with camera (grey)", "Lav Varshney, CC0"},
};

// A build folder lies a few levels below the sources.
constexpr int levels_up = 5;

fs::path program_folder() {
    std::error_code none;
#ifdef _WIN32
    wchar_t name[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, name, MAX_PATH);
    return fs::path(name).parent_path();
#else
    return fs::read_symlink("/proc/self/exe", none).parent_path();
#endif
}

} // namespace

std::span<const photograph> photographs() {
    return photos;
}

fs::path samples_folder() {
    std::vector<fs::path> places;
    fs::path above = program_folder();
    for (int level = 0; level < levels_up && !above.empty(); ++level) {
        places.push_back(above / "samples");
        places.push_back(above / "share" / "viq" / "samples");
        above = above.parent_path();
    }
#ifdef VIQ_SAMPLES_DIR
    places.emplace_back(VIQ_SAMPLES_DIR);
#endif
    std::error_code none;
    for (const fs::path &place : places)
        if (fs::exists(place / (std::string(photos[0].name) + ".bmp"), none))
            return place;
    throw failure{"samples: the sample photographs are not beside the program"};
}

} // namespace tool
