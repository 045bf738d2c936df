#include "shim/late_frames.h"

#include "shim/connection.h"
#include "shim/log.h"
#include "shim/process_lock.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <deque>
#include <pthread.h>

namespace shim {

namespace {

enum class watch
{
    none,
    running,
    impossible,
};

struct arrived_frame
{
    void (*show)(void* owner, uint32_t number) = nullptr;
    void* owner = nullptr;
    uint32_t number = 0;
};

/// Never destroyed, as all here.
struct arrived_frames
{
    process_lock showing; // held while one is shown; they are shown in the order in which they arrived
    process_lock lock;    // guards `frames`
    std::deque<arrived_frame> frames;
    std::atomic<uint32_t> count{0}; // of those, and of the one that is being shown
};

arrived_frames& arrived = *new arrived_frames;

// Written under the process-wide lock. Never destroyed: the thread runs until the process ends.
watch watching = watch::none;
std::atomic<uint32_t>& sent = *new std::atomic<uint32_t>{0};
/// Applications that draw all the time come back sooner.
std::atomic<uint32_t> patience_ms{4};

void be_patient()
{
    const uint32_t time = patience_ms.load(std::memory_order_relaxed);
    const timespec nap{static_cast<time_t>(time / 1000), static_cast<long>(time % 1000) * 1'000'000};
    nanosleep(&nap, nullptr);
}

void* look_after_frames(void*)
{
    for (uint32_t seen = 0;;) {
        sent.wait(seen, std::memory_order_acquire);
        do {
            seen = sent.load(std::memory_order_acquire);
            be_patient();
        } while (sent.load(std::memory_order_acquire) != seen);
        settle_late_frames();
    }
    return nullptr;
}

/// The application's signals are for its own threads.
bool start_thread()
{
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread;
    const bool started = pthread_create(&thread, nullptr, look_after_frames, nullptr) == 0;
    if (started)
        pthread_detach(thread);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

} // namespace

bool late_frames_are_watched()
{
    if (watching == watch::none) {
        watching = start_thread() ? watch::running : watch::impossible;
        if (watching == watch::impossible)
            say(gate::warn, "No thread can be started; each frame waits until it has been delivered.");
    }
    return watching == watch::running;
}

void show_later(void (*show)(void*, uint32_t), void* owner, uint32_t number)
{
    const std::lock_guard<process_lock> guard{arrived.lock};
    arrived.frames.push_back({show, owner, number});
    arrived.count.fetch_add(1, std::memory_order_release);
}

void show_arrived_frames()
{
    while (arrived.count.load(std::memory_order_acquire)) {
        const std::lock_guard<process_lock> order{arrived.showing};
        arrived_frame next;
        {
            const std::lock_guard<process_lock> guard{arrived.lock};
            if (arrived.frames.empty())
                return;
            next = arrived.frames.front();
            arrived.frames.pop_front();
        }
        next.show(next.owner, next.number);
        arrived.count.fetch_sub(1, std::memory_order_release);
    }
}

void pause_before_showing::take() const
{
    constexpr std::chrono::microseconds long_wait{500}; // several times what the pause takes
    constexpr timespec shortest{0, 1};                  // the timer's slack makes some 50 us of it
    if (std::chrono::steady_clock::now() - begun_ > long_wait)
        nanosleep(&shortest, nullptr);
}

void settle_late_frames()
{
    finish_late_frames();
    show_arrived_frames();
}

void note_late_frame()
{
    sent.fetch_add(1, std::memory_order_release);
    sent.notify_one();
}

void set_late_frame_patience(uint32_t milliseconds)
{
    patience_ms.store(milliseconds, std::memory_order_relaxed);
}

void forget_late_frames()
{
    watching = watch::none;
    arrived.lock.revive();
    arrived.showing.revive();
    arrived.frames.clear();
    arrived.count = 0;
}

} // namespace shim
