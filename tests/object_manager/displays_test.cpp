// Display records, the mapping across processes, and reference counts.

#include "object_manager/display_maps.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"
#include "support/fake_host.h"
#include "support/library.h"
#include "zelvar/test_support.h"

#include <gtest/gtest.h>

namespace {
constexpr pid_t pid = 12;
constexpr tid_t tid = 3;
EGLDisplay host(uintptr_t number)
{
    return reinterpret_cast<EGLDisplay>(number);
}

class display_test : public testing::Test
{
protected:
    display_test() { library::start(); }
    static uintptr_t host_of(pid_t of_pid, uint64_t target)
    {
        EGLDisplay found = host(0xbad);
        zelvar_object_manager_get_host_display(of_pid, tid, target, &found);
        return reinterpret_cast<uintptr_t>(found);
    }
};

TEST_F(display_test, ADisplayIsAddedOnceAndFoundBothWays)
{
    EXPECT_TRUE(zelvar_object_manager_add_display(pid, tid, host(1), 0xd2));
    EXPECT_TRUE(zelvar_object_manager_add_display(pid, tid, host(2), 0xd1));
    auto printed =
        library::printed_by([] { EXPECT_FALSE(zelvar_object_manager_add_display(pid, tid, host(3), 0xd2)); });
    EXPECT_EQ(printed,
              "ERROR [ZELVAR] Cannot add display object to object manager - object [            0xd2] is "
              "already known!\n");
    EXPECT_EQ(host_of(pid, 0xd2), 1u);
    uint64_t target = 0;
    EXPECT_TRUE(zelvar_object_manager_get_target_display(pid, host(2), &target));
    EXPECT_EQ(target, 0xd1u);
    EXPECT_EQ(library::printed_by([&] {
                  EXPECT_FALSE(zelvar_object_manager_get_target_display(pid, host(3), &target));
                  EXPECT_FALSE(zelvar_object_manager_get_target_display(99, host(2), &target));
              }),
              "");
    EGLDisplay first = nullptr;
    EXPECT_TRUE(zelvar_object_manager_get_display(pid, 0, &first, &target)); // in key order
    EXPECT_EQ(target, 0xd1u);
    EXPECT_FALSE(zelvar_object_manager_get_display(pid, 2, &first, &target));
    EXPECT_TRUE(zelvar_object_manager_delete_display(pid, 0xd1));
    EXPECT_FALSE(zelvar_object_manager_delete_display(pid, 0xd1));
    EXPECT_EQ(host_of(pid, 0xd1), 0xbadu);
}

TEST_F(display_test, ANewDisplayIsNotInitialisedAndOpensItsStringMap)
{
    EXPECT_TRUE(zelvar_object_manager_add_display(pid, tid, host(1), 0xd2));
    bool state = true;
    EXPECT_TRUE(zelvar_object_manager_get_display_initialized_state(pid, 0xd2, &state));
    EXPECT_FALSE(state);
    EXPECT_TRUE(zelvar_object_manager_set_display_initialized_state(pid, 0xd2, true));
    EXPECT_TRUE(zelvar_object_manager_get_display_initialized_state(pid, 0xd2, &state) && state);
    EXPECT_FALSE(zelvar_object_manager_set_display_initialized_state(pid, 0xd3, true));
    EXPECT_FALSE(zelvar_object_manager_get_display_initialized_state(99, 0xd2, &state));
    EXPECT_TRUE(zelvar_object_manager_lock_context_data(pid, tid)->target_egl_strings.contains(0xd2));
    library::set_target_gpu(TARGET_GPU_DUMMY);
    EXPECT_TRUE(zelvar_object_manager_add_display(pid, tid, host(1), 0xd3));
    EXPECT_FALSE(zelvar_object_manager_lock_context_data(pid, tid)->target_egl_strings.contains(0xd3));
}

TEST_F(display_test, DisplayZeroIsNoDisplayInAnyState)
{
    EXPECT_EQ(host_of(pid, 0), 0u);
    EXPECT_EQ(host_of(999, 0), 0u);
    EXPECT_FALSE(pid_to_process_data_map.contains(999));
}

TEST_F(display_test, AProcessLearnsWhatAnotherOneOpened)
{
    EXPECT_EQ(library::printed_by([] { EXPECT_EQ(host_of(pid, 0xd2), 0xbadu); }),
              "ERROR [ZELVAR] Could not find host-side display for target-side display [0xd2] for process id "
              "[0x0000000c]\n");
    EXPECT_TRUE(zelvar_object_manager_global_display_mapping_add(0xd2, host(1)));
    sidechannel_set_log_level(6566);
    EXPECT_EQ(
        library::printed_by([] { EXPECT_EQ(host_of(pid, 0xd2), 1u); }),
        "DEBUG [ZELVAR] Found global host-side<=>target-side mapping and get host-side display [0x1] by "
        "target-side display [0xd2]!\n");
    uint64_t target = 0;
    EXPECT_TRUE(zelvar_object_manager_get_target_display(pid, host(1), &target));
}

TEST_F(display_test, TheGlobalMappingNeverChangesAnEntry)
{
    EXPECT_TRUE(zelvar_object_manager_global_display_mapping_add(0xd2, host(1)));
    EXPECT_EQ(library::printed_by(
                  [] { EXPECT_FALSE(zelvar_object_manager_global_display_mapping_add(0xd2, host(1))); }),
              "");
    EXPECT_EQ(library::printed_by(
                  [] { EXPECT_FALSE(zelvar_object_manager_global_display_mapping_add(0xd2, host(2))); }),
              "FATAL [ZELVAR] Target display [0xd2] already mapped to host display [0x1]. Remapping to host "
              "display "
              "[0x2] skipped\n");
    EGLDisplay found = nullptr;
    EXPECT_TRUE(zelvar_object_manager_global_display_mapping_get_host_display(0xd2, &found));
    EXPECT_EQ(found, host(1));
    uint64_t target = 0;
    EXPECT_TRUE(zelvar_object_manager_global_display_mapping_get_target_display(host(1), &target));
    EXPECT_FALSE(zelvar_object_manager_global_display_mapping_get_target_display(host(2), &target));
    EXPECT_TRUE(zelvar_object_manager_global_display_mapping_delete(0xd2));
    EXPECT_EQ(
        library::printed_by([] { EXPECT_FALSE(zelvar_object_manager_global_display_mapping_delete(0xd2)); }),
        "FATAL [ZELVAR] Target display [0xd2] was not found in global mapping. Cannot delete.\n");
}

TEST_F(display_test, TheLastReferenceErasesTheEntry)
{
    bool last = true;
    EXPECT_TRUE(zelvar_object_manager_host_display_inc_ref(host(1)));
    EXPECT_TRUE(zelvar_object_manager_host_display_inc_ref(host(1)));
    EXPECT_TRUE(zelvar_object_manager_host_display_dec_ref(host(1), &last));
    EXPECT_FALSE(last);
    EXPECT_TRUE(zelvar_object_manager_host_display_dec_ref(host(1), &last));
    EXPECT_TRUE(last);
    EXPECT_TRUE(host_display_parameters_map.empty());
    EXPECT_EQ(library::printed_by(
                  [&] { EXPECT_FALSE(zelvar_object_manager_host_display_dec_ref(host(1), &last)); }),
              "FATAL [ZELVAR] Host display [0x1] was not found in initialized mapping.\n");
}

TEST_F(display_test, AtTraceLevelTheErasedEntryComesBackWithNothing)
{
    sidechannel_set_log_level(6567);
    bool last = false;
    library::printed_by([&] {
        zelvar_object_manager_host_display_inc_ref(host(1));
        zelvar_object_manager_host_display_dec_ref(host(1), &last);
    });
    EXPECT_TRUE(last);
    ASSERT_TRUE(host_display_parameters_map.contains(host(1)));
    EXPECT_EQ(host_display_parameters_map.at(host(1)), 0u);
}

TEST_F(display_test, AGeneratedDisplayIsTheHostsAndOnlyForTheDefault)
{
    EXPECT_EQ(zelvar_object_manager_generate_target_display(pid, 0, host(0xd15)), 0xd15u);
    EXPECT_DEATH(zelvar_object_manager_generate_target_display(pid, 1, host(0xd15)), "native_display == 0");
}

TEST_F(display_test, FreeingADisplayGivesTheTargetItsBlocksBackWithoutALock)
{
    zelvar_object_manager_ensure_process_record(pid);
    EXPECT_FALSE(zelvar_object_manager_free_display_resources(pid, tid, 0xd2));
    auto record = std::make_shared<_zelvar_extensions>();
    record->supported = std::make_unique<uint8_t[]>(egl_extension_count);
    record->supported[2] = 1;
    record->text = "EGL_KHR_image ";
    record->target_address = {0x1000};
    record->name_addresses[5] = {0x2000};
    pid_to_process_data_map.at(pid).extensions[0xd2] = record;
    EXPECT_TRUE(zelvar_object_manager_is_egl_extension_supported(pid, 0xd2, 2));
    EXPECT_FALSE(zelvar_object_manager_is_egl_extension_supported(pid, 0xd2, 1));
    EXPECT_FALSE(zelvar_object_manager_is_egl_extension_supported(pid, 0xd2, egl_extension_count));
    EXPECT_FALSE(zelvar_object_manager_is_egl_extension_supported(pid, 0xd3, 2));

    zelvar_test_support_enable_fake_targetside_call_registration(true);
    EXPECT_TRUE(zelvar_object_manager_free_display_resources(pid, tid, 0xd2));
    std::vector<uint64_t> freed;
    for (uint32_t i = 0; i < zelvar_test_support_get_number_of_registered_calls(true); ++i) {
        uint32_t length = 0;
        const void* address = nullptr;
        ASSERT_TRUE(zelvar_test_support_get_registered_call_argument(true, i, 0, &length, &address));
        ASSERT_EQ(length, 8u);
        freed.push_back(*static_cast<const uint64_t*>(address));
    }
    EXPECT_EQ(freed, (std::vector<uint64_t>{0x1000, 0x2000}));
    EXPECT_FALSE(zelvar_object_manager_is_egl_extension_supported(pid, 0xd2, 2));
    // Who read the record before still has it whole.
    EXPECT_EQ(record->supported[2], 1);
}
} // namespace
