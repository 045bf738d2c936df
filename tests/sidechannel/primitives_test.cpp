#include "fake_library.h"
#include "sidechannel_primitives.h"

#include <chrono>
#include <climits>
#include <csignal>
#include <ctime>
#include <pthread.h>
#include <thread>

using namespace std::chrono_literals;

namespace {

/// The result of `question`, asked on another thread.
template <class Question>
auto elsewhere(Question question)
{
    decltype(question()) answer{};
    std::thread{[&] { answer = question(); }}.join();
    return answer;
}

/// Takes all counts and tells how many there were.
int drain(semaphore__* semaphore)
{
    int n = 0;
    while (semaphore_lower_timed(semaphore, 0) == 0)
        n++;
    return n;
}

uint64_t now_ns()
{
    timespec now;
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000000 + static_cast<uint64_t>(now.tv_nsec);
}

} // namespace

TEST(CriticalSection, IsRecursiveAndHeldUntilTheLastLeave)
{
    critical_section__* cs = critical_section_create();
    const auto is_free_elsewhere = [&] { return elsewhere([&] { return critical_section_verify(cs); }); };
    EXPECT_TRUE(is_free_elsewhere());
    critical_section_enter(cs);
    critical_section_enter(cs);
    EXPECT_FALSE(critical_section_verify(cs));
    critical_section_leave(cs);
    EXPECT_FALSE(critical_section_verify(cs));
    EXPECT_FALSE(is_free_elsewhere());
    critical_section_leave(cs);
    EXPECT_TRUE(critical_section_verify(cs));
    EXPECT_TRUE(is_free_elsewhere());
    critical_section_release(cs);
}

TEST(CriticalSection, KeepsOthersOut)
{
    critical_section__* cs = critical_section_create();
    int counter = 0; // plain on purpose: ThreadSanitizer watches it
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++)
        threads.emplace_back([&] {
            for (int i = 0; i < 5000; i++) {
                Autolock outer_lock{cs};
                Autolock inner_lock{cs};
                counter++;
            }
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 20000);
    EXPECT_TRUE(critical_section_verify(cs));
    critical_section_release(cs);
}

TEST(CriticalSection, NullIsLoggedAndNothingElse)
{
    sidechannel_set_log_level(2);
    EXPECT_EQ(logged([] { critical_section_enter(nullptr); }),
              "ERROR [ZELVAR] Cannot lock a NULL critical section.\n");
    EXPECT_EQ(logged([] { critical_section_leave(nullptr); }),
              "ERROR [ZELVAR] Cannot leave a NULL critical section.\n");
    EXPECT_EQ(logged([] { critical_section_release(nullptr); }),
              "ERROR [ZELVAR] Cannot release a NULL critical section.\n");
    EXPECT_EQ(logged([] { EXPECT_TRUE(critical_section_verify(nullptr)); }),
              "ERROR [ZELVAR] Cannot lock a NULL critical section.\n");
    EXPECT_EQ(logged([] {
                  critical_section__* none = nullptr;
                  Autolock none_lock{none};
              }),
              "ERROR [ZELVAR] Cannot lock a NULL critical section.\n"
              "ERROR [ZELVAR] Cannot leave a NULL critical section.\n");
}

#if !defined(__SANITIZE_THREAD__) // these are misuses, which it reports by itself
TEST(CriticalSection, LeaveByAStrangerChangesNothing)
{
    sidechannel_set_log_level(2);
    critical_section__* cs = critical_section_create();
    critical_section_enter(cs);
    EXPECT_EQ(logged([&] { std::thread{[&] { critical_section_leave(cs); }}.join(); }),
              "ERROR [ZELVAR] Error unlocking critical section.\n");
    EXPECT_FALSE(critical_section_verify(cs));
    critical_section_leave(cs);
    EXPECT_TRUE(critical_section_verify(cs));
    critical_section_release(cs);
}

TEST(CriticalSection, ReleaseNeverPullsItFromUnderAHolder)
{
    sidechannel_set_log_level(2);
    critical_section__* own = critical_section_create();
    critical_section_enter(own);
    critical_section_enter(own);
    EXPECT_EQ(logged([&] { critical_section_release(own); }), "");

    critical_section__* held = critical_section_create();
    critical_section_enter(held);
    EXPECT_EQ(logged([&] { std::thread{[&] { critical_section_release(held); }}.join(); }),
              "ERROR [ZELVAR] Cannot release a critical section that is held.\n");
    critical_section_leave(held);
    EXPECT_TRUE(critical_section_verify(held));
    critical_section_release(held);
}
#endif

TEST(Semaphore, LowerIfTakesOneOrNone)
{
    semaphore__* three = semaphore_create(3);
    semaphore_lower_if(three);
    EXPECT_EQ(drain(three), 2);
    semaphore_lower_if(three); // must not block
    semaphore_raise(three);
    EXPECT_EQ(drain(three), 1);
    semaphore_release(three);
}

TEST(Semaphore, LargestStartValueIsOneBelowTheLimit)
{
    sidechannel_set_log_level(2);
    semaphore__* full = semaphore_create(0x7fffffff);
    ASSERT_NE(full, nullptr);
    EXPECT_EQ(logged([&] { semaphore_raise(full); }), "");
    EXPECT_NE(logged([&] { semaphore_raise(full); }), "");
    semaphore_release(full);
}

TEST(Semaphore, FailuresAreLoggedWithTheirNumbers)
{
    sidechannel_set_log_level(2);
    EXPECT_EQ(logged([] { EXPECT_EQ(semaphore_create(-1), nullptr); }),
              "ERROR [ZELVAR] semaphore_create(start_value=-1) - errno=22\n"
              "ERROR [ZELVAR] semaphore_create(start_value=-1) leaves with error\n");
    EXPECT_EQ(logged([] { semaphore_release(nullptr); }), "ERROR [ZELVAR] semaphore_release is NULL.\n");
    EXPECT_NE(logged([] {
                  semaphore_raise(nullptr);
                  semaphore_lower(nullptr);
                  semaphore_check(nullptr);
                  semaphore_lower_if(nullptr);
                  EXPECT_EQ(semaphore_lower_timed(nullptr, 1), -1);
              }),
              "");
}

TEST(Semaphore, TimedWaitTellsSuccessTimeOutAndOverflow)
{
    sidechannel_set_log_level(2);
    semaphore__* semaphore = semaphore_create(0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(semaphore_lower_timed(semaphore, 30000000), -2);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 25ms);

    semaphore_raise(semaphore);
    const unsigned long room = ULONG_MAX - now_ns();
    constexpr unsigned long minute = 60000000000;
    EXPECT_NE(logged([&] {
                  EXPECT_EQ(semaphore_lower_timed(semaphore, room + minute), -1);
              }).find(") failed - absolute timeout exceeds timer upper limit.\n"),
              std::string::npos);
    EXPECT_EQ(semaphore_lower_timed(semaphore, ULONG_MAX), -1);
    EXPECT_EQ(logged([&] { EXPECT_EQ(semaphore_lower_timed(semaphore, room - minute), 0); }), "");
    semaphore_release(semaphore);
}

TEST(Semaphore, CheckWaitsAndLeavesTheCount)
{
    semaphore__* semaphore = semaphore_create(0);
    std::atomic<bool> passed{false};
    std::thread checker{[&] {
        semaphore_check(semaphore);
        passed = true;
    }};
    std::this_thread::sleep_for(30ms);
    EXPECT_FALSE(passed);
    semaphore_raise(semaphore);
    checker.join();
    EXPECT_EQ(drain(semaphore), 1);
    semaphore_release(semaphore);
}

TEST(Semaphore, SignalsDoNotEndAWait)
{
    struct sigaction quiet = {};
    quiet.sa_handler = [](int) {};
    sigaction(SIGUSR1, &quiet, nullptr); // no SA_RESTART

    semaphore__* semaphore = semaphore_create(0);
    std::atomic<int> lowered{0};
    int timed_result = 1;
    std::thread plain{[&] {
        semaphore_lower(semaphore);
        lowered++;
    }};
    std::thread timed{[&] {
        timed_result = semaphore_lower_timed(semaphore, 30000000000);
        lowered++;
    }};
    for (int i = 0; i < 10; i++) {
        std::this_thread::sleep_for(5ms);
        pthread_kill(plain.native_handle(), SIGUSR1);
        pthread_kill(timed.native_handle(), SIGUSR1);
    }
    EXPECT_EQ(lowered, 0);
    semaphore_raise(semaphore);
    semaphore_raise(semaphore);
    plain.join();
    timed.join();
    EXPECT_EQ(timed_result, 0);
    semaphore_release(semaphore);
}

TEST(Threads, RunWithTheirArgumentAndAreJoined)
{
    int value = 0;
    const unsigned long handle = sidechannel_threads_create(
        [](void* argument) -> void* {
            std::this_thread::sleep_for(20ms);
            *static_cast<int*>(argument) = 42;
            return nullptr;
        },
        &value);
    ASSERT_NE(handle, 0u);
    EXPECT_EQ(sidechannel_threads_wait_for_death(handle), 0);
    EXPECT_EQ(value, 42);
    EXPECT_EQ(sidechannel_threads_wait_for_death(0), 0);
}

TEST(Primitives, FineTraceNamesEntryAndExit)
{
    critical_section__* cs = critical_section_create();
    semaphore__* semaphore = semaphore_create(0);
    const auto action = [&] {
        critical_section_enter(cs);
        critical_section_leave(cs);
        semaphore_raise(semaphore);
    };
    sidechannel_set_log_level(6567);
    EXPECT_EQ(logged(action), "");
    sidechannel_set_log_level(6568);
    const std::string text = logged(action);
    sidechannel_set_log_level(1);
    char expected[64];
    snprintf(expected, sizeof expected, "TRACE [ZELVAR] critical_section_enter(cs=[%p]) enter\n",
             static_cast<void*>(cs));
    EXPECT_EQ(count_of(text, expected), 1u) << text;
    snprintf(expected, sizeof expected, "TRACE [ZELVAR] semaphore_raise(%p) leaves with success.\n",
             static_cast<void*>(semaphore));
    EXPECT_EQ(count_of(text, expected), 1u) << text;
    EXPECT_EQ(count_of(text, "\n"), 6u);
    semaphore_release(semaphore);
    critical_section_release(cs);
}
