// The built libZelvar.so as a simulator meets it: loaded, entered, used, taken down and unloaded in child
// processes (LOADING_PROBE), over whole and incomplete hosts.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace {
std::string output_of(const std::string& command)
{
    std::string printed;
    FILE* pipe = popen((command + " 2>&1; echo status $?").c_str(), "r");
    if (!pipe)
        return "no child";
    std::array<char, 4096> piece;
    while (size_t n = fread(piece.data(), 1, piece.size(), pipe))
        printed.append(piece.data(), n);
    pclose(pipe);
    return printed;
}

/// What the probe and the library print on a host; `lacks` are functions that its EGL doesn't know,
/// `settings` is the text of the settings file.
std::string probe(const std::string& host, const std::string& words, const std::string& lacks = "",
                  const std::string& settings = "")
{
    const std::string file = testing::TempDir() + "loading_" +
                             testing::UnitTest::GetInstance()->current_test_info()->name() + ".ini";
    std::ofstream(file) << settings;
    return output_of("TRV_ZELVAR_SETTINGS_PATH='" + file + "' STUB_HOST_LACKS=" + lacks +
                     " LD_LIBRARY_PATH=" STUB_HOSTS "/" + host +
                     " timeout 60 '" LOADING_PROBE "' '" LIBZELVAR "' " + words);
}

/// Only what the probe says of its words, and how it ended.
std::string lines_of_probe(const std::string& printed)
{
    std::string kept, line;
    for (std::istringstream in(printed); std::getline(in, line);) {
        const bool of_library = line.find("[ZELVAR]") != std::string::npos || line.empty();
        if (!of_library)
            kept += line + "\n";
    }
    return kept;
}

size_t count(const std::string& text, const std::string& part)
{
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        n++;
    return n;
}

TEST(LoadingTest, ASecondEntryReturnsTheSamePluginAndStartsNothing)
{
    const std::string printed = probe("full", "load enter enter open display enter display");
    EXPECT_EQ(lines_of_probe(printed), "load: done\nentered: new\nentered: same\nopened\ndisplay: one\n"
                                       "entered: same\ndisplay: one\nend\nstatus 0\n")
        << printed;
    EXPECT_EQ(count(printed, "INFO [ZELVAR] TRV revision "), 1u) << printed;
}

TEST(LoadingTest, EntriesAtTheSameTimeGetOnePlugin)
{
    const std::string printed = probe("full", "load enter-from-all-sides open display");
    EXPECT_EQ(lines_of_probe(printed),
              "load: done\nentered: 1 plug-ins\nopened\ndisplay: one\nend\nstatus 0\n")
        << printed;
    EXPECT_EQ(count(printed, "INFO [ZELVAR] TRV revision "), 1u) << printed;
}

TEST(LoadingTest, UnloadingWithChannelsWorkersAndAReaderLeavesThemAlone)
{
    const std::string printed = probe("full", "load enter park open display unload open display");
    EXPECT_EQ(lines_of_probe(printed), "load: done\nentered: new\nparked\nopened\ndisplay: one\nunload: 0\n"
                                       "opened\ndisplay: one\nend\nstatus 0\n")
        << printed;
}

TEST(LoadingTest, LoadingAgainFindsTheLibraryAsItWasLeft)
{
    const std::string printed = probe("full", "load enter open display unload load enter open display");
    EXPECT_EQ(lines_of_probe(printed), "load: done\nentered: new\nopened\ndisplay: one\nunload: 0\n"
                                       "load: done\nentered: same\nopened\ndisplay: one\nend\nstatus 0\n")
        << printed;
}

TEST(LoadingTest, ItCanBeTakenDownUnderLiveChannelsAndStartedAfresh)
{
    const std::string printed = probe("full", "load enter park open display deinit enter open display "
                                              "initialize deinit enter open display unload");
    // A new plug-in object may lie where the last one was, so "new" and "same" are alike here.
    std::string said = lines_of_probe(printed);
    for (size_t at; (at = said.find("entered: same")) != std::string::npos;)
        said.replace(at, 13, "entered: new");
    EXPECT_EQ(said, "load: done\nentered: new\nparked\nopened\ndisplay: one\ndeinit: done\n"
                    "entered: new\nopened\ndisplay: one\ninitialize: 1\ndeinit: done\n"
                    "entered: new\nopened\ndisplay: one\nunload: 0\nend\nstatus 0\n")
        << printed;
    EXPECT_EQ(count(printed, "INFO [ZELVAR] TRV revision "), 3u) << printed;
}

TEST(LoadingTest, AClosedChannelMakesRoomForOthers)
{
    const std::string printed =
        probe("full", "load enter open display close open display close open display");
    EXPECT_EQ(count(printed, "display: one"), 3u) << printed;
    EXPECT_EQ(count(printed, "status 0"), 1u) << printed;
}

TEST(LoadingTest, AHostWithoutVulkanServesTheRest)
{
    const std::string printed = probe("no_vulkan", "load enter open display initialize error");
    EXPECT_EQ(lines_of_probe(printed),
              "load: done\nentered: new\nopened\ndisplay: one\ninitialize: 1\nerror: 0x3000\nend\nstatus 0\n")
        << printed;
}

TEST(LoadingTest, AHostWithoutGlesIsNotTheEmulator)
{
    const std::string printed = probe("no_gles", "load enter open");
    EXPECT_EQ(lines_of_probe(printed), "load: done\nstatus 1\n") << printed;
}

TEST(LoadingTest, AHostWithoutGlesNamesWhatItLacksAndLetsTheTargetGo)
{
    const std::string printed =
        probe("no_gles", "load enter open display finish error", "", "requireKelvoEmulator 0\n");
    EXPECT_EQ(count(printed, "FATAL [ZELVAR] Could not find OpenGL ES library!"), 1u) << printed;
    EXPECT_EQ(count(printed, "finish: done"), 1u) << printed;
    EXPECT_EQ(count(printed, "end\nstatus 0"), 1u) << printed;
}

TEST(LoadingTest, AnEntryThatTheHostLacksCostsOnlyItsOwnCalls)
{
    const std::string printed = probe("full", "load enter open display initialize finish error", "glFinish");
    EXPECT_EQ(count(printed, "FATAL [ZELVAR] The host lacks glFinish()."), 1u) << printed;
    EXPECT_EQ(lines_of_probe(printed), "load: done\nentered: new\nopened\ndisplay: one\ninitialize: 1\n"
                                       "finish: done\nerror: 0x3000\nend\nstatus 0\n")
        << printed;
}

/// The functions that the installed headers promise.
std::set<std::string> promised_functions()
{
    std::set<std::string> names;
    for (const char* header : {"zelvar.h", "test_support.h"}) {
        std::ifstream in(std::string(PUBLIC_HEADERS "/") + header);
        std::stringstream text;
        text << in.rdbuf();
        const std::string all = text.str();
        for (size_t at = 0; (at = all.find("\nZELVAR_EXPORT ", at)) != std::string::npos; at++) {
            const size_t open = all.find('(', at);
            const size_t begin = all.find_last_of(" *", open) + 1;
            names.insert(all.substr(begin, open - begin));
        }
    }
    return names;
}

TEST(LoadingTest, ExportsWhatTheHeadersPromiseAndNothingElse)
{
    std::set<std::string> exported;
    std::istringstream lines(output_of("nm -D --defined-only '" LIBZELVAR "'"));
    for (std::string address, kind, name; lines >> address >> kind;) {
        if (address == "status") {
            ASSERT_EQ(kind, "0");
            continue;
        }
        lines >> name;
        exported.insert(name.substr(0, name.find('@')));
    }
    const std::set<std::string> promised = promised_functions();
    ASSERT_GT(promised.size(), 25u);
    ASSERT_TRUE(promised.count("scPluginEntryPoint") && promised.count("zelvar_test_support_reset"));
    EXPECT_EQ(exported, promised);
}

TEST(LoadingTest, NeedsNothingButTheSystemsOwnLibraries)
{
    std::istringstream lines(
        output_of("readelf -d '" LIBZELVAR "' | sed -n 's/.*NEEDED.*\\[\\(.*\\)\\]/\\1/p'"));
    size_t needed = 0;
    for (std::string line; std::getline(lines, line) && line != "status 0"; needed++) {
        const std::set<std::string> allowed = {"libc.so.6",           "libm.so.6",     "libdl.so.2",
                                               "libpthread.so.0",     "libgcc_s.so.1", "libstdc++.so.6",
                                               "ld-linux-x86-64.so.2"};
        EXPECT_TRUE(allowed.count(line) || line.find("san.so") != std::string::npos) << line;
    }
    EXPECT_GT(needed, 0u);
}
} // namespace
