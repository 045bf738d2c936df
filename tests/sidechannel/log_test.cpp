#include "fake_library.h"

#include <thread>
#include <unistd.h>

namespace {

std::string all_lines()
{
    return logged([] {
        LOG_FATAL("a");
        LOG_ERROR("b");
        LOG_WARN("c");
        LOG_INFO("d");
        LOG_DEBUG("e");
        LOG_TRACE("f");
        LOG_FINE("g");
        LOG_ALWAYS("WARN", "%s %d", "always", 1);
    });
}

} // namespace

TEST(Log, StartsWithFatalOnly)
{
    EXPECT_EQ(all_lines(), "FATAL [ZELVAR] a\nWARN [ZELVAR] always 1\n");
}

TEST(Log, GatesOpenJustAboveTheirNumber)
{
    const std::string lines[] = {"FATAL [ZELVAR] a\n", "ERROR [ZELVAR] b\n", "WARN [ZELVAR] c\n",
                                 "INFO [ZELVAR] d\n",  "DEBUG [ZELVAR] e\n", "TRACE [ZELVAR] f\n",
                                 "TRACE [ZELVAR] g\n"};
    const std::pair<int, size_t> open_lines[] = {{0, 0},    {1, 1},    {2, 2},    {3, 3},    {6564, 3},
                                                 {6565, 4}, {6566, 5}, {6567, 6}, {6568, 7}, {-1, 7}};
    for (auto [level, n] : open_lines) {
        sidechannel_set_log_level(level);
        std::string expected;
        for (size_t i = 0; i < n; i++)
            expected += lines[i];
        EXPECT_EQ(all_lines(), expected + "WARN [ZELVAR] always 1\n") << level;
    }
}

TEST(Log, ArgumentsOfAClosedGateAreNotEvaluated)
{
    int evaluated = 0;
    LOG_TRACE("%d", ++evaluated);
    EXPECT_EQ(evaluated, 0);
}

TEST(Log, LinesOfManyThreadsStayWhole)
{
    constexpr int threads = 6, lines = 400;
    const std::string wide(200, 'x');
    const std::string text = logged([&] {
        std::vector<std::thread> writers;
        for (int t = 0; t < threads; t++)
            writers.emplace_back([&, t] {
                for (int i = 0; i < lines; i++)
                    LOG_FATAL("%d %s %d", t, wide.c_str(), i);
            });
        for (auto& writer : writers)
            writer.join();
    });
    EXPECT_EQ(count_of(text, "\n"), size_t{threads * lines});
    for (int t = 0; t < threads; t++)
        for (int i = 0; i < lines; i += 37) {
            const auto line =
                "FATAL [ZELVAR] " + std::to_string(t) + " " + wide + " " + std::to_string(i) + "\n";
            EXPECT_EQ(count_of(text, line), 1u) << line;
        }
}

TEST(Log, StackDumpIsATraceLine)
{
    sidechannel_set_log_level(6566);
    EXPECT_EQ(logged(StackDump), "");
    sidechannel_set_log_level(6567);
    EXPECT_EQ(logged(StackDump), "TRACE [ZELVAR] StackDump()\n");
}

TEST(AssertionDeathTest, QuotesTheConditionAndKeepsTheLog)
{
    ZELVAR_ASSERT(1 + 1 == 2);
    EXPECT_DEATH(ZELVAR_ASSERT(1 + 1 == 3), "Assertion `1 \\+ 1 == 3' failed");
    EXPECT_DEATH(ZELVAR_ASSERT_TEXT(false, "cs != __null"), "log_test.cpp:.*Assertion `cs != __null' failed");
    // The line is still in the stream's buffer when the assertion fails.
    EXPECT_DEATH(
        {
            setvbuf(stdout, nullptr, _IOFBF, 4096);
            dup2(STDERR_FILENO, STDOUT_FILENO);
            LOG_FATAL("the reason");
            ZELVAR_ASSERT(false);
        },
        "the reason");
}
