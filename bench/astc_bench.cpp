// Decoding of ASTC images, beside the software driver's decoder, which runs when a texture is specified.

#include "astc/astc.h"
#include "block_mode.h"
#include "tests/astc/blocks.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <sched.h>
#include <thread>
#include <vector>

#include <EGL/egl.h>
#include <GLES3/gl31.h>
// Needs the types of the header above.
#include <GLES2/gl2ext.h>

namespace {
using clock_type = std::chrono::steady_clock;
constexpr uint32_t side = 1008; // texels; a multiple of 4, 6, 8 and 12

double seconds_since(clock_type::time_point start)
{
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

enum class content
{
    photograph, // what encoders make of one: grids of all sizes, mostly one or two partitions of colour
    costly,     // as many partitions and planes as there may be
};

block_bytes make_block(std::mt19937& random, uint32_t size, content kind)
{
    block_bytes block;
    for (auto& byte : block)
        byte = static_cast<uint8_t>(random());
    const unsigned dice = random() % 100;
    if (kind == content::photograph && dice < 3)
        return void_extent({0x1234, 0x5678, 0x9abc, 0xffff});
    const bool two_planes = kind == content::costly ? dice < 50 : dice < 10;
    unsigned partitions = 1;
    if (kind == content::costly)
        partitions = two_planes ? 3 : 4;
    else if (dice >= 70)
        partitions = dice >= 95 ? 3 : 2;
    const unsigned values = kind == content::costly ? 2 : 6;
    for (;;) {
        const unsigned bits = random() % 2048;
        const block_mode mode = parse_block_mode(bits, size, size);
        // Endpoints want at least 6 levels.
        const unsigned left = partitions * values * 13 / 5 + 31;
        if ((bits & 0x1ff) == 0x1fc || !mode.is_legal() || mode.dual_plane != two_planes ||
            mode.weight_bits + left > 128)
            continue;
        put(block, 0, 11, bits);
        break;
    }
    put(block, 11, 2, partitions - 1);
    if (partitions == 1)
        put(block, 13, 4, 8);
    else
        put(block, 23, 6, (kind == content::costly ? 0 : 8) << 2);
    return block;
}

struct test_image
{
    test_image(uint32_t size, content kind)
    {
        std::mt19937 random{size};
        for (uint32_t i = 0; i < side / size * (side / size); ++i) {
            const block_bytes block = make_block(random, size, kind);
            blocks.insert(blocks.end(), block.begin(), block.end());
        }
        image.block_width = image.block_height = size;
        image.width = image.height = side;
        image.blocks = blocks.data();
    }
    std::vector<uint8_t> blocks;
    astc_image image;
};

/// A context of the software driver; null where there is none with its own decoder.
bool make_driver_current()
{
    static const bool made = [] {
        setenv("EGL_PLATFORM", "surfaceless", 1);
        EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
        eglInitialize(display, nullptr, nullptr);
        eglBindAPI(EGL_OPENGL_ES_API);
        const EGLint wanted[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES3_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT,
                                 EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        eglChooseConfig(display, wanted, &config, 1, &count);
        const EGLint version[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_NONE};
        EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
        return eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context) == EGL_TRUE;
    }();
    return made;
}

double seconds_of_driver(const test_image& test, uint32_t size)
{
    const GLenum format = GL_COMPRESSED_RGBA_ASTC_4x4_KHR + (size == 4   ? 0
                                                             : size == 6 ? 4
                                                             : size == 8 ? 7
                                                                         : 13);
    GLuint texture;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    const auto start = clock_type::now();
    glCompressedTexImage2D(GL_TEXTURE_2D, 0, format, side, side, 0, static_cast<GLsizei>(test.blocks.size()),
                           test.blocks.data());
    glFinish();
    const double seconds = seconds_since(start);
    glDeleteTextures(1, &texture);
    return seconds;
}

/// A thread's own core, decoder and texels.
struct worker
{
    worker(int wanted, uint32_t size) : core(wanted), decoder(size, size), texels(size_t{side} * side * 4) {}
    int core;
    astc_decoder decoder;
    std::vector<uint8_t> texels;
    clock_type::time_point begin;
    clock_type::time_point end;
};

/// On the first two cores that this process may use; fewer where there are fewer.
std::vector<worker> make_workers(uint32_t size)
{
    cpu_set_t allowed;
    sched_getaffinity(0, sizeof(allowed), &allowed);
    std::vector<worker> workers;
    for (int core = 0; core < CPU_SETSIZE && workers.size() < 2; ++core)
        if (CPU_ISSET(core, &allowed))
            workers.emplace_back(core, size);
    return workers;
}

/// Threads that begin together, each on its core; each takes the next row of blocks.
double seconds_of(const test_image& test, std::vector<worker*> workers)
{
    constexpr uint32_t images = 4;
    const uint32_t rows = side / test.image.block_height;
    std::atomic<uint32_t> taken{0};
    std::atomic<size_t> ready{0};
    const auto work = [&](worker& own) {
        cpu_set_t core;
        CPU_ZERO(&core);
        CPU_SET(own.core, &core);
        sched_setaffinity(0, sizeof(core), &core);
        ++ready;
        while (ready < workers.size())
            ;
        own.begin = clock_type::now();
        for (uint32_t next = taken++; next < images * rows; next = taken++) {
            const uint32_t row = next % rows;
            own.decoder.decode_rows(test.image.blocks, false, side, side, row, row + 1, own.texels.data());
        }
        own.end = clock_type::now();
    };
    std::vector<std::thread> threads;
    threads.reserve(workers.size());
    for (worker* each : workers)
        threads.emplace_back(work, std::ref(*each));
    for (auto& thread : threads)
        thread.join();
    auto begin = workers[0]->begin;
    auto end = workers[0]->end;
    for (const worker* each : workers) {
        begin = std::min(begin, each->begin);
        end = std::max(end, each->end);
    }
    return std::chrono::duration<double>(end - begin).count();
}

void decode(benchmark::State& state)
{
    const auto size = static_cast<uint32_t>(state.range(0));
    const test_image common{size, content::photograph};
    const test_image costly{size, content::costly};
    std::vector<uint8_t> texels(size_t{side} * side * 4);
    std::vector<worker> workers = make_workers(size);
    const bool has_two = workers.size() == 2;
    if (!make_driver_current()) {
        state.SkipWithError("there is no software driver to compare with");
        return;
    }
    seconds_of_driver(common, size);
    double own = 1e9;
    double worst = 1e9;
    double driver = 1e9;
    double alone[2] = {1e9, 1e9};
    double together = 1e9;
    for (auto _ : state) {
        auto start = clock_type::now();
        astc_decode_image(common.image, texels.data());
        own = std::min(own, seconds_since(start));
        start = clock_type::now();
        astc_decode_image(costly.image, texels.data());
        worst = std::min(worst, seconds_since(start));
        driver = std::min(driver, seconds_of_driver(common, size));
        if (has_two) {
            for (size_t i = 0; i < 2; ++i)
                alone[i] = std::min(alone[i], seconds_of(common, {&workers[i]}));
            together = std::min(together, seconds_of(common, {&workers[0], &workers[1]}));
        }
    }
    state.counters["Mpixel_per_s"] = side * side / own / 1e6;
    state.counters["least_Mpixel_per_s"] = 100;
    state.counters["times_the_driver"] = driver / own;
    state.counters["least_times_the_driver"] = 5;
    state.counters["costly_over_common"] = worst / own;
    state.counters["limit_costly_over_common"] = 3;
    if (has_two) {
        // Cores of a virtual machine differ by a half at times, as their neighbours work or rest: against the
        // mean of both.
        const double mean_speed = (1 / alone[0] + 1 / alone[1]) / 2;
        state.counters["two_threads"] = 1 / together / mean_speed;
        state.counters["least_two_threads"] = 1.8;
    }
}
BENCHMARK(decode)->Arg(4)->Arg(6)->Arg(8)->Arg(12)->Iterations(20)->Unit(benchmark::kMillisecond);
} // namespace
