// Contexts among threads: who waits, who doesn't, and what a thread finds that has waited for something
// deleted.
#include "object_manager/registry_fixture.h"

#include <atomic>
#include <chrono>
#include <thread>

using namespace registry_test;

namespace {
using context_threads = registry_test::registry;

/// Long enough for a thread to reach the lock that it is going to wait for.
void let_others_run()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

TEST_F(context_threads, AThreadThatWaitsForALockedContextBlocksNobodyElse)
{
    add(5);
    make_current(5);
    auto* data = zelvar_object_manager_lock_context_data(pid, tid);
    std::atomic<bool> entered{false};
    std::thread waiter{[&] {
        auto* same = zelvar_object_manager_lock_context_data_by_target_context(pid, 5);
        entered = true;
        zelvar_object_manager_unlock_context_data(same);
    }};
    let_others_run();
    EXPECT_FALSE(entered);
    // The process map is free: other threads and processes go on.
    std::thread other{[] {
        EXPECT_NE(zelvar_object_manager_lock_context_data(pid, other_tid), nullptr);
        EXPECT_NE(zelvar_object_manager_lock_context_data(pid + 1, other_tid), nullptr);
    }};
    other.join();
    EXPECT_FALSE(entered);
    zelvar_object_manager_unlock_context_data(data);
    waiter.join();
    EXPECT_TRUE(entered);
}

TEST_F(context_threads, DeletionWaitsForTheHandlerAndAWaiterThenFindsTheNullContext)
{
    add(5);
    make_current(5);
    auto* data = zelvar_object_manager_lock_context_data(pid, tid);
    std::atomic<bool> deleted{false};
    std::thread deleter{[&] {
        EXPECT_TRUE(zelvar_object_manager_delete_target_context(pid, 5, true));
        deleted = true;
    }};
    std::thread waiter{[] {
        auto* found = zelvar_object_manager_lock_context_data(pid, tid);
        ASSERT_NE(found, nullptr);
        EXPECT_NE(found->data_shared, nullptr);
        EXPECT_TRUE(zelvar_object_manager_unlock_context_data(found));
    }};
    let_others_run();
    EXPECT_FALSE(deleted);
    data->line_width = 2.0f; // still ours
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(data));
    deleter.join();
    waiter.join();
    // Whether the waiter was served before the deletion or after it, what it got was usable.
    EXPECT_EQ(found_by(tid), 0u);
}

TEST_F(context_threads, DeletedWhileSeveralWaitedByKeyNobodyGetsAModelThatIsGone)
{
    for (int round = 0; round < 20; round++) {
        add(5);
        make_current(5);
        auto* data = zelvar_object_manager_lock_context_data(pid, tid);
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; i++) {
            threads.emplace_back([] {
                if (auto* model = zelvar_object_manager_lock_context_data_by_target_context(pid, 5)) {
                    model->clear_stencil++;
                    EXPECT_NE(model->data_shared, nullptr);
                    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(model));
                }
            });
        }
        threads.emplace_back([] { zelvar_object_manager_delete_target_context(pid, 5, true); });
        zelvar_object_manager_unlock_context_data(data);
        for (auto& thread : threads)
            thread.join();
        EXPECT_FALSE(is_known(5));
        EXPECT_EQ(zelvar_object_manager_lock_context_data_by_target_context(pid, 5), nullptr);
    }
}

TEST_F(context_threads, TwoDeletionsOfOneContextSucceedOnce)
{
    for (int round = 0; round < 20; round++) {
        add(5);
        make_current(5);
        std::atomic<int> successes{0};
        auto destroy = [&] { successes += zelvar_object_manager_delete_target_context(pid, 5, true); };
        std::thread first{destroy}, second{destroy};
        first.join();
        second.join();
        EXPECT_EQ(successes, 1);
    }
}

TEST_F(context_threads, OverwritingWaitsUntilTheHandlerOfTheOldContextIsDone)
{
    add(5);
    make_current(5);
    auto* old = zelvar_object_manager_lock_context_data(pid, tid);
    std::atomic<bool> added{false};
    std::thread adder{[&] {
        add(5);
        added = true;
    }};
    let_others_run();
    EXPECT_FALSE(added);
    EXPECT_NE(old->data_nonshared, nullptr);
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(old));
    adder.join();
    EXPECT_TRUE(is_known(5));
}

TEST_F(context_threads, AnothersLockOnTheContextIsNoForgottenOne)
{
    add(5);
    make_current(5);
    auto* data = zelvar_object_manager_lock_context_data(pid, tid);
    std::thread other{[] { EXPECT_TRUE(zelvar_object_manager_verify_context_data_lock(pid, tid)); }};
    other.join();
    zelvar_object_manager_unlock_context_data(data);
}

TEST_F(context_threads, ContextsComeAndGoWhileOthersLockBindAndFail)
{
    sidechannel_set_log_level(0);
    constexpr int rounds = 100;
    auto life = [](tid_t thread, uint64_t context) {
        for (int i = 0; i < rounds; i++) {
            zelvar_object_manager_add_context(pid, thread, host_context(context), nullptr, context, 1, 3, 1,
                                              3, 1);
            zelvar_object_manager_bind_context_to_thread(pid, context, thread, 1, 1, true);
            zelvar_object_manager_bind_context_to_thread(pid, context, thread, 1, 1, false);
            auto* data = zelvar_object_manager_lock_context_data(pid, thread);
            data->clear_stencil++;
            zelvar_object_manager_set_gles_error(pid, thread, GL_OUT_OF_MEMORY);
            zelvar_object_manager_unlock_context_data(data);
            zelvar_object_manager_bind_context_to_thread(pid, 0, thread, 0, 0, false);
            zelvar_object_manager_delete_target_context(pid, context, true);
        }
    };
    add(1);
    std::thread a{life, 100, 10}, b{life, 101, 11}, c{life, 102, 12};
    a.join();
    b.join();
    c.join();
    EXPECT_FALSE(is_known(10) || is_known(11) || is_known(12));
    EXPECT_EQ(pid_to_process_data_map[pid].contexts.at(1)->data.data_shared->ref_counter, 1);
}
} // namespace
