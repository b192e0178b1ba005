// The sample photographs of the demo.
#pragma once

#include <filesystem>
#include <span>
#include <string>

namespace tool {

struct photograph {
    const char *name; // of its file, without the extension
    const char *title;
    const char *credit;
};

std::span<const photograph> photographs();

// Searches the folders near the program, then the source folder of the build.
std::filesystem::path samples_folder();

// The BMP file of a photograph.
std::filesystem::path sample_file(const std::filesystem::path &folder, const std::string &name);

} // namespace tool
