// Target processes and the simulator's side together, over a small fake of the library: what passes, and what
// is left when a target stops, lies or dies.

#include "fake_library.h"
#include "processes.h"

#include "simulator/launch.h"
#include "simulator/picture_file.h"
#include "simulator/server.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace simulator;
using namespace std::chrono_literals;

namespace {

int count_descriptors()
{
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        ++count;
    return count;
}

template <class Condition>
bool eventually(Condition holds)
{
    for (int i = 0; i < 1000; ++i) {
        if (holds())
            return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

/// A simulator over the fake library, in this process, with targets in their own.
class simulator_link : public testing::TestWithParam<const char*>
{
protected:
    void begin(bool batch = false)
    {
        // Kept to the end of the process, since its workers may outlive the test.
        static auto* kept = new std::vector<std::unique_ptr<fake::plugin>>;
        kept->push_back(std::make_unique<fake::plugin>(batch));
        plugin = kept->back().get();
        around.plugin = plugin;
        around.sums = &sums;
        around.initial_settings.batch_commands = batch;
        house = std::make_unique<server>(server_options{folder() + "/socket", false, {}});
        if (pictures.every)
            writer = std::make_unique<frame_writer>(pictures);
        around.frames = writer.get();
        thread = std::thread([this] { EXPECT_EQ(house->run(around, -1), 0); });
    }

    pid_t start(const std::vector<std::string>& scenario, const char* program = SCRIPTED_TARGET)
    {
        std::vector<std::string> arguments = scenario;
        arguments.insert(arguments.begin(), program);
        const auto environment = target_environment(environ, "", folder() + "/socket", "320x200");
        const pid_t child = launch(arguments, environment, house->outer_mask());
        EXPECT_GT(child, 0);
        return child;
    }

    static int wait_for(pid_t child)
    {
        int status = 0;
        waitpid(child, &status, 0);
        return exit_status(status);
    }

    int run(const std::vector<std::string>& scenario, const char* program = SCRIPTED_TARGET)
    {
        return wait_for(start(scenario, program));
    }

    /// Ends the simulator; afterwards nothing of any target may be left.
    void end()
    {
        kill(getpid(), SIGTERM);
        thread.join();
        EXPECT_EQ(house->parked(), 0u);
        EXPECT_EQ(plugin->seen.protocol_faults, 0);
        EXPECT_EQ(plugin->seen.opened, plugin->seen.closed);
        EXPECT_TRUE(eventually([this] { return plugin->seen.workers == 0; }))
            << plugin->seen.workers << " workers of the library are left";
    }

    std::string folder()
    {
        if (_folder.empty()) {
            _folder = testing::TempDir() + "/zelvar-link-XXXXXX";
            EXPECT_NE(mkdtemp(_folder.data()), nullptr);
        }
        return _folder;
    }

    // The server blocks signals for its process; the next test's targets must not inherit that.
    void SetUp() override { pthread_sigmask(SIG_SETMASK, nullptr, &_mask); }

    void TearDown() override
    {
        house.reset();
        pthread_sigmask(SIG_SETMASK, &_mask, nullptr);
        std::filesystem::remove_all(folder());
    }

    frame_options pictures{"", 0, false}; // every 0: none
    std::unique_ptr<frame_writer> writer;
    fake::plugin* plugin = nullptr;
    totals sums;
    surroundings around;
    std::unique_ptr<server> house;
    std::thread thread;

private:
    std::string _folder;
    sigset_t _mask;
};

TEST_F(simulator_link, answers_come_whole_whatever_the_size_of_reads)
{
    begin();
    for (const char* capacity : {"1", "7", "20", "4096"})
        EXPECT_EQ(run({"small-reads", capacity}), 0) << capacity;
    end();
}

TEST_F(simulator_link, a_batch_may_follow_one_that_is_not_answered_yet)
{
    begin(true);
    EXPECT_EQ(run({"posts", "500"}), 0);
    end();
    EXPECT_EQ(sums.calls, 2u + 500 + 1);
}

TEST_F(simulator_link, workers_reach_the_memory_of_a_target_that_works_on)
{
    begin(true);
    EXPECT_EQ(run({"works-on"}), 0);
    end();
    EXPECT_EQ(plugin->seen.terminated, 1);
}

TEST_F(simulator_link, the_pointer_width_is_told_without_waking_the_target)
{
    begin();
    EXPECT_EQ(run({"asks-width"}), 0);
    end();
    EXPECT_EQ(plugin->seen.last_result, sizeof(void*));
}

TEST_F(simulator_link, memory_that_lies_ready_is_given_without_waking_the_target)
{
    begin();
    EXPECT_EQ(run({"offers"}), 0);
    end();
}

TEST_F(simulator_link, described_buffers_are_told_without_waking_the_target)
{
    begin();
    EXPECT_EQ(run({"buffers"}), 0);
    end();
}

TEST_F(simulator_link, takes_long_messages_and_messages_outside_the_window)
{
    begin();
    EXPECT_EQ(run({"long-message"}), 0);
    end();
    EXPECT_EQ(sums.calls, 2u);
}

TEST_F(simulator_link, workers_reach_target_memory_and_stop_at_its_holes)
{
    begin();
    EXPECT_EQ(run({"copies"}), 0);
    EXPECT_GT(plugin->seen.last_copied, 0);
    EXPECT_EQ(run({"copy-past-end"}), 0);
    EXPECT_EQ(plugin->seen.last_copied, 100);
    for (const char* address :
         {"0", "16", "0xffffffff", "0xfffff000", "0x8000000000000000", "0xffffffffffffff00"}) {
        EXPECT_EQ(run({"copy-bad", address}), 0) << address;
        EXPECT_EQ(plugin->seen.last_copied, 0) << address;
    }
    end();
}

TEST_F(simulator_link, serves_a_process_of_the_other_pointer_width)
{
    if (!*SCRIPTED_TARGET32)
        GTEST_SKIP() << "no 32-bit compiler";
    if (!kernel_runs(SCRIPTED_TARGET32))
        GTEST_SKIP() << "this kernel runs no 32-bit programs";
    begin();
    EXPECT_EQ(run({"copies"}, SCRIPTED_TARGET32), 0);
    EXPECT_EQ(run({"copy-past-end"}, SCRIPTED_TARGET32), 0);
    EXPECT_EQ(plugin->seen.last_copied, 100);
    EXPECT_EQ(run({"copy-bad", "0x100000000"}, SCRIPTED_TARGET32), 0);
    EXPECT_EQ(plugin->seen.last_copied, 0);
    EXPECT_EQ(run({"small-reads", "3"}, SCRIPTED_TARGET32), 0);
    end();
}

TEST_F(simulator_link, a_process_that_forks_or_replaces_itself_is_a_new_target)
{
    begin();
    EXPECT_EQ(run({"forks"}), 0);
    EXPECT_EQ(plugin->seen.opened, 2);
    EXPECT_EQ(run({"exec", "3"}), 0);
    EXPECT_EQ(plugin->seen.opened, 6);
    end();
    EXPECT_EQ(sums.targets, 6u);
}

class every_death : public simulator_link
{
};

TEST_P(every_death, ends_the_business_of_the_target)
{
    for (const bool batch : {false, true}) {
        const std::string death = GetParam();
        if (!batch && (death == "kill-in-batch" || death == "kill-posted"))
            continue;
        begin(batch);
        const int status = run({GetParam()});
        EXPECT_TRUE(status == 128 + SIGKILL || status == 0) << status;
        EXPECT_TRUE(eventually([this] { return plugin->seen.closed == 1; })) << "the channel stays open";
        EXPECT_EQ(plugin->seen.terminated, 1);
        EXPECT_EQ(run({"serve", "3"}), 0);
        end();
        house.reset();
    }
}
INSTANTIATE_TEST_SUITE_P(, every_death,
                         testing::Values("kill-idle", "kill-in-call", "kill-in-batch", "kill-in-service",
                                         "kill-posted", "kill-in-unanswered", "leave"),
                         [](const auto& each) {
                             std::string name = each.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST_F(simulator_link, a_target_killed_in_a_long_call_is_ended_when_the_library_comes_back)
{
    begin();
    const pid_t child = start({"kill-held"});
    ASSERT_TRUE(eventually([this] { return plugin->seen.messages >= 4; }));
    kill(child, SIGKILL);
    wait_for(child);
    EXPECT_EQ(run({"serve", "10"}), 0) << "another target is served meanwhile";
    EXPECT_TRUE(eventually([this] { return plugin->seen.closed == 1; }));
    EXPECT_EQ(plugin->seen.closed, 1) << "the killed one's call still lasts";
    plugin->release_held();
    end();
    EXPECT_EQ(plugin->seen.terminated, 2);
}

TEST_F(simulator_link, a_library_that_never_comes_back_costs_one_parked_thread)
{
    begin();
    const pid_t child = start({"kill-held"});
    ASSERT_TRUE(eventually([this] { return plugin->seen.messages >= 4; }));
    kill(child, SIGKILL);
    wait_for(child);
    testing::internal::CaptureStderr();
    kill(getpid(), SIGTERM);
    thread.join();
    EXPECT_EQ(house->parked(), 1u);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("its thread stays parked"), std::string::npos);
    static_cast<void>(house.release()); // the parked thread still uses it
    std::fflush(nullptr);
    _exit(HasFailure() ? 1 : 0);
}

TEST_F(simulator_link, a_worker_that_waits_for_a_call_on_the_target_is_left_alone)
{
    begin();
    // The size of the result is unknown here, and a wrong one would stop the library: nothing is sent.
    const pid_t child = start({"unanswered", "50"});
    EXPECT_EQ(wait_for(child), 1);
    EXPECT_TRUE(eventually([this] { return plugin->seen.closed == 1; }));
    EXPECT_EQ(plugin->seen.confirmations, 0);
    EXPECT_EQ(plugin->seen.terminated, 0);
    kill(getpid(), SIGTERM);
    thread.join();
}

class every_rubbish : public simulator_link
{
};

TEST_P(every_rubbish, costs_its_own_connection_only)
{
    const std::string kind = GetParam();
    begin(kind == "other-process-inside" || kind == "batch-in-batch" || kind == "third-post");
    const int before = count_descriptors();
    const pid_t other = start({"serve", "2000"});
    testing::internal::CaptureStderr();
    const pid_t child = start({"rubbish", GetParam()});
    if (kind == "reads-instead") {
        std::this_thread::sleep_for(100ms);
        kill(child, SIGKILL);
        EXPECT_EQ(wait_for(child), 128 + SIGKILL);
    } else {
        EXPECT_EQ(wait_for(child), 0);
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(wait_for(other), 0);
    EXPECT_TRUE(eventually([&] { return count_descriptors() <= before; }));
    end();
}
INSTANTIATE_TEST_SUITE_P(, every_rubbish,
                         testing::Values("short", "empty", "says-less", "says-more", "other-process",
                                         "other-process-inside", "batch-in-batch", "batch-with-batches-off",
                                         "confirms-nothing", "wrong-confirmation", "longer-confirmation",
                                         "other-thread-confirms", "call-inside-call", "reads-instead",
                                         "threads", "third-post", "leaves-answer", "too-long",
                                         "bad-message-address", "bad-answer-address", "bad-operation",
                                         "bad-turn"),
                         [](const auto& each) {
                             std::string name = each.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST_F(simulator_link, a_target_without_an_answer_waits_and_can_be_ended)
{
    begin();
    for (const char* type : {"0", "5", "601", "602", "0xffffffff"}) {
        const pid_t child = start({"unanswered", type});
        ASSERT_TRUE(eventually([&] { return plugin->seen.messages > 0; }));
        std::this_thread::sleep_for(50ms);
        EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0) << "it still waits";
        kill(child, SIGKILL);
        EXPECT_EQ(wait_for(child), 128 + SIGKILL);
        plugin->seen.messages = 0;
    }
    end();
}

TEST_F(simulator_link, silent_visitors_are_shown_the_door)
{
    begin();
    const int before = count_descriptors();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, (folder() + "/socket").c_str());
    std::vector<descriptor> visitors;
    for (int i = 0; i < 20; ++i) {
        visitors.emplace_back(socket(AF_UNIX, SOCK_SEQPACKET, 0));
        ASSERT_EQ(connect(visitors.back().get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    const device_link::hello other_version{device_link::magic, 99, 1, 1, 64, 0};
    ASSERT_GT(send(visitors[0].get(), &other_version, sizeof other_version, 0), 0);
    device_link::welcome answer{};
    ASSERT_EQ(recv(visitors[0].get(), &answer, sizeof answer, 0), static_cast<ssize_t>(sizeof answer));
    EXPECT_EQ(answer.reception, static_cast<uint32_t>(device_link::reception::other_version));
    ASSERT_GT(send(visitors[1].get(), "rubbish", 7, 0), 0);
    EXPECT_EQ(recv(visitors[1].get(), &answer, sizeof answer, 0), 0);
    EXPECT_EQ(run({"serve", "10"}), 0);
    visitors.clear();
    EXPECT_TRUE(eventually([&] { return count_descriptors() <= before; }));
    end();
}

TEST_F(simulator_link, a_process_gets_one_connection)
{
    begin();
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, (folder() + "/socket").c_str());
    const device_link::hello greeting{device_link::magic, device_link::version, 1, 4711, 64, 0};
    device_link::welcome answer{};
    descriptor first(socket(AF_UNIX, SOCK_SEQPACKET, 0));
    descriptor second(socket(AF_UNIX, SOCK_SEQPACKET, 0));
    const auto greet = [&](int number) {
        ASSERT_EQ(connect(number, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ASSERT_GT(send(number, &greeting, sizeof greeting, 0), 0);
        ASSERT_EQ(recv(number, &answer, sizeof answer, 0), static_cast<ssize_t>(sizeof answer));
    };
    greet(first.get());
    EXPECT_EQ(answer.reception, static_cast<uint32_t>(device_link::reception::accepted));
    const device_link::attached place{0x10000};
    ASSERT_GT(send(first.get(), &place, sizeof place, 0), 0);
    ASSERT_TRUE(eventually([this] { return plugin->seen.opened == 1; }));
    greet(second.get());
    EXPECT_EQ(answer.reception, static_cast<uint32_t>(device_link::reception::already_connected));
    first = descriptor();
    descriptor third(socket(AF_UNIX, SOCK_SEQPACKET, 0));
    greet(third.get());
    EXPECT_EQ(answer.reception, static_cast<uint32_t>(device_link::reception::accepted));
    end();
}

TEST_F(simulator_link, frames_become_pictures)
{
    pictures = {folder(), 2, false};
    begin();
    const pid_t child = start({"frames", "5"});
    EXPECT_EQ(wait_for(child), 0);
    end();
    writer->flush();
    EXPECT_EQ(sums.frames, 5u);
    EXPECT_EQ(writer->written(), 3u);
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> rgba;
    ASSERT_EQ(
        read_picture_file(folder() + "/" + frame_name("scripted_target", child, 0, 4), width, height, rgba),
        "");
    EXPECT_EQ(width, 320u);
    EXPECT_EQ(height, 200u);
    const uint8_t* pixel = rgba.data() + (7 * 320 + 11) * 4;
    EXPECT_EQ(std::vector<int>(pixel, pixel + 4), (std::vector<int>{4, 11, 7, 255}));
    EXPECT_FALSE(std::filesystem::exists(folder() + "/" + frame_name("scripted_target", child, 0, 3)));
}

TEST_F(simulator_link, frames_that_nobody_looks_at_are_counted)
{
    begin();
    EXPECT_EQ(run({"frames", "5"}), 0);
    end();
    EXPECT_EQ(sums.frames, 5u) << "the last ones come without a further request";
}

TEST_F(simulator_link, frame_buffers_that_are_none_are_named_once)
{
    pictures = {folder(), 1, false};
    begin();
    testing::internal::CaptureStderr();
    EXPECT_EQ(run({"bad-frames"}), 0);
    end();
    const std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_NE(text.find("the frame buffer has no address"), std::string::npos) << text;
    EXPECT_EQ(writer->written(), 0u);
}

TEST_F(simulator_link, enough_frames_end_a_target)
{
    around.max_frames = 3;
    begin();
    EXPECT_EQ(run({"frames", "1000000"}), 128 + SIGTERM);
    EXPECT_LT(sums.frames, 1000u);
    end();
}

} // namespace
