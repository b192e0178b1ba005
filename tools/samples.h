// Where the sample photographs lie.
#pragma once

#include <filesystem>
#include <span>

namespace tool {

struct photograph {
    const char *name; // of its file, without the extension
    const char *title;
    const char *credit;
};

std::span<const photograph> photographs();

// The folder that holds them: near the program, or where the build says.
std::filesystem::path samples_folder();

} // namespace tool
