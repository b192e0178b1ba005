#include "tools/interrupts.h"

#include <csignal>

namespace tool {

namespace {

volatile std::sig_atomic_t interrupted = 0;

} // namespace

void notice_interrupts() {
    std::signal(SIGINT, [](int) { interrupted = 1; });
    std::signal(SIGTERM, [](int) { interrupted = 1; });
}

bool is_interrupted() {
    return interrupted != 0;
}

} // namespace tool
