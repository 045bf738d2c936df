#include "combiner/combiner_fakes.h"

#include <thread>

namespace {

using overlay = combiner_room;

/// The frame as a picture: '#' for a pixel of all ones, '.' for zero, '?' for anything else.
std::string picture(const bytes& frame, uint32_t stride, uint32_t bytes_per_pixel)
{
    std::string rows;
    for (size_t at = 0; at + bytes_per_pixel <= frame.size(); at += bytes_per_pixel) {
        const bytes pixel(frame.begin() + at, frame.begin() + at + bytes_per_pixel);
        rows += pixel == bytes(bytes_per_pixel, 0xff) ? '#' : pixel == bytes(bytes_per_pixel, 0) ? '.' : '?';
        if (at / bytes_per_pixel % stride == stride - 1)
            rows += '\n';
    }
    return rows;
}

TEST_F(overlay, DigitsAndPoint)
{
    for (uint32_t bytes_per_pixel : {2u, 3u, 4u}) {
        bytes frame(54 * 8 * bytes_per_pixel, 0x55);
        displayNumberDirectly(frame.data(), frame.size(), 54, 8, bytes_per_pixel, 1, 1, 9876543210.25);
        EXPECT_EQ(picture(frame, 54, bytes_per_pixel),
                  "??????????????????????????????????????????????????????\n"
                  "?.###.###.###.###.###.#.#.###.###..#..###.....###.###?\n"
                  "?.#.#.#.#...#.#...#...#.#...#...#.##..#.#.......#.#..?\n"
                  "?.###.###...#.###.###.###.###.###..#..#.#.....###.###?\n"
                  "?...#.#.#...#.#.#...#...#...#.#....#..#.#.....#.....#?\n"
                  "?.###.###...#.###.###...#.###.###.###.###..#..###.###?\n"
                  "?....................................................?\n"
                  "??????????????????????????????????????????????????????\n");
    }
}

TEST_F(overlay, EverythingThatIsNoDigitIsAPoint)
{
    bytes frame(16 * 6, 0x55);
    displayNumberDirectly(frame.data(), frame.size(), 16, 6, 1, 0, 0, -0.0 / 0.0);
    EXPECT_EQ(picture(frame, 16, 1).substr(4 * 17, 12), "..#...#...#.");
}

TEST_F(overlay, BytesOutsideTheBlockAreLeftOut)
{
    // Every size of block, with bytes behind it that must stay; the longest number there is.
    for (size_t size = 0; size < 20 * 8 * 3; size++) {
        bytes frame(size + 4000, 0x55);
        displayNumberDirectly(frame.data(), size, 20, 8, 3, 2, 3, -1.7e308);
        ASSERT_EQ(bytes(frame.begin() + size, frame.end()), bytes(4000, 0x55)) << size;
    }
    // A pixel at the edge is cut within.
    bytes frame(5, 0x55);
    displayNumberDirectly(frame.data(), 5, 20, 1, 4, 0, 0, 0);
    EXPECT_EQ(frame[4], 0xff) << "the first byte of the second pixel";
    displayNumberDirectly(frame.data(), 5, ~0u, ~0u, ~0u, ~0u, ~0u, 0);
    displayNumberDirectly(nullptr, 0, 0, 0, 0, 0, 0, 0);
}

TEST_F(overlay, RateIsCountedOnlyWhenAskedFor)
{
    EXPECT_EQ(calculateFps(1000, 1000), 0);
    EXPECT_EQ(calculateFps(1000, 1000), 0);
    zelvar_only_settings.showFPS = true;
    EXPECT_EQ(calculateFps(1000, 1000), 0) << "the first frame has no predecessor";
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    const double rate = calculateFps(1000, 1000);
    EXPECT_GT(rate, 0.1);
    EXPECT_LE(rate, 50);
    zelvar_only_settings.showFPS = false;
    EXPECT_EQ(calculateFps(1000, 1000), 0);
    zelvar_settings.performanceProfile = true;
    EXPECT_GT(calculateFps(1000, 1000), 0);
}

/// A frame of the screen's size that is delivered, as it reached the target.
class stamped_frames : public combiner_room
{
protected:
    bytes deliver(uint32_t width = 64, uint32_t height = 16)
    {
        fb_xres = 64;
        fb_yres = 16;
        buffer_info info = frame_buffer(width, height, 32, width);
        _inter_frame_data frame = frame_of(bytes(width * height * 4, 0x55));
        combine(info, frame);
        release_inter_frame_data(&frame);
        return around->writes.back().data;
    }
    static bytes with_stamp(uint32_t x, double value)
    {
        bytes frame(64 * 16 * 4, 0x55);
        displayNumberDirectly(frame.data(), frame.size(), 64, 16, 4, x, 5, value);
        return frame;
    }
};

TEST_F(stamped_frames, FrameNumberAboveItsLogLevel)
{
    const bytes plain(64 * 16 * 4, 0x55);
    zelvar_settings.zelvarLogLevel = 6565;
    EXPECT_EQ(deliver(), plain);
    zelvar_settings.zelvarLogLevel = 6566;
    EXPECT_EQ(deliver(), with_stamp(5, 0)) << "nothing counts the frames";
    zelvar_settings.performanceProfile = true;
    EXPECT_EQ(deliver(), with_stamp(5, 0)) << "stamped before this frame is counted";
    EXPECT_EQ(deliver(), with_stamp(5, 1));
    deliver(32, 16);
    EXPECT_EQ(deliver(), with_stamp(5, 2)) << "a frame that is not the screen's doesn't count";
}

TEST_F(stamped_frames, RateBesideTheNumber)
{
    zelvar_only_settings.showFPS = true;
    EXPECT_EQ(deliver(), with_stamp(40, 0));
    EXPECT_EQ(deliver(32, 16), bytes(32 * 16 * 4, 0x55));
}

TEST_F(stamped_frames, ManyWorkersCountEveryFrame)
{
    zelvar_settings.performanceProfile = true;
    std::thread workers[4];
    for (std::thread& worker : workers)
        worker = std::thread{[] {
            for (int i = 0; i < 250; i++)
                calculateFps(64, 16);
        }};
    for (std::thread& worker : workers)
        worker.join();
    zelvar_settings.zelvarLogLevel = 6566;
    EXPECT_EQ(deliver(), with_stamp(5, 1000));
}

} // namespace
