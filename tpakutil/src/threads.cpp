#include "tpakutil/tpak_main.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

struct tpak_threads::state
{
    void serve(unsigned number);

    std::mutex lock;
    std::condition_variable wanted;
    std::condition_variable done;
    void (*work)(void* context, unsigned number) = nullptr;
    void* context = nullptr;
    size_t to_begin = 0; // threads that may still take part
    size_t at_work = 0;
    bool stop = false;
    std::vector<std::thread> threads;
};

void tpak_threads::state::serve(unsigned number)
{
    std::unique_lock<std::mutex> guard{lock};
    for (;;) {
        wanted.wait(guard, [this] { return stop || to_begin > 0; });
        if (stop)
            return;
        to_begin--;
        at_work++;
        guard.unlock();
        work(context, number);
        guard.lock();
        if (--at_work == 0)
            done.notify_one();
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
    _state->done.wait(guard, [this] { return _state->at_work == 0; });
}
