#include "sidechannel_primitives.h"

#include "sidechannel_log.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <limits>
#include <new>
#include <pthread.h>
#include <semaphore.h>

struct critical_section__
{
    // Recursive even where pthread_mutex_init fails, since the memory is handed out in that case too.
    pthread_mutex_t mutex = PTHREAD_RECURSIVE_MUTEX_INITIALIZER_NP;
    // Changed by the holder only; anyone may look.
    std::atomic<uint32_t> recursion{0};
};

struct semaphore__
{
    sem_t handle;
};

namespace {

constexpr uint64_t nanoseconds_per_second = 1000000000;

bool init_recursive(pthread_mutex_t& mutex)
{
    pthread_mutexattr_t attributes;
    if (pthread_mutexattr_init(&attributes) != 0)
        return false;
    const bool done = pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE) == 0 &&
                      pthread_mutex_init(&mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return done;
}

/// By the holder, who is the only one: a locked instruction on every call would be for nothing.
void change(std::atomic<uint32_t>& recursion, int by)
{
    recursion.store(recursion.load(std::memory_order_relaxed) + static_cast<uint32_t>(by),
                    std::memory_order_relaxed);
}

/// Waits through signals; 0 or an errno value.
int wait_for(sem_t& semaphore)
{
    while (sem_wait(&semaphore) != 0) {
        if (errno != EINTR)
            return errno;
    }
    return 0;
}

int wait_for_until(sem_t& semaphore, const timespec& deadline)
{
    while (sem_timedwait(&semaphore, &deadline) != 0) {
        if (errno != EINTR)
            return errno;
    }
    return 0;
}

} // namespace

critical_section__* critical_section_create()
{
    LOG_FINE("critical_section_create() enter");
    auto* cs = new (std::nothrow) critical_section__;
    if (cs == nullptr) {
        LOG_FATAL("Out of memory while allocating space for a critical section");
        return nullptr;
    }
    if (!init_recursive(cs->mutex))
        LOG_FATAL("Error creating a mutex for internal critical section implementation.");
    LOG_FINE("critical_section_create() leaves with cs=[%p].", cs);
    return cs;
}

void critical_section_release(critical_section__* cs)
{
    LOG_FINE("critical_section_release(cs=[%p]) enter", cs);
    if (cs == nullptr) {
        LOG_ERROR("Cannot release a NULL critical section.");
        return;
    }
    // What the caller still holds is left first; what another thread holds would be pulled from under it,
    // so it stays.
    if (pthread_mutex_trylock(&cs->mutex) != 0) {
        LOG_ERROR("Cannot release a critical section that is held.");
        return;
    }
    for (uint64_t n = uint64_t{cs->recursion.load()} + 1; n > 0; n--)
        pthread_mutex_unlock(&cs->mutex);
    pthread_mutex_destroy(&cs->mutex);
    LOG_FINE("critical_section_release(cs=[%p]) leaves with success.", cs);
    delete cs;
}

ZELVAR_TSA(no_thread_safety_analysis) void critical_section_enter(critical_section__* cs)
{
    LOG_FINE("critical_section_enter(cs=[%p]) enter", cs);
    if (cs == nullptr) {
        LOG_ERROR("Cannot lock a NULL critical section.");
        return;
    }
    if (pthread_mutex_lock(&cs->mutex) != 0) {
        LOG_ERROR("Error locking critical section.");
        return;
    }
    change(cs->recursion, 1);
    LOG_FINE("critical_section_enter(cs=[%p]) leaves with success.", cs);
}

ZELVAR_TSA(no_thread_safety_analysis) void critical_section_leave(critical_section__* cs)
{
    LOG_FINE("critical_section_leave(cs=[%p]) enter", cs);
    if (cs == nullptr) {
        LOG_ERROR("Cannot leave a NULL critical section.");
        return;
    }
    // Counted down first: after the unlock the next holder may release the section.
    change(cs->recursion, -1);
    if (pthread_mutex_unlock(&cs->mutex) != 0) {
        change(cs->recursion, 1);
        LOG_ERROR("Error unlocking critical section.");
        return;
    }
    LOG_FINE("critical_section_leave(cs=[%p]) leaves with success.", cs);
}

bool critical_section_verify(critical_section__* cs)
{
    LOG_FINE("critical_section_verify(cs=[%p]) enter", cs);
    if (cs == nullptr) {
        LOG_ERROR("Cannot lock a NULL critical section.");
        return true;
    }
    const bool is_free = cs->recursion.load() == 0;
    LOG_FINE("critical_section_verify(cs=[%p]) leaves with %d", cs, is_free);
    return is_free;
}

Autolock::Autolock(critical_section__*& cs) : _cs{cs}
{
    critical_section_enter(_cs);
}

Autolock::~Autolock()
{
    critical_section_leave(_cs);
}

semaphore__* semaphore_create(int start_value)
{
    LOG_FINE("semaphore_create(start_value=%d) enter", start_value);
    const int first = start_value == std::numeric_limits<int>::max() ? start_value - 1 : start_value;
    auto* semaphore = new (std::nothrow) semaphore__;
    if (semaphore == nullptr || sem_init(&semaphore->handle, 0, static_cast<unsigned>(first)) != 0) {
        const int reason = semaphore == nullptr ? ENOMEM : errno;
        LOG_ERROR("semaphore_create(start_value=%d) - errno=%d", start_value, reason);
        LOG_ERROR("semaphore_create(start_value=%d) leaves with error", start_value);
        delete semaphore;
        return nullptr;
    }
    LOG_FINE("semaphore_create(start_value=%d) leaves with success.", start_value);
    return semaphore;
}

void semaphore_release(semaphore__* semaphore)
{
    LOG_FINE("semaphore_release(%p) enter", semaphore);
    if (semaphore == nullptr) {
        LOG_ERROR("semaphore_release is NULL.");
        return;
    }
    sem_destroy(&semaphore->handle);
    LOG_FINE("semaphore_release(%p) leaves with success.", semaphore);
    delete semaphore;
}

void semaphore_raise(semaphore__* semaphore)
{
    LOG_FINE("semaphore_raise(%p) enter", semaphore);
    if (semaphore == nullptr) {
        LOG_ERROR("semaphore_raise is NULL.");
        return;
    }
    if (sem_post(&semaphore->handle) != 0) {
        LOG_ERROR("semaphore_raise(%p) - errno=%d", semaphore, errno);
        return;
    }
    LOG_FINE("semaphore_raise(%p) leaves with success.", semaphore);
}

void semaphore_lower(semaphore__* semaphore)
{
    LOG_FINE("semaphore_lower(%p) enter", semaphore);
    if (semaphore == nullptr) {
        LOG_ERROR("semaphore_lower is NULL.");
        return;
    }
    if (const int reason = wait_for(semaphore->handle); reason != 0) {
        LOG_ERROR("semaphore_lower(%p) - errno=%d", semaphore, reason);
        return;
    }
    LOG_FINE("semaphore_lower(%p) leaves with success.", semaphore);
}

int semaphore_lower_timed(semaphore__* semaphore, unsigned long timeout_ns)
{
    LOG_FINE("semaphore_lower_timed(%p, %lu) enter", semaphore, timeout_ns);
    if (semaphore == nullptr) {
        LOG_ERROR("semaphore_lower_timed is NULL.");
        return -1;
    }
    timespec now;
    if (clock_gettime(CLOCK_REALTIME, &now) != 0) {
        LOG_ERROR("clock_gettime(CLOCK_REALTIME) for semaphore %p failed", semaphore);
        return -1;
    }
    const uint64_t start =
        static_cast<uint64_t>(now.tv_sec) * nanoseconds_per_second + static_cast<uint64_t>(now.tv_nsec);
    const uint64_t end = start + timeout_ns;
    if (end < start) {
        LOG_ERROR("semaphore_lower_timed(%p) failed - absolute timeout exceeds timer upper limit.",
                  semaphore);
        return -1;
    }
    const timespec deadline{static_cast<time_t>(end / nanoseconds_per_second),
                            static_cast<long>(end % nanoseconds_per_second)};
    const int reason = wait_for_until(semaphore->handle, deadline);
    if (reason == ETIMEDOUT) {
        LOG_FINE("semaphore_lower_timed(%p) leaves with timeout.", semaphore);
        return -2;
    }
    if (reason != 0) {
        LOG_ERROR("semaphore_lower_timed(%p) - errno=%d", semaphore, reason);
        return -1;
    }
    LOG_FINE("semaphore_lower_timed(%p) leaves with success.", semaphore);
    return 0;
}

void semaphore_check(semaphore__* semaphore)
{
    LOG_FINE("semaphore_check(%p) enter", semaphore);
    if (semaphore == nullptr) {
        LOG_ERROR("semaphore_check is NULL.");
        return;
    }
    if (const int reason = wait_for(semaphore->handle); reason != 0) {
        LOG_ERROR("semaphore_check(%p) - errno=%d", semaphore, reason);
        return;
    }
    sem_post(&semaphore->handle);
    LOG_FINE("semaphore_check(%p) leaves with success.", semaphore);
}

void semaphore_lower_if(semaphore__* semaphore)
{
    LOG_FINE("semaphore_lower_if(%p) enter", semaphore);
    if (semaphore == nullptr) {
        LOG_ERROR("semaphore_lower_if is NULL.");
        return;
    }
    // One step, so that a count that someone else takes in between can't make this wait.
    while (sem_trywait(&semaphore->handle) != 0 && errno == EINTR) {
    }
    LOG_FINE("semaphore_lower_if(%p) leaves with success.", semaphore);
}

unsigned long sidechannel_threads_create(void* (*entry)(void*), void* argument)
{
    LOG_FINE("sidechannel_threads_create() enter");
    pthread_t thread;
    if (pthread_create(&thread, nullptr, entry, argument) != 0) {
        LOG_ERROR("Could not spawn worker thread");
        return 0;
    }
    LOG_FINE("sidechannel_threads_create() leaves with success.");
    return thread;
}

int sidechannel_threads_wait_for_death(unsigned long handle)
{
    LOG_FINE("sidechannel_threads_wait_for_death(%lu) enter", handle);
    if (handle != 0 && pthread_join(handle, nullptr) != 0)
        LOG_ERROR("Could not wait on thread - system error occurred.");
    LOG_FINE("sidechannel_threads_wait_for_death(%lu) leaves", handle);
    return 0;
}

void sidechannel_threads_detach(unsigned long handle)
{
    if (handle != 0)
        pthread_detach(handle);
}
