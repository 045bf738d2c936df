// The frame buffer codec on one core, beside a fast picture format and a fast general compressor in the same
// run; on two cores; and with the costliest frames that a search finds. Speeds are in gigabytes of pixels a
// second.

#include "codec_pictures.h"
#include "tpakutil/tpak_main.h"

#include <algorithm>
#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <lz4.h>
#include <qoi.h>
#include <sched.h>
#include <string>
#include <thread>

namespace {

const tpak_opts options{.yuv_trans = 1, .version = 5};
constexpr unsigned four_bytes = 3;

/// Of this thread: what else the machine does isn't counted.
double processor_seconds()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

/// The best of the runs in some time.
double gigabytes_a_second(size_t bytes, const std::function<void()>& work, double seconds = 0.2)
{
    double best = 0;
    const double end = processor_seconds() + seconds;
    double before = processor_seconds();
    while (before < end) {
        work();
        benchmark::ClobberMemory();
        const double after = processor_seconds();
        best = std::max(best, static_cast<double>(bytes) / (after - before) / 1e9);
        before = after;
    }
    return best;
}

/// What each format makes of one picture.
struct measured
{
    double encode = 0;
    double decode = 0;
    double ratio = 0;
};

measured measure_tpak(const bench_picture& picture, bool* exact)
{
    TpakEncoder encoder{four_bytes, picture.width, picture.height, &options};
    TpakDecoder decoder{four_bytes, picture.width, picture.height, &options};
    std::vector<uint8_t> buffer(encoder.getMaxFrameSize());
    std::vector<uint8_t> back(picture.rgba.size());
    measured out;
    out.encode =
        gigabytes_a_second(back.size(), [&] { encoder.encode(picture.rgba.data(), buffer.data(), false); });
    out.decode = gigabytes_a_second(back.size(), [&] { decoder.decode(buffer.data(), back.data()); });
    out.ratio =
        static_cast<double>(back.size()) / static_cast<double>(encoder.getEncodedFrameSize(buffer.data()));
    *exact = back == picture.rgba;
    return out;
}

measured measure_qoi(const bench_picture& picture)
{
    qoi_desc description{picture.width, picture.height, 4, QOI_SRGB};
    int length = 0;
    measured out;
    out.encode = gigabytes_a_second(
        picture.rgba.size(), [&] { std::free(qoi_encode(picture.rgba.data(), &description, &length)); });
    void* encoded = qoi_encode(picture.rgba.data(), &description, &length);
    out.decode = gigabytes_a_second(picture.rgba.size(), [&] {
        qoi_desc found;
        std::free(qoi_decode(encoded, length, &found, 4));
    });
    std::free(encoded);
    out.ratio = static_cast<double>(picture.rgba.size()) / length;
    return out;
}

measured measure_lz4(const bench_picture& picture)
{
    const auto size = static_cast<int>(picture.rgba.size());
    const char* pixels = reinterpret_cast<const char*>(picture.rgba.data());
    std::vector<char> buffer(static_cast<size_t>(LZ4_compressBound(size)));
    std::vector<char> back(picture.rgba.size());
    int length = 0;
    measured out;
    out.encode = gigabytes_a_second(back.size(), [&] {
        length = LZ4_compress_default(pixels, buffer.data(), size, static_cast<int>(buffer.size()));
    });
    out.decode = gigabytes_a_second(back.size(),
                                    [&] { LZ4_decompress_safe(buffer.data(), back.data(), length, size); });
    out.ratio = static_cast<double>(size) / length;
    return out;
}

/// What earlier benchmarks of this run have measured.
struct speeds
{
    std::vector<double> encode;
    std::vector<double> decode;
};
speeds& speeds_so_far()
{
    static speeds all;
    return all;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

std::string ratios(const measured& tpak, const measured& qoi, const measured& lz4)
{
    char text[80];
    std::snprintf(text, sizeof text, "saved by: TPAK %.2f, QOI %.2f, LZ4 %.2f", tpak.ratio, qoi.ratio,
                  lz4.ratio);
    return text;
}

void codec_frame(benchmark::State& state, const bench_picture& picture)
{
    for (auto _ : state) {
        bool exact = false;
        const measured tpak = measure_tpak(picture, &exact);
        const measured qoi = measure_qoi(picture);
        const measured lz4 = measure_lz4(picture);
        if (!exact)
            state.SkipWithError("the frame that came back is another one");
        speeds_so_far().encode.push_back(tpak.encode);
        speeds_so_far().decode.push_back(tpak.decode);
        state.SetLabel(ratios(tpak, qoi, lz4));
        auto& counters = state.counters;
        counters["encode"] = tpak.encode;
        counters["decode"] = tpak.decode;
        counters["least_decode"] = 1.5;
        counters["over_qoi"] = tpak.encode / qoi.encode;
        counters["least_over_qoi"] = 1;
        counters["saved_by"] = tpak.ratio;
        counters["qoi_encode"] = qoi.encode;
        counters["qoi_decode"] = qoi.decode;
        counters["qoi_saved_by"] = qoi.ratio;
        counters["lz4_encode"] = lz4.encode;
        counters["lz4_decode"] = lz4.decode;
        counters["lz4_saved_by"] = lz4.ratio;
    }
}

void codec_median(benchmark::State& state)
{
    for (auto _ : state) {
        state.counters["encode"] = median(speeds_so_far().encode);
        state.counters["least_encode"] = 1;
        state.counters["decode"] = median(speeds_so_far().decode);
    }
}

/// The shortest time of a frame, by the clock: threads have none of their own in common.
double seconds_to_encode(const bench_picture& picture, const tpak_opts& opts, tpak_threads* threads,
                         std::vector<uint8_t>& buffer)
{
    TpakEncoder encoder{four_bytes, picture.width, picture.height, &opts};
    buffer.resize(encoder.getMaxFrameSize());
    const auto start = std::chrono::steady_clock::now();
    encoder.encode(picture.rgba.data(), buffer.data(), false, threads);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// While it lives, and where the system allows it, threads of this process start at once: on a machine that
/// has other work, a new thread else waits longer for its turn than a frame takes.
struct at_once
{
    at_once() { set(SCHED_FIFO, 1); }
    ~at_once() { set(SCHED_OTHER, 0); }
    at_once(const at_once&) = delete;
    at_once& operator=(const at_once&) = delete;
    static void set(int policy, int priority)
    {
        const sched_param wish{priority};
        sched_setscheduler(0, policy, &wish);
    }
};

/// How much faster two cores encode all pictures together; ways alternate after `succession` frames, and the
/// best of many runs counts. With more than one in succession the second core is awake for the best.
double two_cores(const std::vector<bench_picture>& pictures, const tpak_opts& opts, int succession)
{
    constexpr int frames = 60;
    const at_once urgent;
    tpak_threads two{2};
    double alone = 0;
    double shared = 0;
    std::vector<uint8_t> buffer;
    for (const bench_picture& picture : pictures) {
        double best[2] = {1e9, 1e9};
        for (int run = 0; run < 2 * frames; run++) {
            const int way = run / succession % 2;
            best[way] =
                std::min(best[way], seconds_to_encode(picture, opts, way == 1 ? &two : nullptr, buffer));
        }
        alone += best[0];
        shared += best[1];
    }
    return alone / shared;
}

/// What two cores give that have nothing to do with each other: both encode whole frames, at the same time. A
/// machine with other work, or whose cores share what they calculate with, leaves less than 2.
double two_cores_apart(const std::vector<bench_picture>& pictures, const tpak_opts& opts)
{
    double alone = 0;
    double both = 0;
    std::vector<uint8_t> buffers[2];
    for (const bench_picture& picture : pictures) {
        double best[2] = {1e9, 1e9};
        for (int run = 0; run < 30; run++) {
            best[0] = std::min(best[0], seconds_to_encode(picture, opts, nullptr, buffers[0]));
            std::atomic<int> started{0};
            const auto encode = [&](std::vector<uint8_t>& buffer) {
                started++;
                while (started < 2)
                    ;
                return seconds_to_encode(picture, opts, nullptr, buffer);
            };
            double of_other = 0;
            std::thread other{[&] { of_other = encode(buffers[1]); }};
            const double of_this = encode(buffers[0]);
            other.join();
            best[1] = std::min(best[1], std::max(of_this, of_other));
        }
        alone += best[0];
        both += best[1];
    }
    return 2 * alone / both;
}

void codec_two_cores(benchmark::State& state, const std::vector<bench_picture>& pictures)
{
    for (auto _ : state) {
        if (std::thread::hardware_concurrency() < 2) {
            state.SetLabel("this machine has one core");
            return;
        }
        tpak_opts split = options;
        split.block_split = 1;
        constexpr int succession = 6;
        state.counters["dense"] = two_cores(pictures, options, succession);
        state.counters["least_dense"] = 1.6;
        state.counters["fixed"] = two_cores(pictures, split, succession);
        state.counters["least_fixed"] = 1.8;
        state.counters["apart"] = two_cores_apart(pictures, split);
        state.counters["dense_after_pause"] = two_cores(pictures, options, 1);
        state.counters["fixed_after_pause"] = two_cores(pictures, split, 1);
    }
}

/// The costliest of many frames, over the median one.
void codec_worst(benchmark::State& state)
{
    for (auto _ : state) {
        double encode = 1e9;
        double decode = 1e9;
        std::string names[2];
        for (unsigned number = 0; number < costly_pictures; number++) {
            const bench_picture picture = costly_picture(number);
            TpakEncoder encoder{four_bytes, picture.width, picture.height, &options};
            TpakDecoder decoder{four_bytes, picture.width, picture.height, &options};
            std::vector<uint8_t> buffer(encoder.getMaxFrameSize());
            std::vector<uint8_t> back(picture.rgba.size());
            const double encoded = gigabytes_a_second(
                back.size(), [&] { encoder.encode(picture.rgba.data(), buffer.data(), false); }, 0.03);
            const double decoded = gigabytes_a_second(
                back.size(), [&] { decoder.decode(buffer.data(), back.data()); }, 0.03);
            if (encoded < encode)
                names[0] = picture.name;
            if (decoded < decode)
                names[1] = picture.name;
            encode = std::min(encode, encoded);
            decode = std::min(decode, decoded);
        }
        state.SetLabel("costliest to encode: " + names[0] + ", to decode: " + names[1]);
        state.counters["encode"] = encode;
        state.counters["decode"] = decode;
        state.counters["encode_over_median"] = median(speeds_so_far().encode) / encode;
        state.counters["limit_encode_over_median"] = 3;
        state.counters["decode_over_median"] = median(speeds_so_far().decode) / decode;
        state.counters["limit_decode_over_median"] = 3;
    }
}

const bool registered = [] {
    static const std::vector<bench_picture> pictures = bench_pictures();
    for (const bench_picture& picture : pictures)
        benchmark::RegisterBenchmark(("codec_frame/" + picture.name).c_str(), codec_frame, picture)
            ->Iterations(1);
    benchmark::RegisterBenchmark("codec_median", codec_median)->Iterations(1);
    benchmark::RegisterBenchmark("codec_worst", codec_worst)->Iterations(1);
    benchmark::RegisterBenchmark("codec_two_cores", codec_two_cores, pictures)->Iterations(1);
    return true;
}();

} // namespace
