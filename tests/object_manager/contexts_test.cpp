// Contexts on one thread: finding, binding, locking, deleting.
#include "object_manager/registry_fixture.h"

#include "object_manager/context_memory.h"
#include "shim/zelvar_shim_dispatch.h"
#include "wire/wire.h"

namespace out = wire::outbound;
using namespace registry_test;

namespace {
using contexts = registry_test::registry;

TEST_F(contexts, ThreadsWithoutAContextShareOneUnlockedNullContext)
{
    auto* mine = zelvar_object_manager_lock_context_data(pid, tid);
    auto* theirs = zelvar_object_manager_lock_context_data(pid, other_tid);
    ASSERT_NE(mine, nullptr);
    EXPECT_EQ(mine, theirs);
    const auto& record = pid_to_process_data_map[pid].contexts.at(0);
    EXPECT_EQ(mine, &record->data);
    EXPECT_EQ(record->host_context, EGL_NO_CONTEXT);
    EXPECT_TRUE(critical_section_verify(record->cs));
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(mine));
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(mine)); // nothing to undo, still known
    EXPECT_FALSE(record->data_initialised);
    EXPECT_NE(mine, zelvar_object_manager_lock_context_data(pid + 1, tid));
}

TEST_F(contexts, LockingMakesARecordForAnUnknownProcess)
{
    EXPECT_EQ(registry_test::registry::found_by(tid), 0u);
    ASSERT_NE(zelvar_object_manager_lock_context_data(99, 1), nullptr);
    EXPECT_TRUE(pid_to_process_data_map.contains(99));
    EXPECT_FALSE(pid_to_process_data_map_common.contains(99));
}

TEST_F(contexts, ALockedContextIsHeldUntilItIsGivenBackAsOftenAsItWasTaken)
{
    add(5);
    make_current(5);
    auto* section = pid_to_process_data_map[pid].contexts.at(5)->cs;
    auto* data = zelvar_object_manager_lock_context_data(pid, tid);
    EXPECT_EQ(zelvar_object_manager_lock_context_data_by_target_context(pid, 5), data);
    EXPECT_FALSE(critical_section_verify(section));
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(data));
    EXPECT_FALSE(critical_section_verify(section));
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(data));
    EXPECT_TRUE(critical_section_verify(section));
    EXPECT_TRUE(zelvar_object_manager_verify_context_data_lock(pid, tid));
}

TEST_F(contexts, WhatABatchRemembersFollowsEveryChangeOfAThreadsContext)
{
    add(3);
    add(5);
    make_current(3);
    zelvar_object_manager_context_memory memory;
    EXPECT_EQ(found_by(tid), 3u);
    make_current(5);
    EXPECT_EQ(found_by(tid), 5u);
    EXPECT_EQ(found_by(other_tid), 0u) << "a command of another thread";
    EXPECT_EQ(found_by(tid), 5u);
    auto* section = pid_to_process_data_map[pid].contexts.at(5)->cs;
    auto* data = zelvar_object_manager_lock_context_data(pid, tid);
    EXPECT_FALSE(critical_section_verify(section)) << "remembered, and locked all the same";
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(data));
    EXPECT_TRUE(critical_section_verify(section));
    EXPECT_TRUE(zelvar_object_manager_delete_target_context(pid, 5, false));
    EXPECT_EQ(found_by(tid), 0u);
}

TEST_F(contexts, UnlockingWhatNobodyHasIsRefusedQuietly)
{
    _zelvar_context_data stranger;
    std::string printed =
        library::printed_by([&] { EXPECT_FALSE(zelvar_object_manager_unlock_context_data(&stranger)); });
    EXPECT_EQ(library::occurrences(printed, "ERROR"), 0u) << printed;
    EXPECT_FALSE(zelvar_object_manager_unlock_context_data(nullptr));
    EXPECT_EQ(zelvar_object_manager_lock_context_data_by_target_context(pid, 1234), nullptr);
    EXPECT_EQ(zelvar_object_manager_lock_context_data_by_target_context(pid + 1, 1), nullptr);
}

TEST_F(contexts, AHandlerThatForgetsToUnlockEndsTheSimulation)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    add(5);
    make_current(5);
    ASSERT_NE(zelvar_object_manager_lock_context_data(pid, tid), nullptr);
    EXPECT_TRUE(zelvar_object_manager_verify_context_data_lock(pid, other_tid));
    EXPECT_DEATH(zelvar_object_manager_verify_context_data_lock(pid, tid), "context_data_unlocked");
    EXPECT_DEATH(zelvar_shim_dispatch_leave_message_processing_loop(pid, tid), "context_data_unlocked");
}

TEST_F(contexts, CreationBindsOnceAndMakesNothingCurrent)
{
    add(5);
    EXPECT_FALSE(bind_created(6)) << "unknown";
    EXPECT_TRUE(bind_created(5));
    EXPECT_EQ(found_by(tid), 0u);
    EXPECT_FALSE(pid_to_process_data_map[pid].contexts.at(5)->data_initialised);
    std::string printed = library::printed_by([&] { EXPECT_FALSE(bind_created(5, other_tid)); });
    EXPECT_NE(
        printed.find("ERROR [ZELVAR] Context [               5] is already bound to thread [21] for process "
                     "[7] - won't rebind!\n"),
        std::string::npos)
        << printed;
    EGLContext host = nullptr;
    EXPECT_TRUE(zelvar_object_manager_get_bound_host_context(pid, tid, &host));
    EXPECT_EQ(host, host_context(5));
    EXPECT_FALSE(zelvar_object_manager_get_bound_host_context(pid, other_tid, &host));
}

TEST_F(contexts, MakingAnotherCurrentLeavesTheFirstBoundToTheThread)
{
    add(5);
    add(3);
    EXPECT_TRUE(make_current(3, tid, 0x30));
    EXPECT_TRUE(make_current(5, tid, 0x50));
    EXPECT_EQ(found_by(tid), 5u);
    uint64_t draw = 0, read = 0;
    EXPECT_TRUE(zelvar_object_manager_get_bound_target_surfaces(pid, tid, &draw, &read));
    EXPECT_EQ(draw, 0x50u);
    EXPECT_EQ(read, 0x51u);
    // The error store goes by the thread alone, so the lower id has it.
    zelvar_object_manager_set_gles_error(pid, tid, GL_INVALID_ENUM);
    EXPECT_EQ(pid_to_process_data_map[pid].contexts.at(3)->gles_error, uint32_t{GL_INVALID_ENUM});
    EXPECT_EQ(pid_to_process_data_map[pid].contexts.at(5)->gles_error, uint32_t{GL_NO_ERROR});
    EGLContext host = nullptr;
    EXPECT_TRUE(zelvar_object_manager_get_bound_host_context(pid, tid, &host));
    EXPECT_EQ(host, host_context(3));
}

TEST_F(contexts, ReleasingUnbindsTheFirstContextOfTheThreadOnly)
{
    add(5);
    add(3);
    make_current(3);
    make_current(5);
    EXPECT_TRUE(zelvar_object_manager_bind_context_to_thread(pid, 0, tid, 0, 0, false));
    EXPECT_EQ(found_by(tid), 5u) << "3 was unbound, 5 is still current";
    EXPECT_EQ(pid_to_process_data_map[pid].contexts.at(3)->bound_thread, 0u);
    EXPECT_TRUE(zelvar_object_manager_bind_context_to_thread(pid, 0, tid, 0, 0, false));
    EXPECT_EQ(found_by(tid), 0u);
    uint64_t draw = 1, read = 1;
    EXPECT_FALSE(zelvar_object_manager_get_bound_target_surfaces(pid, tid, &draw, &read));
    EXPECT_EQ(draw, 1u) << "untouched on failure";
    std::string printed = library::printed_by(
        [&] { EXPECT_FALSE(zelvar_object_manager_bind_context_to_thread(pid, 0, tid, 0, 0, false)); });
    EXPECT_NE(printed.find("WARN [ZELVAR] No context was unbound from thread [21] for process [7]\n"),
              std::string::npos);
}

TEST_F(contexts, EveryBindMarksTheDrawSurfaceChangedEvenOneThatFails)
{
    EXPECT_TRUE(zelvar_object_manager_has_draw_surface_been_changed_since_last_swap()) << "from the start";
    zelvar_object_manager_reset_draw_surface_changed_flag();
    EXPECT_FALSE(zelvar_object_manager_has_draw_surface_been_changed_since_last_swap());
    std::string printed = library::printed_by(
        [&] { EXPECT_FALSE(zelvar_object_manager_bind_context_to_thread(pid + 1, 5, tid, 0, 0, false)); });
    EXPECT_NE(printed.find("ERROR [ZELVAR] PID [8] has not been recognized - cannot bind context "
                           "[               5] to thread [21]\n"),
              std::string::npos);
    EXPECT_TRUE(zelvar_object_manager_has_draw_surface_been_changed_since_last_swap());
}

TEST_F(contexts, DataIsFilledAtTheFirstMakeCurrentAndOnlyThen)
{
    add(5);
    make_current(5);
    EXPECT_EQ(fake_host::count("glGetString"), 1u);
    size_t calls = fake_host::calls().size();
    make_current(5);
    EXPECT_EQ(fake_host::calls().size(), calls);
}

TEST_F(contexts, AddingAKnownKeyWarnsAtEveryLevelAndOverwrites)
{
    add(5);
    make_current(5);
    sidechannel_set_log_level(0);
    std::string printed = library::printed_by([&] {
        EXPECT_TRUE(zelvar_object_manager_add_context(pid, tid, host_context(77), nullptr, 5, 0, 2, 0, 3, 1));
    });
    EXPECT_EQ(printed, "WARN [ZELVAR] Target context [5] is already known, data desync ahead.\n");
    EGLContext host = nullptr;
    EXPECT_TRUE(zelvar_object_manager_get_host_context(pid, 5, &host));
    EXPECT_EQ(host, host_context(77));
    EXPECT_EQ(zelvar_object_manager_get_target_context_major_version(pid, 5), 2);
    EXPECT_EQ(zelvar_object_manager_get_host_context_major_version(pid, 5), 3);
    EXPECT_EQ(found_by(tid), 0u) << "the new one is bound to nobody";
}

TEST_F(contexts, OverwritingAContextLeavesAHandlerThatWorksOnItItsModel)
{
    add(5);
    make_current(5);
    auto* data = zelvar_object_manager_lock_context_data(pid, tid);
    add(5); // by the very handler
    data->line_width = 3.0f;
    EXPECT_NE(zelvar_object_manager_lock_context_data_by_target_context(pid, 5), data);
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(data));
    EXPECT_FALSE(zelvar_object_manager_unlock_context_data(data)) << "gone with its last lock";
}

TEST_F(contexts, TheNullContextsPlaceIsNeverGivenAway)
{
    auto* data = zelvar_object_manager_lock_context_data(pid, tid);
    EXPECT_FALSE(zelvar_object_manager_add_context(pid, tid, host_context(1), nullptr, 0, 0, 3, 1, 3, 1));
    EXPECT_FALSE(zelvar_object_manager_bind_context_to_thread(pid, 0, tid, 1, 1, true));
    EXPECT_FALSE(zelvar_object_manager_delete_target_context(pid, 0, true));
    EXPECT_EQ(zelvar_object_manager_lock_context_data(pid, tid), data);
}

TEST_F(contexts, AddingToAnUnknownProcessFails)
{
    std::string printed = library::printed_by([&] {
        EXPECT_FALSE(zelvar_object_manager_add_context(8, tid, host_context(1), nullptr, 1, 0, 3, 1, 3, 1));
    });
    EXPECT_NE(printed.find("ERROR [ZELVAR] Could not find process data instance for process id [8]\n"),
              std::string::npos);
    EXPECT_EQ(zelvar_object_manager_get_host_context_major_version(8, 1), -1);
    EXPECT_EQ(zelvar_object_manager_get_target_context_major_version(pid, 1), -1);
}

TEST_F(contexts, TranslatesBothWaysAndTakesZeroForNone)
{
    add(5);
    EGLContext host = host_context(1);
    uint64_t target = 9;
    EXPECT_TRUE(zelvar_object_manager_get_host_context(pid + 1, 0, &host));
    EXPECT_EQ(host, EGL_NO_CONTEXT);
    EXPECT_TRUE(zelvar_object_manager_get_target_context(pid, host_context(5), &target));
    EXPECT_EQ(target, 5u);
    EXPECT_FALSE(zelvar_object_manager_get_target_context(pid, host_context(6), &target));
    EXPECT_FALSE(zelvar_object_manager_get_host_context(pid, 6, &host));
    EXPECT_EQ(target, 5u);
}

TEST_F(contexts, AContextThatWasNeverCurrentSurvivesItsDeletion)
{
    add(5);
    bind_created(5);
    EXPECT_EQ(library::printed_by([] {
                  EXPECT_FALSE(zelvar_object_manager_delete_target_context(pid, 5, true));
                  EXPECT_FALSE(zelvar_object_manager_delete_target_context(pid + 1, 5, true));
              }).find("ERROR"),
              std::string::npos);
    EXPECT_TRUE(is_known(5));
    std::string printed =
        library::printed_by([] { EXPECT_FALSE(zelvar_object_manager_delete_target_context(pid, 6, true)); });
    EXPECT_NE(
        printed.find("ERROR [ZELVAR] Could not delete GLES context [               6] for process [7] - "
                     "cannot find the context!\n"),
        std::string::npos);
}

/// The addresses that were given back to the target, in order.
std::vector<uint64_t> freed_blocks()
{
    std::vector<uint64_t> addresses;
    for (uint32_t i = 0; i < zelvar_test_support_get_number_of_registered_calls(true); i++) {
        uint32_t type = 0, length = 0;
        const void* bytes = nullptr;
        zelvar_test_support_get_registered_call_type(true, i, &type);
        if (type != service(out::deallocate_memory_block))
            continue;
        zelvar_test_support_get_registered_call_argument(true, i, 0, &length, &bytes);
        uint64_t address = 0;
        std::memcpy(&address, bytes, std::min<size_t>(length, sizeof(address)));
        addresses.push_back(address);
    }
    return addresses;
}

void remember_target_blocks(_zelvar_context_data& data)
{
    data.extensions.name_addresses[2] = {0x102};
    data.extensions.target_address = {0x200};
    data.target_strings[GL_VENDOR] = {0x300};
    data.target_egl_strings[1][EGL_VENDOR] = {0x400};
    data.target_egl_strings[2][EGL_VERSION] = {0x500};
}

TEST_F(contexts, DeletionGivesAllTargetMemoryBackWithNoLockHeld)
{
    add(5);
    make_current(5);
    remember_target_blocks(pid_to_process_data_map[pid].contexts.at(5)->data);
    std::string printed =
        library::printed_by([] { EXPECT_TRUE(zelvar_object_manager_delete_target_context(pid, 5, true)); });
    EXPECT_NE(printed.find("INFO [ZELVAR] Context [               5] of process [7] is no longer considered "
                           "valid.\n"),
              std::string::npos);
    EXPECT_FALSE(is_known(5));
    EXPECT_EQ(freed_blocks(), (std::vector<uint64_t>{0x102, 0x200, 0x300, 0x400, 0x500}));
    EXPECT_EQ(found_by(tid), 0u);
}

TEST_F(contexts, DeletionLeavesQueryStringsAloneWhileTheTargetRunsCalls)
{
    add(5);
    make_current(5);
    remember_target_blocks(pid_to_process_data_map[pid].contexts.at(5)->data);
    library::set_target_gpu(TARGET_GPU_DUMMY);
    EXPECT_TRUE(zelvar_object_manager_delete_target_context(pid, 5, false));
    EXPECT_EQ(freed_blocks(), (std::vector<uint64_t>{0x102, 0x200, 0x300}));
}

TEST_F(contexts, DeletionReleasesTheProgramInUse)
{
    add(5);
    add(6, 5);
    make_current(5);
    make_current(6, other_tid);
    auto& data = pid_to_process_data_map[pid].contexts.at(5)->data;
    auto& programs = data.data_shared->programs;
    programs[1].ref_counter = 2;
    programs[2].ref_counter = 1;
    data.current_program = 1;
    EXPECT_TRUE(zelvar_object_manager_delete_target_context(pid, 5, true));
    EXPECT_EQ(programs.at(1).ref_counter, 1);
    EXPECT_EQ(programs.at(2).ref_counter, 1);
}

TEST_F(contexts, ForcedFailuresAndResultsStandInForTheOperations)
{
    add(5);
    make_current(5);
    zelvar_test_support_enable_internal_call_fail(true);
    for (uint32_t call : {zelvar_internal_lock_context_data, zelvar_internal_add_context,
                          zelvar_internal_bind_context_to_thread, zelvar_internal_delete_target_context,
                          zelvar_internal_get_host_context, zelvar_internal_unlock_context_data})
        zelvar_test_support_enqueue_internal_call_fail_result(call, true);
    zelvar_object_manager_reset_draw_surface_changed_flag();
    EGLContext host = nullptr;
    EXPECT_EQ(zelvar_object_manager_lock_context_data(pid, tid), nullptr);
    EXPECT_FALSE(zelvar_object_manager_add_context(pid, tid, nullptr, nullptr, 6, 0, 3, 1, 3, 1));
    EXPECT_FALSE(make_current(5));
    EXPECT_TRUE(zelvar_object_manager_has_draw_surface_been_changed_since_last_swap());
    EXPECT_FALSE(zelvar_object_manager_delete_target_context(pid, 5, true));
    EXPECT_FALSE(zelvar_object_manager_get_host_context(pid, 5, &host));
    EXPECT_FALSE(is_known(6));
    auto* data = zelvar_object_manager_lock_context_data(pid, tid);
    EXPECT_FALSE(zelvar_object_manager_unlock_context_data(data));
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(data)) << "the queue is used up";

    zelvar_test_support_enable_fake_zelvar_internal_calls(true);
    uint64_t surfaces[] = {11, 12}, draw = 0, read = 0;
    zelvar_test_support_enqueue_fake_zelvar_internal_call_result(zelvar_internal_get_bound_target_surfaces,
                                                                 nullptr, 0, surfaces, sizeof(surfaces));
    EXPECT_TRUE(zelvar_object_manager_get_bound_target_surfaces(pid, tid, &draw, &read));
    EXPECT_EQ(draw, 11u);
    EXPECT_EQ(read, 12u);
}
} // namespace
