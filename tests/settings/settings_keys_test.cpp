// The key table against hand-written lists: names, the shared block's bytes, the member behind each key.
#include "settings/settings_fixture.h"

#include <algorithm>
#include <cstring>

namespace {

using settings_keys = settings_files;
using Z = _zelvar_settings;

TEST_F(settings_keys, TheDocumentedKeysAreAllThere)
{
    // clang-format off
    std::vector<std::string> expected{
        "LogLevel", "astcSaveImage", "batchCommands", "batchTargetCommands", "cacheAndroidNativeBuffer",
        "callOnTargetAPI", "checkErrorCode", "deferCommands", "directTargetMemoryReads",
        "directTargetMemoryWrites", "dumpFramesApp", "dumpFramesDir", "dumpFramesResolution",
        "dumpNFrames", "dumpTargetErrorCalls", "enableErrorCheckWhiteList", "fbHeight", "fbWidth",
        "forceHostContext2", "forceHostDRM4CC", "forceHostEGLConfigID", "ignoreTRV", "loopDumpFrames",
        "modelAddrSpaceLog", "modelJobSlotLog", "performanceProfile", "performanceProfileControl",
        "printShaderSource", "requireKelvoEmulator", "shaderFilter", "shimLogLevel", "showFPS",
        "sidechannelLogLevel", "skipDumpFrames", "skipHostCalls", "skipTargetErrorCalls",
        "skipTargetGLVersionCheck", "skipeglDestroySurface", "tpakDecodeInPlace", "tpakForTRV",
        "tpakVersion", "unbufferStdout", "zelvarLogLevel",
    };
    // clang-format on
    std::vector<std::string> keys;
    for (const settings_key_info* info = zelvar_settings_keys(); info->key; info++) {
        keys.emplace_back(info->key);
        EXPECT_GT(std::strlen(info->sentence), 0u) << info->key;
    }
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(keys, expected);
}

/// The shared block without the two pointers, which differ from run to run.
std::vector<uint8_t> shared_block()
{
    std::vector<uint8_t> bytes(sizeof zelvar_settings);
    std::memcpy(bytes.data(), &zelvar_settings, bytes.size());
    std::fill(bytes.begin() + 16, bytes.begin() + 32, 0xee);
    return bytes;
}

// clang-format off
TEST_F(settings_keys, TheSharedBlockHasItsDefaultsInPlace)
{
    read("");
    EXPECT_EQ(shared_block(), (std::vector<uint8_t>{
        2, 0, 0, 0,  2, 0, 0, 0,  2, 0, 0, 0,  0, 0, 0, 0,
        0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee,
        0, 0, 0, 0, 0, 0, 1, 0,
        0, 0, 0, 0,  0, 0, 0, 0,
        1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_NE(zelvar_settings.white_list, nullptr);
    EXPECT_EQ(zelvar_settings.white_list_text, nullptr);
}

TEST_F(settings_keys, EachSharedKeyLandsOnItsOwnByte)
{
    struct { const char* line; size_t offset; uint8_t value; } keys[]{
        {"shimLogLevel 17", 0, 17}, {"sidechannelLogLevel 3", 4, 3}, {"zelvarLogLevel 18", 8, 18},
        {"batchCommands 1", 32, 1}, {"batchTargetCommands 1", 33, 1}, {"dumpTargetErrorCalls 1", 34, 1},
        {"skipTargetErrorCalls 1", 35, 1}, {"deferCommands 1", 36, 1}, {"requireKelvoEmulator 0", 38, 0},
        {"performanceProfile 1", 46, 1}, {"skipHostCalls 0", 48, 0},
    };
    read("");
    const std::vector<uint8_t> defaults = shared_block();
    for (const auto& key : keys) {
        read(key.line);
        std::vector<uint8_t> expected = defaults;
        expected[key.offset] = key.value;
        EXPECT_EQ(shared_block(), expected) << key.line;
    }
    // Keys that depend on each other.
    read("callOnTargetAPI 2\ncheckErrorCode 1\nenableErrorCheckWhiteList 1\nignoreTRV 1\n");
    std::vector<uint8_t> expected = defaults;
    expected[37] = expected[44] = expected[45] = expected[47] = 1;
    expected[40] = 2;
    EXPECT_EQ(shared_block(), expected);
}
// clang-format on

/// All host-only flags and numbers, so that a test sees what a key changes besides its own field.
std::vector<uint32_t> host_values(const Z& s)
{
    return {s.directTargetMemoryReads,
            s.directTargetMemoryWrites,
            s.skipeglDestroySurface,
            s.forceHostContext2,
            s.forceHostDRM4CC,
            s.skipTargetGLVersionCheck,
            s.shaderFilter,
            s.cacheAndroidNativeBuffer,
            s.showFPS,
            s.performanceProfile,
            s.unbufferStdout,
            s.tpakForTRV,
            s.tpakDecodeInPlace,
            s.astcSaveImage,
            s.tpakVersionLocked,
            s.modelJobSlotLog,
            s.modelAddrSpaceLog,
            s.printShaderSource,
            s.fbWidth,
            s.fbHeight,
            s.tpakVersion,
            s.performanceProfileControl,
            s.forceHostEGLConfigID,
            s.dumpNFrames,
            s.skipDumpFrames,
            s.loopDumpFrames};
}

TEST_F(settings_keys, EachHostKeyChangesItsOwnFieldAlone)
{
    // In the order of host_values.
    // clang-format off
    const std::vector<std::string> keys{
        "directTargetMemoryReads", "directTargetMemoryWrites", "skipeglDestroySurface",
        "forceHostContext2", "forceHostDRM4CC", "skipTargetGLVersionCheck", "shaderFilter",
        "cacheAndroidNativeBuffer", "showFPS", "performanceProfile", "", "tpakForTRV",
        "tpakDecodeInPlace", "astcSaveImage", "", "modelJobSlotLog", "modelAddrSpaceLog",
        "printShaderSource", "fbWidth", "fbHeight", "", "performanceProfileControl",
        "forceHostEGLConfigID", "dumpNFrames", "skipDumpFrames", "loopDumpFrames",
    };
    // clang-format on
    for (size_t i = 0; i < keys.size(); i++) {
        if (keys[i].empty())
            continue;
        read(keys[i] + " 1");
        std::vector<uint32_t> expected(keys.size(), 0);
        expected[i] = 1;
        EXPECT_EQ(host_values(zelvar_only_settings), expected) << keys[i];
    }
}

TEST_F(settings_keys, TextKeysKeepTheirTextAndGoBackToNothing)
{
    read("dumpFramesApp 007app\ndumpFramesDir /a/b\ndumpFramesResolution 1280x720 behind\n");
    EXPECT_EQ(zelvar_text_setting(&Z::dumpFramesApp), "007app");
    EXPECT_EQ(zelvar_text_setting(&Z::dumpFramesDir), "/a/b");
    EXPECT_EQ(zelvar_text_setting(&Z::dumpFramesResolution), "1280x720");
    read("");
    EXPECT_EQ(zelvar_text_setting(&Z::dumpFramesApp), "");
    EXPECT_EQ(zelvar_text_setting(&Z::dumpFramesDir), "");
    EXPECT_EQ(zelvar_text_setting(&Z::dumpFramesResolution), "");
}

TEST_F(settings_keys, LogLevelSetsAllThreeAndLaterLinesWin)
{
    read("LogLevel 4\nshimLogLevel 5\n");
    EXPECT_EQ(zelvar_settings.shimLogLevel, 5u);
    EXPECT_EQ(zelvar_settings.sidechannelLogLevel, 4u);
    EXPECT_EQ(zelvar_settings.zelvarLogLevel, 4u);
}

TEST_F(settings_keys, OnlyTheKeyOfTheDumpCountStartsTheDumpsAfresh)
{
    read("skipDumpFrames 1\n");
    EXPECT_EQ(target.screenshot_resets, 0);
    read("dumpNFrames 0\n");
    EXPECT_EQ(target.screenshot_resets, 1);
}

} // namespace
