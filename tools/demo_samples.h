// The sample photographs of the demo.
#pragma once

#include <filesystem>
#include <span>

namespace tool {

// The names of the BMP files, without the extension.
std::span<const char *const> photographs();

// Searches the folders near the program, then the source folder of the build.
std::filesystem::path samples_folder();

} // namespace tool
