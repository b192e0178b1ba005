// Error records, handlers and the default handler's text.
#include "core/report.h"

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "core/context.h"
#include "core/error_codes.h"
#include "core/message_box.h"

using namespace viq;

namespace {

constexpr u32 library_module = 1;
constexpr std::size_t text_size = 512;

struct error_state {
    error_records records;
    u64 current_report; // 0: no handler is running
};

VIQ_PER_CONTEXT(error_state, errors);
constinit std::atomic<u64> reports_made = 0;
constinit thread_local bool in_handler = false;

// Ends the report also if the handler throws.
struct report_scope {
    error_state &state;
    explicit report_scope(error_state &of_context) : state(of_context) {
        ++handlers_running;
        state.current_report = ++reports_made;
        in_handler = true;
    }
    report_scope(const report_scope &) = delete;
    report_scope &operator=(const report_scope &) = delete;
    ~report_scope() {
        state.current_report = 0;
        in_handler = false;
        --handlers_running;
    }
};

const char *handler_text_of(u32 code) {
    const error_class *row = find_error_class(code);
    return row != nullptr ? row->handler_text : "(Error code not recognised)";
}

// Appends to the text of the default handler, which is cut at 511 characters.
#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
void append(char (&text)[text_size], const char *format, ...) {
    const std::size_t used = std::strlen(text);
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text + used, text_size - used, format, arguments);
    va_end(arguments);
}

const char *or_empty(const char *text) {
    return text != nullptr ? text : "";
}

} // namespace

uintptr_t VIQ_ErrProcess(u32 dwModule, const char *pszFunction, u32 dwCode,
                         const char *pszMessage) {
    if (dwModule >= module_count)
        return 0;
    tVIQ_ErrRecord &record = errors->records[dwModule];
    if (dwCode == 0)
        return reinterpret_cast<uintptr_t>(&record);
    if (record.handler == nullptr)
        return 0;
    return record.handler(dwModule, or_empty(pszFunction), dwCode, or_empty(pszMessage));
}

u32 VIQ_ErrHandlerInstall(VIQ_ErrHandler pHandler) {
    errors->records[library_module].handler = pHandler;
    return success;
}

u32 VIQ_ErrHandlerDefault(u32 dwModule, const char *pszFunction, u32 dwCode,
                          const char *pszMessage) {
    tVIQ_ErrRecord &record = errors->records[std::min(dwModule, module_count - 1)];
    if (dwCode >> 24 == 0x10) {
        record.last_code = dwCode;
    } else {
        record.other_code = dwCode;
        record.last_code = VIQ_ERR_OTHER;
    }

    char text[text_size] = "";
    append(text, "\n%s:  Failed with VIQ error code 0x%08x.\n", or_empty(pszFunction),
           static_cast<unsigned>(record.last_code));
    append(text, "%s", handler_text_of(record.last_code));
    if (*or_empty(pszMessage) != '\0')
        append(text, "\n\n\"%s\"\n", pszMessage);
    if (record.other_code != 0) {
        append(text, "\nLast return code from 'other' library: 0x%08x.\n",
               static_cast<unsigned>(record.other_code));
        record.other_code = 0;
    }
    return show_message_box(text, "ERROR REPORTED by VIQ Default Error Handler");
}

const char *VIQ_error_text(u32 dwCode) {
    if (!is_error(dwCode))
        return "No error";
    const error_class *row = find_error_class(dwCode);
    return row != nullptr ? row->text : "Unknown error code";
}

const char *VIQ_error_name(u32 dwCode) {
    if (!is_error(dwCode))
        return "no error";
    const error_class *row = find_error_class(dwCode);
    return row != nullptr ? row->name : "unknown error";
}

namespace viq {

constinit std::atomic<u32> handlers_running = 0;

// Where a limit has refused the memory, the report names it.
u32 report(const char *function, u32 code, const char *message) {
    error_state &state = *errors;
    if (state.current_report != 0)
        return code;
    if ((code & 0xFFFF0000u) == VIQ_ERR_MEMORY)
        if (const char *refusal = take_refusal())
            message = refusal;
    const report_scope scope(state);
    VIQ_ErrProcess(library_module, function, code, message);
    return code;
}

bool handler_runs_here() {
    return in_handler;
}

u64 running_report() {
    return errors->current_report;
}

u32 report_no_memory(const char *function, u64 size, const char *message) {
    return report(function, VIQ_ERR_MEMORY | low_word(size), message);
}

u32 reset_error_record() {
    errors->records[library_module] = {};
    const u32 code = VIQ_ErrHandlerInstall(VIQ_ErrHandlerDefault);
    if (!is_error(code))
        errors->records[library_module].version = VIQ_VERSION;
    return code;
}

u32 library_version() {
    return errors->records[library_module].version;
}

// The other fields may be changing in a thread that shares the context.
error_records copy_error_handlers() {
    error_records copy = {};
    for (std::size_t n = 0; n < copy.size(); ++n) {
        copy[n].version = errors->records[n].version;
        copy[n].handler = errors->records[n].handler;
    }
    return copy;
}

void take_error_handlers(const error_records &from) {
    for (std::size_t n = 0; n < from.size(); ++n) {
        errors->records[n].version = from[n].version;
        errors->records[n].handler = from[n].handler;
    }
}

error_records copy_error_records() {
    return errors->records;
}

void set_error_records(const error_records &records) {
    errors->records = records;
}

} // namespace viq
