// How the two sides of the link wait for their turn.

#include "protocol.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {
using namespace device_link;

constexpr int64_t short_wait = 5'000;  // nanoseconds
constexpr int64_t long_wait = 900'000; // a frame

TEST(waiting, HabitsFollowEachKindOfMessage)
{
    if (sysconf(_SC_NPROCESSORS_ONLN) < 2)
        GTEST_SKIP() << "one processor: nobody else could take the turn meanwhile";
    constexpr uint32_t swap = 1200;
    constexpr uint32_t query = 84;
    waiting_habits habits;
    EXPECT_GT(habits.nanoseconds_to_look(swap), 0);
    habits.learn(swap, long_wait);
    habits.learn(query, short_wait);
    habits.learn(swap, long_wait);
    EXPECT_EQ(habits.nanoseconds_to_look(swap), 0);
    EXPECT_GT(habits.nanoseconds_to_look(query), 0);
    // One odd wait changes nothing, and what has become short is looked for again.
    habits.learn(query, long_wait);
    EXPECT_GT(habits.nanoseconds_to_look(query), 0);
    for (int i = 0; i < 10; ++i)
        habits.learn(swap, short_wait);
    EXPECT_GT(habits.nanoseconds_to_look(swap), 0);
}

TEST(waiting, NoTurnIsLostBetweenLookingAndSleeping)
{
    constexpr int rounds = 3000;
    std::atomic<uint32_t> word{turn_target};
    int shared = 0; // written by the side whose turn it is
    const auto play = [&](uint32_t mine, uint32_t other, int pause_every) {
        waiting_habits habits;
        for (int i = 0; i < rounds; ++i) {
            while (wait_as_usual(word, other, 500, habits, static_cast<uint32_t>(i % 3)) != mine) {
            }
            ++shared;
            if (i % pause_every == 0)
                std::this_thread::sleep_for(std::chrono::microseconds(150)); // longer than anybody looks
            hand_over(word, other);
        }
    };
    std::thread simulator{play, turn_simulator, turn_target, 7};
    play(turn_target, turn_simulator, 11);
    simulator.join();
    EXPECT_EQ(shared, 2 * rounds);
}
} // namespace
