#include "tpakutil/tpak_main.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace {

/// About what it takes to wake a sleeping thread on a virtual machine's idle core. Who waits for as long
/// awake spends at most twice what he would have otherwise, and mostly much less: threads end a frame within
/// a few superblocks of each other, and a caller with many frames has the next one at once.
constexpr std::chrono::microseconds patience{100};

/// False when it doesn't come true in time.
template <class condition>
bool comes_true_soon(const condition& is_true)
{
    const auto end = std::chrono::steady_clock::now() + patience;
    do {
        for (int i = 0; i < 32; i++) {
            if (is_true())
                return true;
#if defined(__i386__) || defined(__x86_64__)
            __builtin_ia32_pause();
#endif
        }
    } while (std::chrono::steady_clock::now() < end);
    return false;
}

} // namespace

struct tpak_threads::state
{
    void serve(unsigned number);
    bool is_wanted() const { return stop || to_begin > 0; }

    // All change under the lock; the atomic ones are looked at without.
    std::mutex lock;
    std::condition_variable wanted;
    std::condition_variable done;
    void (*work)(void* context, unsigned number) = nullptr;
    void* context = nullptr;
    std::atomic<size_t> to_begin{0}; // threads that may still take part
    std::atomic<size_t> at_work{0};
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
};

void tpak_threads::state::serve(unsigned number)
{
    std::unique_lock<std::mutex> guard{lock};
    for (;;) {
        wanted.wait(guard, [this] { return is_wanted(); });
        if (stop)
            return;
        to_begin--;
        at_work++;
        guard.unlock();
        work(context, number);
        guard.lock();
        if (--at_work == 0)
            done.notify_one();
        guard.unlock();
        comes_true_soon([this] { return is_wanted(); });
        guard.lock();
    }
}

tpak_threads::tpak_threads(unsigned count) : _state{std::make_unique<state>()}
{
    _state->threads.reserve(count);
    try {
        for (unsigned number = 1; number < count; number++)
            _state->threads.emplace_back(&state::serve, _state.get(), number);
    } catch (const std::system_error&) {
    }
}

tpak_threads::~tpak_threads()
{
    {
        const std::lock_guard<std::mutex> guard{_state->lock};
        _state->stop = true;
    }
    _state->wanted.notify_all();
    for (std::thread& thread : _state->threads)
        thread.join();
}

void tpak_threads::run(void (*work)(void* context, unsigned number), void* context)
{
    {
        const std::lock_guard<std::mutex> guard{_state->lock};
        _state->work = work;
        _state->context = context;
        _state->to_begin = _state->threads.size();
    }
    _state->wanted.notify_all();
    work(context, 0);
    std::unique_lock<std::mutex> guard{_state->lock};
    _state->to_begin = 0;
    guard.unlock();
    if (comes_true_soon([this] { return _state->at_work == 0; }))
        return;
    guard.lock();
    _state->done.wait(guard, [this] { return _state->at_work == 0; });
}
