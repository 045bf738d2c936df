#pragma once
// One host thread per target thread: host EGL and OpenGL ES bind their current context to the calling thread,
// so each target thread gets a thread of its own and nothing is ever switched.

#include "inbound/message_table.h"
#include "sidechannel_primitives.h"
#include "zelvar_types.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <queue>
#include <vector>

/// One queued message. The copy is freed by whoever ends the task.
struct _zelvar_context_worker_task
{
    inbound_decoder callback = nullptr; // may be null: the task is skipped
    uint32_t size = 0;
    void* message = nullptr; // malloc'ed copy, header included
    pid_t pid = 0;
    tid_t tid = 0;
};

struct _zelvar_context_worker
{
    std::atomic<bool> terminate{false};
    semaphore__* done = nullptr;            // raised by the thread as its last act
    semaphore__* queue_semaphore = nullptr; // one count per queued task
    unsigned long thread = 0;
    std::queue<_zelvar_context_worker_task> tasks; // guarded by queue_cs
    critical_section__* queue_cs = nullptr;
    std::atomic<void*> spare{nullptr}; // memory of a batch that is done, for the next one

    ~_zelvar_context_worker();
};

/// A running worker, or null.
std::shared_ptr<_zelvar_context_worker> zelvar_context_worker_create();
/// Queues a copy of a message; a null worker or a failed copy drops it with a FATAL line. Runs on the
/// simulator's thread.
void zelvar_context_worker_enqueue(const std::shared_ptr<_zelvar_context_worker>& worker,
                                   inbound_decoder callback, pid_t pid, tid_t tid, const void* message,
                                   uint32_t size);
/// Stops a worker and waits until it is gone; pending tasks are not run. `asynchronous`: on a thread of its
/// own, so that a worker can release itself. `keep_alive` is dropped once the worker is done (its scratch
/// memory).
void zelvar_context_worker_release(std::shared_ptr<_zelvar_context_worker> worker, bool asynchronous,
                                   std::shared_ptr<void> keep_alive = nullptr);
/// Stops workers for good while the library is taken down, and waits for them and for the asynchronous
/// releases under way, `timeout_ns` at the most: one that waits for a lock of the simulator's can't be made
/// to end, and stays, idle. Returns how many stayed.
size_t zelvar_context_worker_stop_all(const std::vector<std::shared_ptr<_zelvar_context_worker>>& workers,
                                      uint64_t timeout_ns);
/// Waits until every asynchronous release has ended.
void zelvar_context_worker_wait_for_releases();
