// zelvar-sim and zelvar-run as programs, over a small fake of the library.

#include "processes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace {

class programs : public testing::Test
{
protected:
    programs()
    {
        folder = testing::TempDir() + "/zelvar-programs-XXXXXX";
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
    }
    ~programs() override { std::filesystem::remove_all(folder); }

    /// zelvar-sim with the fake library and any folder as the target library's.
    static std::vector<std::string> sim(const std::vector<std::string>& arguments)
    {
        std::vector<std::string> command = {ZELVAR_SIM, "--libzelvar", LIBRARY, "--shim", "/"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return command;
    }

    std::vector<std::string> frames_in(const std::string& where) const
    {
        std::vector<std::string> names;
        for (const auto& each : std::filesystem::directory_iterator(where))
            names.push_back(each.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string folder;
};

TEST_F(programs, exit_status_is_the_applications)
{
    EXPECT_EQ(run_command(sim({"--", "sh", "-c", "exit 7"})).status, 7);
    EXPECT_EQ(run_command(sim({"--", "true"})).status, 0);
    EXPECT_EQ(run_command(sim({"--", "sh", "-c", "kill -9 $$"})).status, 128 + SIGKILL);
    EXPECT_EQ(run_command(sim({"--", SCRIPTED_TARGET, "serve", "5"})).status, 0);
    EXPECT_EQ(run_command(sim({"--", SCRIPTED_TARGET, "kill-in-call"})).status, 128 + SIGKILL);
}

TEST_F(programs, what_cannot_run_is_told)
{
    EXPECT_EQ(run_command(sim({"--", "/nowhere/application"})).status, 127);
    EXPECT_EQ(run_command(sim({"--", "/etc"})).status, 126);
    EXPECT_EQ(run_command(sim({})).status, 125);
    EXPECT_EQ(run_command(sim({"--fb", "0x0", "--", "true"})).status, 125);
    EXPECT_EQ(run_command(sim({"--every", "0", "--", "true"})).status, 125);
    EXPECT_EQ(run_command(sim({"--set", "batchCommands", "--", "true"})).status, 125);
    EXPECT_EQ(run_command(sim({"--settings", "/nowhere.ini", "--", "true"})).status, 125);
    EXPECT_EQ(run_command(sim({"--frames", "/proc/nowhere", "--", "true"})).status, 125);
    const outcome missing = run_command({ZELVAR_SIM, "--libzelvar", "/nowhere.so", "--", "true"});
    EXPECT_EQ(missing.status, 125);
    EXPECT_NE(missing.output.find("/nowhere.so is missing; name the library with --libzelvar FILE"),
              std::string::npos)
        << missing.output;
    EXPECT_EQ(run_command({ZELVAR_SIM, "--libzelvar", "/etc/passwd", "--", "true"}).status, 125);
    EXPECT_EQ(run_command({ZELVAR_SIM, "--help"}).status, 0);
}

TEST_F(programs, the_application_gets_its_arguments_and_a_clean_environment)
{
    const outcome seen = run_command(sim(
        {"--fb", "320x200", "--", "sh", "-c",
         "echo \"$1|$2|$ZELVAR_FB|${EGL_PLATFORM-unset}|${TRV_ZELVAR_SETTINGS_PATH-unset}|$LD_LIBRARY_PATH\"",
         "sh", "--stats", "a b"}));
    EXPECT_NE(seen.output.find("--stats|a b|320x200|unset|unset|/"), std::string::npos) << seen.output;
}

TEST_F(programs, every_nth_frame_is_written_and_counted)
{
    const outcome run = run_command(sim({"--frames", folder + "/new/frames", "--every", "4", "--stats", "--",
                                         SCRIPTED_TARGET, "frames", "9"}));
    EXPECT_EQ(run.status, 0);
    const auto names = frames_in(folder + "/new/frames");
    ASSERT_EQ(names.size(), 3u);
    EXPECT_TRUE(matches(names[0], "^scripted_target_[0-9]+_0000.png")) << names[0];
    EXPECT_TRUE(matches(names[2], "^scripted_target_[0-9]+_0008.png")) << names[2];
    EXPECT_NE(run.output.find("zelvar-sim: 9 frames ("), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("zelvar-sim: 3 pictures in "), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("zelvar-sim: 1 targets, "), std::string::npos) << run.output;
}

TEST_F(programs, summary_counts_what_passed)
{
    const outcome run = run_command(sim({"--", SCRIPTED_TARGET, "serve", "50"}));
    // Settings, display and initialisation, 50 calls; one confirmation. The settings are no call.
    EXPECT_NE(run.output.find(" 52 calls ("), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(" in 54 messages, "), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("opened 1 closed 1 terminated 1 workers 0 faults 0"), std::string::npos)
        << run.output;
}

TEST_F(programs, enough_frames_are_a_success)
{
    EXPECT_EQ(run_command(sim({"--max-frames", "3", "--", SCRIPTED_TARGET, "frames", "1000000"})).status, 0);
    EXPECT_EQ(run_command(sim({"--max-frames", "3", "--", "sh", "-c",
                               std::string(SCRIPTED_TARGET) + " frames 1000000"}))
                  .status,
              0)
        << "also through a shell";
    EXPECT_EQ(run_command(sim({"--max-frames", "3", "--", "sh", "-c",
                               "trap '' TERM; " + std::string(SCRIPTED_TARGET) + " frames 1000000"}))
                  .status,
              0)
        << "also when it doesn't listen";
}

TEST_F(programs, signals_reach_the_application)
{
    process house{sim({"--", "sh", "-c", "trap 'exit 3' TERM; echo ready; while :; do sleep 0.05; done"})};
    ASSERT_TRUE(house.wait_for_text("ready"));
    house.signal(SIGTERM);
    EXPECT_EQ(house.wait(), 3);
}

TEST_F(programs, targets_come_and_go_at_a_socket)
{
    const std::string socket = folder + "/socket";
    process house{sim({"--listen", socket, "--exit-when-idle", "--fb", "320x200"})};
    ASSERT_TRUE(house.wait_for_text("listening at " + socket));
    const std::vector<std::string> start = {ZELVAR_RUN, "--shim", "/", "--connect", socket, "--"};
    const auto with = [&](std::vector<std::string> application) {
        application.insert(application.begin(), start.begin(), start.end());
        return application;
    };
    EXPECT_EQ(run_command(with({"sh", "-c", "exit 9"})).status, 9);
    EXPECT_NE(run_command(with({"env"})).output.find("ZELVAR_FB=320x200"), std::string::npos);
    EXPECT_EQ(run_command(with({"/nowhere/application"})).status, 127);
    process stays{with({SCRIPTED_TARGET, "serve-on"})};
    ASSERT_TRUE(stays.wait_for_text("serving")) << stays.output();
    EXPECT_EQ(run_command(with({SCRIPTED_TARGET, "serve", "20"})).status, 0);
    EXPECT_EQ(run_command(with({SCRIPTED_TARGET, "kill-in-service"})).status, 128 + SIGKILL);
    EXPECT_EQ(run_command(sim({"--listen", socket})).status, 125) << "the socket is in use";
    stays.end_input();
    EXPECT_EQ(stays.wait(), 0);
    EXPECT_EQ(house.wait(), 0) << "it ends when all have left";
    EXPECT_NE(house.output().find("opened 3 closed 3 terminated 3 workers 0 faults 0"), std::string::npos)
        << house.output();
    EXPECT_EQ(run_command(with({"true"})).status, 125) << "nobody listens any more";
    EXPECT_FALSE(std::filesystem::exists(socket));
}

TEST_F(programs, a_socket_left_from_a_killed_simulator_is_taken_over)
{
    const std::string socket = folder + "/socket";
    {
        process house{sim({"--listen", socket})};
        ASSERT_TRUE(house.wait_for_text("listening at"));
        house.signal(SIGKILL);
        EXPECT_EQ(house.wait(), 128 + SIGKILL);
    }
    EXPECT_TRUE(std::filesystem::exists(socket));
    process house{sim({"--listen", socket})};
    EXPECT_TRUE(house.wait_for_text("listening at"));
    house.signal(SIGINT);
    EXPECT_EQ(house.wait(), 0);
    std::ofstream(socket) << "no socket";
    EXPECT_EQ(run_command(sim({"--listen", socket})).status, 125);
    EXPECT_TRUE(std::filesystem::exists(socket)) << "a file that is no socket is left alone";
}

TEST_F(programs, a_target_notices_when_the_simulator_is_gone)
{
    const std::string socket = folder + "/socket";
    process house{sim({"--listen", socket})};
    ASSERT_TRUE(house.wait_for_text("listening at"));
    process stays{{SCRIPTED_TARGET, "serve-on"}, {"ZELVAR_SOCKET=" + socket}};
    ASSERT_TRUE(stays.wait_for_text("serving"));
    house.signal(SIGKILL);
    EXPECT_EQ(stays.wait(), 1);
    EXPECT_NE(stays.output().find("the simulator has ended the connection"), std::string::npos)
        << stays.output();
}

TEST_F(programs, compared_folders_agree_frame_by_frame)
{
    const std::string a = folder + "/a", b = folder + "/b";
    for (const std::string& where : {a, b})
        ASSERT_EQ(run_command(sim({"--frames", where, "--", SCRIPTED_TARGET, "frames", "4"})).status, 0);
    outcome same = run_command({ZELVAR_COMPARE, a, b});
    EXPECT_EQ(same.status, 0) << same.output;
    EXPECT_TRUE(matches(same.output, "scripted_target +4 +0 +0")) << same.output;

    const auto names = frames_in(b);
    std::filesystem::copy_file(b + "/" + names[0], b + "/" + names[1],
                               std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(b + "/" + names[3]);
    const outcome other = run_command({ZELVAR_COMPARE, a, b, "--differences", folder + "/d"});
    EXPECT_EQ(other.status, 1);
    EXPECT_TRUE(matches(other.output, "scripted_target +2 +1 +1")) << other.output;
    EXPECT_EQ(frames_in(folder + "/d").size(), 3u) << "both pictures and their difference";

    std::ofstream(b + "/" + names[1], std::ios::trunc) << "no picture";
    EXPECT_EQ(run_command({ZELVAR_COMPARE, a, b}).status, 2);
    std::filesystem::create_directories(folder + "/empty");
    EXPECT_EQ(run_command({ZELVAR_COMPARE, folder + "/empty", folder + "/empty"}).status, 1)
        << "nothing compared is no agreement";
    EXPECT_EQ(run_command({ZELVAR_COMPARE, a, folder + "/empty"}).status, 1);
}

} // namespace
