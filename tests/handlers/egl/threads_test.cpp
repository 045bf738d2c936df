// Calls about the calling thread, calls of window systems, and errors of both sides.

#include "egl_fixture.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

namespace in = wire::inbound;

namespace {
TEST_F(egl_test, TheHostAnswersForItsThreads)
{
    struct
    {
        message call;
        const char* host;
        uint64_t value;
    } cases[] = {
        {call(in::egl_bind_api).u32(EGL_OPENGL_ES_API), "eglBindAPI(12448)", EGL_TRUE},
        {call(in::egl_query_api), "eglQueryAPI()", EGL_OPENGL_ES_API},
        {call(in::egl_wait_client), "eglWaitClient()", EGL_TRUE},
        {call(in::egl_wait_gl), "eglWaitGL()", EGL_TRUE},
        {call(in::egl_wait_native).i32(EGL_CORE_NATIVE_ENGINE), "eglWaitNative(12379)", EGL_TRUE},
    };
    for (auto& one : cases) {
        auto seen = send(one.call);
        EXPECT_EQ(seen.value, one.value) << one.host;
        EXPECT_EQ(seen.width, 4u);
        EXPECT_EQ(seen.host, strings{one.host});
        EXPECT_TRUE(seen.asked.empty());
    }
}

TEST_F(egl_test, SwapIntervalsNeedADisplay)
{
    uint64_t display = open_display();
    EXPECT_EQ(send(call(in::egl_swap_interval).u64(display).i32(2)).host,
              strings{"eglSwapInterval(pointer, 2)"});
    EXPECT_EQ(value_of(call(in::egl_swap_interval).u64(0x999).i32(2)), EGL_FALSE);
}

TEST_F(egl_test, AnErrorStaysUntilAskedForAndTheLastOneWins)
{
    fake_host::fails<&sidechannel_egl_imports::eglWaitClient>(EGL_BAD_CURRENT_SURFACE);
    fake_host::fails<&sidechannel_egl_imports::eglBindAPI>(EGL_BAD_PARAMETER);
    auto seen = send(call(in::egl_wait_client));
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(prints(seen.printed, "ERROR [ZELVAR] egl_eglWaitClient on host returns error code 0x3007\n"));
    seen = send(call(in::egl_bind_api).u32(0x1234));
    EXPECT_TRUE(prints(seen.printed,
                       "ERROR [ZELVAR] eglBindAPI() failed on host-side but succeeded on target-side!\n"));
    send(call(in::egl_query_api)); // success takes nothing away
    seen = send(call(in::egl_get_error));
    EXPECT_EQ(seen.value, static_cast<uint64_t>(EGL_BAD_PARAMETER));
    EXPECT_EQ(seen.width, 4u);
    EXPECT_TRUE(seen.host.empty());
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_SUCCESS));
}

TEST_F(egl_test, AFunctionThatTheHostLacksFailsTheCall)
{
    fake_host::remove<&sidechannel_egl_imports::eglWaitClient>();
    auto seen = send(call(in::egl_wait_client));
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] The host lacks eglWaitClient().\n"));
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_ACCESS));
}

TEST_F(egl_test, FunctionAddressesOfTheHostAreNobodysBusiness)
{
    auto seen = send(call(in::egl_get_proc_address).u64(text_address));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_EQ(seen.width, 8u);
    EXPECT_TRUE(seen.host.empty());
}

TEST_F(egl_test_on_dummy, AFunctionAddressIsAnsweredInEveryMode)
{
    auto seen = send(call(in::egl_get_proc_address).u64(text_address)); // no result of the target in front
    EXPECT_EQ(seen.value, 0u);
    EXPECT_EQ(seen.width, 8u);
    EXPECT_FALSE(send(call32(in::egl_get_error, EGL_BAD_MATCH)).value);
}

TEST_F(egl_test_on_dummy, ErrorsOfBothSidesAreCompared)
{
    zelvar_settings.checkErrorCode = true;
    fake_host::egl_errors({EGL_BAD_ACCESS});
    auto seen = send(call(in::egl_wait_gl).u32(EGL_TRUE).u32(EGL_BAD_CURRENT_SURFACE)); // result, then error
    EXPECT_EQ(seen.printed, "ERROR [ZELVAR] egl_eglWaitGL on host returns error code 0x3002\n"
                            "ERROR [ZELVAR] egl_eglWaitGL on target returns error code 0x3007\n"
                            "ERROR [ZELVAR] egl_eglWaitGL Inconsistent error code detected. host=0x3002, "
                            "target=0x3007\n");
    seen = send(call(in::egl_wait_gl).u32(EGL_TRUE).u32(EGL_SUCCESS));
    EXPECT_EQ(seen.printed, "");
}

TEST_F(egl_test, WaylandIsOnlyTakenNoteOf)
{
    sidechannel_set_log_level(6566);
    target.poke(out_address, uint32_t{99});
    for (auto& one :
         {call(in::egl_bind_wayland_display_wl).u64(1).u64(2),
          call(in::egl_unbind_wayland_display_wl).u64(1).u64(2), call(in::eglwl_egl_window_destroy).u64(7)}) {
        auto seen = send(one);
        EXPECT_TRUE(!seen.value && seen.host.empty() && seen.asked.empty());
    }
    auto seen = send(call(in::egl_query_wayland_buffer_wl).u64(1).u64(2).i32(EGL_WIDTH).u64(out_address));
    EXPECT_EQ(seen.asked, strings{"read 4"});
    EXPECT_TRUE(prints(seen.printed, "is [99]."));
    EXPECT_FALSE(seen.value);
    EXPECT_TRUE(
        send(call(in::egl_query_wayland_buffer_wl).u64(1).u64(2).i32(EGL_WIDTH).u64(0)).asked.empty());
}

TEST_F(egl_test_on_dummy, RegisteredWindowsDoNotDecideASurfacesSize)
{
    send(call64(in::eglwl_egl_window_create, 0x77).u64(1).i32(11).i32(22));
    send(call64(in::ubm_surface_create, 0x78).u64(1).u32(11).u32(22).u32(0).u32(0));
    uint32_t width = 0, height = 0;
    for (uint64_t window : {0x77, 0x78})
        EXPECT_FALSE(zelvar_object_manager_get_target_native_window_properties(pid, window, &width, &height));
}

} // namespace
