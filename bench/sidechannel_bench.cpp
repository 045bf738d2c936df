// What the side channel itself costs. `limit_ns` is the most that `ns` may be, `ratio` compares it with its
// peer in the same run.

#include "sidechannel_log.h"
#include "sidechannel_primitives.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <ctime>

namespace {

constexpr int lines = 1 << 16;

/// Processor time of this thread: what other processes take meanwhile is no cost of a line.
double thread_nanoseconds()
{
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// A log line that is gated off, against a loop that only loads the level.
void gated_off_log_line(benchmark::State& state)
{
    sidechannel_set_log_level(2);
    double line_ns = 0, load_ns = 0;
    for (auto _ : state) {
        auto start = thread_nanoseconds();
        for (int i = 0; i < lines; i++) {
            benchmark::DoNotOptimize(i);
            LOG_TRACE("message %d of a channel", i);
        }
        const double with_lines = thread_nanoseconds() - start;
        start = thread_nanoseconds();
        for (int i = 0; i < lines; i++) {
            benchmark::DoNotOptimize(i);
            uint32_t level = sidechannel_log_level.load(std::memory_order_relaxed);
            benchmark::DoNotOptimize(level);
        }
        load_ns += thread_nanoseconds() - start;
        line_ns += with_lines;
        state.SetIterationTime(with_lines * 1e-9);
    }
    const double n = static_cast<double>(state.iterations()) * lines;
    state.counters["ns"] = line_ns / n;
    state.counters["peer_ns"] = load_ns / n;
    state.counters["ratio"] = line_ns / load_ns;
    state.counters["limit_ns"] = 1;
}
BENCHMARK(gated_off_log_line)->UseManualTime();

struct PingPong
{
    semaphore__* request = semaphore_create(0);
    semaphore__* answer = semaphore_create(0);
    std::atomic<bool> stop{false};
};

void* answer_until_stopped(void* argument)
{
    auto& game = *static_cast<PingPong*>(argument);
    for (;;) {
        semaphore_lower(game.request);
        if (game.stop)
            return nullptr;
        semaphore_raise(game.answer);
    }
}

/// Two hand-overs between two threads: what no call that waits for its answer can be faster than.
void two_semaphore_handovers(benchmark::State& state)
{
    PingPong game;
    const unsigned long thread = sidechannel_threads_create(answer_until_stopped, &game);
    for (auto _ : state) {
        semaphore_raise(game.request);
        semaphore_lower(game.answer);
    }
    game.stop = true;
    semaphore_raise(game.request);
    sidechannel_threads_wait_for_death(thread);
    semaphore_release(game.request);
    semaphore_release(game.answer);
}
BENCHMARK(two_semaphore_handovers)->UseRealTime();

void critical_section_round(benchmark::State& state)
{
    critical_section__* cs = critical_section_create();
    for (auto _ : state)
        Autolock cs_lock{cs};
    critical_section_release(cs);
}
BENCHMARK(critical_section_round);

} // namespace
