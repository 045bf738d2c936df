// Decoding of ASTC images, beside the software driver's decoder, which runs when a texture is specified.

#include "astc/astc.h"
#include "block_mode.h"
#include "tests/astc/blocks.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <random>
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

double seconds_of_threads(const test_image& test, unsigned count, std::vector<astc_decoder>& decoders,
                          std::vector<uint8_t>& texels)
{
    const uint32_t rows = side / test.image.block_height;
    const auto start = clock_type::now();
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < count; ++i)
        threads.emplace_back([&, i] {
            decoders[i].decode_rows(test.image.blocks, false, side, side, rows * i / count,
                                    rows * (i + 1) / count, texels.data());
        });
    for (auto& thread : threads)
        thread.join();
    return seconds_since(start);
}

void decode(benchmark::State& state)
{
    const auto size = static_cast<uint32_t>(state.range(0));
    const test_image common{size, content::photograph};
    const test_image costly{size, content::costly};
    std::vector<uint8_t> texels(size_t{side} * side * 4);
    std::vector<astc_decoder> decoders;
    decoders.emplace_back(size, size);
    decoders.emplace_back(size, size);
    if (!make_driver_current()) {
        state.SkipWithError("there is no software driver to compare with");
        return;
    }
    seconds_of_driver(common, size);
    double own = 1e9;
    double worst = 1e9;
    double driver = 1e9;
    double one = 1e9;
    double two = 1e9;
    for (auto _ : state) {
        auto start = clock_type::now();
        astc_decode_image(common.image, texels.data());
        own = std::min(own, seconds_since(start));
        start = clock_type::now();
        astc_decode_image(costly.image, texels.data());
        worst = std::min(worst, seconds_since(start));
        driver = std::min(driver, seconds_of_driver(common, size));
        one = std::min(one, seconds_of_threads(common, 1, decoders, texels));
        two = std::min(two, seconds_of_threads(common, 2, decoders, texels));
    }
    state.counters["Mpixel_per_s"] = side * side / own / 1e6;
    state.counters["least_Mpixel_per_s"] = 100;
    state.counters["times_the_driver"] = driver / own;
    state.counters["least_times_the_driver"] = 5;
    state.counters["costly_over_common"] = worst / own;
    state.counters["limit_costly_over_common"] = 3;
    if (std::thread::hardware_concurrency() > 1) {
        state.counters["two_threads"] = one / two;
        state.counters["least_two_threads"] = 1.8;
    }
}
BENCHMARK(decode)->Arg(4)->Arg(6)->Arg(8)->Arg(12)->Iterations(20)->Unit(benchmark::kMillisecond);
} // namespace
