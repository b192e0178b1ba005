// Suggestions for misspelt names.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tool {

// The most similar of the names, which must not be empty, without regard to case. Empty if none is
// similar.
std::string nearest_name(std::string_view word, std::span<const char *const> names);

} // namespace tool
