// The road of a frame: what is written to the target, what is kept, what is refused.
#include "combiner/combiner_fakes.h"

#include "sidechannel_log.h"

#include <thread>

namespace {

using combining = combiner_room;

TEST_F(combining, WholeFrameIsAsLongAsItsStrideAndHeight)
{
    buffer_info info = frame_buffer(2, 2, 32, 3);
    info.frameBufferLength = 4096;
    _inter_frame_data frame = frame_of(counted(16), true);
    combine(info, frame);
    EXPECT_EQ(around->writes,
              (std::vector<model_write>{{0x700000000, {8, 9, 10, 11, 12, 13, 14, 15, 0, 0, 0, 0,
                                                       0, 1, 2,  3,  4,  5,  6,  7,  0, 0, 0, 0}}}));
    EXPECT_EQ(frame.pCurrentFrame, nullptr);
    EXPECT_EQ(frame.previous_size, 24u);
    EXPECT_EQ(frame.framebuffer_address, 0x700000000u);
    release_inter_frame_data(&frame);
}

TEST_F(combining, BytesPerPixelAreRoundedUp)
{
    for (auto [bits, size] : {std::pair{15u, 16u}, {16u, 16u}, {18u, 24u}, {24u, 24u}, {25u, 32u}}) {
        buffer_info info = frame_buffer(4, 2, bits, 4);
        _inter_frame_data frame = frame_of(counted(32));
        EXPECT_EQ(combine(info, frame), "");
        EXPECT_EQ(around->writes.back().data, counted(size)) << bits;
        release_inter_frame_data(&frame);
    }
}

TEST_F(combining, UnknownPixelSizeIsReportedAndGoesOn)
{
    buffer_info info = frame_buffer(4, 2, 8, 4);
    info.buffer = 0xabc;
    _inter_frame_data frame = frame_of(counted(8), true);
    EXPECT_EQ(combine(info, frame), "ERROR [ZELVAR] Unknown pixel format.\n"
                                    "ERROR [ZELVAR] No 0: frameBufferLength = 8, width = 4, height = 2 "
                                    "bytesPerPixel = 1 buffer=0xabc\n");
    EXPECT_EQ(around->writes, (std::vector<model_write>{{0xabc, {4, 5, 6, 7, 0, 1, 2, 3}}}));
    release_inter_frame_data(&frame);

    info.bits_per_pixel = 0;
    frame = frame_of(counted(8), true);
    combine(info, frame);
    EXPECT_EQ(around->writes.back().data, bytes{});
    release_inter_frame_data(&frame);
}

TEST_F(combining, FramesLargerThanTheirBlockAreFilledUpWithZeros)
{
    buffer_info info = frame_buffer(2, 1, 32, 5);
    _inter_frame_data frame = frame_of(counted(8));
    combine(info, frame);
    bytes expected = counted(8);
    expected.resize(20, 0);
    EXPECT_EQ(around->writes.back().data, expected);
    release_inter_frame_data(&frame);
}

TEST_F(combining, FramesThatCameBlueFirstLeaveRedFirst)
{
    for (bool reversed : {false, true}) {
        buffer_info info = frame_buffer(2, 1, 32, 2);
        _inter_frame_data frame = frame_of(counted(8), reversed);
        frame.blue_first = true;
        combine(info, frame);
        EXPECT_EQ(around->writes.back().data, (bytes{2, 1, 0, 3, 6, 5, 4, 7}));
        release_inter_frame_data(&frame);
    }
}

TEST_F(combining, SizesBeyondAllMemoryAreRefused)
{
    for (bool reversed : {false, true}) {
        for (uint32_t bits : {8u, 32u, ~0u}) {
            buffer_info info = frame_buffer(~0u, ~0u, bits, ~0u);
            _inter_frame_data frame = frame_of(counted(8), reversed);
            EXPECT_TRUE(contains(combine(info, frame), "is too large to deliver.\n"));
            release_inter_frame_data(&frame);
        }
    }
    EXPECT_TRUE(around->writes.empty());
}

TEST_F(combining, MissingFrameIsFatalToTheFrameOnly)
{
    buffer_info info = frame_buffer(2, 2, 32, 2);
    _inter_frame_data frame;
    EXPECT_EQ(combine(info, frame),
              "FATAL [ZELVAR] combiner(): inter_frame_data->pCurrentFrame shouldn't be NULL.\n");
    EXPECT_TRUE(around->writes.empty());
}

TEST_F(combining, ShortWriteLeavesATrace)
{
    sidechannel_set_log_level(6567);
    around->take_one_byte_less = true;
    buffer_info info = frame_buffer(2, 1, 32, 2);
    _inter_frame_data frame = frame_of(counted(8));
    EXPECT_TRUE(contains(combine(info, frame), "TRACE [ZELVAR] StackDump()\n"));
    EXPECT_EQ(frame.pCurrentFrame, nullptr);
    release_inter_frame_data(&frame);
}

/// Two frames one after the other through the same record.
class keeping_a_frame : public combiner_room
{
protected:
    void first(const bytes& content)
    {
        frame = frame_of(content);
        combine(info, frame);
        around->writes.clear();
    }
    std::string second(const bytes& content, bool reset = false)
    {
        frame.pCurrentFrame = block_of(content);
        frame.current_size = content.size();
        return combine(info, frame, reset);
    }
    void TearDown() override
    {
        release_inter_frame_data(&frame);
        combiner_room::TearDown();
    }

    buffer_info info = frame_buffer(4, 2, 32, 4);
    _inter_frame_data frame;
};

TEST_F(keeping_a_frame, OnlyRunsOfChangedWordsAreWritten)
{
    first(bytes(32, 0));
    bytes changed(32, 0);
    changed[3] = 1;  // word 0
    changed[4] = 2;  // word 1
    changed[12] = 3; // word 3, behind the equal word that ended the run
    changed[31] = 4; // word 7, the last
    second(changed);
    EXPECT_EQ(around->writes, (std::vector<model_write>{{0x700000000, {0, 0, 0, 1, 2, 0, 0, 0}},
                                                        {0x70000000c, {3, 0, 0, 0}},
                                                        {0x70000001c, {0, 0, 0, 4}}}));
    EXPECT_EQ(content_of(frame.previous_frame, 32), changed) << "the frames have changed places";
    EXPECT_EQ(content_of(frame.pCurrentFrame, 32), bytes(32, 0));
    std::free(frame.pCurrentFrame);

    around->writes.clear();
    second(changed);
    EXPECT_TRUE(around->writes.empty());
}

TEST_F(keeping_a_frame, ComparisonEndsWithTheShortestOfTheThree)
{
    first(bytes(32, 0));
    info.frameBufferLength = 8;
    second(bytes(32, 1));
    EXPECT_EQ(around->writes, (std::vector<model_write>{{0x700000000, bytes(8, 1)}}));
    std::free(frame.pCurrentFrame);
    info.frameBufferLength = 4096;
    around->writes.clear();
    second(bytes(15, 2));
    EXPECT_EQ(around->writes, (std::vector<model_write>{{0x700000000, bytes(12, 2)}})) << "new block";
    std::free(frame.pCurrentFrame);
    around->writes.clear();
    second(bytes(64, 3));
    EXPECT_EQ(around->writes, (std::vector<model_write>{{0x700000000, bytes(12, 3)}})) << "previous block";
}

TEST_F(keeping_a_frame, ResetOrAnotherAddressWritesEverythingAgain)
{
    first(bytes(32, 0));
    second(bytes(32, 0), true);
    EXPECT_EQ(around->writes, (std::vector<model_write>{{0x700000000, bytes(32, 0)}}));
    info.buffer = 0x5000;
    around->writes.clear();
    sidechannel_set_log_level(6566);
    EXPECT_TRUE(contains(second(bytes(32, 0)), "DEBUG [ZELVAR] Reset Frame Buffers.\n"));
    EXPECT_EQ(around->writes, (std::vector<model_write>{{0x5000, bytes(32, 0)}}));
}

TEST_F(keeping_a_frame, LengthThatIsNoWholeWordStops)
{
    first(bytes(32, 0));
    info.frameBufferLength = 31;
    frame.pCurrentFrame = block_of(bytes(32, 1));
    frame.current_size = 32;
    EXPECT_DEATH(combiner(3, 4, &info, &frame, false), "frameBufferLength % sizeof\\(unsigned int\\) == 0");
}

TEST_F(combining, CacheKeepsFramesThatAreNotTheScreen)
{
    zelvar_only_settings.cacheAndroidNativeBuffer = true;
    sidechannel_set_log_level(6566);
    buffer_info info = frame_buffer(2, 1, 32, 2);
    for (uint8_t first : {10, 20}) {
        _inter_frame_data frame = frame_of(counted(8, first));
        EXPECT_TRUE(contains(combine(info, frame), "DEBUG [ZELVAR] Cache texture on 32bpp 2 * 1\n"));
        EXPECT_EQ(frame.pCurrentFrame, nullptr);
        release_inter_frame_data(&frame);
    }
    buffer_info narrow = frame_buffer(2, 1, 16, 2);
    _inter_frame_data frame = frame_of(counted(4, 30));
    combine(narrow, frame);
    EXPECT_TRUE(around->writes.empty());

    ASSERT_EQ(andorid_native_buffer_data_map.size(), 2u);
    const kept_frame& wide = andorid_native_buffer_data_map.at({2, 1, 32});
    EXPECT_EQ(content_of(wide.pixels, wide.size), counted(8, 20))
        << "the later frame replaced the earlier one";
    EXPECT_EQ(wide.use_count, 0u);

    fb_xres = 2;
    fb_yres = 1;
    frame = frame_of(counted(8, 40));
    combine(info, frame);
    EXPECT_EQ(around->writes, (std::vector<model_write>{{0x700000000, counted(8, 40)}})) << "the screen";
    release_inter_frame_data(&frame);
}

TEST_F(combining, LentFrameIsCopiedOnlyWhereItWouldBeReplacedOrKept)
{
    buffer_info info = frame_buffer(2, 1, 32, 2);
    bytes lent = counted(12);
    EXPECT_TRUE(combiner_of_lent_frame(3, 4, &info, lent.data(), lent.size()));
    EXPECT_EQ(around->writes, (std::vector<model_write>{{info.buffer, counted(8)}}));
    EXPECT_EQ(around->written_from, lent.data());

    EXPECT_TRUE(combiner_of_lent_frame(3, 4, &info, lent.data(), 6));
    EXPECT_EQ(around->writes.back().data, (bytes{0, 1, 2, 3, 4, 5, 0, 0})) << "not what stands behind it";

    zelvar_only_settings.cacheAndroidNativeBuffer = true;
    EXPECT_TRUE(combiner_of_lent_frame(3, 4, &info, lent.data(), 8));
    EXPECT_EQ(around->writes.size(), 2u);
    ASSERT_EQ(andorid_native_buffer_data_map.size(), 1u);
    const kept_frame& kept = andorid_native_buffer_data_map.at({2, 1, 32});
    EXPECT_NE(kept.pixels, lent.data());
    EXPECT_EQ(content_of(kept.pixels, kept.size), counted(8));
    EXPECT_EQ(lent, counted(12));
}

TEST_F(combining, FramesOfManyWorkersArriveWhole)
{
    zelvar_only_settings.showFPS = true;
    zelvar_only_settings.dumpNFrames = 5;
    zelvar_only_settings.cacheAndroidNativeBuffer = true;
    fb_xres = fb_yres = 64;
    std::thread workers[3];
    testing::internal::CaptureStdout();
    for (std::thread& worker : workers)
        worker = std::thread{[] {
            for (uint32_t i = 0; i < 60; i++) {
                buffer_info info = frame_buffer(i % 2 ? 64 : 32, 64, 32, 64);
                _inter_frame_data frame = frame_of(bytes(64 * 64 * 4, static_cast<uint8_t>(i)), true);
                combiner(3, 4, &info, &frame, true);
                release_inter_frame_data(&frame);
            }
        }};
    for (std::thread& worker : workers)
        worker.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(around->writes.size(), 90u);
    EXPECT_EQ(andorid_native_buffer_data_map.size(), 1u);
    for (int i = 0; i < 5; i++)
        EXPECT_TRUE(std::filesystem::exists("frame_dumps/app_" + std::to_string(i) + "_64x64.dump"));
}

} // namespace
