// Pieces of the simulator that stand alone: frames, settings, environment.

#include "simulator/frame_sink.h"
#include "simulator/launch.h"
#include "simulator/options.h"
#include "simulator/picture_file.h"
#include "simulator/settings_file.h"
#include "tpakutil/tpak_main.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

using namespace simulator;

namespace {

std::string text_of(const std::string& file)
{
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

TEST(settings_files, without_a_file_any_driver_will_do_and_the_file_goes_with_the_run)
{
    std::string path;
    {
        const settings_file file{"", {"batchCommands 1", "zelvarLogLevel 3"}};
        path = file.path();
        const std::string text = text_of(path);
        EXPECT_NE(text.find("requireKelvoEmulator 0\n"), std::string::npos);
        EXPECT_NE(text.find("batchCommands 1\nzelvarLogLevel 3\n"), std::string::npos);
        EXPECT_TRUE(file.shape().batch_commands);
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(settings_files, a_users_file_is_used_as_it_is_or_copied_with_what_is_added)
{
    const std::string mine = testing::TempDir() + "/mine.ini";
    std::ofstream(mine) << "batchCommands 1\ncallOnTargetAPI 2"; // no line end
    {
        const settings_file file{mine, {}};
        EXPECT_TRUE(std::filesystem::equivalent(file.path(), mine));
        EXPECT_EQ(file.shape().call_on_target_api, 2u);
    }
    EXPECT_TRUE(std::filesystem::exists(mine)) << "it is the user's";
    const settings_file file{mine, {"batchCommands 0"}};
    EXPECT_EQ(text_of(file.path()), "batchCommands 1\ncallOnTargetAPI 2\nbatchCommands 0\n");
    EXPECT_FALSE(file.shape().batch_commands);
    std::filesystem::remove(mine);
}

TEST(settings_files, tell_whether_frames_stay_compressed)
{
    EXPECT_FALSE(settings_file("", {"tpakVersion 1.2"}).compresses_frames());
    EXPECT_TRUE(settings_file("", {"tpakForTRV 1"}).compresses_frames());
    EXPECT_FALSE(settings_file("", {"tpakForTRV 1", "tpakForTRV 0"}).compresses_frames());
    EXPECT_FALSE(settings_file("", {"tpakForTRV 1", "tpakDecodeInPlace 1"}).compresses_frames());
}

TEST(settings_files, mistakes_are_told)
{
    EXPECT_THROW(settings_file("/nowhere/settings.ini", {}), std::runtime_error);
    EXPECT_THROW(settings_file("/", {}), std::runtime_error);
    EXPECT_THROW(settings_file("", {"batchCommands"}), std::runtime_error);
    EXPECT_THROW(settings_file("", {"batchCommands 1\nignoreTRV 1"}), std::runtime_error);
}

TEST(target_environments, hold_the_link_and_keep_what_the_user_has)
{
    std::string entries[] = {"HOME=/home/me", "LD_LIBRARY_PATH=/opt/lib", "ZELVAR_SOCKET=old",
                             "LD_PRELOAD=x.so", "LD_LIBRARY_PATHS=other"};
    char* list[6] = {};
    std::transform(std::begin(entries), std::end(entries), list,
                   [](std::string& each) { return each.data(); });
    const auto made = target_environment(list, "/shim:/shim32", "/run/s", "320x200");
    const auto has = [&](const char* entry) {
        return std::find(made.begin(), made.end(), entry) != made.end();
    };
    EXPECT_TRUE(has("LD_LIBRARY_PATH=/shim:/shim32:/opt/lib"));
    EXPECT_TRUE(has("ZELVAR_SOCKET=/run/s"));
    EXPECT_TRUE(has("ZELVAR_FB=320x200"));
    EXPECT_TRUE(has("HOME=/home/me"));
    EXPECT_TRUE(has("LD_PRELOAD=x.so"));
    EXPECT_TRUE(has("LD_LIBRARY_PATHS=other"));
    EXPECT_FALSE(has("ZELVAR_SOCKET=old"));
    EXPECT_TRUE(has("SDL_OPENGL_ES_DRIVER=1"));
    EXPECT_EQ(made.size(), 7u);
    entries[0] = "SDL_OPENGL_ES_DRIVER=0"; // the user's word counts
    list[0] = entries[0].data();
    const auto again = target_environment(list, "/shim", "/run/s", "320x200");
    EXPECT_EQ(std::count_if(again.begin(), again.end(),
                            [](const std::string& entry) { return entry.starts_with("SDL_"); }),
              1);
}

TEST(target_environments, name_the_targets_vulkan_driver_in_place_of_the_hosts)
{
    const std::string folder =
        std::filesystem::path(testing::TempDir()) / ("vk_driver_" + std::to_string(getpid()));
    std::filesystem::create_directories(folder + "/one");
    std::filesystem::create_directories(folder + "/two");
    const std::string one = folder + "/one/zelvar_vk.json", two = folder + "/two/zelvar_vk.json";
    std::ofstream{one} << "{}";
    std::ofstream{two} << "{}";
    std::string entries[] = {"VK_DRIVER_FILES=/host.json", "VK_ICD_FILENAMES=/host.json",
                             "VK_ADD_DRIVER_FILES=/more.json", "VK_INSTANCE_LAYERS=mine"};
    char* list[5] = {};
    std::transform(std::begin(entries), std::end(entries), list,
                   [](std::string& each) { return each.data(); });
    const auto made = target_environment(list, folder + "/one:" + folder + "/two", "/run/s", "320x200");
    std::vector<std::string> vulkan;
    std::copy_if(made.begin(), made.end(), std::back_inserter(vulkan),
                 [](const std::string& entry) { return entry.starts_with("VK_"); });
    std::sort(vulkan.begin(), vulkan.end());
    EXPECT_EQ(vulkan,
              (std::vector<std::string>{"VK_DRIVER_FILES=" + one + ":" + two,
                                        "VK_ICD_FILENAMES=" + one + ":" + two, "VK_INSTANCE_LAYERS=mine"}));
    std::filesystem::remove_all(folder);
}

TEST(sizes, are_two_numbers_with_an_x)
{
    uint32_t width = 0, height = 0;
    EXPECT_TRUE(parse_size("1920x1080", width, height));
    EXPECT_EQ(width, 1920u);
    EXPECT_EQ(height, 1080u);
    for (const char* bad : {"", "640", "640x", "x480", "0x480", "640x0", "16385x1", "640x480x2", "640 x 480",
                            "-5x5", "99999999999x1", "640x480 "})
        EXPECT_FALSE(parse_size(bad, width, height)) << bad;
}

TEST(window_counting, keeps_windows_apart)
{
    window_numbers windows;
    EXPECT_EQ(windows.next(0x1000).window, 0u);
    EXPECT_EQ(windows.next(0x2000).window, 1u);
    EXPECT_EQ(windows.next(0x1000).number, 1u);
    EXPECT_EQ(windows.next(0x2000).number, 1u);
    for (uint64_t i = 0; i < 5000; ++i)
        EXPECT_LE(windows.next(0x3000 + i).window, 1024u);
    EXPECT_EQ(windows.next(0x2000).number, 2u);
}

TEST(frame_names, tell_application_process_window_and_number)
{
    EXPECT_EQ(frame_name("app", 12, 0, 7), "app_12_0007.png");
    EXPECT_EQ(frame_name("app", 12, 3, 12345), "app_12_w3_12345.png");
}

std::vector<uint8_t> copied(uint32_t bits, uint32_t stride, const std::vector<uint8_t>& memory, bool alpha)
{
    const char* why = nullptr;
    const auto read = [&](uint64_t from, void* to, uint32_t length) {
        const auto got = static_cast<uint32_t>(std::min<size_t>(length, memory.size() - (from - 0x1000)));
        std::memcpy(to, memory.data() + (from - 0x1000), got);
        return got;
    };
    const picture frame = copy_frame({0x1000, 2, 2, bits, stride}, read, alpha, &why);
    return why ? std::vector<uint8_t>{} : frame.pixels;
}

TEST(frame_copies, follow_depth_and_stride)
{
    using bytes = std::vector<uint8_t>;
    const bytes deep = {1, 2, 3, 4, 5, 6, 7, 8, 99, 99, 99, 99, 9, 10, 11, 12, 13, 14, 15, 16};
    EXPECT_EQ(copied(32, 3, deep, false), (bytes{1, 2, 3, 5, 6, 7, 9, 10, 11, 13, 14, 15}));
    EXPECT_EQ(copied(32, 3, deep, true), (bytes{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(copied(24, 2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}, true),
              (bytes{1, 2, 3, 255, 4, 5, 6, 255, 7, 8, 9, 255, 10, 11, 12, 255}));
    // Red, green, blue in the upper 5, middle 6, lower 5 bits.
    EXPECT_EQ(copied(16, 2, {0x00, 0xf8, 0xe0, 0x07, 0x1f, 0x00, 0x10, 0x84}, false),
              (bytes{255, 0, 0, 0, 255, 0, 0, 0, 255, 132, 130, 132}));
    EXPECT_EQ(copied(32, 3, bytes(19), false), bytes{}) << "the last byte is missing";
    EXPECT_EQ(copied(32, 1, deep, false), bytes{});
    EXPECT_EQ(copied(15, 2, deep, false), bytes{});
}

TEST(frame_copies, of_compressed_frames_are_those_of_plain_ones)
{
    constexpr uint32_t width = 21;
    constexpr uint32_t height = 18;
    for (uint32_t bits : {16u, 24u, 32u}) {
        std::vector<uint8_t> pixels(width * height * bits / 8);
        for (size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<uint8_t>(i * i >> 5);
        const tpak_opts options{.yuv_trans = 1, .version = 4};
        TpakEncoder encoder{bits / 8 - 1, width, height, &options};
        std::vector<uint8_t> encoded(encoder.getMaxFrameSize());
        encoder.encode(pixels.data(), encoded.data(), bits == 16);
        const auto reader_of = [](const std::vector<uint8_t>& memory) {
            return [&memory](uint64_t from, void* to, uint32_t length) -> uint32_t {
                const uint32_t got = std::min<uint32_t>(length, static_cast<uint32_t>(memory.size()));
                EXPECT_EQ(from, 0x1000u);
                std::memcpy(to, memory.data(), got);
                return got;
            };
        };
        const frame_buffer_place place{0x1000, width, height, bits, width};
        const char* why = "";
        for (bool alpha : {false, true})
            EXPECT_EQ(copy_compressed_frame(place, reader_of(encoded), alpha, &why).pixels,
                      copy_frame(place, reader_of(pixels), alpha, &why).pixels);
        encoded.pop_back();
        EXPECT_TRUE(copy_compressed_frame(place, reader_of(encoded), false, &why).pixels.empty());
        EXPECT_STREQ(why, "can't be read");
    }
}

TEST(frame_writing, a_failure_is_counted_and_told_once)
{
    testing::internal::CaptureStderr();
    frame_writer writer{{"/nowhere/at/all", 1, false}};
    for (int i = 0; i < 20; ++i)
        writer.put("x.png", {1, 1, 3, {1, 2, 3}});
    writer.flush();
    EXPECT_EQ(writer.failed(), 20u);
    EXPECT_EQ(writer.written(), 0u);
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
}

TEST(pictures, come_back_as_they_were_written)
{
    const std::string path = testing::TempDir() + "/picture.png";
    const std::vector<uint8_t> rgba = {1, 2, 3, 0, 250, 128, 7, 200, 9, 8, 7, 255, 0, 0, 0, 1};
    ASSERT_EQ(write_picture_file(path, 2, 2, 4, rgba.data()), "");
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> back;
    ASSERT_EQ(read_picture_file(path, width, height, back), "");
    EXPECT_EQ(back, rgba) << "no colour may be changed by transparency";
    std::ofstream(path, std::ios::trunc) << "no picture";
    EXPECT_NE(read_picture_file(path, width, height, back), "");
    std::filesystem::remove(path);
}

} // namespace
