#pragma once
// Locks, semaphores and threads of the host. Every function reports failure by a log line and a neutral
// result; none throws.

#include <cstdint>

// Thread-safety annotations, checked by clang's -Wthread-safety and empty elsewhere.
#if defined(__clang__)
#define ZELVAR_TSA(x) __attribute__((x))
#else
#define ZELVAR_TSA(x)
#endif

/// A recursive mutex, heap allocated. Opaque: callers hold pointers.
struct ZELVAR_TSA(capability("mutex")) critical_section__;
/// A POSIX unnamed semaphore, heap allocated. Opaque.
struct semaphore__;

/// A new recursive mutex owned by the caller, or null when out of memory.
critical_section__* critical_section_create();
/// Destroys and frees. The section must not be held.
void critical_section_release(critical_section__* cs);
void critical_section_enter(critical_section__* cs) ZELVAR_TSA(acquire_capability(cs));
void critical_section_leave(critical_section__* cs) ZELVAR_TSA(release_capability(cs));
/// True when nobody holds the section, the caller included. Null counts as true.
bool critical_section_verify(critical_section__* cs);

/// Enters in the constructor, leaves in the destructor.
class ZELVAR_TSA(scoped_lockable) Autolock
{
public:
    explicit Autolock(critical_section__*& cs) ZELVAR_TSA(acquire_capability(cs));
    virtual ~Autolock() ZELVAR_TSA(release_capability());
    Autolock(const Autolock&) = delete;
    Autolock& operator=(const Autolock&) = delete;

private:
    critical_section__* _cs;
};

/// A start value of 0x7fffffff becomes 0x7ffffffe, the largest that a POSIX semaphore surely holds. Null on
/// failure. The caller owns the result.
semaphore__* semaphore_create(int start_value);
void semaphore_release(semaphore__* semaphore);
void semaphore_raise(semaphore__* semaphore);
/// Waits without limit.
void semaphore_lower(semaphore__* semaphore);
/// Waits at most `timeout_ns` nanoseconds: 0 on success, -2 on time-out, -1 on any other failure.
int semaphore_lower_timed(semaphore__* semaphore, unsigned long timeout_ns);
/// Blocks until the count is positive and leaves it as it was.
void semaphore_check(semaphore__* semaphore);
/// Takes one count if there is one; discards a stale signal before a new request.
void semaphore_lower_if(semaphore__* semaphore);

/// Starts a thread with default attributes; returns its pthread_t, or 0 on failure.
unsigned long sidechannel_threads_create(void* (*entry)(void*), void* argument);
/// Joins; handle 0 does nothing. Returns 0 in all cases.
int sidechannel_threads_wait_for_death(unsigned long handle);
/// Lets a thread end without being joined; handle 0 does nothing.
void sidechannel_threads_detach(unsigned long handle);
