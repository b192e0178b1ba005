// What takes the strips of a picture, such as the writer of a file.
#pragma once

#include <cstdint>
#include <functional>

namespace tool {

constexpr uint32_t default_strip_lines = 64;

struct strip_sink {
    std::function<void(uint32_t strip, bool is_last)> take;
    std::function<void(uint32_t strip)> abandon = {}; // after a failure; may be empty
};

} // namespace tool
