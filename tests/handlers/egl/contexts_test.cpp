// Contexts as a target makes and uses them.

#include "egl_fixture.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

namespace in = wire::inbound;

namespace {
using list = std::vector<EGLint>;

/// A display and a config, and what the host was asked to create.
class egl_context : public egl_test
{
protected:
    static constexpr uint64_t config = 9;
    uint64_t display = open_display();
    list host_list;
    EGLContext host_share = nullptr;

    egl_context()
    {
        fake_host::hook<&sidechannel_egl_imports::eglCreateContext>(
            [this](EGLDisplay, EGLConfig, EGLContext share, const EGLint* given) {
                host_list.clear();
                for (; *given != EGL_NONE; given += 2)
                    host_list.insert(host_list.end(), {given[0], given[1]});
                host_share = share;
                return reinterpret_cast<EGLContext>(next_host++);
            });
    }
    outcome create(std::initializer_list<int32_t> attributes, uint64_t share = 0, uint64_t of_config = config)
    {
        put_list(attributes);
        return send(call(in::egl_create_context).u64(display).u64(of_config).u64(share).u64(list_address));
    }
    _zelvar_context_data& data(uint64_t context)
    {
        return pid_to_process_data_map.at(pid).contexts.at(context)->data;
    }
    outcome make_current(uint64_t context, uint64_t surface)
    {
        return send(call(in::egl_make_current).u64(display).u64(surface).u64(surface).u64(context));
    }
    uintptr_t next_host = 0xc001;
};

TEST_F(egl_context, AVersion2ContextIsAVersion31ContextThatSharesWithTheService)
{
    sidechannel_set_log_level(3);
    auto seen =
        create({EGL_CONTEXT_CLIENT_VERSION, 2, EGL_CONTEXT_PRIORITY_LEVEL_IMG, 0x3101, 0x30FC, 1, EGL_NONE});
    EXPECT_EQ(seen.value, 1u); // the first id
    EXPECT_EQ(seen.width, 8u);
    EXPECT_EQ(seen.asked, (strings{"get_egl_attribute_list_length", "read 28"}));
    EXPECT_EQ(host_list, (list{EGL_CONTEXT_CLIENT_VERSION, 3, 0x30FC, 1, EGL_CONTEXT_MINOR_VERSION_KHR, 1}));
    EXPECT_EQ(host_share, pid_to_process_data_map.at(pid).service_context);
    EXPECT_FALSE(pid_to_process_data_map.at(pid).service_checked_out);
    EXPECT_TRUE(prints(seen.printed, "WARN [ZELVAR] Target side creates OpenGL ES 2.0 context. But host side "
                                     "forces to create 3.1 context instead.\n"));
    EXPECT_EQ(data(1).target_major_version, 2);
    EXPECT_EQ(data(1).host_major_version, 3);
    EXPECT_EQ(data(1).host_minor_version, 1);
    EXPECT_EQ(pid_to_process_data_map.at(pid).contexts.at(1)->bound_thread, tid);
    EXPECT_FALSE(pid_to_process_data_map.at(pid).contexts.at(1)->current);
}

TEST_F(egl_context, TheMinorPairIsAlwaysTheHosts)
{
    create({EGL_CONTEXT_MINOR_VERSION_KHR, 0, EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE});
    EXPECT_EQ(host_list, (list{EGL_CONTEXT_CLIENT_VERSION, 3, EGL_CONTEXT_MINOR_VERSION_KHR, 1}));
    create({EGL_NONE});
    EXPECT_EQ(host_list, (list{EGL_CONTEXT_MINOR_VERSION_KHR, 1}));
    EXPECT_EQ(value_of(call(in::egl_create_context).u64(display).u64(config).u64(0).u64(0)), 3u);
    EXPECT_EQ(host_list, (list{EGL_CONTEXT_MINOR_VERSION_KHR, 1}));
    zelvar_only_settings.forceHostContext2 = true;
    create({EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE});
    EXPECT_EQ(host_list, (list{EGL_CONTEXT_CLIENT_VERSION, 2, EGL_CONTEXT_MINOR_VERSION_KHR, 0}));
    create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE});
    EXPECT_EQ(host_list, (list{EGL_CONTEXT_CLIENT_VERSION, 3, EGL_CONTEXT_MINOR_VERSION_KHR, 1}));
}

TEST_F(egl_context, Version32IsRefusedUnlessTheCheckIsOff)
{
    sidechannel_set_log_level(3);
    auto seen = create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_CONTEXT_MINOR_VERSION_KHR, 2, EGL_NONE});
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(seen.host.empty());
    EXPECT_TRUE(prints(seen.printed,
                       "WARN [ZELVAR] Target side creates OpenGL ES 3.2 context. But host side can't "
                       "support this version.\nERROR [ZELVAR] The host does not support the target "
                       "context. Will return EGL_NO_CONTEXT\n"));
    zelvar_only_settings.skipTargetGLVersionCheck = true;
    seen = create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_CONTEXT_MINOR_VERSION_KHR, 2, EGL_NONE});
    EXPECT_NE(seen.value, 0u);
    EXPECT_EQ(host_list, (list{EGL_CONTEXT_CLIENT_VERSION, 3, EGL_CONTEXT_MINOR_VERSION_KHR, 1}));
    EXPECT_EQ(data(*seen.value).target_minor_version, 2);
}

TEST_F(egl_context, NoConfigIsReportedInThePlaceOfAContextWithoutAnError)
{
    auto seen = create({EGL_NONE}, 0, ~uint64_t{0});
    EXPECT_EQ(seen.value, 0x3005u);
    EXPECT_TRUE(seen.host.empty());
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_SUCCESS));
}

TEST_F(egl_context, FailedTranslationsReportTheIdAndMakeNothing)
{
    EXPECT_EQ(create({EGL_NONE}, 0, 0).value, 1u); // no partner on this host
    display = 0x999;
    EXPECT_EQ(create({EGL_NONE}).value, 2u);
    EXPECT_TRUE(host_list.empty());
    EXPECT_FALSE(pid_to_process_data_map.at(pid).contexts.contains(1));
}

TEST_F(egl_context, AnUnknownShareContextIsOnlyReported)
{
    uint64_t first = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value;
    auto seen = create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}, 0x77);
    EXPECT_NE(seen.value, 0u);
    EXPECT_TRUE(
        prints(seen.printed,
               "ERROR [ZELVAR] Target shared context 0x77 does not have an associated host context\n"));
    seen = create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}, first);
    EXPECT_EQ(data(*seen.value).data_shared, data(first).data_shared);
    EXPECT_EQ(host_share, pid_to_process_data_map.at(pid).service_context);
}

TEST_F(egl_context, AHostFailureReportsNoContext)
{
    fake_host::fails<&sidechannel_egl_imports::eglCreateContext>(EGL_BAD_MATCH);
    EXPECT_EQ(create({EGL_NONE}).value, 0u);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_MATCH));
    EXPECT_FALSE(pid_to_process_data_map.at(pid).service_checked_out);
}

TEST_F(egl_context, WithoutAnInitialisedDisplayThereIsNothingToShareWith)
{
    pid_to_process_data_map.at(pid).service_context = nullptr;
    EXPECT_EQ(create({EGL_NONE}).value, 0u);
    EXPECT_TRUE(host_list.empty());
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_NOT_INITIALIZED));
}

TEST_F(egl_context, MakeCurrentBindsAndTellsTheScreenSaver)
{
    uint64_t context = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value;
    uint64_t surface = create_window_surface(display, config);
    auto seen = make_current(context, surface);
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_EQ(seen.host.front(), "eglMakeCurrent(pointer, pointer, pointer, pointer)");
    EXPECT_EQ(seen.asked.back(), "set_screensaver_status 0");
    uint64_t draw = 0, read = 0;
    EXPECT_TRUE(zelvar_object_manager_get_bound_target_surfaces(pid, tid, &draw, &read));
    EXPECT_EQ(draw, surface);
    EXPECT_EQ(value_of(call(in::egl_get_current_context)), context);
    EXPECT_EQ(value_of(call(in::egl_get_current_surface).i32(EGL_READ)), surface);
    EXPECT_EQ(value_of(call(in::egl_get_current_display)), display);

    seen = send(call(in::egl_make_current).u64(display).u64(0).u64(0).u64(0));
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_EQ(seen.host, strings{"eglMakeCurrent(pointer, null, null, null)"});
    EXPECT_EQ(seen.asked, strings{"set_screensaver_status 1"});
    EXPECT_FALSE(zelvar_object_manager_get_bound_target_surfaces(pid, tid, &draw, &read));
    EXPECT_EQ(value_of(call(in::egl_get_current_context)), 0u);
    EXPECT_EQ(value_of(call(in::egl_get_current_surface).i32(EGL_DRAW)), 0u);
}

TEST_F(egl_context, MakeCurrentStopsAtTheFirstUnknownId)
{
    uint64_t context = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value;
    auto seen = make_current(context, 0x999);
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(seen.host.empty() && seen.asked.empty());
    uint64_t surface = create_window_surface(display, config);
    fake_host::fails<&sidechannel_egl_imports::eglMakeCurrent>(EGL_BAD_ACCESS);
    seen = make_current(context, surface);
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_FALSE(pid_to_process_data_map.at(pid).contexts.at(context)->current);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_ACCESS));
}

unsigned hook_request = 0;
int hook_value = -1;

TEST_F(egl_context, AHostContextOfVersion2IsToldAboutLuminanceDepthTextures)
{
    sidechannel_set_log_level(3);
    zelvar_only_settings.forceHostContext2 = true;
    uint64_t context = *create({EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE}).value;
    uint64_t surface = create_window_surface(display, config);
    const char* missing = "WARN [ZELVAR] Ignoring hook for 'disable use luminance depth texture mode'.\n";
    EXPECT_TRUE(prints(make_current(context, surface).printed, missing));
    zelvar_imports_gles_ptrs.GLES2_GetSetRequestEnumForName = [](const char* name) {
        return std::string(name) == "GLES_SET_REQUEST_USE_LUMINANCE_DEPTH_TEXTURE_MODE" ? 0x77u : 0u;
    };
    zelvar_imports_gles_ptrs.GLES2_Set = [](unsigned request, int value) {
        hook_request = request;
        hook_value = value;
    };
    EXPECT_EQ(make_current(context, surface).printed.find(missing), std::string::npos);
    EXPECT_EQ(hook_request, 0x77u);
    EXPECT_EQ(hook_value, 0);
    hook_request = 0;
    uint64_t other = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value;
    make_current(other, surface);
    EXPECT_EQ(hook_request, 0u); // version 3 is left alone
}

TEST_F(egl_context, AVersion2ContextNeverLearnsOfVersion3)
{
    uint64_t two = *create({EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE}).value;
    uint64_t three = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value;
    auto query = [&](uint64_t context, EGLint attribute) {
        target.poke(out_address, -1);
        EXPECT_EQ(
            value_of(call(in::egl_query_context).u64(display).u64(context).i32(attribute).u64(out_address)),
            EGL_TRUE);
        return target.peek<int32_t>(out_address);
    };
    EXPECT_EQ(query(two, EGL_CONTEXT_CLIENT_VERSION), 2);
    EXPECT_EQ(query(three, EGL_CONTEXT_CLIENT_VERSION), 3);
    EXPECT_EQ(query(two, EGL_RENDER_BUFFER), 0);
}

TEST_F(egl_context, DestroyedContextsAreForgottenOnceTheyWereCurrent)
{
    uint64_t context = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value;
    make_current(context, create_window_surface(display, config));
    fake_host::fails<&sidechannel_egl_imports::eglDestroyContext>(EGL_BAD_CONTEXT);
    auto destroy = call(in::egl_destroy_context).u64(display).u64(context);
    EXPECT_EQ(value_of(destroy), EGL_FALSE);
    EXPECT_TRUE(pid_to_process_data_map.at(pid).contexts.contains(context));
    fake_host::returns<&sidechannel_egl_imports::eglDestroyContext>(EGL_TRUE);
    EXPECT_EQ(value_of(destroy), EGL_TRUE);
    EXPECT_FALSE(pid_to_process_data_map.at(pid).contexts.contains(context));
    EXPECT_EQ(value_of(destroy), EGL_FALSE);
}

/// The host would keep it, with modes and arrays that no model knows.
TEST_F(egl_context, AContextThatIsDestroyedWhileItIsCurrentIsLeftOnTheHost)
{
    uint64_t context = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value;
    uint64_t other = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value;
    const uint64_t surface = create_window_surface(display, config);
    EGLContext on_host = EGL_NO_CONTEXT;
    fake_host::hook<&sidechannel_egl_imports::eglMakeCurrent>(
        [&](EGLDisplay, EGLSurface, EGLSurface, EGLContext now) {
            on_host = now;
            return EGL_TRUE;
        });
    fake_host::hook<&sidechannel_egl_imports::eglGetCurrentContext>([&] { return on_host; });
    fake_host::returns<&sidechannel_egl_imports::eglDestroyContext>(EGL_TRUE);
    const auto current_for_calls = [&] {
        zelvar_object_manager_unlock_context_data(zelvar_object_manager_lock_context_data(pid, tid));
        return on_host;
    };
    make_current(context, surface);
    EXPECT_NE(current_for_calls(), EGL_NO_CONTEXT);
    EXPECT_EQ(value_of(call(in::egl_destroy_context).u64(display).u64(context)), EGL_TRUE);
    EXPECT_EQ(current_for_calls(), EGL_NO_CONTEXT);
    make_current(context = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value, surface);
    EXPECT_EQ(value_of(call(in::egl_destroy_context).u64(display).u64(context)), EGL_TRUE);
    make_current(other, surface);
    EXPECT_NE(current_for_calls(), EGL_NO_CONTEXT) << "what is made current next stays so";
}

TEST_F(egl_context, ReleasingTheThreadUnbindsItsContext)
{
    uint64_t context = *create({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE}).value;
    make_current(context, create_window_surface(display, config));
    auto seen = send(call(in::egl_release_thread));
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_EQ(seen.host, strings{"eglReleaseThread()"});
    EXPECT_FALSE(pid_to_process_data_map.at(pid).contexts.at(context)->current);
    sidechannel_set_log_level(3);
    EXPECT_TRUE(prints(send(call(in::egl_release_thread)).printed,
                       "WARN [ZELVAR] Could not unbind context bound to <77, 5> pid/tid pair\n"));
}

TEST_F(egl_test_on_dummy, TheTargetNamesItsContexts)
{
    target_configs = {{0x90, 7, 8, 8, 8, 8, 24, 8, 0}};
    send(call64(in::egl_get_display, 0x1001).u64(0));
    send(call32(in::egl_initialize, EGL_TRUE).u64(0x1001).u64(0).u64(0));
    put_list({EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE});
    auto seen = send(call64(in::egl_create_context, 0xc7).u64(0x1001).u64(0x90).u64(0).u64(list_address));
    EXPECT_FALSE(seen.value);
    EXPECT_TRUE(pid_to_process_data_map.at(pid).contexts.contains(0xc7));
}
} // namespace
