// Limits of the library that the user sets.
#pragma once

#include <cstdint>

namespace CLI {
class App;
}

namespace tool {

struct limits {
    uint64_t pixels = 0; // 0: none
    uint64_t memory = 0; // in bytes
};

// The options --max-pixels and --max-memory of a verb and of its parts.
void declare_limits(CLI::App &verb, limits &values);

// For the calling thread's context and those that it creates.
void set_limits(const limits &values);

} // namespace tool
