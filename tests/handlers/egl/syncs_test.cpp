// Sync objects: the shim waits, the host keeps the state.

#include "egl_fixture.h"

#include "object_manager/zelvar_object_manager.h"

namespace in = wire::inbound;

namespace {
class egl_sync : public egl_test
{
protected:
    uint64_t display = open_display();
    static constexpr uint64_t for_ever = EGL_FOREVER_KHR;

    message create(uint32_t type, uint64_t list = 0)
    {
        return call(in::egl_create_sync_khr).u64(display).u32(type).u64(list);
    }
    message wait(uint64_t sync, uint64_t timeout, uint64_t control = out_address)
    {
        target.poke(out_address, 0xeeeeeeee);
        return call(in::egl_client_wait_sync_khr).u64(display).u64(sync).i32(0).u64(timeout).u64(control);
    }
    uint32_t control() const { return target.peek<uint32_t>(out_address); }
    message signal(uint64_t sync, uint32_t mode)
    {
        return call(in::egl_signal_sync_khr).u64(display).u64(sync).u32(mode);
    }
    message destroy(uint64_t sync) { return call(in::egl_destroy_sync_khr).u64(display).u64(sync); }
    bool is_known(uint64_t sync) const { return pid_to_process_data_map.at(pid).syncs.contains(sync); }
};

TEST_F(egl_sync, AFenceFlushesAndIsSignalledAtOnce)
{
    auto seen = send(create(EGL_SYNC_FENCE_KHR));
    EXPECT_EQ(seen.value, 0x5001u); // what the shim made
    EXPECT_EQ(seen.width, 8u);
    EXPECT_EQ(seen.host, strings{"glFlush()"});
    EXPECT_EQ(seen.asked, strings{"shim_sync_object_create"});
    auto waited = send(wait(0x5001, for_ever));
    EXPECT_EQ(waited.value, static_cast<uint64_t>(EGL_CONDITION_SATISFIED_KHR));
    EXPECT_EQ(waited.asked, strings{"write 4"});
    EXPECT_EQ(control(), 0u);
}

TEST_F(egl_sync, WhatCannotBeMadeIsRefused)
{
    auto seen = send(create(0x1234));
    EXPECT_FALSE(seen.value); // not even an answer
    EXPECT_TRUE(seen.asked.empty());
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_ATTRIBUTE));
    put_list({0x30F5, 1, EGL_NONE});
    seen = send(create(EGL_SYNC_FENCE_KHR, list_address));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(seen.host.empty());
    EXPECT_TRUE(
        prints(seen.printed, "ERROR [ZELVAR] Unsupported attribute list parameter specified [0x30f5]\n"));
    put_list({EGL_NONE});
    EXPECT_EQ(value_of(create(EGL_SYNC_REUSABLE_KHR, list_address)), 0x5001u);
    next_sync = 0x5001; // the shim hands an id out again
    seen = send(create(EGL_SYNC_REUSABLE_KHR));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_EQ(seen.asked, (strings{"shim_sync_object_create", "shim_sync_object_destroy"}));
    display = 0x999;
    EXPECT_EQ(value_of(create(EGL_SYNC_REUSABLE_KHR)), 0u);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_DISPLAY));
}

TEST_F(egl_sync, AWaitHasTwoPhases)
{
    uint64_t sync = *value_of(create(EGL_SYNC_REUSABLE_KHR));
    EXPECT_EQ(value_of(wait(sync, 0)), static_cast<uint64_t>(EGL_TIMEOUT_EXPIRED_KHR));
    EXPECT_EQ(control(), 0u);
    send(wait(sync, for_ever));
    EXPECT_EQ(control(), 1u);
    EXPECT_EQ(send(signal(sync, EGL_SIGNALED_KHR)).asked, strings{"shim_sync_object_signal 1"});
    EXPECT_EQ(value_of(wait(sync, for_ever, 0)), static_cast<uint64_t>(EGL_CONDITION_SATISFIED_KHR));
    const auto& record = *pid_to_process_data_map.at(pid).syncs.at(sync);
    EXPECT_EQ(record.waiter_count, 0u);
    EXPECT_EQ(record.ref_counter, 1u);
}

TEST_F(egl_sync, AWaiterKeepsADestroyedSyncUntilItComesBack)
{
    uint64_t sync = *value_of(create(EGL_SYNC_REUSABLE_KHR));
    send(wait(sync, for_ever));
    auto seen = send(destroy(sync));
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_EQ(seen.asked, strings{"shim_sync_object_signal 1"});
    EXPECT_TRUE(is_known(sync));
    EXPECT_EQ(value_of(destroy(sync)), EGL_FALSE); // the waiter's reference is not to be had
    EXPECT_TRUE(is_known(sync));
    EXPECT_EQ(value_of(wait(sync, for_ever)), EGL_FALSE);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_PARAMETER));
    seen = send(wait(sync, for_ever, 0));
    EXPECT_EQ(seen.value, static_cast<uint64_t>(EGL_CONDITION_SATISFIED_KHR));
    EXPECT_EQ(seen.asked, strings{"shim_sync_object_destroy"});
    EXPECT_FALSE(is_known(sync));
}

TEST_F(egl_sync, ASecondPhaseWithoutAFirstTakesNothingAway)
{
    uint64_t sync = *value_of(create(EGL_SYNC_REUSABLE_KHR));
    EXPECT_EQ(value_of(wait(sync, for_ever, 0)), EGL_FALSE);
    EXPECT_EQ(value_of(wait(0x999, for_ever, 0)), EGL_FALSE);
    EXPECT_TRUE(is_known(sync));
    EXPECT_EQ(send(destroy(sync)).asked, strings{"shim_sync_object_destroy"});
    EXPECT_FALSE(is_known(sync));
}

TEST_F(egl_sync, WhatCannotBeWaitedForSaysWhy)
{
    uint64_t fence = *value_of(create(EGL_SYNC_NATIVE_FENCE_ANDROID));
    EXPECT_EQ(value_of(wait(fence, 0)), EGL_FALSE);
    EXPECT_EQ(control(), 0u);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_PARAMETER));
    display = 0x999;
    EXPECT_EQ(value_of(wait(fence, 0)), EGL_FALSE);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_DISPLAY));
}

TEST_F(egl_sync, OnlyReusableSyncsCanBeSignalledAndWithThatModeOnly)
{
    uint64_t fence = *value_of(create(EGL_SYNC_FENCE_KHR));
    EXPECT_EQ(value_of(signal(fence, EGL_SIGNALED_KHR)), EGL_FALSE);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_MATCH));
    uint64_t sync = *value_of(create(EGL_SYNC_REUSABLE_KHR));
    auto seen = send(signal(sync, 0x1234));
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(prints(seen.printed,
                       "ERROR [ZELVAR] Unsupported mode specified [0x1234]. Returning result EGL_FALSE.\n"));
    EXPECT_EQ(send(signal(sync, EGL_SIGNALED_KHR)).asked, strings{"shim_sync_object_signal 0"});
    EXPECT_TRUE(send(signal(sync, EGL_SIGNALED_KHR)).asked.empty()); // it is already
    EXPECT_EQ(value_of(signal(sync, EGL_UNSIGNALED_KHR)), EGL_TRUE);
    EXPECT_EQ(value_of(wait(sync, 0)), static_cast<uint64_t>(EGL_TIMEOUT_EXPIRED_KHR));
    EXPECT_EQ(value_of(signal(0x999, EGL_SIGNALED_KHR)), EGL_FALSE);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_PARAMETER));
}

TEST_F(egl_sync, AttributesIncludeAConditionThatIsTheAttributeItself)
{
    auto get = [&](uint64_t sync, EGLint attribute) -> int64_t {
        auto result = value_of(
            call(in::egl_get_sync_attrib_khr).u64(display).u64(sync).i32(attribute).u64(out_address));
        return result == EGL_TRUE ? target.peek<int32_t>(out_address) : -1;
    };
    uint64_t fence = *value_of(create(EGL_SYNC_FENCE_KHR));
    uint64_t sync = *value_of(create(EGL_SYNC_REUSABLE_KHR));
    EXPECT_EQ(get(fence, EGL_SYNC_TYPE_KHR), EGL_SYNC_FENCE_KHR);
    EXPECT_EQ(get(fence, EGL_SYNC_STATUS_KHR), EGL_SIGNALED_KHR);
    EXPECT_EQ(get(fence, EGL_SYNC_CONDITION_KHR), 0x30F8);
    EXPECT_EQ(get(sync, EGL_SYNC_STATUS_KHR), EGL_UNSIGNALED_KHR);
    EXPECT_EQ(get(sync, EGL_SYNC_CONDITION_KHR), -1);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_ATTRIBUTE));
    EXPECT_EQ(get(0x999, EGL_SYNC_TYPE_KHR), -1);
}

TEST_F(egl_sync, ServerWaitsAndFenceFilesAreNotBuilt)
{
    auto seen = send(call(in::egl_wait_sync_khr).u64(display).u64(1).i32(0));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] EGLWaitSyncKHR is not supported for TRV mode\n"));
    EXPECT_EQ(value_of(call(in::egl_dup_native_fence_fdandroid).u64(display).u64(1)), 0u);
}

TEST_F(egl_test_on_real, TheTargetHasItsOwnSyncs)
{
    auto seen = send(call64(in::egl_create_sync_khr, 0x61).u64(1).u32(EGL_SYNC_FENCE_KHR).u64(0));
    EXPECT_EQ(seen.host, strings{"glFlush()"});
    EXPECT_TRUE(seen.asked.empty() && !seen.value);
    zelvar_settings.checkErrorCode = true; // the target's error stands in the message; nobody compares it
    EXPECT_EQ(
        send(call64(in::egl_create_sync_khr, 0).u32(EGL_BAD_ATTRIBUTE).u64(1).u32(EGL_SYNC_FENCE_KHR).u64(0))
            .printed,
        "");
    zelvar_settings.checkErrorCode = false;
    // The shim is always told to wait; what it saw stands in the second message.
    auto wait = [&](uint32_t result, uint64_t control) {
        return call32(in::egl_client_wait_sync_khr, result).u64(1).u64(0x61).i32(0).u64(9).u64(control);
    };
    EXPECT_EQ(send(wait(0, out_address)).asked, strings{"write 4"});
    EXPECT_EQ(target.peek<uint32_t>(out_address), 1u);
    seen = send(wait(EGL_CONDITION_SATISFIED_KHR, 0));
    EXPECT_TRUE(!seen.value && seen.asked.empty());
    for (auto& one : {call32(in::egl_destroy_sync_khr, 1).u64(1).u64(0x61),
                      call32(in::egl_signal_sync_khr, 1).u64(1).u64(0x61).u32(EGL_SIGNALED_KHR),
                      call32(in::egl_get_sync_attrib_khr, 1).u64(1).u64(0x61).i32(0x30F7).u64(out_address),
                      call32(in::egl_wait_sync_khr, 1).u64(1).u64(0x61).i32(0)}) {
        seen = send(one);
        EXPECT_TRUE(!seen.value && seen.asked.empty() && seen.host.empty());
        EXPECT_EQ(seen.printed, "");
    }
}
} // namespace
