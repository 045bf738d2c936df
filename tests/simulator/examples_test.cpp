// What the example applications print as targets of the real library, line for line what they print straight
// on the host.

#include "processes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

namespace {

const std::string size = "160x120";

struct report
{
    int status;
    std::string printed;
    std::string log; // what the application and the library complained about, in order
};

class endtoend_target_examples : public testing::Test
{
protected:
    endtoend_target_examples()
    {
        folder = testing::TempDir() + "/zelvar-examples-XXXXXX";
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
    }
    ~endtoend_target_examples() override { std::filesystem::remove_all(folder); }

    /// Runs `before` and the application behind it, whose standard output goes its own way.
    report run(std::vector<std::string> before, const std::vector<std::string>& environment,
               const std::string& application) const
    {
        const std::string printed = folder + "/printed";
        before.insert(before.end(),
                      {"sh", "-c", "exec \"$@\" >\"$0\"", printed, application, "--frames", "2"});
        const outcome result = run_command(before, environment);
        std::stringstream text;
        text << std::ifstream(printed).rdbuf();
        return {result.status, text.str(), result.output};
    }

    report run_on_host(const std::string& application) const
    {
        return run({"env", "LD_PRELOAD=" RECORDER},
                   {"EGL_PLATFORM=surfaceless", "MESA_GLES_VERSION_OVERRIDE=3.1", "ZELVAR_FB=" + size},
                   BINARIES "/" + application);
    }

    report run_as_target(const std::string& program, const std::string& batch,
                         const std::vector<std::string>& environment = {}) const
    {
        return run({ZELVAR_SIM, "--libzelvar", LIBRARY, "--fb", size, "--set", "batchCommands " + batch,
                    "--set", "unbufferStdout 1", "--"},
                   environment, program);
    }

    std::string folder;
};

class endtoend_examples : public endtoend_target_examples, public testing::WithParamInterface<std::string>
{
};

/// What an example prints behind its first lines, which tell of displays: a target has a display of its own.
std::string behind_the_display(const std::string& printed)
{
    const size_t config = printed.find("\nconfig: ");
    return config == std::string::npos ? "" : printed.substr(config);
}

/// The library's complaints about calls that the example doesn't announce as wrong, but for what it says
/// about every host driver of another vendor and every layout that drivers may differ in.
std::string complaints(const std::string& log)
{
    std::istringstream lines(log);
    std::string line, found;
    bool announced = false;
    while (std::getline(lines, line)) {
        if (line.starts_with("wrong on purpose: ") || line == "right again")
            announced = line != "right again";
        else if (!announced && matches(line, "^(ERROR|FATAL) ") &&
                 !matches(line, "Emulator is not being used") &&
                 !matches(line, "has the memory layout qualifier of"))
            found += line + "\n";
    }
    return found;
}

TEST_P(endtoend_examples, print_what_they_print_on_the_host)
{
    const report host = run_on_host(GetParam());
    ASSERT_EQ(host.status, 0) << host.log;
    const std::string wanted = behind_the_display(host.printed);
    ASSERT_NE(wanted, "") << host.printed;
    for (const std::string& program : builds_of(GetParam(), BINARIES, BINARIES32)) {
        for (const std::string batch : {"0", "1"}) {
            const report target = run_as_target(program, batch);
            EXPECT_EQ(target.status, 0) << program << ", batches " << batch << "\n" << target.log;
            EXPECT_EQ(behind_the_display(target.printed), wanted) << program << ", batches " << batch;
            EXPECT_EQ(complaints(target.log), "") << program << ", batches " << batch;
        }
    }
}

/// What only a target can run checks its pictures by itself.
TEST_F(endtoend_target_examples, buffers_of_a_phone_show_and_take_what_they_have_to)
{
    for (const std::string& program : builds_of("eglimage_buffers", BINARIES, BINARIES32)) {
        std::string printed;
        for (const std::string batch : {"0", "1"}) {
            const report target = run_as_target(program, batch, {"ZELVAR_TARGET_OS=android"});
            EXPECT_EQ(target.status, 0) << program << ", batches " << batch << "\n" << target.log;
            EXPECT_EQ(complaints(target.log), "") << program << ", batches " << batch;
            EXPECT_NE(behind_the_display(target.printed), "") << target.printed;
            EXPECT_TRUE(printed.empty() || printed == behind_the_display(target.printed));
            printed = behind_the_display(target.printed);
        }
    }
}

std::vector<std::string> names()
{
    std::istringstream all(EXAMPLES);
    std::vector<std::string> each;
    for (std::string name; all >> name;)
        each.push_back(name);
    return each;
}
INSTANTIATE_TEST_SUITE_P(, endtoend_examples, testing::ValuesIn(names()),
                         [](const auto& each) { return each.param; });

} // namespace
