#include "tools/workers.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/image_handle.h"

namespace tool {

namespace {

constexpr unsigned most_jobs = 1024;

thread_local bool of_several = false;

// The calling thread's context of the library.
struct library_context {
    uint32_t handle = VIQ_context_create();

    library_context() {
        check(handle, "viq");
        check(VIQ_context_use(handle), "viq");
        prepare_library();
    }
    library_context(const library_context &) = delete;
    library_context &operator=(const library_context &) = delete;
    ~library_context() { VIQ_context_destroy(handle); }
};

} // namespace

void declare_jobs(CLI::App &app, unsigned &jobs) {
    app.add_option("--jobs", jobs,
                   "Pictures that are worked on at the same time; 0: one for each "
                   "processor")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0u, most_jobs));
}

unsigned worker_count(unsigned jobs, std::size_t items) {
    const unsigned wanted = jobs != 0 ? jobs : std::max(1u, std::thread::hardware_concurrency());
    return static_cast<unsigned>(std::clamp<std::size_t>(items, 1, wanted));
}

void for_each_item(std::size_t count, unsigned workers,
                   const std::function<void(std::size_t)> &work) {
    if (workers <= 1) {
        for (std::size_t n = 0; n < count; ++n)
            work(n);
        return;
    }
    std::atomic<std::size_t> next = 0;
    std::mutex lock;
    std::exception_ptr stop;
    const auto run = [&] {
        of_several = true;
        try {
            const library_context context;
            for (std::size_t n = next++; n < count; n = next++)
                work(n);
        } catch (...) {
            next = count;
            const std::lock_guard guard(lock);
            if (stop == nullptr)
                stop = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> threads;
        for (unsigned n = 0; n < workers; ++n)
            threads.emplace_back(run);
    }
    if (stop != nullptr)
        std::rethrow_exception(stop);
}

bool is_worker() {
    return of_several;
}

} // namespace tool
