// The Vulkan examples as targets of the real library: they print what they print straight on the host's
// driver, the pictures that they show come to the target's frame buffers, and the host sees nothing that its
// validation layer would not see of the example alone.

#include "processes.h"
#include "simulator/picture_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;
using words = std::vector<std::string>;

struct report
{
    int status;
    std::string printed;
    std::string log; // what the application, the simulator and the host's driver said otherwise
};

words operator+(words first, const words& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// The host's software driver, and what its validation layer, which writes to standard output, is to tell.
const words on_driver = {"VK_DRIVER_FILES=" HOST_VK_DRIVER, "VK_ICD_FILENAMES=" HOST_VK_DRIVER,
                         "VK_KHRONOS_VALIDATION_REPORT_FLAGS=error,warn,perf",
                         "VK_LAYER_REPORT_FLAGS=error,warn,perf"};
const words with_validation = {"VK_INSTANCE_LAYERS=VK_LAYER_KHRONOS_validation"};
const words validated = {"--host-vk-layers", "VK_LAYER_KHRONOS_validation"};
constexpr char validation_message[] = "VUID-|UNASSIGNED-|BestPractices";

class endtoend_vk_examples : public testing::TestWithParam<std::string>
{
protected:
    endtoend_vk_examples()
    {
        folder = testing::TempDir() + "/zelvar-vk-examples-XXXXXX";
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
    }
    ~endtoend_vk_examples() override { fs::remove_all(folder); }

    /// Runs `before` and the application behind it, whose standard output goes its own way.
    report run(const words& before, const words& environment, const words& application) const
    {
        const std::string printed = folder + "/printed";
        const words command = before + words{"sh", "-c", "exec \"$@\" >\"$0\"", printed} + application;
        const outcome result = run_command(command, environment);
        std::stringstream text;
        text << std::ifstream(printed).rdbuf();
        return {result.status, text.str(), result.output};
    }

    report run_on_host(const words& application, const words& environment = {}) const
    {
        return run({}, on_driver + environment, application);
    }

    /// The environment is the simulator's.
    report run_as_target(const words& application, const words& options, const words& environment = {}) const
    {
        return run(words{ZELVAR_SIM, "--libzelvar", LIBRARY, "--fb", "160x120", "--set", "unbufferStdout 1"} +
                       options + words{"--"},
                   on_driver + environment, application);
    }

    std::string folder;
};

/// 32-bit programs need a loader of their kind.
words programs_of(const std::string& example)
{
    words programs;
    for (const std::string& program : builds_of(example, BINARIES, BINARIES32)) {
        if (program.starts_with(BINARIES "/") || fs::exists("/usr/lib/i386-linux-gnu/libvulkan.so.1"))
            programs.push_back(program);
        else
            std::cout << program << " is left out: there is no 32-bit Vulkan loader\n";
    }
    return programs;
}

std::string lines_with(const std::string& log, const char* pattern)
{
    std::istringstream lines(log);
    std::string line, found;
    while (std::getline(lines, line)) {
        if (matches(line, pattern))
            found += line + "\n";
    }
    return found;
}

/// The library's complaints, but for what it says about every host driver of another vendor, results that are
/// answers (an event is set, a wait has taken its time, a format isn't supported), and the name under which a
/// frame would be dumped, which only processes with EGL have.
std::string complaints(const std::string& log)
{
    std::istringstream lines(lines_with(log, "^(ERROR|FATAL) "));
    std::string line, found;
    while (std::getline(lines, line)) {
        if (!matches(line, "Emulator is not being used|Could not find process_name for PID") &&
            !matches(line, " on host returns ([1-5]|-11)$"))
            found += line + "\n";
    }
    return found;
}

void expect_same(const report& target, const report& host, const std::string& what)
{
    EXPECT_EQ(target.status, 0) << what << "\n" << target.log;
    EXPECT_EQ(target.printed, host.printed) << what;
    EXPECT_EQ(complaints(target.log), "") << what;
    EXPECT_EQ(lines_with(target.log, validation_message), "") << what;
}

TEST_P(endtoend_vk_examples, print_what_they_print_on_the_host)
{
    const std::string here = BINARIES "/" + GetParam();
    const report host = run_on_host({here});
    ASSERT_EQ(host.status, 0) << host.log;
    ASSERT_NE(host.printed, "");
    EXPECT_EQ(run_on_host({here}, with_validation).printed, host.printed) << "with messages of validation";
    for (const std::string& program : programs_of(GetParam())) {
        for (const std::string batch : {"0", "1"})
            expect_same(run_as_target({program}, {"--set", "batchCommands " + batch}), host,
                        program + ", batches " + batch);
        expect_same(run_as_target({program}, validated), host, program + ", validated");
    }
}

/// That there is no message means something only when mistakes have one.
class endtoend_vk_validation : public endtoend_vk_examples
{
};

TEST_F(endtoend_vk_validation, tells_of_a_mistake_on_demand)
{
    const char* const expected = "VUID-VkFenceCreateInfo-flags-parameter";
    const report asked_for = run_as_target({VK_MISTAKE}, validated);
    EXPECT_NE(lines_with(asked_for.log, expected), "") << asked_for.log;
    const report plain = run_as_target({VK_MISTAKE}, {});
    EXPECT_EQ(plain.status, 0) << plain.log;
    EXPECT_EQ(lines_with(plain.log, validation_message), "");
}

words names()
{
    std::istringstream all(VK_EXAMPLES);
    words each;
    for (std::string name; all >> name;) {
        if (name != "vk_swapchain")
            each.push_back(name);
    }
    return each;
}
INSTANTIATE_TEST_SUITE_P(, endtoend_vk_examples, testing::ValuesIn(names()),
                         [](const auto& each) { return each.param; });

/// Pictures by what they show, so that their order in several windows doesn't matter: width, height, colours.
using pictures = std::multiset<std::string>;

pictures pictures_of_example(const fs::path& folder)
{
    pictures all;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        std::string kind, width, height, depth, colours;
        file >> kind >> width >> height >> depth;
        file.get();
        std::stringstream rest;
        rest << file.rdbuf();
        all.insert(width + " " + height + " " + rest.str());
    }
    return all;
}

pictures pictures_of_simulator(const fs::path& folder)
{
    pictures all;
    for (const auto& entry : fs::directory_iterator(folder)) {
        uint32_t width = 0, height = 0;
        std::vector<uint8_t> rgba;
        EXPECT_EQ(read_picture_file(entry.path(), width, height, rgba), "");
        std::string shown = std::to_string(width) + " " + std::to_string(height) + " ";
        for (size_t i = 0; i < rgba.size(); ++i) {
            if (i % 4 != 3)
                shown.push_back(static_cast<char>(rgba[i]));
        }
        all.insert(shown);
    }
    return all;
}

/// An X server without a screen.
class x_server
{
public:
    /// It complains about each number that another server has.
    x_server()
        : _server({"sh", "-c", "exec Xvfb -displayfd 1 -screen 0 640x480x24 -nolisten tcp 2>/dev/null"})
    {
    }
    /// "DISPLAY=:N", or nothing when it doesn't start.
    std::string setting()
    {
        const bool started = _server.wait_for_text("\n");
        const std::string& said = _server.output();
        const size_t digits = said.find_first_of("0123456789");
        return started && digits == 0 ? "DISPLAY=:" + said.substr(0, said.find('\n')) : "";
    }

private:
    process _server;
};

class endtoend_vk_swapchains : public endtoend_vk_examples
{
};

TEST_P(endtoend_vk_swapchains, show_in_frame_buffers_what_they_show_on_the_host)
{
    x_server server;
    const std::string display = server.setting();
    ASSERT_NE(display, "") << "Xvfb doesn't start";
    const std::string host_pictures = folder + "/host";
    fs::create_directories(host_pictures);
    const report host =
        run_on_host({BINARIES "/vk_swapchain", "--surface", "xcb", "--pictures", host_pictures}, {display});
    ASSERT_EQ(host.status, 0) << host.log;
    const pictures wanted = pictures_of_example(host_pictures);
    ASSERT_GT(wanted.size(), 0u);
    for (const std::string& program : programs_of("vk_swapchain")) {
        if (GetParam() != "headless" && !program.starts_with(BINARIES "/"))
            continue;
        for (const std::string setting : {"batchCommands 0", "batchCommands 1", "tpakForTRV 1"}) {
            const std::string what = program + ", " + setting;
            const std::string frames = folder + "/frames";
            expect_same(run_as_target({program, "--surface", GetParam()},
                                      {"--set", setting, "--frames", frames}, {display}),
                        host, what);
            EXPECT_TRUE(pictures_of_simulator(frames) == wanted) << what << ": other frames";
            fs::remove_all(frames);
        }
    }
    expect_same(run_as_target({BINARIES "/vk_swapchain", "--surface", GetParam()}, validated, {display}),
                host, "validated");
}
INSTANTIATE_TEST_SUITE_P(, endtoend_vk_swapchains, testing::Values("headless", "xcb", "xlib"),
                         [](const auto& each) { return each.param; });

/// Examples that are killed at any moment of theirs. Sanitized processes take longer to come there.
class endtoend_vk_kills : public endtoend_vk_examples
{
};

TEST_P(endtoend_vk_kills, leave_no_object_behind)
{
    const std::string program = BINARIES "/" + GetParam();
    for (const std::string batch : {"0", "1"}) {
        for (int moment = 0; moment < 4; ++moment) {
            const std::string seconds = "0." + std::to_string(20 + moment * 15);
            const outcome ended =
                run_command({ZELVAR_SIM, "--libzelvar", LIBRARY, "--stats", "--set", "batchCommands " + batch,
                             "--", "timeout", "-s", "KILL", seconds, program},
                            on_driver);
            const std::string what = program + " after " + seconds + " s, batches " + batch;
            EXPECT_TRUE(ended.status == 0 || ended.status == 128 + SIGKILL) << what << "\n" << ended.output;
            // A target that was killed before its first call leaves no line.
            EXPECT_EQ(lines_with(ended.output, "left in the library.* [1-9][0-9]* Vulkan objects"), "")
                << what;
            EXPECT_EQ(lines_with(ended.output, "left in the library.* [1-9][0-9]* open requests"), "")
                << what;
        }
    }
}
INSTANTIATE_TEST_SUITE_P(, endtoend_vk_kills, testing::Values("vk_draws", "vk_memory", "vk_sync"),
                         [](const auto& each) { return each.param; });

/// A queue that waits for an event that nothing sets.
class endtoend_vk_stuck : public endtoend_vk_examples
{
};

TEST_P(endtoend_vk_stuck, ends_and_leaves_nothing_behind)
{
    for (const std::string batch : {"0", "1"}) {
        const outcome ended =
            run_command({ZELVAR_SIM, "--libzelvar", LIBRARY, "--stats", "--set", "unbufferStdout 1", "--set",
                         "batchCommands " + batch, "--", VK_STUCK, GetParam()},
                        on_driver);
        EXPECT_EQ(ended.status, GetParam() == "kill" ? 128 + SIGKILL : 0) << ended.output;
        EXPECT_NE(lines_with(ended.output, "a queue waits for an event that nothing sets, it is set"), "")
            << ended.output;
        EXPECT_EQ(lines_with(ended.output, "stays parked|left in the library.* [1-9][0-9]* Vulkan objects"),
                  "")
            << ended.output;
    }
}
INSTANTIATE_TEST_SUITE_P(, endtoend_vk_stuck, testing::Values("idle", "destroy", "kill"),
                         [](const auto& each) { return each.param; });

/// A shader that never ends keeps its own target, and nobody else.
class endtoend_vk_endless : public endtoend_vk_examples
{
};

TEST_F(endtoend_vk_endless, keeps_nobody_else)
{
    const std::string socket = folder + "/socket";
    const auto starting = [&socket](const std::string& program) {
        return words{ZELVAR_RUN, "--connect", socket, "--", program};
    };
    process house{{ZELVAR_SIM, "--listen", socket, "--libzelvar", LIBRARY, "--stats"}, on_driver};
    ASSERT_TRUE(house.wait_for_text("listening at")) << house.output();
    process endless{starting(VK_ENDLESS)};
    ASSERT_TRUE(endless.wait_for_text("submitting")) << endless.output();
    std::this_thread::sleep_for(std::chrono::milliseconds{300});
    EXPECT_EQ(run_command(starting(BINARIES "/vk_triangle")).status, 0) << "while it runs";
    endless.signal(SIGKILL);
    EXPECT_EQ(endless.wait(10), 128 + SIGKILL);
    EXPECT_EQ(run_command(starting(BINARIES "/vk_compute")).status, 0) << "when its target is gone";
    house.signal(SIGTERM);
    EXPECT_EQ(house.wait(30), 0) << house.output();
    EXPECT_TRUE(matches(house.output(), "1 threads stay parked in the library")) << house.output();
}

/// Where there is nothing that tells whether shaders make sense, the host's compiler is on its own.
class endtoend_vk_senseless : public endtoend_vk_examples
{
};

TEST_F(endtoend_vk_senseless, shaders_get_no_pipelines)
{
    if (!fs::exists(SHADER_CHECK))
        GTEST_SKIP() << SHADER_CHECK << " isn't built";
    const report target = run_as_target({VK_SENSELESS}, {});
    EXPECT_EQ(target.status, 0) << target.log;
    EXPECT_EQ(target.printed, "sound: taken\nadds otherwise: refused\nloads nothing: refused\n"
                              "has no blocks: refused\nends early: refused\nhas a huge array: refused\n"
                              "lacks its constant: refused\nhas an odd constant: refused\ncomputed 42\n")
        << target.log;
    EXPECT_NE(lines_with(target.log, "the shader isn't fit for the host, no pipeline will take it: "), "");
}

} // namespace
