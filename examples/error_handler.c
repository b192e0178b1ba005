/* Replaces the handler of the library's error reports: error_handler FILE...
 *
 * The program tries to read each file and prints a line about each of them. Without a handler of
 * its own, the library writes its reports to standard error. */
#include "viq.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

/* The first report since the last call of forget_report. One failure can give several reports: the
 * function that detects it gives the first one, those that called it add theirs. */
static struct {
    char text[256];
    uint32_t code;
} report;

static uint32_t VIQ_CALL keep_first_report(uint32_t module, const char *function, uint32_t code,
                                           const char *message) {
    (void)module;
    if (report.code == 0) {
        report.code = code;
        snprintf(report.text, sizeof report.text, "%s: %s", function, message);
    }
    return 0;
}

static void forget_report(void) {
    memset(&report, 0, sizeof report);
}

static int describe(const char *name) {
    uint32_t picture = VIQ_image_create();
    uint32_t status;
    forget_report();
    VIQ_image_set_infilename(picture, name);
    status = VIQ_image_read(picture, 0, VIQ_STRIP_NEXT);
    if (VIQ_IS_ERROR(status))
        printf("%s: error 0x%08lx, %s\n", name, (unsigned long)report.code, report.text);
    else
        printf("%s: %lu x %lu\n", name, (unsigned long)VIQ_get_width(picture),
               (unsigned long)VIQ_get_height(picture));
    VIQ_image_destroy(picture);
    return VIQ_IS_ERROR(status);
}

int main(int argc, char **argv) {
    int failures = 0;
    int n;
    VIQ_Init(); /* installs the library's handler, so that the program's is installed after it */
    VIQ_ErrHandlerInstall(keep_first_report);
    VIQ_set_file_reading(VIQ_READING_CONFORMING);
    for (n = 1; n < argc; ++n)
        failures += describe(argv[n]);
    return failures == 0 ? 0 : 1;
}
