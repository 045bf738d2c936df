// Workers by (pid, tid), what the routing creates, pointer widths, response semaphores, and the end of it
// all.
#include "object_manager/registry_fixture.h"

#include "wire/wire.h"
#include "workers/zelvar_context_worker.h"

#include <atomic>
#include <chrono>
#include <thread>

using namespace registry_test;

namespace {
constexpr pid_t fresh = 50; // a process that nobody has heard of

class workers : public registry_test::registry
{
protected:
    static std::shared_ptr<_zelvar_context_worker> route(uint32_t type, tid_t thread = tid)
    {
        std::shared_ptr<_zelvar_context_worker> worker;
        EXPECT_TRUE(zelvar_object_manager_get_worker_for_target_tid_pid(fresh, thread, type, &worker));
        return worker;
    }
    static void* staging(tid_t thread = tid)
    {
        void* buffer = &buffer;
        zelvar_object_manager_get_target_bit(fresh, thread, &buffer);
        return buffer;
    }
};

TEST_F(workers, TheFirstMessagesTypeDecidesWhichRecordsAProcessGets)
{
    for (uint32_t type : {1u, 6u})
        route(type);
    EXPECT_TRUE(pid_to_process_data_map_common.contains(fresh));
    EXPECT_FALSE(pid_to_process_data_map.contains(fresh));
    EXPECT_FALSE(pid_to_process_data_map_vk.contains(fresh));
    route(440);
    EXPECT_FALSE(pid_to_process_data_map.contains(fresh));
    EXPECT_TRUE(pid_to_process_data_map_vk.contains(fresh));
    route(7);
    EXPECT_TRUE(pid_to_process_data_map.contains(fresh));
}

TEST_F(workers, TheLastTypeBelowVulkanIsAnOpenGLOne)
{
    route(439);
    EXPECT_TRUE(pid_to_process_data_map.contains(fresh));
    EXPECT_FALSE(pid_to_process_data_map_vk.contains(fresh));
}

TEST_F(workers, ARecordThatExistsIsKeptAndItsFlagFollows)
{
    zelvar_object_manager_lock_context_data(fresh, tid);
    auto* record = &pid_to_process_data_map.at(fresh);
    record->target_os_version = 9;
    route(20);
    EXPECT_EQ(pid_to_process_data_map.at(fresh).target_os_version, 9u);
    EXPECT_TRUE(pid_to_process_data_map_common.at(fresh).gles_record_created);
}

TEST_F(workers, EachThreadKeepsItsWorker)
{
    auto first = route(20);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(route(500), first);
    EXPECT_NE(route(20, other_tid), first);
}

TEST_F(workers, WidthsReachTheCallingThreadAndLaterWorkersOnly)
{
    EXPECT_EQ(zelvar_object_manager_get_target_bit(fresh, tid, nullptr), 0u);
    std::string printed =
        library::printed_by([] { EXPECT_FALSE(zelvar_object_manager_set_target_bit(fresh, tid, 32)); });
    EXPECT_NE(printed.find("FATAL [ZELVAR] Could not find process data instance for process id [50]\n"),
              std::string::npos);
    route(1);
    route(1, other_tid);
    EXPECT_EQ(staging(), nullptr);
    EXPECT_TRUE(zelvar_object_manager_set_target_bit(fresh, tid, 32));
    EXPECT_EQ(zelvar_object_manager_get_target_bit(fresh, tid, nullptr), 32u);
    void* mine = staging();
    ASSERT_NE(mine, nullptr);
    static_cast<char*>(mine)[0x400000 - 1] = 1;
    EXPECT_TRUE(zelvar_object_manager_set_target_bit(fresh, tid, 32));
    EXPECT_EQ(staging(), mine) << "told twice, allocated once";
    EXPECT_EQ(staging(other_tid), nullptr) << "existed before";
    route(1, 99);
    EXPECT_NE(staging(99), nullptr);
}

TEST_F(workers, SixtyFourBitTargetsHaveNoStagingBuffer)
{
    route(1);
    zelvar_object_manager_set_target_bit(fresh, tid, 64);
    route(1, other_tid);
    EXPECT_EQ(staging(), nullptr);
    EXPECT_EQ(staging(other_tid), nullptr);
    EXPECT_EQ(zelvar_object_manager_get_target_bit(fresh, other_tid, nullptr), 64u);
}

TEST_F(workers, DeletingAllLeavesTheProcessAndTheNextMessageStartsAfresh)
{
    auto first = route(20);
    zelvar_object_manager_set_target_bit(fresh, tid, 32);
    std::weak_ptr<_zelvar_context_worker> seen = first;
    first.reset();
    zelvar_object_manager_delete_all_worker_for_pid(fresh);
    zelvar_object_manager_delete_all_worker_for_pid(51);
    zelvar_context_worker_wait_for_releases();
    EXPECT_TRUE(seen.expired());
    EXPECT_TRUE(pid_to_process_data_map_common.at(fresh).gles_record_created);
    EXPECT_EQ(zelvar_object_manager_get_target_bit(fresh, tid, nullptr), 32u);
    EXPECT_NE(route(20), nullptr);
    EXPECT_NE(staging(), nullptr) << "the width is remembered";
}

/// What a decoder on its worker sees and does.
std::atomic<bool> decoder_running{false}, decoder_may_end{false};
uint8_t* scratch_of_decoder = nullptr;

void use_scratch_across_deletion(int process, unsigned long thread, void*, unsigned)
{
    void* scratch = nullptr;
    zelvar_object_manager_get_target_bit(process, thread, &scratch);
    scratch_of_decoder = static_cast<uint8_t*>(scratch);
    zelvar_object_manager_delete_all_worker_for_pid(
        process); // as the last EGL or Vulkan call of a process does
    decoder_running = true;
    while (!decoder_may_end)
        std::this_thread::yield();
    for (size_t i = 0; i < 0x400000; i += 4096)
        scratch_of_decoder[i] = 1;
    decoder_running = false;
}

TEST_F(workers, ADecoderKeepsItsScratchMemoryWhileItDeletesItsOwnWorker)
{
    auto worker = route(1);
    zelvar_object_manager_set_target_bit(fresh, tid, 32);
    zelvar_context_worker_enqueue(worker, use_scratch_across_deletion, fresh, tid, "", 1);
    worker.reset();
    while (!decoder_running)
        std::this_thread::yield();
    EXPECT_NE(staging(), scratch_of_decoder) << "the entry is gone";
    decoder_may_end = true;
    zelvar_context_worker_wait_for_releases();
    EXPECT_FALSE(decoder_running);
}

TEST_F(workers, AResponseSemaphoreBelongsToOneThread)
{
    auto early = zelvar_object_manager_get_response_semaphore(fresh, tid);
    ASSERT_NE(early, nullptr);
    EXPECT_EQ(zelvar_object_manager_get_response_semaphore(fresh, tid), early);
    EXPECT_NE(zelvar_object_manager_get_response_semaphore(fresh, other_tid), early);
    EXPECT_NE(zelvar_object_manager_get_response_semaphore(fresh + 1, tid), early);
    route(1);
    EXPECT_EQ(zelvar_object_manager_get_response_semaphore(fresh, tid), early)
        << "the new worker takes it over";
    zelvar_object_manager_delete_all_worker_for_pid(fresh);
    route(1);
    EXPECT_NE(zelvar_object_manager_get_response_semaphore(fresh, tid), early);
    semaphore_raise(early.get()); // a late confirmation finds it alive
}

TEST_F(workers, TakingTheLibraryDownStopsAllWorkersAndMakesNoNewOnes)
{
    std::weak_ptr<_zelvar_context_worker> first = route(20), second = route(20, other_tid);
    zelvar_object_manager_stop_all_workers();
    EXPECT_TRUE(first.expired() && second.expired());
    EXPECT_EQ(route(20), nullptr);

    std::string printed = library::printed_by([] { zelvar_object_manager_deinit(); });
    EXPECT_NE(printed.find(
                  "WARN [ZELVAR] PID->context data map is not empty. Zelvar exiting with 2 processes still "
                  "handled\n"),
              std::string::npos)
        << printed;
    EXPECT_TRUE(pid_to_process_data_map.empty());
    EXPECT_EQ(pid_to_process_data_map_cs, nullptr);
    EXPECT_EQ(callback_map_cs, nullptr);
    EXPECT_EQ(host_display_configs, nullptr);
    EXPECT_NE(pid_to_process_data_map_common_cs, nullptr);
    EXPECT_NE(pid_to_process_data_map_vk_cs, nullptr);
    EXPECT_NE(host_pixel_map_cs, nullptr);

    zelvar_object_manager_init(true);
    EXPECT_NE(route(20), nullptr);
    EXPECT_TRUE(pid_to_process_data_map.contains(fresh)) << "the record is made again";
    EXPECT_TRUE(zelvar_object_manager_is_test_mode_active());
}

TEST_F(workers, DeinitFreesContextsAndTheirGroupsWithoutReports)
{
    add(5);
    add(6, 5);
    pid_to_process_data_map[pid].contexts.at(5)->data.data_shared->buffers[3].host_id = 3;
    std::string printed = library::printed_by([] { zelvar_object_manager_deinit(); });
    EXPECT_EQ(library::occurrences(printed, "unreleased"), 0u) << printed;
}

TEST_F(workers, ThreadsOfManyProcessesAreRoutedAtOnce)
{
    sidechannel_set_log_level(0);
    auto simulator_thread = [](pid_t process) {
        for (uint32_t i = 0; i < 30; i++) {
            std::shared_ptr<_zelvar_context_worker> worker;
            zelvar_object_manager_get_worker_for_target_tid_pid(process, i % 3, 20, &worker);
            EXPECT_NE(worker, nullptr);
            zelvar_object_manager_get_response_semaphore(process, i % 3);
            if (i % 7 == 0)
                zelvar_object_manager_delete_all_worker_for_pid(process);
        }
    };
    std::thread a{simulator_thread, 61}, b{simulator_thread, 62}, c{simulator_thread, 61};
    a.join();
    b.join();
    c.join();
    zelvar_object_manager_stop_all_workers();
}
} // namespace
