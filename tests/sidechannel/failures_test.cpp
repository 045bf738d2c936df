// What happens when the system refuses. The linker sends the calls that may fail through here.
#include "fake_library.h"
#include "sidechannel_primitives.h"
#include "zelvar/zelvar.h"

#include <cerrno>
#include <ctime>
#include <new>
#include <pthread.h>

namespace {

enum Refusal : unsigned
{
    mutexes = 1,
    clocks = 2,
    threads = 4,
    objects = 8,
    buffers = 16
};
std::atomic<unsigned> refused_kinds{0};

bool refuse(Refusal kind)
{
    return (refused_kinds & kind) != 0;
}

/// What `action` printed while the system refused `kind`.
template <class Action>
std::string refused(Refusal kind, Action&& action)
{
    return logged([&] {
        refused_kinds = kind;
        action();
        refused_kinds = 0;
    });
}

} // namespace

extern "C" {
int __real_pthread_mutex_init(pthread_mutex_t*, const pthread_mutexattr_t*);
int __wrap_pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes)
{
    return refuse(mutexes) ? ENOMEM : __real_pthread_mutex_init(mutex, attributes);
}
int __real_clock_gettime(clockid_t, timespec*);
int __wrap_clock_gettime(clockid_t clock, timespec* now)
{
    return refuse(clocks) ? -1 : __real_clock_gettime(clock, now);
}
int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                          void* argument)
{
    return refuse(threads) ? EAGAIN : __real_pthread_create(thread, attributes, entry, argument);
}
void* __real_calloc(size_t, size_t);
void* __wrap_calloc(size_t n, size_t size)
{
    return refuse(buffers) ? nullptr : __real_calloc(n, size);
}
void* __real_realloc(void*, size_t);
void* __wrap_realloc(void* old, size_t size)
{
    return refuse(buffers) ? nullptr : __real_realloc(old, size);
}
void* __real__ZnwmRKSt9nothrow_t(size_t, const std::nothrow_t&);
void* __wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t& tag)
{
    return refuse(objects) ? nullptr : __real__ZnwmRKSt9nothrow_t(size, tag);
}
}

TEST(Failures, PrimitivesReportAndGoOn)
{
    sidechannel_set_log_level(2);
    EXPECT_EQ(refused(objects, [] { EXPECT_EQ(critical_section_create(), nullptr); }),
              "FATAL [ZELVAR] Out of memory while allocating space for a critical section\n");
    EXPECT_EQ(refused(objects, [] { EXPECT_EQ(semaphore_create(4), nullptr); }),
              "ERROR [ZELVAR] semaphore_create(start_value=4) - errno=12\n"
              "ERROR [ZELVAR] semaphore_create(start_value=4) leaves with error\n");
    EXPECT_EQ(refused(threads,
                      [] {
                          const auto nothing = [](void*) -> void* { return nullptr; };
                          EXPECT_EQ(sidechannel_threads_create(nothing, nullptr), 0u);
                      }),
              "ERROR [ZELVAR] Could not spawn worker thread\n");
    semaphore__* semaphore = semaphore_create(1);
    EXPECT_EQ(count_of(refused(clocks, [&] { EXPECT_EQ(semaphore_lower_timed(semaphore, 1), -1); }),
                       "ERROR [ZELVAR] clock_gettime(CLOCK_REALTIME) for semaphore "),
              1u);
    semaphore_release(semaphore);
    EXPECT_EQ(logged([] { EXPECT_EQ(sidechannel_threads_wait_for_death(pthread_self()), 0); }),
              "ERROR [ZELVAR] Could not wait on thread - system error occurred.\n");
}

TEST(Failures, ASectionWithoutItsMutexIsStillARecursiveOne)
{
    critical_section__* cs = nullptr;
    EXPECT_EQ(refused(mutexes, [&] { cs = critical_section_create(); }),
              "FATAL [ZELVAR] Error creating a mutex for internal critical section implementation.\n");
    ASSERT_NE(cs, nullptr);
    critical_section_enter(cs);
    critical_section_enter(cs);
    EXPECT_FALSE(critical_section_verify(cs));
    critical_section_leave(cs);
    critical_section_leave(cs);
    EXPECT_TRUE(critical_section_verify(cs));
    critical_section_release(cs);
}

TEST(Failures, InboundBufferThatCannotGrowDropsSafely)
{
    TestChannel t{0x400000 + 16};
    const Bytes over = make_message(0x400000 + 8, 7);
    EXPECT_EQ(refused(buffers, [&] { EXPECT_EQ(t.send(over), 0x400000 + 8); }),
              "FATAL [ZELVAR] VPLAT read buffer is to small @ 4194312.\n"
              "FATAL [ZELVAR] Out of memory: 4194312 bytes from VPLAT are dropped.\n");
    // The stream has a hole: nothing behind it may be taken for a message.
    EXPECT_EQ(logged([&] { EXPECT_EQ(t.send(make_message(20, 7)), 20); }),
              "FATAL [ZELVAR] Out of memory: 20 bytes from VPLAT are dropped.\n");
    EXPECT_TRUE(fake_library().messages.empty());
}

TEST(Failures, AChannelWithoutBuffersServesWhatItCan)
{
    TestChannel* t = nullptr;
    refused(buffers, [&] { t = new TestChannel; });
    t->send(make_message(20, 7)); // there is memory again
    EXPECT_EQ(fake_library().messages, std::vector<Bytes>{make_message(20, 7)});
    EXPECT_EQ(logged([&] { t->append(make_message(20, 7)); }), "FATAL [ZELVAR] Sidechannel buffer full\n");
    t->channel.allowMainThreadToSendMessage();
    EXPECT_EQ(t->receive(20), Bytes{});
}

TEST(FailuresDeathTest, NoMemoryForAChannelOrThePlugin)
{
    EXPECT_EQ(refused(objects, [] { EXPECT_EQ(scPluginEntryPoint(), nullptr); }),
              "FATAL [ZELVAR] Out of memory: there is no plug-in.\n");
    scPluginInterface* plugin = scPluginEntryPoint();
    ASSERT_NE(plugin, nullptr);
    EXPECT_DEATH((refused_kinds = objects, plugin->open()), "Assertion `new_channel != __null' failed");
}
