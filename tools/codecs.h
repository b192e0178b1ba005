// What the demo shows of the codecs that lose something: a ladder of qualities for each, and crops
// of pictures that take the same space.
#pragma once

#include <filesystem>

#include "tools/image.h"
#include "tools/page.h"

namespace tool {

// Pictures of a photograph, written into a folder under names that begin with the photograph's.
std::vector<shot> codec_shots(const photograph &photo, const std::filesystem::path &from,
                              const std::filesystem::path &folder, const image &original);

} // namespace tool
