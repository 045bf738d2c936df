#include "combiner/combiner_fakes.h"

namespace {

using flip = combiner_room;

bytes flipped(const bytes& source, uint32_t width, uint32_t height, uint32_t stride, uint32_t bytes_per_pixel)
{
    _inter_frame_data frame = frame_of(source, true);
    flip_reversed_image_data_and_handle_stride(&frame, width, height, stride, bytes_per_pixel);
    bytes result = content_of(frame.pCurrentFrame, frame.current_size);
    release_inter_frame_data(&frame);
    return result;
}

TEST_F(flip, LastRowComesFirst)
{
    EXPECT_EQ(flipped(counted(16), 2, 2, 2, 4),
              (bytes{8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST_F(flip, LongRowsAndAnOddCountOfThem)
{
    const bytes rows[]{bytes(1100 * 4, 1), bytes(1100 * 4, 2), counted(1100 * 4)};
    bytes source;
    bytes expected;
    for (int i = 0; i < 3; i++) {
        source.insert(source.end(), rows[i].begin(), rows[i].end());
        expected.insert(expected.end(), rows[2 - i].begin(), rows[2 - i].end());
    }
    EXPECT_EQ(flipped(source, 1100, 3, 1100, 4), expected);
}

TEST_F(flip, PixelsThatCameBlueFirstTurnRedFirst)
{
    // Of 11 pixels eight go at once and three one by one; the row in the middle stays where it is.
    constexpr uint32_t width = 11;
    constexpr uint32_t height = 3;
    const bytes source = counted(width * height * 4);
    for (const uint32_t stride : {width, width + 1}) {
        _inter_frame_data frame = frame_of(source, true);
        frame.blue_first = true;
        flip_reversed_image_data_and_handle_stride(&frame, width, height, stride, 4);
        EXPECT_FALSE(frame.blue_first);
        ASSERT_EQ(frame.current_size, uint64_t{stride} * height * 4);
        for (uint32_t y = 0; y < height; ++y)
            for (uint32_t x = 0; x < width; ++x) {
                const uint8_t* from = source.data() + ((height - 1 - y) * width + x) * 4;
                const uint8_t* to = frame.pCurrentFrame + (y * stride + x) * 4;
                EXPECT_EQ((bytes{to, to + 4}), (bytes{from[2], from[1], from[0], from[3]})) << x << " " << y;
            }
        release_inter_frame_data(&frame);
    }
}

TEST_F(flip, WiderStrideLeavesSpareColumnsEmpty)
{
    EXPECT_EQ(flipped(counted(8), 1, 2, 3, 4),
              (bytes{4, 5, 6, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(flip, NarrowerStrideCutsRows)
{
    EXPECT_EQ(flipped(counted(16), 2, 2, 1, 4), (bytes{8, 9, 10, 11, 0, 1, 2, 3}));
}

TEST_F(flip, RowsAreWholeWords)
{
    // 3 pixels of 2 bytes: 6 bytes a row count as 4, in the source as well as in the destination.
    EXPECT_EQ(flipped(counted(12), 3, 2, 3, 2), (bytes{4, 5, 6, 7, 0, 1, 2, 3, 0, 0, 0, 0}));
    EXPECT_EQ(flipped(counted(12), 3, 2, 4, 2), (bytes{4, 5, 6, 7, 0, 0, 0, 0, 0, 1, 2, 3, 0, 0, 0, 0}));
    // 3 pixels of 3 bytes: 9 count as 8; one pixel of 3 bytes is no word at all.
    EXPECT_EQ(flipped(counted(18), 3, 2, 3, 3),
              (bytes{8, 9, 10, 11, 12, 13, 14, 15, 0, 1, 2, 3, 4, 5, 6, 7, 0, 0}));
    EXPECT_EQ(flipped(counted(6), 1, 2, 1, 3), bytes(6, 0));
    // 5 pixels of 3 bytes into a stride of 6: 15 count as 12, 18 as 16.
    bytes expected{12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 0, 0, 0, 0,
                   0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 0, 0, 0, 0};
    expected.resize(36, 0);
    EXPECT_EQ(flipped(counted(30), 5, 2, 6, 3), expected);
}

TEST_F(flip, ShortBlockReadsAsZeros)
{
    EXPECT_EQ(flipped(counted(10), 2, 2, 2, 4), (bytes{8, 9, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(flipped({}, 2, 1, 2, 4), bytes(8, 0));
}

TEST_F(flip, EmptyFramesAndFramesBeyondAllMemory)
{
    EXPECT_EQ(flipped(counted(4), 0, 5, 1, 4), bytes(20, 0));
    EXPECT_EQ(flipped(counted(4), 5, 0, 5, 4), bytes{});
    testing::internal::CaptureStdout();
    for (uint32_t bytes_per_pixel : {1u, 4u, 0x20000000u})
        EXPECT_EQ(flipped(counted(4), ~0u, ~0u, ~0u, bytes_per_pixel), counted(4))
            << "the record is left alone";
    EXPECT_TRUE(contains(testing::internal::GetCapturedStdout(), "too large to deliver"));
}

TEST_F(flip, PreviousFrameFollowsWhenItIsTheSameBlock)
{
    _inter_frame_data frame = frame_of(counted(16), true);
    frame.previous_frame = frame.pCurrentFrame;
    frame.previous_size = frame.current_size;
    flip_reversed_image_data_and_handle_stride(&frame, 2, 2, 4, 4);
    EXPECT_EQ(frame.previous_frame, frame.pCurrentFrame);
    EXPECT_EQ(frame.previous_size, 32u);
    release_inter_frame_data(&frame);
    EXPECT_EQ(frame.previous_frame, nullptr);
    EXPECT_EQ(frame.pCurrentFrame, nullptr);
}

} // namespace
