// Two threads that work at the same time, against one: throughput and processor time.
//
// Each thread has a core, a context and images of its own. Throughput of 2.00 is ideal; it requires
// that no other program uses the cores. Processor time is that of an operation of a thread alone,
// divided by that of the same thread while the other one works too. Below 1, the threads delay each
// other: by locks or memory of the library that they share, or by the bandwidth of the machine.
// memcpy of as many bytes as the operation reads and writes shows the latter, a loop that works in
// registers the limit of the processor.
#include <atomic>
#include <barrier>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <thread>
#include <utility>

#include <sched.h>
#include <sys/resource.h>

#include "bench/bench_support.h"

using namespace bench;

namespace {

constexpr u32 width = 1920;
constexpr u32 height = 1080;
constexpr double seconds_per_run = 0.001; // short, so that few runs are interrupted
constexpr double seconds_per_row = 1.5;

// ---- Operations

struct operation {
    job work;
    std::size_t bytes; // of the pixels that are read and written
};

operation on_images(std::initializer_list<u32> images, const job &work) {
    work();
    std::size_t bytes = 0;
    for (const u32 image : images)
        bytes += bytes_of(image);
    return {work, bytes};
}

u32 photograph(u16 format) {
    const u32 file = VIQ_image_create();
    const u32 rgb = VIQ_image_create();
    const u32 scaled = VIQ_image_create();
    const u32 image = VIQ_image_create();
    VIQ_image_set_infilename(file, VIQ_SAMPLES_DIR "/coffee.bmp");
    need_ok(VIQ_image_read(file, 0, VIQ_STRIP_NEXT), "reading");
    need_ok(VIQ_image_convert(file, rgb, VIQ_RGB24, 0, VIQ_STRIP_NEXT), "conversion");
    need_ok(VIQ_IP_scale(rgb, scaled, width, height, VIQ_STRIP_NEXT), "scaling");
    need_ok(VIQ_image_convert(scaled, image, format, 0, VIQ_STRIP_NEXT), "conversion");
    return image;
}

u32 jpeg_image(u32 picture) {
    const u32 jpeg = VIQ_JPEG_image_create();
    VIQ_JPEG_set_Quality_factor(jpeg, 16);
    need_ok(VIQ_JPEG_compress(picture, jpeg), "compression");
    return jpeg;
}

operation jpeg_compress() {
    const u32 in = photograph(VIQ_RGB24);
    const u32 jpeg = jpeg_image(in);
    return on_images({in}, [=] { need_ok(VIQ_JPEG_compress(in, jpeg), "compression"); });
}

operation jpeg_decompress() {
    const u32 jpeg = jpeg_image(photograph(VIQ_RGB24));
    const u32 out = VIQ_image_create();
    return on_images(
        {out}, [=] { need_ok(VIQ_JPEG_decompress(jpeg, out, VIQ_STRIP_NEXT), "decompression"); });
}

template <u16 type> operation wavelet_compress() {
    const u32 in = photograph(VIQ_YUV422);
    const u32 wavelet = VIQ_WVLT_image_create(type);
    return on_images(
        {in}, [=] { need_ok(VIQ_WVLT_compress(in, wavelet, VIQ_STRIP_NEXT), "compression"); });
}

template <u16 type> operation wavelet_decompress() {
    const u32 wavelet = VIQ_WVLT_image_create(type);
    const u32 out = VIQ_image_create();
    need_ok(VIQ_WVLT_compress(photograph(VIQ_YUV422), wavelet, VIQ_STRIP_NEXT), "compression");
    return on_images({out}, [=] {
        need_ok(VIQ_WVLT_decompress(wavelet, out, VIQ_STRIP_NEXT), "decompression");
    });
}

template <u16 from, u16 to> operation conversion() {
    const u32 in = photograph(from);
    const u32 out = VIQ_image_create();
    return on_images({in, out}, [=] {
        need_ok(VIQ_image_convert(in, out, to, 0, VIQ_STRIP_NEXT), "conversion");
    });
}

template <u32 halves> operation scaling() {
    const u32 in = photograph(VIQ_Y8);
    const u32 out = VIQ_image_create();
    return on_images({in, out}, [=] {
        need_ok(VIQ_IP_scale(in, out, width * halves / 2, height * halves / 2, VIQ_STRIP_NEXT),
                "scaling");
    });
}

operation filter() {
    static constexpr int32_t sharpen[9] = {0, -1, 0, -1, 5, -1, 0, -1, 0};
    const u32 in = photograph(VIQ_Y8);
    const u32 out = VIQ_image_create();
    return on_images(
        {in, out}, [=] { need_ok(VIQ_IP_filter_3x3(in, out, sharpen, VIQ_STRIP_NEXT), "filter"); });
}

operation arithmetic() {
    return {[] {
                u32 state[4] = {1, 2, 3, 4}; // independent of each other, so that they overlap
                for (u32 n = 0; n < 500'000; ++n)
                    for (u32 &s : state)
                        next_random(s);
                volatile u32 result = state[0] ^ state[1] ^ state[2] ^ state[3];
                static_cast<void>(result);
            },
            0};
}

operation copy_of(std::size_t bytes) {
    return {[from = std::vector<u8>(bytes / 2, 1), to = std::vector<u8>(bytes / 2)]() mutable {
                std::memcpy(to.data(), from.data(), from.size());
            },
            bytes};
}

// ---- Measuring

// Of the runs of one thread alone, or of two threads.
struct cost {
    double wall = std::numeric_limits<double>::max(); // shortest seconds per operation
    std::vector<double> processor;                    // seconds per operation of the first thread
    double waits = 0; // times per operation that a thread was suspended in the shortest run
};

struct comparison {
    cost one, two;
};

struct span {
    double begin, end, processor;
    long waits;
};

// What the two threads share while they measure.
struct meeting {
    std::barrier<> at_barrier{2};
    std::atomic<u32> ready = 0;
    u32 repetitions = 0; // in a run
    u32 rounds = 0;
    span spans[2] = {};
    comparison total;
};

double now(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return double(time.tv_sec) + double(time.tv_nsec) * 1e-9;
}

long voluntary_switches() {
    rusage usage = {};
    getrusage(RUSAGE_THREAD, &usage);
    return usage.ru_nvcsw;
}

span run(const job &work, u32 repetitions) {
    const double processor = now(CLOCK_THREAD_CPUTIME_ID);
    const long waits = voluntary_switches();
    const double begin = now(CLOCK_MONOTONIC);
    for (u32 n = 0; n < repetitions; ++n)
        work();
    return {begin, now(CLOCK_MONOTONIC), now(CLOCK_THREAD_CPUTIME_ID) - processor,
            voluntary_switches() - waits};
}

// A run lasts from the first begin to the last end: the shortest is one in which both threads
// worked all the time.
void add_run(cost &total, const span *spans, u32 threads, u32 repetitions) {
    double begin = spans[0].begin, end = spans[0].end;
    long waits = 0;
    for (u32 n = 0; n < threads; ++n) {
        begin = std::min(begin, spans[n].begin);
        end = std::max(end, spans[n].end);
        waits += spans[n].waits;
    }
    total.processor.push_back(spans[0].processor / repetitions);
    const double wall = (end - begin) / repetitions;
    if (wall < total.wall) {
        total.wall = wall;
        total.waits = double(waits) / (double(repetitions) * threads);
    }
}

// The threads start together, without the delay of a thread that is woken.
void start_together(std::atomic<u32> &ready, u32 round) {
    ++ready;
    while (ready < 2 * (round + 1))
        ;
}

void measure(u32 thread, const job &work, meeting &shared) {
    if (thread == 0) {
        const double once = best_seconds({work}, 5)[0];
        shared.repetitions = std::max(1u, static_cast<u32>(seconds_per_run / once));
        shared.rounds = 20 + static_cast<u32>(seconds_per_row / 2 / (once * shared.repetitions));
    }
    shared.at_barrier.arrive_and_wait();
    for (u32 round = 0; round < shared.rounds; ++round) {
        if (thread == 0) {
            work(); // fetches the data that other programs have displaced from the caches
            const span alone = run(work, shared.repetitions);
            add_run(shared.total.one, &alone, 1, shared.repetitions);
        }
        shared.at_barrier.arrive_and_wait();
        work();
        start_together(shared.ready, round);
        shared.spans[thread] = run(work, shared.repetitions);
        shared.at_barrier.arrive_and_wait();
        if (thread == 0)
            add_run(shared.total.two, shared.spans, 2, shared.repetitions);
    }
}

void bind_to_core(u32 core) {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    sched_setaffinity(0, sizeof cores, &cores);
}

// `make` is called in each thread; returns the bytes of an operation as well.
template <class Make> std::pair<comparison, std::size_t> compare(const Make &make) {
    meeting shared;
    std::size_t bytes = 0;
    const u32 contexts[2] = {VIQ_context_create(), VIQ_context_create()};
    const auto work = [&](u32 n) {
        bind_to_core(n);
        need_ok(VIQ_context_use(contexts[n]), "context");
        const operation made = make();
        if (n == 0)
            bytes = made.bytes;
        measure(n, made.work, shared);
        VIQ_context_destroy(contexts[n]);
    };
    std::thread threads[2] = {std::thread(work, 0u), std::thread(work, 1u)};
    for (std::thread &thread : threads)
        thread.join();
    VIQ_image_destroy(VIQ_ALL_IMAGES);
    return {shared.total, bytes};
}

// Other programs disturb the slower runs, with one thread and with two.
double lower_quartile(std::vector<double> values) {
    const auto quartile = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 4);
    std::nth_element(values.begin(), quartile, values.end());
    return *quartile;
}

void print(const char *name, const comparison &c) {
    std::printf("%-28s %8.3f ms  throughput %.2f  processor time %.2f  waits %.2f", name,
                c.one.wall * 1e3, 2 * c.one.wall / c.two.wall,
                lower_quartile(c.one.processor) / lower_quartile(c.two.processor), c.two.waits);
}

struct row_case {
    const char *name;
    operation (*make)();
};

constexpr row_case cases[] = {
    {"arithmetic in registers", arithmetic},
    {"JPEG compress", jpeg_compress},
    {"JPEG decompress", jpeg_decompress},
    {"wavelet compress, Huffman", wavelet_compress<0>},
    {"wavelet decompress, Huffman", wavelet_decompress<0>},
    {"wavelet compress, rANS", wavelet_compress<1>},
    {"wavelet decompress, rANS", wavelet_decompress<1>},
    {"YUV422 to RGB24", conversion<VIQ_YUV422, VIQ_RGB24>},
    {"RGB24 to Y8", conversion<VIQ_RGB24, VIQ_Y8>},
    {"scale by 0.5, Y8", scaling<1>},
    {"scale by 1.5, Y8", scaling<3>},
    {"3 x 3 filter, Y8", filter},
};

} // namespace

// An argument selects the rows whose names contain it.
int main(int argc, char **argv) {
    VIQ_Init();
    for (const row_case &c : cases) {
        if (argc > 1 && std::strstr(c.name, argv[1]) == nullptr)
            continue;
        const auto [result, bytes] = compare(c.make);
        print(c.name, result);
        if (bytes != 0) {
            std::printf("   ");
            print("memcpy", compare([n = bytes] { return copy_of(n); }).first);
        }
        std::printf("\n");
    }
    return 0;
}
