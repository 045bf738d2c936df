// Context workers: order, independence, end.

#include "workers/zelvar_context_worker.h"

#include "sidechannel_log.h"
#include "support/fake_host.h"
#include "support/library.h"
#include "support/message.h"

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

namespace {
std::mutex order_lock;
std::vector<int> order; // guarded by order_lock
std::atomic<int> tasks_run{0};
semaphore__* gate = nullptr;

void note(pid_t pid, tid_t, void*, uint32_t)
{
    std::lock_guard guard{order_lock};
    order.push_back(pid);
    ++tasks_run;
}

void wait_at_gate(pid_t, tid_t, void*, uint32_t)
{
    semaphore_lower(gate);
}

void wait_until(int count)
{
    while (tasks_run.load() < count)
        std::this_thread::yield();
}

class worker : public testing::Test
{
protected:
    void SetUp() override
    {
        fake_host::install();
        tasks_run = 0;
        order.clear();
        gate = semaphore_create(0);
        instance = zelvar_context_worker_create();
        ASSERT_NE(instance, nullptr);
    }
    void enqueue(inbound_decoder decoder, int pid)
    {
        auto bytes = message(51, pid).bytes();
        zelvar_context_worker_enqueue(instance, decoder, pid, 1, bytes.data(),
                                      static_cast<uint32_t>(bytes.size()));
        std::fill(bytes.begin(), bytes.end(), uint8_t{0xee}); // the caller's buffer is reused at once
    }
    std::shared_ptr<_zelvar_context_worker> instance;
};

TEST_F(worker, RunsTasksInArrivalOrderAndSkipsEmptyRows)
{
    for (int i = 0; i < 100; ++i)
        enqueue(i % 10 == 3 ? nullptr : &note, i);
    wait_until(90);
    std::lock_guard guard{order_lock};
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    zelvar_context_worker_release(instance, false);
}

TEST_F(worker, HandsOutItsOwnCopyOfTheMessage)
{
    static std::atomic<uint32_t> first_word;
    enqueue(
        [](pid_t, tid_t, void* bytes, uint32_t) {
            first_word = wire::load_header(bytes).size;
            ++tasks_run;
        },
        7);
    wait_until(1);
    EXPECT_EQ(first_word, 20u);
    zelvar_context_worker_release(instance, false);
}

TEST_F(worker, DoesNotRunWhatIsQueuedBehindItsEnd)
{
    enqueue(&wait_at_gate, 0);
    enqueue(&note, 1);
    enqueue(&note, 2);
    std::thread releasing{[this] { zelvar_context_worker_release(instance, false); }};
    while (!instance->terminate)
        std::this_thread::yield();
    semaphore_raise(gate);
    releasing.join();
    EXPECT_EQ(tasks_run, 0);
    enqueue(&note, 3); // a late message to a worker that is gone: neither run nor leaked
    EXPECT_EQ(tasks_run, 0);
}

TEST_F(worker, CanReleaseItself)
{
    static std::shared_ptr<_zelvar_context_worker> self;
    self = instance;
    enqueue(
        [](pid_t, tid_t, void*, uint32_t) {
            zelvar_context_worker_release(std::move(self), true);
            ++tasks_run;
        },
        0);
    instance.reset();
    zelvar_context_worker_wait_for_releases();
    while (tasks_run < 1)
        zelvar_context_worker_wait_for_releases();
    EXPECT_EQ(tasks_run, 1);
}

TEST_F(worker, LeavesTheHostThreadTidy)
{
    auto* display = reinterpret_cast<EGLDisplay>(uintptr_t{0x11});
    auto* context = reinterpret_cast<EGLContext>(uintptr_t{0x22});
    fake_host::returns<&sidechannel_egl_imports::eglGetCurrentDisplay>(display);
    fake_host::returns<&sidechannel_egl_imports::eglGetCurrentContext>(context);
    zelvar_context_worker_release(instance, false);
    EXPECT_EQ(fake_host::calls(),
              (std::vector<fake_host::call>{
                  fake_host::made("eglGetCurrentDisplay"), fake_host::made("eglGetCurrentContext"),
                  fake_host::made("eglDestroyContext", display, context), fake_host::made("eglGetError"),
                  fake_host::made("eglMakeCurrent", display, nullptr, nullptr, nullptr),
                  fake_host::made("eglGetError"), fake_host::made("eglReleaseThread"),
                  fake_host::made("eglGetError")}));
}

TEST_F(worker, ReportsTheErrorWordZeroOfTheUnbindAndFailuresOfTheRest)
{
    auto* any_handle = reinterpret_cast<void*>(uintptr_t{0x11});
    fake_host::returns<&sidechannel_egl_imports::eglGetCurrentDisplay>(any_handle);
    fake_host::returns<&sidechannel_egl_imports::eglGetCurrentContext>(any_handle);
    fake_host::returns<&sidechannel_egl_imports::eglDestroyContext>(EGL_FALSE);
    fake_host::returns<&sidechannel_egl_imports::eglReleaseThread>(EGL_FALSE);
    fake_host::egl_errors({EGL_BAD_CONTEXT, 0, EGL_BAD_ACCESS});
    sidechannel_set_log_level(3);
    std::string printed = library::printed_by([&] { zelvar_context_worker_release(instance, false); });
    EXPECT_NE(printed.find(
                  "WARN [ZELVAR] Could not release GLES2.0 context that would have leaked otherwise. Error "
                  "reported [0x3006]\n"),
              std::string::npos)
        << printed;
    EXPECT_NE(printed.find("ERROR [ZELVAR] Could not unbind current GLES2.0 context. Error reported [0]\n"),
              std::string::npos);
    EXPECT_NE(
        printed.find("ERROR [ZELVAR] Failed to clean out host thread context. Error reported [0x3002]\n"),
        std::string::npos);
}

TEST_F(worker, EndsOnAHostWithoutEgl)
{
    sidechannel_egl_imports nothing{};
    sidechannel_set_imports_init(&nothing, nullptr);
    zelvar_context_worker_release(instance, false);
    EXPECT_TRUE(fake_host::calls().empty());
}

TEST(enqueue, DropsWhatANullWorkerWouldGet)
{
    sidechannel_set_log_level(1);
    auto bytes = message(51).bytes();
    std::string printed =
        library::printed_by([&] { zelvar_context_worker_enqueue(nullptr, nullptr, 1, 1, bytes.data(), 20); });
    EXPECT_EQ(printed, "FATAL [ZELVAR] Cannot enqueue new task - out of memory while allocating 20 bytes for "
                       "internal message storage!\n");
}
} // namespace
