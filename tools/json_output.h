// Results for scripts.
#pragma once

#include <cstdio>

#include <nlohmann/json.hpp>

namespace tool {

using json = nlohmann::ordered_json;

// File names that are not UTF-8 get replacement characters.
inline void print_json(const json &value) {
    std::printf("%s\n", value.dump(2, ' ', false, json::error_handler_t::replace).c_str());
}

} // namespace tool
