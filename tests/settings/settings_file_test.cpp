// How the file is found and taken apart, and which settings follow from others.
#include "settings/settings_fixture.h"

#include "sidechannel_log.h"
#include "zelvar/zelvar.h"

#include <clocale>
#include <cstdlib>
#include <random>
#include <stdio_ext.h>
#include <thread>

namespace {

using settings_file = settings_files;

TEST_F(settings_file, IsLookedForInTheWorkingDirectoryUnlessThePathIsGiven)
{
    EXPECT_EQ(read("fbWidth 11\n"), "INFO [ZELVAR] Reading settings.ini from CWD: " + directory.string() +
                                        "\nINFO [ZELVAR] Reading settings from settings.ini\n");
    EXPECT_EQ(zelvar_only_settings.fbWidth, 11u);

    const std::string other = directory / "other name";
    write_file("other name", "fbWidth 12\n");
    setenv("TRV_ZELVAR_SETTINGS_PATH", other.c_str(), 1);
    EXPECT_EQ(read_again(),
              "INFO [ZELVAR] TRV_ZELVAR_SETTINGS_PATH is set.\nINFO [ZELVAR] Reading settings from " + other +
                  "\n");
    EXPECT_EQ(zelvar_only_settings.fbWidth, 12u);
}

TEST_F(settings_file, MissingOrADirectoryMeansDefaultsAndAWarningAtEveryLevel)
{
    read("fbWidth 7\ncallOnTargetAPI 1\nLogLevel 0\n");
    EXPECT_EQ(sidechannel_log_level, 0u);
    const std::string names[]{"missing", "."};
    for (const std::string& name : names) {
        const std::string path = directory / name;
        setenv("TRV_ZELVAR_SETTINGS_PATH", path.c_str(), 1);
        EXPECT_TRUE(
            contains(read_again(), "\nWARN [ZELVAR] Failed to open settings file at " + path + ".\n"));
        EXPECT_EQ(zelvar_only_settings.fbWidth, 0u);
        EXPECT_EQ(zelvar_settings.sidechannelLogLevel, 2u);
        EXPECT_FALSE(zelvar_call_on_target());
        EXPECT_TRUE(zelvar_settings.requireKelvoEmulator);
    }
    // No line was read, so the gate stays where it was.
    EXPECT_EQ(sidechannel_log_level, 0u);
}

TEST_F(settings_file, LogGateFollowsAfterEveryLine)
{
    ASSERT_EQ(sidechannel_log_level, 1u);
    read("");
    EXPECT_EQ(sidechannel_log_level, 1u);
    read("somethingUnknown 1\n");
    EXPECT_EQ(sidechannel_log_level, 2u);
    read("shimLogLevel 9\nsidechannelLogLevel 7000\nzelvarLogLevel 9\n");
    EXPECT_EQ(sidechannel_log_level, 7000u);
}

TEST_F(settings_file, CommentsBlankLinesAndValueLessKeys)
{
    read(
        "#fbWidth 1\n# fbWidth 2\n\n   \t \nfbHeight\t  3   fbWidth 4\nskipDumpFrames\n   dumpNFrames   5\n");
    EXPECT_EQ(zelvar_only_settings.fbWidth, 0u);
    EXPECT_EQ(zelvar_only_settings.fbHeight, 3u);
    EXPECT_EQ(zelvar_only_settings.skipDumpFrames, 3u) << "the value of the line before it";
    EXPECT_EQ(zelvar_only_settings.dumpNFrames, 5u);

    // A key without a value on the first line has nothing to reuse, and a comment's words are no values.
    read("fbWidth\n");
    EXPECT_EQ(zelvar_only_settings.fbWidth, 0u);
    read("fbHeight 6\n# comment 8\nfbWidth\n");
    EXPECT_EQ(zelvar_only_settings.fbWidth, 6u);
    // A lone # is a key of that name, so it takes a value with it.
    read("fbHeight 6\n#\nfbWidth\n");
    EXPECT_EQ(zelvar_only_settings.fbWidth, 6u);
}

TEST_F(settings_file, PresetKeysAreDead)
{
    for (const char* key : {"conformant", "fast", "advanced"}) {
        for (const char* value : {" 0\n", " 1\n"}) {
            const std::string printed = read("LogLevel 7000\nfbWidth 9\nbatchCommands 1\n" +
                                             std::string(key) + value + "fbHeight 10\n");
            EXPECT_FALSE(contains(printed, "[ZELVAR] conformant") || contains(printed, "[ZELVAR] fast"));
            EXPECT_EQ(zelvar_only_settings.fbWidth, 9u);
            EXPECT_EQ(zelvar_only_settings.fbHeight, 10u);
            EXPECT_FALSE(zelvar_only_settings.shaderFilter);
            EXPECT_TRUE(zelvar_settings.batchCommands);
            EXPECT_FALSE(zelvar_only_settings.cacheAndroidNativeBuffer);
        }
    }
}

TEST_F(settings_file, NumbersAreTruncatedAndKeptInRange)
{
    struct
    {
        const char* value;
        uint32_t expected;
    } numbers[]{{"2.9", 2},  {"0x10", 16},         {"1e3", 1000},       {"abc", 0},   {"nan", 0},
                {"-0.5", 0}, {"4294967295", ~0u},  {"4294967296", ~0u}, {"inf", ~0u}, {"1e300", ~0u},
                {"-1", ~0u}, {"-1e300", 1u << 31}, {"12abc", 12},       {"+5", 5}};
    for (const auto& number : numbers) {
        read(std::string("skipDumpFrames ") + number.value + "\n");
        EXPECT_EQ(zelvar_only_settings.skipDumpFrames, number.expected) << number.value;
    }
    for (const char* on : {"1", "-3", "7.5", "1e300", "4294967296"}) {
        read(std::string("showFPS ") + on + "\n");
        EXPECT_TRUE(zelvar_only_settings.showFPS) << on;
    }
    for (const char* off : {"0", "0.9", "true", "nan"}) {
        read(std::string("showFPS ") + off + "\n");
        EXPECT_FALSE(zelvar_only_settings.showFPS) << off;
    }
}

TEST_F(settings_file, NumbersDontDependOnTheLocale)
{
    // Any of the locales that write a comma; a system without one can't show the fault.
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8") && !std::setlocale(LC_NUMERIC, "fr_FR.UTF-8"))
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    read("tpakVersion 1.1\n");
    std::setlocale(LC_NUMERIC, "C");
    EXPECT_EQ(zelvar_only_settings.tpakVersion, TPAK_VERSION_1_1);
}

TEST_F(settings_file, LinesBeyondTheBufferArriveInPieces)
{
    // 1,023 characters a piece: the second begins with the key.
    read("fbHeight 3" + std::string(1013, ' ') + "fbWidth 8\n");
    EXPECT_EQ(zelvar_only_settings.fbHeight, 3u);
    EXPECT_EQ(zelvar_only_settings.fbWidth, 8u);

    read(std::string(5000, 'x') + "\nfbWidth 9\n" + std::string(5000, 'y'));
    EXPECT_EQ(zelvar_only_settings.fbWidth, 9u);
    read("dumpFramesDir " + std::string(5000, 'd') + "\nfbWidth 10\n");
    EXPECT_EQ(zelvar_text_setting(&_zelvar_settings::dumpFramesDir), std::string(1023 - 14, 'd'));
    EXPECT_EQ(zelvar_only_settings.fbWidth, 10u);
}

TEST_F(settings_file, BinaryRubbishLeavesDefaults)
{
    std::mt19937 random{20};
    for (int file = 0; file < 50; file++) {
        std::string bytes(20000, '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(random());
        read(bytes);
        EXPECT_EQ(zelvar_settings.shimLogLevel, 2u);
        EXPECT_FALSE(zelvar_call_on_target());
        EXPECT_EQ(zelvar_only_settings.fbWidth, 0u);
    }
    read(std::string("fbWidth\0 5\nfbHeight 6\n", 22));
    EXPECT_EQ(zelvar_only_settings.fbWidth, 0u);
    EXPECT_EQ(zelvar_only_settings.fbHeight, 6u);
}

TEST_F(settings_file, ModeOutsideItsRangeWarnsAndKeepsThePreviousOne)
{
    const std::string warning = "WARN [ZELVAR] callOnTargetAPI option invalid. Must be between 0 and 2\n";
    for (const char* bad : {"3", "-1", "1e300", "-1e300"}) {
        EXPECT_TRUE(contains(read(std::string("callOnTargetAPI 1\ncallOnTargetAPI ") + bad + "\n"), warning))
            << bad;
        EXPECT_EQ(zelvar_target_gpu(), TARGET_GPU_DUMMY);
        EXPECT_TRUE(zelvar_call_on_target());
    }
    EXPECT_TRUE(contains(read("callOnTargetAPI 3\n"), warning));
    EXPECT_EQ(zelvar_target_gpu(), TARGET_GPU_NONE)
        << "the previous one of this reading, not of an earlier one";
    EXPECT_FALSE(contains(read("callOnTargetAPI 2\ncallOnTargetAPI 0\n"), warning));
    EXPECT_FALSE(zelvar_call_on_target());
}

TEST_F(settings_file, IgnoringTheHostForcesCallsButNotTheMode)
{
    read("callOnTargetAPI 0\nignoreTRV 1\ncheckErrorCode 1\n");
    EXPECT_TRUE(zelvar_call_on_target());
    EXPECT_EQ(zelvar_target_gpu(), TARGET_GPU_NONE);
    EXPECT_TRUE(zelvar_settings.checkErrorCode) << "the error check looks at the flag";
}

TEST_F(settings_file, ErrorCheckNeedsCallsOnTheTarget)
{
    const std::string no_check =
        "WARN [ZELVAR] Failed to turn ON checkErrorCode option, since callOnTargetAPI is OFF.\n";
    const std::string no_list =
        "WARN [ZELVAR] Failed to turn ON enableErrorCheckWhiteList option, since callOnTargetAPI is OFF.\n";
    std::string printed = read("checkErrorCode 1\nenableErrorCheckWhiteList 1\n");
    EXPECT_TRUE(contains(printed, no_check) && contains(printed, no_list)) << printed;
    EXPECT_FALSE(zelvar_settings.checkErrorCode || zelvar_settings.enableErrorCheckWhiteList);
    printed = read("enableErrorCheckWhiteList 1\n");
    EXPECT_TRUE(!contains(printed, no_check) && contains(printed, no_list)) << printed;

    printed = read("callOnTargetAPI 1\nenableErrorCheckWhiteList 1\n");
    EXPECT_TRUE(contains(printed, "WARN [ZELVAR] Failed to turn ON enableErrorCheckWhiteList option, since "
                                  "checkErrorCode is OFF.\n"));
    EXPECT_FALSE(zelvar_settings.enableErrorCheckWhiteList);
}

TEST_F(settings_file, ProfilingLosesItsSharedHalfWhileBatching)
{
    const std::string warning =
        "WARN [ZELVAR] Part of performanceProfile functions will be turned OFF, since batchCommands is ON.\n";
    EXPECT_TRUE(contains(read("performanceProfile 1\nbatchCommands 1\n"), warning));
    EXPECT_FALSE(zelvar_settings.performanceProfile);
    EXPECT_TRUE(zelvar_only_settings.performanceProfile) << "the copy stays";
    EXPECT_FALSE(contains(read("performanceProfile 1\n"), warning));
    EXPECT_TRUE(zelvar_settings.performanceProfile);
}

TEST_F(settings_file, CompressionVersionOfTheFileLocksIt)
{
    struct
    {
        const char* value;
        uint32_t version;
    } versions[]{{"1.0", 3}, {"1", 3}, {"1.1", 4}, {"1.2", 5}};
    for (const auto& entry : versions) {
        read(std::string("tpakVersion ") + entry.value + "\n");
        EXPECT_EQ(zelvar_only_settings.tpakVersion, entry.version);
        EXPECT_FALSE(zelvar_set_tpak_version(TPAK_VERSION_NONE));
        EXPECT_EQ(zelvar_only_settings.tpakVersion, entry.version);
    }
    const std::string error = "ERROR [ZELVAR] Incorrect TPAK version. Failed to set TPAK version.\n";
    for (const char* bad : {"1.15", "1.1000000000001", "0", "nan", "4"}) {
        EXPECT_TRUE(contains(read(std::string("tpakVersion 1.2\ntpakVersion ") + bad + "\n"), error)) << bad;
        EXPECT_EQ(zelvar_only_settings.tpakVersion, 0u);
        EXPECT_TRUE(zelvar_set_tpak_version(TPAK_VERSION_1_1));
        EXPECT_EQ(zelvar_only_settings.tpakVersion, 4u);
    }
    EXPECT_FALSE(contains(read(""), error));
    EXPECT_EQ(zelvar_only_settings.tpakVersion, 0u) << "a version from outside is lost with the next reading";
}

TEST_F(settings_file, ModelOptions)
{
    read("");
    EXPECT_EQ(zelvar_getModelOptions(), 0x80000000u);
    read("modelJobSlotLog 1\n");
    EXPECT_EQ(zelvar_getModelOptions(), 0x80000001u);
    read("modelAddrSpaceLog 1\ncallOnTargetAPI 2\n");
    EXPECT_EQ(zelvar_getModelOptions(), 0x80000006u);
    read("callOnTargetAPI 1\n");
    EXPECT_EQ(zelvar_getModelOptions(), 0x80000000u);
}

TEST_F(settings_file, OutputIsUnbufferedByTheFirstReading)
{
    read("unbufferStdout 1\n");
    EXPECT_LE(__fbufsize(stdout), 1u);
}

TEST_F(settings_file, OutputStaysBufferedWhenALaterReadingAsks)
{
    read("");
    read("unbufferStdout 1\n");
    EXPECT_GT(__fbufsize(stdout), 1u);
}

TEST_F(settings_file, ReadersOnOtherThreadsMeetWholeValues)
{
    const std::string longest(200, 'a');
    write_file("settings.ini",
               "callOnTargetAPI 2\ncheckErrorCode 1\nenableErrorCheckWhiteList 1\ndumpFramesApp " + longest +
                   "\n");
    write_file("checkerrcode.ini", "1 gles20_glClear\n");
    std::atomic<bool> stop{false};
    std::thread reader{[&] {
        while (!stop) {
            const std::string app = zelvar_text_setting(&_zelvar_settings::dumpFramesApp);
            EXPECT_TRUE(app.empty() || app == longest);
            sidechannel_error_check_support(zelvar_settings, "gles20_glClear");
            EXPECT_TRUE(zelvar_target_gpu() == TARGET_GPU_NONE || zelvar_target_gpu() == TARGET_GPU_REAL);
            zelvar_set_tpak_version(TPAK_VERSION_1_0);
        }
    }};
    testing::internal::CaptureStdout();
    for (int pass = 0; pass < 500; pass++)
        zelvar_settings_init();
    testing::internal::GetCapturedStdout();
    stop = true;
    reader.join();
}

} // namespace
