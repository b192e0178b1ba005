#include "tools/demo_samples.h"

#include <string>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#endif

#include "tools/image_handle.h"

namespace tool {

namespace fs = std::filesystem;

namespace {

constexpr const char *photos[] = {"coffee", "chelsea", "camera", "astronaut"};

// A build folder is a few levels below the source folder.
constexpr int levels_up = 5;

fs::path program_folder() {
#ifdef _WIN32
    wchar_t name[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, name, MAX_PATH);
    return fs::path(name).parent_path();
#else
    std::error_code ignored;
    return fs::read_symlink("/proc/self/exe", ignored).parent_path();
#endif
}

} // namespace

std::span<const char *const> photographs() {
    return photos;
}

fs::path samples_folder() {
    std::vector<fs::path> candidates;
    fs::path folder = program_folder();
    for (int level = 0; level < levels_up && !folder.empty(); ++level) {
        candidates.push_back(folder / "samples");
        candidates.push_back(folder / "share" / "viq" / "samples");
        folder = folder.parent_path();
    }
#ifdef VIQ_SAMPLES_DIR
    candidates.emplace_back(VIQ_SAMPLES_DIR);
#endif
    std::error_code ignored;
    for (const fs::path &candidate : candidates)
        if (fs::exists(candidate / (std::string(photos[0]) + ".bmp"), ignored))
            return candidate;
    throw failure{"samples: no folder with the sample photographs found near the program"};
}

} // namespace tool
