#include "shim/sync_objects.h"

#include "shim/process_lock.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>

namespace shim {

namespace {

struct sync_object
{
    uint64_t signals = 0;
    bool destroyed = false;
    std::condition_variable changed;
};

// Guarded by objects_lock. Never destroyed: threads may wait while the process exits.
process_lock& objects_lock = *new process_lock;
std::map<uint64_t, std::shared_ptr<sync_object>>& objects =
    *new std::map<uint64_t, std::shared_ptr<sync_object>>;
uint64_t last_id = 0;

std::shared_ptr<sync_object> find(uint64_t id)
{
    const auto found = objects.find(id);
    return found == objects.end() ? nullptr : found->second;
}

} // namespace

uint64_t create_sync_object()
{
    const std::lock_guard<process_lock> guard{objects_lock};
    objects[++last_id] = std::make_shared<sync_object>();
    return last_id;
}

bool destroy_sync_object(uint64_t id)
{
    const std::lock_guard<process_lock> guard{objects_lock};
    const auto object = find(id);
    if (!object)
        return false;
    object->destroyed = true;
    object->changed.notify_all();
    objects.erase(id);
    return true;
}

bool signal_sync_object(uint64_t id)
{
    const std::lock_guard<process_lock> guard{objects_lock};
    const auto object = find(id);
    if (!object)
        return false;
    ++object->signals;
    object->changed.notify_all();
    return true;
}

uint64_t sync_object_signals(uint64_t id)
{
    const std::lock_guard<process_lock> guard{objects_lock};
    const auto object = find(id);
    return object ? object->signals : 0;
}

bool wait_for_sync_object(uint64_t id, uint64_t seen, uint64_t timeout)
{
    std::unique_lock<std::mutex> guard{objects_lock.native()};
    const auto object = find(id);
    if (!object)
        return true;
    const auto over = [&] { return object->destroyed || object->signals > seen; };
    if (timeout == UINT64_MAX) {
        object->changed.wait(guard, over);
        return true;
    }
    // A century is for ever, too, and can be added to the clock.
    constexpr uint64_t century = 3'155'760'000'000'000'000;
    const std::chrono::nanoseconds time{std::min(timeout, century)};
    return object->changed.wait_until(guard, std::chrono::steady_clock::now() + time, over);
}

void forget_sync_objects()
{
    objects_lock.revive();
    // The objects are left as they are: a parent's threads may have waited on them.
    new (&objects) std::map<uint64_t, std::shared_ptr<sync_object>>;
    last_id = 0;
}

} // namespace shim
