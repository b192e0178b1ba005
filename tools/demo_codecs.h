// What the demo shows of the lossy codecs: a series of qualities for each, and magnified details
// of pictures coded to the same file size.
#pragma once

#include <filesystem>
#include <vector>

#include "tools/demo_page.h"
#include "tools/image_handle.h"

namespace tool {

// Writes pictures of a photograph into a folder, under names that begin with the photograph's.
// `original` is the photograph in RGB24.
std::vector<shot> codec_shots(const photograph &photo, const std::filesystem::path &from,
                              const std::filesystem::path &folder, const image &original);

} // namespace tool
