// The client wait in its two phases, with the thread that signals beside the one that waits.

#include "shim/fake_device.h"
#include "shim/sync_objects.h"
#include "shim/target_names.h"

#include <atomic>
#include <chrono>
#include <thread>

using namespace shim_test;

namespace {

constexpr uint64_t millisecond = 1'000'000;

class sync_wait : public device_test
{
protected:
    void SetUp() override
    {
        device_test::SetUp();
        sync = shim::create_sync_object();
        device->on_message = [this](const std::vector<uint8_t>& sent) { play(sent); };
    }

    void TearDown() override
    {
        shim::destroy_sync_object(sync);
        device_test::TearDown();
    }

    /// A client wait as the library answers it, and a glFinish in which it signals the object.
    void play(const std::vector<uint8_t>& sent)
    {
        uint32_t type;
        std::memcpy(&type, sent.data() + 4, 4);
        if (type == 95)
            device->replies = {message(455, bytes{}.u64(sync).u32(1)), release()};
        if (type != 6)
            return;
        uint64_t control;
        std::memcpy(&control, sent.data() + 20 + 28, 8);
        device->replies = {value_and_release(bytes{}.u32(EGL_CONDITION_SATISFIED_KHR))};
        if (control) {
            if (must_wait) {
                const uint32_t one = 1;
                std::memcpy(reinterpret_cast<void*>(control), &one, 4);
            }
            ++first_phases;
        } else
            ++second_phases;
    }

    EGLint wait(uint64_t timeout)
    {
        return target_eglClientWaitSyncKHR(nullptr, reinterpret_cast<EGLSyncKHR>(sync), 0, timeout);
    }

    uint64_t sync = 0;
    bool must_wait = true;
    std::atomic<int> first_phases{0}, second_phases{0};
};

TEST_F(sync_wait, without_a_wait_there_is_one_phase)
{
    must_wait = false;
    EXPECT_EQ(wait(EGL_FOREVER_KHR), EGL_CONDITION_SATISFIED_KHR);
    const auto sent = only_message();
    ASSERT_EQ(sent.size(), 20u + 8 + 8 + 4 + 8 + 8);
    EXPECT_EQ(first_phases, 1);
}

TEST_F(sync_wait, time_that_runs_out_still_ends_with_phase_two)
{
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(wait(20 * millisecond), EGL_TIMEOUT_EXPIRED_KHR);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{20});
    EXPECT_EQ(second_phases, 1) << "the library counts its waiters";
}

TEST_F(sync_wait, another_thread_signals_through_the_same_connection)
{
    std::thread signaller{[&] {
        while (first_phases == 0)
            std::this_thread::yield();
        // A call of this thread, in which the library signals the object. It goes through only because the
        // waiting thread holds nothing.
        target_glFinish();
    }};
    EXPECT_EQ(wait(EGL_FOREVER_KHR), EGL_CONDITION_SATISFIED_KHR);
    EXPECT_EQ(second_phases, 1);
    signaller.join();
}

TEST_F(sync_wait, destroying_wakes_all_who_wait)
{
    constexpr int count = 3;
    std::atomic<int> woken{0};
    std::vector<std::thread> waiters;
    const uint64_t seen = shim::sync_object_signals(sync);
    for (int i = 0; i < count; ++i)
        waiters.emplace_back([&] { woken += shim::wait_for_sync_object(sync, seen, EGL_FOREVER_KHR); });
    std::this_thread::sleep_for(std::chrono::milliseconds{20});
    EXPECT_EQ(woken, 0);
    EXPECT_TRUE(shim::destroy_sync_object(sync));
    for (auto& waiter : waiters)
        waiter.join();
    EXPECT_EQ(woken, count);
    EXPECT_FALSE(shim::destroy_sync_object(sync));
    EXPECT_TRUE(shim::wait_for_sync_object(sync, 0, EGL_FOREVER_KHR)) << "what is gone is not waited for";
}

TEST_F(sync_wait, a_signal_between_decision_and_wait_is_not_lost)
{
    const uint64_t seen = shim::sync_object_signals(sync);
    EXPECT_TRUE(shim::signal_sync_object(sync));
    EXPECT_TRUE(shim::wait_for_sync_object(sync, seen, 0));
    EXPECT_FALSE(shim::wait_for_sync_object(sync, shim::sync_object_signals(sync), 0));
}

TEST_F(sync_wait, objects_are_made_and_answered_over_the_wire)
{
    device->on_message = {};
    device->replies = {message(453), release()};
    target_glFinish();
    ASSERT_EQ(device->sent.size(), 2u);
    uint64_t id;
    std::memcpy(&id, device->sent[1].data() + 25, 8);
    EXPECT_NE(id, 0u);
    EXPECT_NE(id, sync);
    device->replies = {message(456, bytes{}.u64(id).u64(0)), message(455, bytes{}.u64(id).u32(1)),
                       message(456, bytes{}.u64(id).u64(0)), message(454, bytes{}.u64(id)), release()};
    device->sent.clear();
    target_glFinish();
    ASSERT_EQ(device->sent.size(), 5u);
    EXPECT_EQ(device->sent[1], confirmation(bytes{}.u32(EGL_TIMEOUT_EXPIRED_KHR)).get());
    EXPECT_EQ(device->sent[2], confirmation(bytes{}).get());
    EXPECT_EQ(device->sent[3], confirmation(bytes{}.u32(EGL_CONDITION_SATISFIED_KHR)).get());
    EXPECT_EQ(device->sent[4], confirmation(bytes{}).get());
}

} // namespace
