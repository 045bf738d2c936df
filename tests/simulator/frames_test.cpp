// The example applications as targets of the real library, each compared with its run straight on the host.

#include "processes.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <vector>

namespace {

const std::string size = "160x120";

class endtoend_frames : public testing::TestWithParam<const char*>
{
protected:
    endtoend_frames()
    {
        folder = testing::TempDir() + "/zelvar-frames-XXXXXX";
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
    }
    ~endtoend_frames() override { std::filesystem::remove_all(folder); }

    void run_on_host(const std::string& application, const std::string& frames) const
    {
        std::filesystem::create_directories(folder + "/host");
        const outcome run = run_command({BINARIES "/" + application, "--frames", frames},
                                        {"EGL_PLATFORM=surfaceless", "MESA_GLES_VERSION_OVERRIDE=3.1",
                                         "ZELVAR_FB=" + size, "ZELVAR_RECORD=" + folder + "/host",
                                         "ZELVAR_RECORD_ALPHA=1", "LD_PRELOAD=" RECORDER});
        ASSERT_EQ(run.status, 0) << run.output;
    }

    void expect_same_frames(const std::string& where, int count) const
    {
        const outcome compared = run_command({ZELVAR_COMPARE, folder + "/host", where});
        EXPECT_EQ(compared.status, 0) << compared.output;
        EXPECT_TRUE(matches(compared.output, (" " + std::to_string(count) + " +0 +0\n").c_str()))
            << compared.output;
    }

    std::string folder;
};

TEST_P(endtoend_frames, are_those_of_the_host)
{
    const std::string application = GetParam();
    const int windows = application == "two_threads" ? 2 : 1;
    run_on_host(application, "20");
    for (const std::string& build : builds_of(application, BINARIES, BINARIES32)) {
        // Compressed frames, of every version, are the same pictures.
        for (const std::string setting :
             {"batchCommands 0", "batchCommands 1", "tpakForTRV 1", "tpakVersion 1.0"}) {
            const std::string where =
                folder + "/" + std::filesystem::path(build).parent_path().filename().string() + setting;
            const outcome run = run_command({ZELVAR_SIM, "--libzelvar", LIBRARY, "--fb", size, "--frames",
                                             where, "--alpha", "--set", setting, "--set",
                                             setting == "tpakVersion 1.0" ? "tpakForTRV 1" : setting, "--",
                                             build, "--frames", "20"});
            EXPECT_EQ(run.status, 0) << run.output;
            expect_same_frames(where, 20 * windows);
        }
    }
}
INSTANTIATE_TEST_SUITE_P(, endtoend_frames, testing::Values("hello_frames", "two_threads"),
                         [](const auto& each) { return std::string(each.param); });

TEST_F(endtoend_frames, of_targets_side_by_side_do_not_mix)
{
    constexpr int targets = 4;
    for (int i = 0; i < targets; ++i)
        run_on_host("hello_frames", "20");
    const std::string socket = folder + "/socket";
    process house{{ZELVAR_SIM, "--libzelvar", LIBRARY, "--fb", size, "--frames", folder + "/all", "--alpha",
                   "--listen", socket}};
    ASSERT_TRUE(house.wait_for_text("listening at")) << house.output();
    std::vector<std::unique_ptr<process>> running;
    for (int i = 0; i < targets; ++i)
        running.push_back(std::make_unique<process>(std::vector<std::string>{
            ZELVAR_RUN, "--connect", socket, "--", BINARIES "/hello_frames", "--frames", "20"}));
    for (const auto& each : running)
        EXPECT_EQ(each->wait(), 0) << each->output();
    house.signal(SIGTERM);
    EXPECT_EQ(house.wait(), 0) << house.output();
    expect_same_frames(folder + "/all", 20 * targets);
}

} // namespace
