// What a call costs: batched, decoder and handler alone over host tables without cost; unbatched, from the
// shim through the worker and back, beside the two hand-overs between threads that no such call can do
// without.

#include "inbound/message_table.h"
#include "object_manager/records.h"
#include "settings/zelvar_settings.h"
#include "shim/target_names.h"
#include "sidechannel_log.h"
#include "sidechannel_primitives.h"
#include "support/fake_host.h"
#include "support/in_process_target.h"
#include "support/library.h"
#include "support/message.h"
#include "workers/zelvar_context_worker.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <pthread.h>
#include <sched.h>
#include <thread>
#include <vector>

extern "C" void* __libc_malloc(size_t size);

namespace {
std::atomic<uint64_t> allocations{0};
} // namespace

// Every allocation of this process is counted; operator new ends here too.
extern "C" void* malloc(size_t size)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    return __libc_malloc(size);
}

void _zelvar_inbound_traffic_batch_commands(pid_t pid, tid_t tid, void* message, uint32_t size);

namespace {
constexpr int32_t pid = 7;
constexpr uint64_t tid = 9;

scPluginInterface* library_without_driver()
{
    static scPluginInterface* plugin = [] {
        scPluginInterface* started = library::start_quiet();
        sidechannel_set_log_level(0);
        return started;
    }();
    return plugin;
}

double nanoseconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

/// Commands of a batch run one behind the other; the batch's own frame and release are spread over them.
void batched_void_call(benchmark::State& state)
{
    library_without_driver();
    library::make_current(pid, tid);
    zelvar_settings.batchCommands = true;
    constexpr uint32_t commands = 4096;
    message batch(wire::inbound::batch_commands, pid, tid);
    batch.u32(commands);
    for (uint32_t i = 0; i < commands; ++i)
        batch.raw(message(wire::inbound::gles20_scissor, pid, tid).i32(i).i32(0).i32(64).i32(64).bytes());
    std::vector<uint8_t> bytes = batch.bytes();
    auto size = static_cast<uint32_t>(bytes.size());

    // A call straight through the table, with the error query behind it, is what can't be saved.
    double direct = 0;
    uint64_t allocated = 0;
    double through = 0;
    for (auto _ : state) {
        uint64_t before = allocations.load();
        auto start = std::chrono::steady_clock::now();
        _zelvar_inbound_traffic_batch_commands(pid, tid, bytes.data(), size);
        double took = nanoseconds_since(start);
        allocated += allocations.load() - before;
        through += took;
        state.SetIterationTime(took * 1e-9);
        const auto* gles = zelvar_imports_get_gles_ptrs();
        start = std::chrono::steady_clock::now();
        for (uint32_t i = 0; i < commands; ++i) {
            gles->glScissor(static_cast<GLint>(i), 0, 64, 64);
            benchmark::DoNotOptimize(gles->glGetError());
        }
        direct += nanoseconds_since(start);
    }
    double calls = static_cast<double>(state.iterations()) * commands;
    state.counters["ns"] = through / calls;
    state.counters["limit_ns"] = 200;
    state.counters["peer_ns"] = direct / calls;
    state.counters["ratio"] = through / direct;
    state.counters["allocations"] = static_cast<double>(allocated) / calls;
    // The release of a whole batch may allocate, a command may not.
    state.counters["limit_allocations"] = 0.01;
    zelvar_settings.batchCommands = false;
}
BENCHMARK(batched_void_call)->UseManualTime();

struct hand_over_game
{
    semaphore__* request = semaphore_create(0);
    semaphore__* answer = semaphore_create(0);
    std::atomic<bool> stop{false};
};

void* answer_until_stopped(void* argument)
{
    auto& game = *static_cast<hand_over_game*>(argument);
    for (;;) {
        semaphore_lower(game.request);
        if (game.stop)
            return nullptr;
        semaphore_raise(game.answer);
    }
}

void run_on_core(pthread_t thread, int core)
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    pthread_setaffinity_np(thread, sizeof(cores), &cores);
}

/// The threads of this process's workers.
std::vector<pthread_t> worker_threads()
{
    std::vector<pthread_t> threads;
    Autolock common_lock{pid_to_process_data_map_common_cs};
    for (const auto& [process, common] : pid_to_process_data_map_common)
        for (const auto& [thread, entry] : common.workers)
            threads.push_back(entry.worker->thread);
    return threads;
}

/// From the shim's encoder to the worker's handler and back to the application, against two hand-overs
/// measured in turn with it. A hand-over to another core can cost ten times one on the same core, so both
/// sides get the same places: application and answering thread on one core (argument 1) or on two (argument
/// 2).
void unbatched_void_call(benchmark::State& state)
{
    // One connection serves all runs of this function.
    static const bool connected = [] {
        in_process_target::start(
            {.plugin = library_without_driver(), .by = in_process_target::driving::direct});
        target_glFlush(); // opens the channel and exchanges the settings
        return true;
    }();
    benchmark::DoNotOptimize(connected);
    zelvar_settings.batchCommands = false;
    sidechannel_set_log_level(0);
    hand_over_game game;
    unsigned long thread = sidechannel_threads_create(answer_until_stopped, &game);
    int answering_core = static_cast<int>(state.range(0)) - 1;
    run_on_core(pthread_self(), 0);
    run_on_core(thread, answering_core);
    for (pthread_t worker : worker_threads())
        run_on_core(worker, answering_core);
    constexpr int rounds = 512;
    double calls_ns = 0;
    double hand_overs_ns = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < rounds; ++i)
            target_glScissor(i, 0, 64, 64);
        double took = nanoseconds_since(start);
        calls_ns += took;
        state.SetIterationTime(took * 1e-9);
        start = std::chrono::steady_clock::now();
        for (int i = 0; i < rounds; ++i) {
            semaphore_raise(game.request);
            semaphore_lower(game.answer);
        }
        hand_overs_ns += nanoseconds_since(start);
    }
    game.stop = true;
    semaphore_raise(game.request);
    sidechannel_threads_wait_for_death(thread);
    double n = static_cast<double>(state.iterations()) * rounds;
    state.counters["ns"] = calls_ns / n;
    state.counters["peer_ns"] = hand_overs_ns / n;
    state.counters["ratio"] = calls_ns / hand_overs_ns;
    state.counters["limit_ratio"] = 1.5;
}
BENCHMARK(unbatched_void_call)
    ->ArgName("cores")
    ->DenseRange(1, std::min(2u, std::thread::hardware_concurrency()))
    ->UseManualTime();
} // namespace
