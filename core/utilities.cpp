// The number scanner, the command splitter, the counting allocator and the diagnostic entries.
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "core/report.h"

using namespace viq;

namespace {

// Of all threads.
struct allocation_counts {
    std::atomic<u32> allocations = 0;
    std::atomic<u32> frees = 0;
    std::atomic<u32> bytes = 0;
    std::atomic<u32> printed_bytes = 0;
};

constinit allocation_counts counts;

constexpr u32 option_slots = sizeof(tVIQ_Command::option) / sizeof(tVIQ_Command::option[0]);
constexpr u32 plain_slots = sizeof(tVIQ_Command::plain) / sizeof(tVIQ_Command::plain[0]);
constexpr std::size_t slot_size = sizeof(tVIQ_Command::program);

const char *skip_while(const char *text, bool blank) {
    while (*text != '\0' && (std::isspace(static_cast<unsigned char>(*text)) != 0) == blank)
        ++text;
    return text;
}

} // namespace

const char *VIQ_sscanf(const char *pszText, u16 *pwValue) {
    if (pszText == nullptr)
        return nullptr;
    if (pwValue != nullptr)
        *pwValue = static_cast<u16>(std::strtoll(pszText, nullptr, 10));
    return skip_while(skip_while(pszText, true), false);
}

u32 VIQ_Util_ParseCommand(tVIQ_Command *pCommand, int argc, char **argv) {
    constexpr const char *name = "VIQ_Util_ParseCommand";
    if (pCommand == nullptr || (argc > 0 && argv == nullptr))
        return report_null(name);
    u32 options = 0;
    u32 plains = 0;
    for (int i = 0; i < argc; ++i) {
        if (argv[i] == nullptr)
            return report_null(name);
        if (std::strlen(argv[i]) >= slot_size)
            return report(name, VIQ_ERR_PARAMETER, "Argument too long");
        if (i > 0)
            ++(argv[i][0] == '-' ? options : plains);
    }
    if (options > option_slots || plains > plain_slots)
        return report(name, VIQ_ERR_PARAMETER, "Too many arguments");

    pCommand->argc = static_cast<u32>(argc);
    pCommand->options = 0;
    pCommand->plains = 0;
    pCommand->program[0] = '\0';
    for (int i = 0; i < argc; ++i) {
        char *slot = i == 0              ? pCommand->program
                     : argv[i][0] == '-' ? pCommand->option[pCommand->options++]
                                         : pCommand->plain[pCommand->plains++];
        std::memcpy(slot, argv[i], std::strlen(argv[i]) + 1);
    }
    return success;
}

void *VIQ_DebugMalloc(u32 dwSize) {
    void *memory = allocate_for_caller(dwSize);
    if (memory == nullptr)
        return nullptr;
    ++counts.allocations;
    counts.bytes += dwSize;
    return memory;
}

u32 VIQ_DebugFree(void *pMemory) {
    std::free(pMemory);
    return ++counts.frees;
}

u32 VIQ_DebugMallocPrint(void) {
    const u32 bytes = counts.bytes;
    counts.printed_bytes = bytes;
    return bytes;
}

u32 VIQ_print_image(u32) {
    return success;
}

u32 VIQ_print_cmap(u32) {
    return success;
}
