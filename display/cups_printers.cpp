// Printers of CUPS: a document in PDF is sent in a request of IPP while it is being made.
//
// The print server discards a request that is not completed. A printer that is used by its address
// may print what it has received: it gets the document in a job that can be cancelled.
#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "core/report.h"
#include "display/print_job.h"

namespace viq {

namespace {

// ---- The functions of libcups that are used, and what they need of its types

struct http_connection;
struct ipp_message;
struct ipp_attribute;

struct cups_option {
    char *name, *value;
};

struct cups_destination {
    char *name, *instance;
    int is_default;
    int option_count;
    cups_option *options;
};

using password_function = const char *(*)(const char *prompt, http_connection *, const char *method,
                                          const char *resource, void *user);

struct cups_library {
    http_connection *(*connect)(const char *host, int port, void *addresses, int family,
                                int encryption, int blocking, int milliseconds, int *cancel);
    void (*disconnect)(http_connection *);
    int (*split_address)(int decoding, const char *uri, char *scheme, int scheme_size, char *user,
                         int user_size, char *host, int host_size, int *port, char *resource,
                         int resource_size);
    int (*join_address)(int encoding, char *uri, int size, const char *scheme, const char *user,
                        const char *host, int port, const char *resource);
    void (*set_timeout)(http_connection *, double seconds, int (*go_on)(http_connection *, void *),
                        void *user);
    const char *(*server)();
    int (*port)();
    int (*encryption)();
    const char *(*user)();
    const char *(*last_error)();
    void (*set_password_function)(password_function, void *user);
    int (*get_destinations)(http_connection *, cups_destination **);
    cups_destination *(*get_destination)(http_connection *, const char *name, const char *instance);
    http_connection *(*connect_destination)(cups_destination *, unsigned flags, int milliseconds,
                                            int *cancel, char *resource, std::size_t size,
                                            void *callback, void *user);
    void (*free_destinations)(int count, cups_destination *);
    const char *(*option)(const char *name, int count, cups_option *);
    ipp_message *(*new_request)(int operation);
    void (*delete_message)(ipp_message *);
    ipp_attribute *(*add_string)(ipp_message *, int group, int type, const char *name,
                                 const char *language, const char *value);
    ipp_attribute *(*add_integer)(ipp_message *, int group, int type, const char *name, int value);
    int (*send_request)(http_connection *, ipp_message *, const char *resource, std::size_t length);
    int (*write_data)(http_connection *, const char *data, std::size_t size);
    ipp_message *(*get_response)(http_connection *, const char *resource);
    int (*status)(ipp_message *);
    ipp_attribute *(*find_attribute)(ipp_message *, const char *name, int type);
    int (*truth)(ipp_attribute *, int element);
    int (*range)(ipp_attribute *, int element, int *upper);
    int (*number)(ipp_attribute *, int element);
    int (*contains_number)(ipp_attribute *, int value);
    ipp_attribute *(*add_truth)(ipp_message *, int group, const char *name, char value);
    int (*socket)(http_connection *);
    const char *(*text)(ipp_attribute *, int element, const char **language);
    int (*contains)(ipp_attribute *, const char *value);
};

constexpr int ipp_print_job = 2, ipp_create_job = 5, ipp_send_document = 6, ipp_cancel_job = 8,
              ipp_get_printer_attributes = 11;
constexpr int operation_group = 1, job_group = 2;
constexpr int any_type = 0, integer_type = 0x21, name_type = 0x42, keyword_type = 0x44,
              uri_type = 0x45, mime_type = 0x49;
constexpr int highest_ipp_success = 0xFF;
constexpr int http_continue = 100;
constexpr int code_all_of_address = 15;
constexpr int encryption_always = 3;
constexpr int milliseconds_to_connect = 30000;
constexpr double seconds_to_answer = 60;
constexpr const char *pdf_type = "application/pdf";

struct cups_output {
    cups_library cups = {};
    http_connection *http = nullptr;
    char printer[256] = ""; // for messages
    char resource[1024] = "";
    char address[1024] = "";
    // Of a printer that is used by its address.
    char host[256] = ""; // empty: the print server
    int port = 0;
    int encryption = 0;
    bool creates_jobs = false;
    int job = 0;            // that has been created; 0: none
    bool can_finish = true; // the printer takes the rest of the document
};

bool load_cups(cups_library &cups);
u32 report_no_print_system(const char *function);
u32 connect_to_server(const char *function, const cups_library &cups, http_connection *&http);
u32 open_printer_job(print_job &job, const print_request &request);
u32 close_printer_job(print_job &job);
void drop_printer_job(print_job &job);
u32 connect_to_printer(cups_output &output, const char *printer);
u32 check_printer(print_job &job, const tVIQ_PrintOptions &options);
u32 start_request(print_job &job, const print_request &request);
u32 write_data(void *receiver, const u8 *data, std::size_t size);
u32 read_answer(cups_output &output);
void wait_for_disconnection(const cups_output &output);
void cancel_job(cups_output &output);

} // namespace

const print_place system_printer = {
    .kept = pdf_formats,
    .colour = VIQ_RGB24,
    .open = open_printer_job,
    .begin_page = begin_pdf_picture,
    .write_strip = write_pdf_strip,
    .end_page = end_pdf_picture,
    .close = close_printer_job,
    .drop = drop_printer_job,
};

u32 list_printers(tVIQ_Printer *printers, u32 count) {
    cups_library cups;
    if (!load_cups(cups))
        return report_no_print_system(list_name);
    http_connection *http = nullptr;
    if (const u32 code = connect_to_server(list_name, cups, http); is_error(code))
        return code;
    cups_destination *found = nullptr;
    const int total = std::clamp(cups.get_destinations(http, &found), 0, 0xFFFF);
    cups.disconnect(http);
    std::stable_sort(found, found + total,
                     [](const cups_destination &one, const cups_destination &other) {
                         return (one.is_default != 0) > (other.is_default != 0);
                     });
    for (u32 n = 0; n < count && n < static_cast<u32>(total); ++n) {
        const cups_destination &from = found[n];
        const auto option = [&](const char *name) {
            const char *value = cups.option(name, from.option_count, from.options);
            return value != nullptr ? value : "";
        };
        tVIQ_Printer &printer = printers[n];
        printer = {};
        std::snprintf(printer.name, sizeof printer.name, "%s%s%s", from.name,
                      from.instance != nullptr ? "/" : "",
                      from.instance != nullptr ? from.instance : "");
        std::snprintf(printer.description, sizeof printer.description, "%s",
                      option("printer-info"));
        printer.is_default = from.is_default != 0;
        printer.accepts_jobs = std::strcmp(option("printer-is-accepting-jobs"), "false") != 0;
    }
    cups.free_destinations(total, found);
    return static_cast<u32>(total);
}

namespace {

cups_output &output_of(print_job &job) {
    return *static_cast<cups_output *>(job.native);
}

// The library stays loaded, because it cannot be unloaded from a running process.
bool load_cups(cups_library &cups) {
    void *library = dlopen("libcups.so.2", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr)
        return false;
    bool complete = true;
    const auto load = [&]<class Function>(Function &function, const char *name) {
        function = reinterpret_cast<Function>(dlsym(library, name));
        complete = complete && function != nullptr;
    };
    load(cups.connect, "httpConnect2");
    load(cups.disconnect, "httpClose");
    load(cups.split_address, "httpSeparateURI");
    load(cups.join_address, "httpAssembleURI");
    load(cups.set_timeout, "httpSetTimeout");
    load(cups.server, "cupsServer");
    load(cups.port, "ippPort");
    load(cups.encryption, "cupsEncryption");
    load(cups.user, "cupsUser");
    load(cups.last_error, "cupsLastErrorString");
    load(cups.set_password_function, "cupsSetPasswordCB2");
    load(cups.get_destinations, "cupsGetDests2");
    load(cups.get_destination, "cupsGetNamedDest");
    load(cups.connect_destination, "cupsConnectDest");
    load(cups.free_destinations, "cupsFreeDests");
    load(cups.option, "cupsGetOption");
    load(cups.new_request, "ippNewRequest");
    load(cups.delete_message, "ippDelete");
    load(cups.add_string, "ippAddString");
    load(cups.add_integer, "ippAddInteger");
    load(cups.send_request, "cupsSendRequest");
    load(cups.write_data, "cupsWriteRequestData");
    load(cups.get_response, "cupsGetResponse");
    load(cups.status, "ippGetStatusCode");
    load(cups.find_attribute, "ippFindAttribute");
    load(cups.truth, "ippGetBoolean");
    load(cups.range, "ippGetRange");
    load(cups.number, "ippGetInteger");
    load(cups.contains_number, "ippContainsInteger");
    load(cups.add_truth, "ippAddBoolean");
    load(cups.socket, "httpGetFd");
    load(cups.text, "ippGetString");
    load(cups.contains, "ippContainsString");
    if (complete) // otherwise it asks for passwords on the terminal
        cups.set_password_function([](const char *, http_connection *, const char *, const char *,
                                      void *) -> const char * { return nullptr; },
                                   nullptr);
    return complete;
}

u32 report_no_print_system(const char *function) {
    return report(function, VIQ_ERR_UNSUPPORTED, "No print system");
}

const char *reason_of(const cups_library &cups) {
    const char *text = cups.last_error();
    return text != nullptr && *text != '\0' ? text : "unknown reason";
}

http_connection *connect(const cups_library &cups, const char *host, int port, int encryption) {
    constexpr int any_family = 0;
    return cups.connect(host, port, nullptr, any_family, encryption, 1, milliseconds_to_connect,
                        nullptr);
}

u32 connect_to_server(const char *function, const cups_library &cups, http_connection *&http) {
    http = connect(cups, cups.server(), cups.port(), cups.encryption());
    if (http != nullptr)
        return success;
    char message[512];
    std::snprintf(message, sizeof message, "Print server: %s: %s", cups.server(), reason_of(cups));
    return report(function, VIQ_ERR_OPEN, message);
}

u32 open_printer_job(print_job &job, const print_request &request) {
    job.native = make_owned<cups_output>().release();
    if (job.native == nullptr)
        return report_no_memory(print_name, sizeof(cups_output));
    cups_output &output = output_of(job);
    if (!load_cups(output.cups))
        return report_no_print_system(print_name);
    u32 code = connect_to_printer(output, request.printer);
    if (!is_error(code))
        code = check_printer(job, *request.options);
    if (!is_error(code))
        code = start_request(job, request);
    if (is_error(code))
        return code;
    job.pdf.send = write_data;
    job.pdf.receiver = &output;
    return begin_pdf_job(job, request);
}

u32 close_printer_job(print_job &job) {
    const u32 code = end_pdf(job.pdf);
    return is_error(code) ? code : read_answer(output_of(job));
}

// A request of an unfinished document stays incomplete.
void drop_printer_job(print_job &job) {
    if (job.native == nullptr)
        return;
    cups_output &output = output_of(job);
    const bool is_unfinished = output.job != 0 && output.can_finish;
    if (is_unfinished)
        wait_for_disconnection(output);
    if (output.http != nullptr)
        output.cups.disconnect(output.http);
    if (is_unfinished)
        cancel_job(output);
    destroy_owned(&output);
}

// ---- Connections

u32 report_reason(u32 code, const cups_output &output) {
    return report_printer(code, output.printer, reason_of(output.cups));
}

// An address, such as "ipp://host/ipp/print".
u32 connect_to_address(cups_output &output) {
    char scheme[32], user[256];
    const cups_library &cups = output.cups;
    if (cups.split_address(code_all_of_address, output.address, scheme, sizeof scheme, user,
                           sizeof user, output.host, sizeof output.host, &output.port,
                           output.resource, sizeof output.resource) < 0)
        return report_printer(VIQ_ERR_OPEN, output.printer, "invalid address");
    const bool encrypts = std::strcmp(scheme, "ipps") == 0 || std::strcmp(scheme, "https") == 0;
    output.encryption = encrypts ? encryption_always : cups.encryption();
    output.http = connect(cups, output.host, output.port, output.encryption);
    return output.http != nullptr ? success : report_reason(VIQ_ERR_OPEN, output);
}

// A name that the print server knows, with the name of a set of options after a slash.
u32 connect_to_name(cups_output &output, const char *printer) {
    const cups_library &cups = output.cups;
    http_connection *server = nullptr;
    if (const u32 code = connect_to_server(print_name, cups, server); is_error(code))
        return code;
    char name[sizeof output.printer];
    std::snprintf(name, sizeof name, "%s", printer);
    char *slash = std::strchr(name, '/');
    if (slash != nullptr)
        *slash = '\0';
    const bool is_default = *name == '\0';
    cups_destination *found = cups.get_destination(server, is_default ? nullptr : name,
                                                   slash != nullptr ? slash + 1 : nullptr);
    cups.disconnect(server);
    if (found == nullptr)
        return is_default ? report(print_name, VIQ_ERR_OPEN, "No default printer")
                          : report_printer(VIQ_ERR_OPEN, printer, "not found");
    std::snprintf(output.printer, sizeof output.printer, "%s", found->name);
    output.http =
        cups.connect_destination(found, 0, milliseconds_to_connect, nullptr, output.resource,
                                 sizeof output.resource, nullptr, nullptr);
    cups.free_destinations(1, found);
    if (output.http == nullptr)
        return report_reason(VIQ_ERR_OPEN, output);
    constexpr int no_port = 0;
    cups.join_address(code_all_of_address, output.address, sizeof output.address, "ipp", nullptr,
                      "localhost", no_port, output.resource);
    return success;
}

u32 connect_to_printer(cups_output &output, const char *printer) {
    std::snprintf(output.printer, sizeof output.printer, "%s", printer);
    const bool is_address = std::strstr(printer, "://") != nullptr;
    const int size = std::snprintf(output.address, sizeof output.address, "%s", printer);
    if (size < 0 || static_cast<std::size_t>(size) >= sizeof output.address)
        return report_printer(VIQ_ERR_OPEN, output.printer, "name too long");
    const u32 code = is_address ? connect_to_address(output) : connect_to_name(output, printer);
    if (!is_error(code))
        output.cups.set_timeout(
            output.http, seconds_to_answer, [](http_connection *, void *) { return 0; }, nullptr);
    return code;
}

// ---- Requests

ipp_message *make_request(const cups_output &output, int operation) {
    const cups_library &cups = output.cups;
    ipp_message *request = cups.new_request(operation);
    cups.add_string(request, operation_group, uri_type, "printer-uri", nullptr, output.address);
    if (output.job != 0)
        cups.add_integer(request, operation_group, integer_type, "job-id", output.job);
    cups.add_string(request, operation_group, name_type, "requesting-user-name", nullptr,
                    cups.user());
    return request;
}

// Sends a request without the data of a document, or the head of one that is followed by data of
// unknown length.
bool send_request(const cups_output &output, ipp_message *request) {
    constexpr std::size_t unknown_length = 0;
    const int status =
        output.cups.send_request(output.http, request, output.resource, unknown_length);
    output.cups.delete_message(request);
    return status == http_continue;
}

struct printer_check {
    print_job &job;
    const tVIQ_PrintOptions &options;
    ipp_message *attributes;

    const cups_library &cups() const { return output_of(job).cups; }
    ipp_attribute *find(const char *name) const {
        return cups().find_attribute(attributes, name, any_type);
    }
    u32 refuse(const char *reason) const {
        return report_printer(VIQ_ERR_OPEN, output_of(job).printer, reason);
    }
};

paper_size default_paper(const printer_check &check) {
    ipp_attribute *media = check.find("media-default");
    const char *name = media != nullptr ? check.cups().text(media, 0, nullptr) : nullptr;
    if (name == nullptr)
        return {};
    const paper_size size = size_in_media_name(name);
    return size == paper_size() ? find_paper(name) : size;
}

u32 compare_with_options(const printer_check &check) {
    const cups_library &cups = check.cups();
    ipp_attribute *accepts = check.find("printer-is-accepting-jobs");
    if (accepts != nullptr && cups.truth(accepts, 0) == 0)
        return check.refuse("does not accept jobs");
    ipp_attribute *types = check.find("document-format-supported");
    if (types != nullptr && cups.contains(types, pdf_type) == 0)
        return check.refuse("does not accept PDF documents");
    ipp_attribute *operations = check.find("operations-supported");
    output_of(check.job).creates_jobs = *output_of(check.job).host != '\0' &&
                                        operations != nullptr &&
                                        cups.contains_number(operations, ipp_create_job) != 0;
    ipp_attribute *copies = check.find("copies-supported");
    int most = 0;
    if (copies != nullptr && check.options.copies > 1 &&
        (cups.range(copies, 0, &most), most < check.options.copies))
        return check.refuse("does not make so many copies");
    if (check.job.paper == paper_size()) {
        check.job.paper = default_paper(check);
        return success;
    }
    char medium[media_name_size];
    write_media_name(check.job.paper, medium);
    ipp_attribute *media = check.find("media-supported");
    const bool is_custom = std::strncmp(medium, "custom_", 7) == 0;
    return media != nullptr && !is_custom && cups.contains(media, medium) == 0
               ? check.refuse("does not have this paper")
               : success;
}

// Asks the printer for its properties, and finds the paper if the options name none.
u32 check_printer(print_job &job, const tVIQ_PrintOptions &options) {
    cups_output &output = output_of(job);
    const cups_library &cups = output.cups;
    if (!send_request(output, make_request(output, ipp_get_printer_attributes)))
        return report_reason(VIQ_ERR_OPEN, output);
    ipp_message *answer = cups.get_response(output.http, output.resource);
    if (answer == nullptr)
        return report_reason(VIQ_ERR_OPEN, output);
    const u32 code = cups.status(answer) > highest_ipp_success
                         ? report_reason(VIQ_ERR_OPEN, output)
                         : compare_with_options({job, options, answer});
    cups.delete_message(answer);
    return code;
}

void add_job_options(const print_job &job, const print_request &request, const cups_library &cups,
                     ipp_message *message) {
    const tVIQ_PrintOptions &options = *request.options;
    const auto add_keyword = [&](const char *name, const char *value) {
        cups.add_string(message, job_group, keyword_type, name, nullptr, value);
    };
    cups.add_string(message, operation_group, name_type, "job-name", nullptr, request.document);
    if (options.copies > 1)
        cups.add_integer(message, job_group, integer_type, "copies", options.copies);
    if (options.paper != nullptr) {
        char medium[media_name_size];
        write_media_name(job.paper, medium);
        add_keyword("media", medium);
    }
    add_keyword("print-scaling", "none");
    if (options.grey != 0)
        add_keyword("print-color-mode", "monochrome");
}

u32 create_job(print_job &job, const print_request &request) {
    cups_output &output = output_of(job);
    const cups_library &cups = output.cups;
    ipp_message *message = make_request(output, ipp_create_job);
    add_job_options(job, request, cups, message);
    ipp_message *answer =
        send_request(output, message) ? cups.get_response(output.http, output.resource) : nullptr;
    if (answer != nullptr && cups.status(answer) <= highest_ipp_success)
        if (ipp_attribute *number = cups.find_attribute(answer, "job-id", integer_type))
            output.job = cups.number(number, 0);
    cups.delete_message(answer);
    return output.job != 0 ? success : report_reason(VIQ_ERR_OPEN, output);
}

u32 start_request(print_job &job, const print_request &request) {
    cups_output &output = output_of(job);
    const cups_library &cups = output.cups;
    if (output.creates_jobs)
        if (const u32 code = create_job(job, request); is_error(code))
            return code;
    ipp_message *message =
        make_request(output, output.creates_jobs ? ipp_send_document : ipp_print_job);
    cups.add_string(message, operation_group, mime_type, "document-format", nullptr, pdf_type);
    if (output.creates_jobs)
        cups.add_truth(message, operation_group, "last-document", 1);
    else
        add_job_options(job, request, cups, message);
    return send_request(output, message) ? success : report_reason(VIQ_ERR_OPEN, output);
}

// If the printer answers before it has the whole document, it rejects the document.
u32 write_data(void *receiver, const u8 *data, std::size_t size) {
    cups_output &output = *static_cast<cups_output *>(receiver);
    const int status =
        output.cups.write_data(output.http, reinterpret_cast<const char *>(data), size);
    if (status == http_continue)
        return success;
    output.can_finish = false;
    return report_reason(VIQ_ERR_SYSTEM, output);
}

u32 read_answer(cups_output &output) {
    const cups_library &cups = output.cups;
    output.can_finish = false;
    ipp_message *answer = cups.get_response(output.http, output.resource);
    const bool accepted = answer != nullptr && cups.status(answer) <= highest_ipp_success;
    cups.delete_message(answer);
    return accepted ? success : report_reason(VIQ_ERR_SYSTEM, output);
}

// Ends the request before its end, and waits until the printer has noticed: a job that is cancelled
// earlier could be started by the end of its document.
void wait_for_disconnection(const cups_output &output) {
    constexpr timeval longest_wait = {10, 0};
    const int connection = output.cups.socket(output.http);
    shutdown(connection, SHUT_WR);
    setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &longest_wait, sizeof longest_wait);
    char answer[1024];
    while (recv(connection, answer, sizeof answer, 0) > 0)
        ;
}

void cancel_job(cups_output &output) {
    const cups_library &cups = output.cups;
    output.http = connect(cups, output.host, output.port, output.encryption);
    if (output.http == nullptr)
        return;
    if (send_request(output, make_request(output, ipp_cancel_job)))
        cups.delete_message(cups.get_response(output.http, output.resource));
    cups.disconnect(output.http);
}

} // namespace

} // namespace viq
