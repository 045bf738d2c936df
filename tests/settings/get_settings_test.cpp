// The first message of a target process, over a recording target.
#include "settings/get_settings.h"

#include "settings/settings_fixture.h"
#include "sidechannel_log.h"
#include "zelvar/zelvar.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr pid_t pid = 0x01000007;
constexpr tid_t tid = 0x123456789;

template <class T>
void append(std::string& bytes, T value)
{
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

std::string message(uint32_t width, uint32_t height, const std::string& revision = zelvar_revision)
{
    std::string bytes;
    append<uint32_t>(bytes, 0);
    append<uint32_t>(bytes, 2);
    append<int32_t>(bytes, pid);
    append<uint64_t>(bytes, tid);
    append<uint32_t>(bytes, width);
    append<uint32_t>(bytes, height);
    append<uint32_t>(bytes, 32);
    bytes.append(revision).push_back('\0');
    append<uint64_t>(bytes, 0x1111222233334444);
    append<uint64_t>(bytes, 0x5555666677778888);
    const uint32_t size = static_cast<uint32_t>(bytes.size());
    std::memcpy(bytes.data(), &size, 4);
    return bytes;
}

class get_settings : public settings_files
{
protected:
    /// Sends the bytes in a block of exactly their size, so that a read beyond them is seen.
    std::string send(const std::string& bytes)
    {
        std::unique_ptr<char[]> block{new char[bytes.size()]};
        std::memcpy(block.get(), bytes.data(), bytes.size());
        testing::internal::CaptureStdout();
        _zelvar_inbound_traffic_get_settings(pid, tid, block.get(), static_cast<uint32_t>(bytes.size()));
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(get_settings, SendsTheFreshBlockAndReleasesTheTarget)
{
    read("LogLevel 0\n");
    write_file("settings.ini", "batchCommands 1\nshimLogLevel 77\n");
    send(message(640, 480));
    ASSERT_EQ(target.writes.size(), 1u);
    EXPECT_EQ(target.writes[0].pid, pid);
    EXPECT_EQ(target.writes[0].tid, tid);
    EXPECT_EQ(target.writes[0].address, 0x1111222233334444u);
    ASSERT_EQ(target.writes[0].bytes.size(), 56u);
    EXPECT_EQ(target.writes[0].bytes[0], 77);
    EXPECT_EQ(target.writes[0].bytes[32], 1);
    EXPECT_EQ(target.target_bits, 32u);
    EXPECT_EQ(target.log_level_when_bits_were_set, 0u);
    EXPECT_EQ(sidechannel_log_level, 2u);
    EXPECT_TRUE(target.allocations.empty());
    EXPECT_EQ(target.leave_messages, 1) << "also while commands are batched";
}

TEST_F(get_settings, RaisesTheGateEvenWithoutAFile)
{
    ASSERT_EQ(sidechannel_log_level, 1u);
    send(message(0, 0));
    EXPECT_EQ(sidechannel_log_level, 2u);
}

TEST_F(get_settings, RevisionsArePrintedOnce)
{
    write_file("settings.ini", "LogLevel 7000\n");
    std::string printed = send(message(640, 480, "abc"));
    EXPECT_TRUE(contains(printed, std::string("INFO [ZELVAR] TRV  revision ") + zelvar_revision + "\n"));
    EXPECT_TRUE(contains(printed, "INFO [ZELVAR] Shim revision abc\n"));
    EXPECT_TRUE(contains(printed, "WARN [ZELVAR] Revision mismatch between TRV and shim!\n"));
    printed = send(message(640, 480, "def"));
    EXPECT_FALSE(contains(printed, "evision"));
    EXPECT_TRUE(contains(printed, "Reading settings from")) << "the file is read for each process";
}

TEST_F(get_settings, EqualRevisionsAreNoMismatch)
{
    EXPECT_FALSE(contains(send(message(640, 480)), "mismatch"));
}

TEST_F(get_settings, ScreenSizeComesFromTheTarget)
{
    write_file("settings.ini", "");
    EXPECT_TRUE(contains(send(message(800, 600)),
                         "INFO [ZELVAR] Frame buffer resolution: width[800] height[600].\n"));
    EXPECT_EQ(fb_xres, 800u);
    EXPECT_EQ(fb_yres, 600u);
    // Both are compared with the width.
    EXPECT_FALSE(contains(send(message(800, 800)), "Frame buffer resolution"));
    EXPECT_EQ(fb_yres, 600u);
    EXPECT_TRUE(contains(send(message(800, 600)), "Frame buffer resolution: width[800] height[600]."));
    for (const std::string& unknown : {message(0, 480), message(640, 0)}) {
        send(unknown);
        EXPECT_EQ(fb_xres, 800u);
        EXPECT_EQ(fb_yres, 600u);
    }
    send(message(600, 800));
    EXPECT_EQ(fb_xres, 600u);
    EXPECT_EQ(fb_yres, 800u);
}

TEST_F(get_settings, ScreenSizeOfTheFileWinsOnceItIsRead)
{
    // The size is settled before the file is read again, so the first reading counts.
    read("fbWidth 320\nfbHeight 240\n");
    write_file("settings.ini", "fbWidth 320\n");
    EXPECT_TRUE(contains(send(message(800, 600)),
                         "INFO [ZELVAR] Frame buffer resolution is set from settings.ini: "
                         "width[320] height[240].\n"));
    EXPECT_EQ(fb_xres, 320u);
    EXPECT_EQ(fb_yres, 240u);
    send(message(800, 600));
    EXPECT_EQ(fb_xres, 800u) << "one of the two is not enough";
}

TEST_F(get_settings, CacheNeedsAKnownScreen)
{
    const std::string warning = "WARN [ZELVAR] Unrecognized frame buffer resolution: width[0] height[0], "
                                "cacheAndroidNativeBuffer is disabled.\n";
    write_file("settings.ini", "cacheAndroidNativeBuffer 1\n");
    EXPECT_TRUE(contains(send(message(0, 480)), warning));
    EXPECT_FALSE(zelvar_only_settings.cacheAndroidNativeBuffer);
    EXPECT_FALSE(contains(send(message(640, 480)), "Unrecognized"));
    EXPECT_TRUE(zelvar_only_settings.cacheAndroidNativeBuffer);
}

TEST_F(get_settings, CompressionVersionIsAnnouncedAndOneFromOutsideIsLost)
{
    write_file("settings.ini", "tpakVersion 1.2\n");
    EXPECT_TRUE(contains(send(message(0, 0)), "INFO [ZELVAR] TPAK is on, version is 1.2\n"));
    write_file("settings.ini", "");
    EXPECT_FALSE(contains(send(message(0, 0)), "TPAK"));
    EXPECT_TRUE(zelvar_set_tpak_version(TPAK_VERSION_1_0));
    EXPECT_FALSE(contains(send(message(0, 0)), "TPAK"));
    EXPECT_EQ(zelvar_only_settings.tpakVersion, 0u);
}

TEST_F(get_settings, WhiteListIsPutIntoTargetMemory)
{
    write_file("checkerrcode.ini", "1 gles20_glFlush\n1 egl_eglGetError\n0 gles20_glClear\n");
    write_file("settings.ini", "callOnTargetAPI 1\ncheckErrorCode 1\nenableErrorCheckWhiteList 1\n");
    target.allocation_address = 0x9000;
    send(message(0, 0));
    EXPECT_EQ(target.allocations, std::vector<uint32_t>{31});
    ASSERT_EQ(target.writes.size(), 3u);
    EXPECT_EQ(target.writes[1].address, 0x9000u);
    EXPECT_EQ(target.writes[1].bytes, std::string("egl_eglGetError,gles20_glFlush", 31));
    EXPECT_EQ(target.writes[2].address, 0x5555666677778888u);
    EXPECT_EQ(target.writes[2].bytes, std::string("\0\x90\0\0\0\0\0\0", 8));

    // No memory on the target: the pointer stays as it is.
    target = {};
    send(message(0, 0));
    EXPECT_EQ(target.allocations.size(), 1u);
    EXPECT_EQ(target.writes.size(), 1u);
    EXPECT_EQ(target.leave_messages, 1);

    // The check is off: no list.
    target = {};
    write_file("settings.ini", "callOnTargetAPI 1\n");
    send(message(0, 0));
    EXPECT_TRUE(target.allocations.empty());
}

TEST_F(get_settings, MessageCutAtAnyByteGivesZerosAndWritesNothing)
{
    write_file("settings.ini", "");
    const std::string whole = message(640, 480);
    sidechannel_set_log_level(2);
    for (size_t length = 20; length <= whole.size(); length++) {
        target = {};
        fb_xres = fb_yres = 0;
        const std::string printed = send(whole.substr(0, length));
        const size_t errors =
            contains(printed, "ERROR [ZELVAR] get_settings is short: " + std::to_string(length));
        EXPECT_EQ(errors, length < whole.size() ? 1u : 0u) << length;
        EXPECT_EQ(target.writes.size(), length < whole.size() ? 0u : 1u) << length;
        EXPECT_EQ(target.target_bits, length < 32 ? 0u : 32u) << length;
        EXPECT_EQ(fb_xres, length < 28 ? 0u : 640u) << length;
        EXPECT_EQ(target.leave_messages, 1) << length;
    }
}

TEST_F(get_settings, RevisionWithoutItsZeroEndsWithTheMessage)
{
    const std::string printed = send(message(640, 480, "0123").substr(0, 36));
    EXPECT_TRUE(contains(printed, "INFO [ZELVAR] Shim revision 0123\n"));
    EXPECT_TRUE(target.writes.empty());
}

} // namespace
