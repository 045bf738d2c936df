// The frame buffer codec on one core, beside a fast picture format and a fast general compressor in the same
// run. Speeds are in gigabytes of pixels a second.

#include "codec_pictures.h"
#include "tpakutil/tpak_main.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <lz4.h>
#include <qoi.h>

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
double gigabytes_a_second(size_t bytes, const std::function<void()>& work)
{
    double best = 0;
    const double end = processor_seconds() + 0.2;
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

std::vector<double>& speeds_so_far()
{
    static std::vector<double> speeds;
    return speeds;
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
        speeds_so_far().push_back(tpak.encode);
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
        std::vector<double>& speeds = speeds_so_far();
        if (speeds.empty()) {
            state.SkipWithError("no frame was measured");
            return;
        }
        std::sort(speeds.begin(), speeds.end());
        state.counters["encode"] = speeds[speeds.size() / 2];
        state.counters["least_encode"] = 1;
    }
}

const bool registered = [] {
    static const std::vector<bench_picture> pictures = bench_pictures();
    for (const bench_picture& picture : pictures)
        benchmark::RegisterBenchmark(("codec_frame/" + picture.name).c_str(), codec_frame, picture)
            ->Iterations(1);
    benchmark::RegisterBenchmark("codec_median", codec_median)->Iterations(1);
    return true;
}();

} // namespace
