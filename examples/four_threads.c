/* Converts pictures to JPEG in four threads at the same time: four_threads FILE...
 *
 * The result of picture.bmp is picture.bmp.jpg. Each thread is bound to a context of its own. */
#include "colour_or_grey.h"
#include "viq.h"

#include <pthread.h>
#include <stdio.h>

enum { THREADS = 4 };

/* A thread converts every fourth file, from its first one on. */
struct job {
    uint32_t context;
    char **file, **end;
    int failures;
};

static int compress(const char *in) {
    char out[4096];
    uint32_t picture = VIQ_image_create();
    uint32_t colour = VIQ_image_create();
    uint32_t jpeg = VIQ_JPEG_image_create();
    int fine = snprintf(out, sizeof out, "%s.jpg", in) < (int)sizeof out;
    VIQ_image_set_infilename(picture, in);
    VIQ_image_set_outfilename(picture, out);
    fine = fine && !VIQ_IS_ERROR(VIQ_image_read(picture, 0, VIQ_STRIP_NEXT)) &&
           !VIQ_IS_ERROR(to_colour_or_grey(picture, colour)) &&
           !VIQ_IS_ERROR(VIQ_JPEG_compress(colour, jpeg)) &&
           !VIQ_IS_ERROR(VIQ_JPEG_file_write(jpeg, VIQ_STRIP_NEXT));
    VIQ_image_destroy(picture);
    VIQ_image_destroy(colour);
    VIQ_image_destroy(jpeg);
    return fine;
}

static void *work(void *argument) {
    struct job *job = argument;
    VIQ_context_use(job->context);
    VIQ_set_file_reading(VIQ_READING_CONFORMING); /* every context has its own mode */
    for (; job->file < job->end; job->file += THREADS)
        job->failures += !compress(*job->file);
    VIQ_context_destroy(job->context);
    return NULL;
}

int main(int argc, char **argv) {
    pthread_t threads[THREADS];
    struct job jobs[THREADS];
    int n, failures = 0;
    for (n = 0; n < THREADS; ++n) {
        jobs[n] = (struct job){VIQ_context_create(), argv + 1 + n, argv + argc, 0};
        if (pthread_create(&threads[n], NULL, work, &jobs[n]) != 0)
            return 1;
    }
    for (n = 0; n < THREADS; failures += jobs[n++].failures)
        pthread_join(threads[n], NULL);
    return failures == 0 ? 0 : 1;
}
