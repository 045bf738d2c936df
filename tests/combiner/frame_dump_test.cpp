#include "frame_dump.h"

#include "combiner/combiner_fakes.h"
#include "sidechannel_log.h"

#include <fstream>
#include <iterator>

namespace {

class frame_dumps : public combiner_room
{
protected:
    void SetUp() override
    {
        combiner_room::SetUp();
        sidechannel_set_log_level(6566);
    }
    /// Dumps a frame of 2x1 pixels; prints are kept in `printed`.
    bool dump(uint8_t first = 0, const std::string& app = "app", uint32_t width = 2, uint32_t height = 1)
    {
        const bytes pixels = counted(8, first);
        testing::internal::CaptureStdout();
        const bool done =
            zelvar_screenshot_dump_frame_to_file(32, pixels.data(), pixels.size(), width, height, app);
        printed = testing::internal::GetCapturedStdout();
        return done;
    }
    static std::vector<std::string> files(const std::string& folder = "frame_dumps")
    {
        std::vector<std::string> names;
        if (std::filesystem::exists(folder))
            for (const auto& entry : std::filesystem::directory_iterator{folder})
                names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    static bytes content(const std::string& path)
    {
        std::ifstream file{path, std::ios::binary};
        return bytes(std::istreambuf_iterator<char>{file}, {});
    }

    std::string printed;
};

TEST_F(frame_dumps, CountAndSkip)
{
    zelvar_only_settings.dumpNFrames = 3;
    zelvar_only_settings.skipDumpFrames = 2;
    for (uint8_t frame = 0; frame < 8; frame++) {
        EXPECT_TRUE(dump(frame));
        EXPECT_EQ(contains(printed, "INFO [ZELVAR] Skipping image dump " + std::to_string(frame) + "\n"),
                  frame < 2);
        EXPECT_EQ(
            contains(printed, "INFO [ZELVAR] Dumping image " + std::to_string(frame) + " of size 8 bytes\n"),
            frame >= 2 && frame < 5);
    }
    EXPECT_EQ(files(), (std::vector<std::string>{"app_2_2x1.dump", "app_3_2x1.dump", "app_4_2x1.dump"}));
    EXPECT_EQ(content("frame_dumps/app_3_2x1.dump"), counted(8, 3));
    // Each application counts for itself; a reset starts all of them afresh.
    dump(0, "other");
    EXPECT_TRUE(contains(printed, "Skipping image dump 0\n"));
    reset_zelvar_screenshot();
    dump();
    EXPECT_TRUE(contains(printed, "Skipping image dump 0\n"));
}

TEST_F(frame_dumps, LoopNeverSkipsAndNeverEnds)
{
    zelvar_only_settings.dumpNFrames = 3;
    zelvar_only_settings.skipDumpFrames = 2;
    zelvar_only_settings.loopDumpFrames = true;
    for (uint8_t frame = 0; frame < 8; frame++)
        EXPECT_TRUE(dump(frame));
    EXPECT_EQ(files(), (std::vector<std::string>{"app_0_2x1.dump", "app_1_2x1.dump", "app_2_2x1.dump"}));
    EXPECT_EQ(content("frame_dumps/app_0_2x1.dump"), counted(8, 6));
    EXPECT_EQ(content("frame_dumps/app_1_2x1.dump"), counted(8, 7));
    EXPECT_EQ(content("frame_dumps/app_2_2x1.dump"), counted(8, 5));
}

TEST_F(frame_dumps, SkipAndCountTogetherMayPassThirtyTwoBits)
{
    zelvar_only_settings.dumpNFrames = ~0u;
    zelvar_only_settings.skipDumpFrames = 1;
    dump();
    dump();
    EXPECT_EQ(files(), std::vector<std::string>{"app_1_2x1.dump"});
}

TEST_F(frame_dumps, FilterByApplicationAndResolution)
{
    EXPECT_FALSE(zelvar_screenshot_should_proceed(1280, 720, "app")) << "dumps are off";
    zelvar_only_settings.dumpNFrames = 1;
    EXPECT_TRUE(zelvar_screenshot_should_proceed(1280, 720, "app"));

    zelvar_only_settings.dumpFramesApp = "app";
    EXPECT_TRUE(zelvar_screenshot_should_proceed(1280, 720, "app"));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(zelvar_screenshot_should_proceed(1280, 720, "app2"));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "DEBUG [ZELVAR] Zelvar screenshot will not proceed for app app2\n");

    // 66816 and 66256 are 1280 and 720 in their low 16 bits.
    for (const char* same : {"1280x720", "1280*720", "66816x66256", "1280x720p"}) {
        zelvar_only_settings.dumpFramesResolution = same;
        EXPECT_TRUE(zelvar_screenshot_should_proceed(1280, 720, "app")) << same;
    }
    for (const char* other : {"1281x720", "1280x721", "720x1280", "1280", "1280xx720", "x", "1280x"}) {
        zelvar_only_settings.dumpFramesResolution = other;
        testing::internal::CaptureStdout();
        EXPECT_FALSE(zelvar_screenshot_should_proceed(1280, 720, "app")) << other;
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "DEBUG [ZELVAR] Zelvar screenshot will not proceed for resolution 1280x720\n");
    }
    zelvar_only_settings.dumpFramesResolution = "1280x720";
    EXPECT_FALSE(zelvar_screenshot_should_proceed(66816, 720, "app"))
        << "the frame's own size counts in full";
}

TEST_F(frame_dumps, DirectoryIsMadeOneLevelDeep)
{
    zelvar_only_settings.dumpNFrames = 9;
    dump();
    EXPECT_TRUE(contains(printed,
                         "INFO [ZELVAR] dumpFramesDir setting is empty. Images will be dumped in directory "
                         "'frame_dumps'\n"));
    zelvar_only_settings.dumpFramesDir = "one";
    EXPECT_TRUE(dump());
    EXPECT_EQ(files("one").size(), 1u);

    zelvar_only_settings.dumpFramesDir = "two/levels";
    EXPECT_FALSE(dump());
    EXPECT_TRUE(
        contains(printed, "ERROR [ZELVAR] Could not create directory two/levels. Failed with ERRNO 2.\n"));
    EXPECT_FALSE(std::filesystem::exists("two"));
    zelvar_only_settings.dumpFramesDir = "one";
    dump();
    EXPECT_EQ(files("one").back(), "app_2_2x1.dump") << "a failed directory doesn't count";
}

TEST_F(frame_dumps, FileIsAsLongAsTheFrameWhateverTheBlockHolds)
{
    zelvar_only_settings.dumpNFrames = 9;
    dump(1, "app", 1, 1);
    EXPECT_EQ(content("frame_dumps/app_0_1x1.dump"), counted(4, 1));
    dump(1, "app", 3, 1);
    bytes expected = counted(8, 1);
    expected.resize(12, 0);
    EXPECT_EQ(content("frame_dumps/app_1_3x1.dump"), expected);
    // Sizes that no file can have are failed writes, and those count.
    for (uint32_t bits : {32u, ~0u}) {
        EXPECT_TRUE(
            zelvar_screenshot_dump_frame_to_file(bits, expected.data(), expected.size(), ~0u, ~0u, "app"));
    }
    dump();
    EXPECT_TRUE(contains(printed, "Dumping image 4 "));
    // Bits below a byte don't count.
    EXPECT_TRUE(zelvar_screenshot_dump_frame_to_file(15, expected.data(), expected.size(), 2, 1, "bits"));
    EXPECT_EQ(content("frame_dumps/bits_0_2x1.dump").size(), 2u);
}

TEST_F(frame_dumps, FailedWritesCountAndEmptyFramesDont)
{
    zelvar_only_settings.dumpNFrames = 9;
    EXPECT_FALSE(dump(0, "app", 0, 5));
    EXPECT_TRUE(contains(printed, "ERROR [ZELVAR] Cannot dump Size 0 frame. Requested size was 0x5\n"));
    EXPECT_FALSE(dump(0, "app", 5, 0));
    // The application's name goes into the path as it stands.
    EXPECT_TRUE(dump(0, "no/where"));
    EXPECT_TRUE(contains(printed, "ERROR [ZELVAR] Could not dump surface of 2x1\n"));
    EXPECT_TRUE(dump(0, "no/where"));
    EXPECT_TRUE(contains(printed, "Dumping image 1 "));
    std::filesystem::create_directory("frame_dumps/sub");
    dump(0, "sub/app");
    EXPECT_EQ(files("frame_dumps/sub"), std::vector<std::string>{"app_0_2x1.dump"});
    dump();
    EXPECT_TRUE(contains(printed, "Dumping image 0 "));
}

TEST_F(frame_dumps, CombinerDumpsWhatItDelivers)
{
    zelvar_only_settings.dumpNFrames = 2;
    buffer_info info = frame_buffer(2, 2, 32, 3);
    _inter_frame_data frame = frame_of(counted(16), true);
    EXPECT_TRUE(contains(combine(info, frame),
                         "INFO [ZELVAR] Initiating screenshot dump of image (size 2x2) for "
                         "application app from combiner to disk.\n"));
    release_inter_frame_data(&frame);
    // After the flip, without regard to the stride: rows run together and the end is cut off.
    EXPECT_EQ(content("frame_dumps/app_0_2x2.dump"),
              (bytes{8, 9, 10, 11, 12, 13, 14, 15, 0, 0, 0, 0, 0, 1, 2, 3}));

    around->process_name = "";
    zelvar_only_settings.dumpFramesDir = "two/levels";
    frame = frame_of(counted(16));
    printed = combine(info, frame);
    EXPECT_TRUE(contains(printed, "ERROR [ZELVAR] Could not find process_name for PID: 3 in "
                                  "pid_to_process_data_map\n"));
    EXPECT_TRUE(contains(printed, "ERROR [ZELVAR] Dumping image to disk failed.\n"));
    EXPECT_EQ(around->writes.size(), 2u) << "a failed dump never stops a frame";
    release_inter_frame_data(&frame);
}

} // namespace
