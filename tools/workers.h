// Work on many items by several threads, each with a context of the library.
#pragma once

#include <cstddef>
#include <functional>

namespace CLI {
class App;
}

namespace tool {

// The option --jobs; 0: one job for each processor.
void declare_jobs(CLI::App &app, unsigned &jobs);

// The number of threads for so many items.
unsigned worker_count(unsigned jobs, std::size_t items);

// Calls work(n) for every n below `count`, in this order but up to `workers` at the same time. An
// exception is thrown again after the items that are under way; no other item is begun then.
void for_each_item(std::size_t count, unsigned workers,
                   const std::function<void(std::size_t)> &work);

// The calling thread is one of several.
bool is_worker();

} // namespace tool
