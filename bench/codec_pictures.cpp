#include "codec_pictures.h"

#include "picture_file.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>

namespace {

constexpr uint32_t costly_width = 640;
constexpr uint32_t costly_height = 352;

struct colour
{
    double red;
    double green;
    double blue;
};

bench_picture draw(const std::string& name, uint32_t width, uint32_t height,
                   const std::function<uint32_t(uint32_t x, uint32_t y)>& pixel)
{
    bench_picture picture{name, width, height, {}};
    picture.rgba.resize(size_t{width} * height * 4);
    for (uint32_t y = 0; y < height; y++) {
        for (uint32_t x = 0; x < width; x++) {
            const uint32_t word = pixel(x, y);
            std::memcpy(&picture.rgba[(size_t{y} * width + x) * 4], &word, 4);
        }
    }
    return picture;
}

uint32_t word_of(const colour& c)
{
    const auto byte = [](double value) {
        return static_cast<uint32_t>(std::clamp(value, 0.0, 1.0) * 255 + 0.5);
    };
    return byte(c.red) | byte(c.green) << 8 | byte(c.blue) << 16 | 0xff000000;
}

/// Smooth noise of several sizes, 0 to 1.
double cloud(double x, double y)
{
    const auto at = [](int64_t column, int64_t row) {
        uint64_t value = static_cast<uint64_t>(column) * 0x9e3779b97f4a7c15 ^
                         static_cast<uint64_t>(row) * 0xc2b2ae3d27d4eb4f;
        value ^= value >> 29;
        value *= 0xbf58476d1ce4e5b9;
        return static_cast<double>(value >> 40) / 16777216.0;
    };
    double sum = 0;
    double weight = 0.5;
    for (double scale = 64; scale >= 2; scale /= 2, weight /= 2) {
        const double u = x / scale;
        const double v = y / scale;
        const auto column = static_cast<int64_t>(std::floor(u));
        const auto row = static_cast<int64_t>(std::floor(v));
        const double fu = u - std::floor(u);
        const double fv = v - std::floor(v);
        sum += weight * ((at(column, row) * (1 - fu) + at(column + 1, row) * fu) * (1 - fv) +
                         (at(column, row + 1) * (1 - fu) + at(column + 1, row + 1) * fu) * fv);
    }
    return sum;
}

/// Windows with rows of glyph-like marks.
uint32_t desktop(uint32_t x, uint32_t y)
{
    const bool inside = x % 420 > 20 && y % 300 > 20;
    if (!inside)
        return word_of({0.15 + 0.0002 * y, 0.25, 0.4});
    if (y % 300 < 44)
        return word_of({0.85, 0.86, 0.88});
    const uint32_t glyph = (x / 8 * 2654435761u ^ y / 16 * 40503u) >> 8;
    const bool ink =
        glyph % 5 != 0 && y % 16 > 3 && y % 16 < 13 && x % 8 < 6 && (glyph >> (x % 8 + y % 4 * 4) & 1);
    return ink ? word_of({0.1, 0.1, 0.1}) : word_of({1, 1, 1});
}

/// A lit ball over a plain background, as benchmarks of graphics draw it.
uint32_t lit_scene(uint32_t x, uint32_t y)
{
    const double u = (x - 960.0) / 480;
    const double v = (y - 540.0) / 480;
    const double square = u * u + v * v;
    if (square > 1)
        return word_of({0.2, 0.22, 0.25});
    const double z = std::sqrt(1 - square);
    const double light = std::max(0.0, 0.5 * u - 0.6 * v + 0.62 * z);
    const double glare = std::pow(light, 40);
    return word_of({0.1 + 0.7 * light + glare, 0.1 + 0.5 * light + glare, 0.15 + 0.2 * light + glare});
}

uint32_t landscape(uint32_t x, uint32_t y)
{
    if (y < 400)
        return word_of({0.4 + y * 0.0008, 0.6 + y * 0.0006, 0.95});
    const double depth = 200.0 / (y - 380.0);
    const double ground = cloud(x * depth * 4, 4000 * depth);
    return word_of({0.2 + 0.5 * ground, 0.3 + 0.4 * ground, 0.1 + 0.2 * ground});
}

void add_files(std::vector<bench_picture>& pictures, const std::string& folder)
{
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        bench_picture picture{entry.path().stem().string(), 0, 0, {}};
        if (entry.path().extension() == ".png" &&
            read_picture_file(entry.path().string(), picture.width, picture.height, picture.rgba).empty())
            pictures.push_back(std::move(picture));
    }
}

/// What a block of 4x4 pixels is filled with.
struct block_kind
{
    uint32_t base = 0;
    uint32_t mask = 0; // of the noise on it
    bool grey = false;
};

uint32_t noisy(std::mt19937& random, const block_kind& kind)
{
    uint32_t noise = uint32_t(random()) & kind.mask;
    if (kind.grey)
        noise = (noise & 0xff) * 0x010101;
    return kind.base + noise;
}

block_kind any_block(std::mt19937& random)
{
    block_kind kind{uint32_t(random()) & 0x7f7f7f7f, 0, random() % 8 == 0};
    if (random() % 6 != 0) {
        for (unsigned byte = 0; byte < 4; byte++)
            kind.mask |= ((1u << random() % 8) - 1) << 8 * byte;
    }
    if (random() % 2)
        kind.base |= 0xff000000, kind.mask &= 0xffffff;
    return kind;
}

/// Each block is of a kind of its own, among as many as there are.
bench_picture mixture(unsigned seed, unsigned kinds)
{
    std::mt19937 random{seed};
    std::vector<block_kind> all;
    for (unsigned i = 0; i < kinds; i++)
        all.push_back(any_block(random));
    constexpr uint32_t across = costly_width / 4;
    std::vector<unsigned> of_block(size_t{across} * (costly_height / 4));
    for (unsigned& kind : of_block)
        kind = random() % kinds;
    const std::string name = "mixture of " + std::to_string(kinds) + " kinds, " + std::to_string(seed);
    return draw(name, costly_width, costly_height,
                [&](uint32_t x, uint32_t y) { return noisy(random, all[of_block[y / 4 * across + x / 4]]); });
}

} // namespace

bench_picture costly_picture(unsigned number)
{
    std::mt19937 random{number};
    if (number < 16) {
        const unsigned bits = number / 2 + 1;
        const bool opaque = number % 2;
        const block_kind kind{opaque ? 0xff000000 : 0, ((1u << bits) - 1) * (opaque ? 0x010101 : 0x01010101)};
        return draw("noise of " + std::to_string(bits) + (opaque ? " bits, opaque" : " bits"), costly_width,
                    costly_height, [&](uint32_t, uint32_t) { return noisy(random, kind); });
    }
    if (number < 24) {
        const unsigned step = 1u << (number - 16) / 2;
        const uint32_t other = number % 2 ? 0xffffffff : 0xff00ff00;
        return draw("extremes every " + std::to_string(step), costly_width, costly_height,
                    [&](uint32_t x, uint32_t y) { return (x / step + y / step) % 2 ? other : 0xff; });
    }
    return mixture(number, 1 + number % 20);
}

std::vector<bench_picture> bench_pictures()
{
    std::mt19937 random{1};
    std::vector<bench_picture> pictures;
    pictures.push_back(draw("noise", 1280, 720, [&](uint32_t, uint32_t) { return uint32_t(random()); }));
    pictures.push_back(draw("solid", 1920, 1080, [](uint32_t, uint32_t) { return 0xff804020; }));
    pictures.push_back(draw("desktop", 1280, 720, desktop));
    pictures.push_back(draw("lit_scene", 1920, 1080, lit_scene));
    pictures.push_back(draw("landscape", 1920, 1080, landscape));
    if (const char* folder = std::getenv("ZELVAR_BENCH_PICTURES"))
        add_files(pictures, folder);
    return pictures;
}
