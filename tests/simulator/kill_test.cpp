// Targets that are killed in the middle of things, one after the other, while another target goes on being
// served: zelvar-sim must neither grow nor fall. Over the library that LIBRARY names.

#include "processes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

using namespace std::chrono_literals;

namespace {

// Sanitized processes take so much longer to start that fewer must do.
#ifdef ZELVAR_SANITIZED
constexpr int kills = 60;
#else
constexpr int kills = 200;
#endif

class killed_targets : public testing::TestWithParam<const char*>
{
protected:
    killed_targets()
    {
        _folder = testing::TempDir() + "/zelvar-kill-XXXXXX";
        EXPECT_NE(mkdtemp(_folder.data()), nullptr);
    }
    ~killed_targets() override { std::filesystem::remove_all(_folder); }

    std::string socket() const { return _folder + "/socket"; }

    std::vector<std::string> simulator(bool batch) const
    {
        return {ZELVAR_SIM,
                "--listen",
                socket(),
                "--libzelvar",
                LIBRARY,
                "--set",
                std::string("batchCommands ") + (batch ? "1" : "0"),
                "--set",
                "LogLevel 0"};
    }
    std::vector<std::string> target() const { return {"ZELVAR_SOCKET=" + socket()}; }

    int run(const std::string& scenario) const
    {
        return run_command({SCRIPTED_TARGET, scenario}, target()).status;
    }

    /// Waits until what is to be released has been, and returns the count.
    template <class Count>
    static int settled(Count count, int wanted)
    {
        for (int i = 0; i < 500 && count() > wanted; ++i)
            std::this_thread::sleep_for(20ms);
        return count();
    }

    void kill_often(bool batch);

private:
    std::string _folder;
};

void killed_targets::kill_often(bool batch)
{
    process house{simulator(batch)};
    ASSERT_TRUE(house.wait_for_text("listening at")) << house.output();
    process other{{SCRIPTED_TARGET, "serve-on"}, target()};
    ASSERT_TRUE(other.wait_for_text("serving")) << other.output();
    // What the first ones bring up for good is no growth.
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(run(GetParam()), 128 + SIGKILL);
    std::this_thread::sleep_for(500ms);
    const int threads = house.threads();
    const int descriptors = house.descriptors();
    for (int i = 0; i < kills; ++i)
        ASSERT_EQ(run(GetParam()), 128 + SIGKILL) << "kill " << i;
    EXPECT_LE(settled([&] { return house.threads(); }, threads), threads);
    EXPECT_LE(settled([&] { return house.descriptors(); }, descriptors), descriptors);

    other.end_input();
    EXPECT_EQ(other.wait(), 0) << other.output();
    EXPECT_NE(other.output().find("served "), std::string::npos) << other.output();
    EXPECT_EQ(run_command({SCRIPTED_TARGET, "serve", "100"}, target()).status, 0);
    house.signal(SIGTERM);
    EXPECT_EQ(house.wait(), 0) << house.output();
    EXPECT_EQ(house.output().find("parked"), std::string::npos) << house.output();
}

TEST_P(killed_targets, leave_nothing_behind)
{
    if (std::string(GetParam()) != "kill-in-batch")
        kill_often(false);
    kill_often(true);
}

INSTANTIATE_TEST_SUITE_P(, killed_targets,
                         testing::Values("kill-in-call", "kill-in-batch", "kill-in-service"),
                         [](const auto& each) {
                             std::string name = std::string(LIBRARY_KIND) + "-" + each.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

} // namespace
