#include "workers/zelvar_context_worker.h"

#include "inbound/decoder.h"
#include "registration/host_call.h"
#include "sidechannel_log.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

namespace {
/// Asynchronous releases under way; unloading waits for them.
std::atomic<int> releases_under_way{0};

bool host_has(auto sidechannel_egl_imports::*slot)
{
    return zelvar_imports_get_egl_ptrs()->*slot != nullptr;
}

void destroy_current_context(EGLDisplay display, EGLContext context)
{
    auto destroyed = host::egl<&sidechannel_egl_imports::eglDestroyContext>(display, context);
    if (!destroyed.result)
        LOG_WARN("Could not release GLES2.0 context that would have leaked otherwise. Error reported [%#x]",
                 destroyed.error);
    auto unbound = host::egl<&sidechannel_egl_imports::eglMakeCurrent>(display, EGL_NO_SURFACE,
                                                                       EGL_NO_SURFACE, EGL_NO_CONTEXT);
    // Kept as it is: the line stands for the error word 0.
    if (unbound.error == 0)
        LOG_ERROR("Could not unbind current GLES2.0 context. Error reported [%#x]", unbound.error);
}

/// Only the worker's own thread can tidy the host's thread state. A host without EGL has none.
void tidy_host_thread()
{
    if (host_has(&sidechannel_egl_imports::eglGetCurrentDisplay) &&
        host_has(&sidechannel_egl_imports::eglGetCurrentContext)) {
        EGLDisplay display = host::egl_unchecked<&sidechannel_egl_imports::eglGetCurrentDisplay>();
        EGLContext context = host::egl_unchecked<&sidechannel_egl_imports::eglGetCurrentContext>();
        if (display && context)
            destroy_current_context(display, context);
    }
    if (host_has(&sidechannel_egl_imports::eglReleaseThread)) {
        auto released = host::egl<&sidechannel_egl_imports::eglReleaseThread>();
        if (!released.result)
            LOG_ERROR("Failed to clean out host thread context. Error reported [%#x]", released.error);
    }
}

/// Takes the front task; false when the queue is empty.
bool pop_task(_zelvar_context_worker& worker, _zelvar_context_worker_task& task)
{
    Autolock queue_lock{worker.queue_cs};
    if (worker.tasks.empty())
        return false;
    task = worker.tasks.front();
    worker.tasks.pop();
    return true;
}

bool push_task(_zelvar_context_worker& worker, const _zelvar_context_worker_task& task)
{
    Autolock queue_lock{worker.queue_cs};
    try {
        worker.tasks.push(task);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

/// Batches are large and follow each other: fresh memory for each would come from the kernel every time.
constexpr uint32_t smallest_spare = 4 * 1024;
constexpr uint32_t spare_size = 256 * 1024;

void* space_for_message(_zelvar_context_worker& worker, uint32_t size)
{
    if (size < smallest_spare || size > spare_size)
        return std::malloc(size ? size : 1);
    void* spare = worker.spare.exchange(nullptr, std::memory_order_acquire);
    return spare ? spare : std::malloc(spare_size);
}

void keep_for_next(_zelvar_context_worker& worker, const _zelvar_context_worker_task& task)
{
    void* message = task.message;
    if (task.size >= smallest_spare && task.size <= spare_size)
        message = worker.spare.exchange(message, std::memory_order_release);
    std::free(message);
}

/// The thread's entry function: no exception leaves it.
void* worker_thread(void* argument)
{
    auto& worker = *static_cast<_zelvar_context_worker*>(argument);
    for (;;) {
        semaphore_lower(worker.queue_semaphore);
        if (worker.terminate.load(std::memory_order_acquire))
            break;
        _zelvar_context_worker_task task;
        if (!pop_task(worker, task))
            continue;
        try {
            if (task.callback)
                task.callback(task.pid, task.tid, task.message, task.size);
        } catch (...) {
            LOG_FATAL("A decoder has thrown; the message of <%d, %ld> is dropped.", task.pid,
                      static_cast<long>(task.tid));
        }
        keep_for_next(worker, task);
    }
    tidy_host_thread();
    decode_scratch_release();
    semaphore_raise(worker.done);
    return nullptr;
}

void tell_to_end(_zelvar_context_worker& worker)
{
    worker.terminate.store(true, std::memory_order_release);
    semaphore_raise(worker.queue_semaphore);
}

/// Stops the thread and waits for its end; the object goes with its last reference.
void stop(_zelvar_context_worker& worker)
{
    tell_to_end(worker);
    if (worker.thread == 0)
        return; // never ran
    semaphore_lower(worker.done);
    sidechannel_threads_wait_for_death(worker.thread);
}

/// Workers that could not be made to end; they keep their objects.
std::vector<std::shared_ptr<_zelvar_context_worker>>& stayed =
    *new std::vector<std::shared_ptr<_zelvar_context_worker>>;

uint64_t nanoseconds_until(std::chrono::steady_clock::time_point deadline)
{
    auto left = deadline - std::chrono::steady_clock::now();
    return left.count() > 0 ? static_cast<uint64_t>(std::chrono::nanoseconds(left).count()) : 0;
}

struct release_argument
{
    std::shared_ptr<_zelvar_context_worker> worker;
    std::shared_ptr<void> keep_alive;
};

void* release_thread(void* argument)
{
    {
        std::unique_ptr<release_argument> release{static_cast<release_argument*>(argument)};
        stop(*release->worker);
    }
    releases_under_way.fetch_sub(1);
    releases_under_way.notify_all();
    return nullptr;
}
} // namespace

_zelvar_context_worker::~_zelvar_context_worker()
{
    // Tasks that were queued behind the end are not run; their copies end here.
    for (; !tasks.empty(); tasks.pop())
        std::free(tasks.front().message);
    std::free(spare.load());
    if (done)
        semaphore_release(done);
    if (queue_semaphore)
        semaphore_release(queue_semaphore);
    if (queue_cs)
        critical_section_release(queue_cs);
}

std::shared_ptr<_zelvar_context_worker> zelvar_context_worker_create()
{
    std::shared_ptr<_zelvar_context_worker> worker;
    try {
        worker = std::make_shared<_zelvar_context_worker>();
    } catch (const std::bad_alloc&) {
        LOG_FATAL("Out of memory while allocating _zelvar_context_worker instance.");
        return nullptr;
    }
    worker->done = semaphore_create(0);
    worker->queue_semaphore = semaphore_create(0);
    worker->queue_cs = critical_section_create();
    if (!worker->done || !worker->queue_semaphore || !worker->queue_cs) {
        LOG_FATAL("Out of memory while allocating _zelvar_context_worker's members!");
        return nullptr;
    }
    worker->thread = sidechannel_threads_create(worker_thread, worker.get());
    return worker;
}

void zelvar_context_worker_enqueue(const std::shared_ptr<_zelvar_context_worker>& worker,
                                   inbound_decoder callback, pid_t pid, tid_t tid, const void* message,
                                   uint32_t size)
{
    void* copy = worker ? space_for_message(*worker, size) : nullptr;
    if (!copy) {
        LOG_FATAL("Cannot enqueue new task - out of memory while allocating %d bytes for internal message "
                  "storage!",
                  size);
        return;
    }
    std::memcpy(copy, message, size);
    if (!push_task(*worker, {callback, size, copy, pid, tid})) {
        LOG_FATAL("Cannot enqueue new task - out of memory while allocating %d bytes for internal message "
                  "storage!",
                  size);
        std::free(copy);
        return;
    }
    // Behind the lock: a worker that wakes at once would only wait for it.
    semaphore_raise(worker->queue_semaphore);
}

void zelvar_context_worker_release(std::shared_ptr<_zelvar_context_worker> worker, bool asynchronous,
                                   std::shared_ptr<void> keep_alive)
{
    if (!worker)
        return;
    if (!asynchronous) {
        stop(*worker);
        return;
    }
    auto* release = new (std::nothrow) release_argument{std::move(worker), std::move(keep_alive)};
    if (!release)
        return; // the worker stays, idle
    releases_under_way.fetch_add(1);
    unsigned long thread = sidechannel_threads_create(release_thread, release);
    if (thread == 0) {
        releases_under_way.fetch_sub(1);
        release->worker->terminate.store(true, std::memory_order_release);
        return; // leaked on purpose: the worker may still run this very call
    }
    sidechannel_threads_detach(thread);
}

size_t zelvar_context_worker_stop_all(const std::vector<std::shared_ptr<_zelvar_context_worker>>& workers,
                                      uint64_t timeout_ns)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::nanoseconds(timeout_ns);
    size_t left = 0;
    for (const auto& worker : workers)
        tell_to_end(*worker);
    for (const auto& worker : workers) {
        if (worker->thread == 0)
            continue;
        if (semaphore_lower_timed(worker->done, nanoseconds_until(deadline)) == 0) {
            sidechannel_threads_wait_for_death(worker->thread);
        } else {
            stayed.push_back(worker);
            ++left;
        }
    }
    while (releases_under_way.load() > 0 && nanoseconds_until(deadline) > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return left + static_cast<size_t>(releases_under_way.load());
}

void zelvar_context_worker_wait_for_releases()
{
    for (int running = releases_under_way.load(); running > 0; running = releases_under_way.load())
        releases_under_way.wait(running);
}
