// The numbers that are stamped into frames, and the rate that one of them shows.
#include "combiner.h"

#include "frame_counters.h"
#include "settings/zelvar_settings.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <sys/time.h>

namespace {

constexpr uint32_t glyph_width = 4;
constexpr uint32_t glyph_height = 6;
constexpr uint32_t point_glyph = 10;
// A word per row, the leftmost pixel in bit 3.
constexpr uint32_t font[11][glyph_height] = {
    {7, 5, 5, 5, 7, 0}, // 0
    {2, 6, 2, 2, 7, 0}, // 1
    {7, 1, 7, 4, 7, 0}, // 2
    {7, 1, 7, 1, 7, 0}, // 3
    {5, 5, 7, 1, 1, 0}, // 4
    {7, 4, 7, 1, 7, 0}, // 5
    {7, 4, 7, 5, 7, 0}, // 6
    {7, 1, 1, 1, 1, 0}, // 7
    {7, 5, 7, 5, 7, 0}, // 8
    {7, 5, 7, 1, 7, 0}, // 9
    {0, 0, 0, 0, 2, 0}, // anything else
};

std::atomic<uint32_t> frame_number{0};
std::atomic<int64_t> last_frame_time{0}; // microseconds of the system's clock, 0 before the first frame

int64_t now_in_microseconds()
{
    timeval now;
    gettimeofday(&now, nullptr);
    return int64_t{now.tv_sec} * 1000000 + now.tv_usec;
}

/// Where a stamp goes. The block may be any size: the stamp's position is the caller's, the frame's is not.
struct stamp_target
{
    uint8_t* frame;
    uint64_t frame_size;
    uint64_t stride;
    uint64_t bytes_per_pixel;

    void put(uint64_t row, uint64_t column, bool set) const
    {
        uint64_t at;
        if (__builtin_mul_overflow(row * stride + column, bytes_per_pixel, &at) || at >= frame_size)
            return;
        std::memset(frame + at, set ? 255 : 0, std::min(bytes_per_pixel, frame_size - at));
    }

    void put_glyph(uint64_t x, uint64_t y, char character) const
    {
        const bool is_digit = character >= '0' && character <= '9';
        const auto& rows = font[is_digit ? static_cast<uint32_t>(character - '0') : point_glyph];
        for (uint32_t row = 0; row < glyph_height; row++) {
            for (uint32_t column = 0; column < glyph_width; column++)
                put(y + row, x + column, rows[row] >> (glyph_width - 1 - column) & 1);
        }
    }
};

} // namespace

void displayNumberDirectly(uint8_t* frame, uint64_t frame_size, uint32_t stride, uint32_t /*height*/,
                           uint32_t bytes_per_pixel, uint32_t x, uint32_t y, double value)
{
    char text[320]; // the longest double takes 313 characters
    const int length = std::snprintf(text, sizeof text, "%.2f", value);
    const stamp_target target{frame, frame_size, stride, bytes_per_pixel};
    for (int i = 0; i < length; i++)
        target.put_glyph(uint64_t{x} + static_cast<uint32_t>(i) * glyph_width, y, text[i]);
}

double calculateFps(uint32_t /*width*/, uint32_t /*height*/)
{
    if (!setting(zelvar_only_settings.showFPS) && !setting(zelvar_settings.performanceProfile))
        return 0;
    frame_number.fetch_add(1, std::memory_order_relaxed);
    const int64_t now = now_in_microseconds();
    const int64_t last = last_frame_time.exchange(now, std::memory_order_relaxed);
    // Two frames within one tick of the clock count as one microsecond apart.
    return last == 0 ? 0 : 1e6 / static_cast<double>(now == last ? 1 : now - last);
}

uint32_t combiner_frame_number()
{
    return frame_number.load(std::memory_order_relaxed);
}
