// Surfaces: on the host every one is a pbuffer.

#include "egl_fixture.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

namespace in = wire::inbound;

namespace {
using list = std::vector<EGLint>;

/// What pbuffers the host was asked for.
struct pbuffer_log
{
    list attributes;
    bool list_was_null = false;
    void watch()
    {
        fake_host::hook<&sidechannel_egl_imports::eglCreatePbufferSurface>(
            [this](EGLDisplay, EGLConfig, const EGLint* given) {
                attributes.clear();
                list_was_null = given == nullptr;
                for (; given && *given != EGL_NONE; given += 2)
                    attributes.insert(attributes.end(), {given[0], given[1]});
                return reinterpret_cast<EGLSurface>(next++);
            });
    }
    uintptr_t next = 0x5001;
};

class egl_surface : public egl_test
{
protected:
    static constexpr uint64_t config = 9;
    uint64_t display = open_display();
    pbuffer_log pbuffers;

    egl_surface() { pbuffers.watch(); }
    message window(uint64_t native = 0x77, uint64_t of_config = config)
    {
        return call(in::egl_create_window_surface).u64(display).u64(of_config).u64(native).u64(list_address);
    }
    message destroy(uint64_t surface) { return call(in::egl_destroy_surface).u64(display).u64(surface); }
    const _zelvar_surface* record(uint64_t surface)
    {
        auto& all = pid_to_process_data_map.at(pid).surfaces;
        auto found = all.find(surface);
        return found == all.end() ? nullptr : &found->second;
    }
};

TEST_F(egl_surface, AWindowIsAPbufferOfItsSize)
{
    auto seen = send(window());
    EXPECT_EQ(seen.value, 1u); // the first id
    EXPECT_EQ(seen.width, 8u);
    EXPECT_EQ(seen.host, strings{"eglCreatePbufferSurface(pointer, pointer, pointer)"});
    // The target's attribute list is of no use here.
    EXPECT_EQ(seen.asked, (strings{"winsys_get_target_os_version", "winsys_get_window_height",
                                   "winsys_get_window_width"}));
    EXPECT_EQ(pbuffers.attributes, (list{EGL_WIDTH, 640, EGL_HEIGHT, 480}));
    ASSERT_TRUE(record(1));
    EXPECT_EQ(record(1)->type, surface_window);
    EXPECT_EQ(record(1)->target_config, config);
    EXPECT_EQ(record(1)->native_window, 0x77u);
    EXPECT_EQ(record(1)->width, 640);
    EXPECT_EQ(record(1)->height, 480);
    seen = send(call(in::egl_create_platform_window_surface_ext).u64(display).u64(config).u64(0x78).u64(0));
    EXPECT_EQ(seen.value, 2u);
    EXPECT_EQ(record(2)->native_window, 0x78u);
}

TEST_F(egl_surface, AWindowWithoutASizeGetsItsIdAndNothingElse)
{
    window_height = 0;
    auto seen = send(window());
    EXPECT_EQ(seen.value, 1u);
    EXPECT_TRUE(seen.host.empty());
    EXPECT_FALSE(record(1));
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] Invalid window height (0) or width (640).\n"));
    window_height = 480;
    window_width = 0;
    EXPECT_TRUE(prints(send(window()).printed, "FATAL [ZELVAR] Invalid window height (480) or width (0).\n"));
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_SUCCESS));
}

TEST_F(egl_surface, ANullWindowMakesNothing)
{
    auto seen = send(window(0));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(seen.host.empty() && seen.asked.empty());
    EXPECT_TRUE(prints(seen.printed,
                       "FATAL [ZELVAR] The parameter 'win' is NULL, eglCreateWindowSurface() will not "
                       "execute on host side\n"));
    EXPECT_EQ(send(window()).value, 1u); // and takes no id
}

TEST_F(egl_surface, UnknownConfigsAndDisplaysKeepTheHostOut)
{
    EXPECT_EQ(send(window(0x77, 0)).value, 1u);
    display = 0x999;
    auto seen = send(window());
    EXPECT_TRUE(seen.host.empty());
    EXPECT_TRUE(
        prints(seen.printed,
               "FATAL [ZELVAR] Could not map target-side display [2457]. Host-side will NOT execute.\n"));
    EXPECT_TRUE(pid_to_process_data_map.at(pid).surfaces.empty());
}

TEST_F(egl_surface, AHostThatMakesNoPbufferMakesNoWindow)
{
    fake_host::fails<&sidechannel_egl_imports::eglCreatePbufferSurface>(EGL_BAD_ALLOC);
    auto seen = send(window());
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(prints(seen.printed, "ERROR [ZELVAR] Could not create a pbuffer surface on host side\n"));
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_ALLOC));
}

TEST_F(egl_surface, AndroidWindowsAreConnectedAndDisconnected)
{
    os_version = 2;
    auto seen = send(window());
    EXPECT_EQ(seen.asked, (strings{"winsys_get_target_os_version", "winsys_connect_window",
                                   "winsys_get_window_height", "winsys_get_window_width"}));
    EXPECT_EQ(send(destroy(*seen.value)).asked, strings{"winsys_disconnect_window"});
    put_list({EGL_NONE});
    uint64_t pbuffer =
        *value_of(call(in::egl_create_pbuffer_surface).u64(display).u64(config).u64(list_address));
    EXPECT_TRUE(send(destroy(pbuffer)).asked.empty());
}

TEST_F(egl_surface, DestroyedSurfacesAreForgottenOnlyWhenTheHostAgrees)
{
    uint64_t surface = *value_of(window());
    fake_host::fails<&sidechannel_egl_imports::eglDestroySurface>(EGL_BAD_SURFACE);
    auto seen = send(destroy(surface));
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(prints(seen.printed,
                       "ERROR [ZELVAR] Could not execute eglDestroySurface() call on host side! "
                       "CANNOT revert.\n"));
    EXPECT_TRUE(record(surface));
    fake_host::returns<&sidechannel_egl_imports::eglDestroySurface>(EGL_TRUE);
    EXPECT_EQ(value_of(destroy(surface)), EGL_TRUE);
    EXPECT_FALSE(record(surface));
    EXPECT_EQ(value_of(destroy(surface)), EGL_FALSE);
}

TEST_F(egl_surface, SkippingDestructionKeepsOnlyTheHostsSide)
{
    uint64_t surface = *value_of(window());
    zelvar_only_settings.skipeglDestroySurface = true;
    sidechannel_set_log_level(0);
    auto seen = send(destroy(surface));
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_TRUE(seen.host.empty());
    EXPECT_EQ(seen.printed, "WARN [ZELVAR] Skip eglDestroySurface() call on host side!\n");
    EXPECT_FALSE(record(surface));
}

TEST_F(egl_surface, APbuffersIdIsTheAddressOfClearedTargetMemory)
{
    put_list({EGL_WIDTH, 7, EGL_TEXTURE_FORMAT, EGL_TEXTURE_RGBA, EGL_NONE});
    auto create = call(in::egl_create_pbuffer_surface).u64(display).u64(config).u64(list_address);
    auto seen = send(create);
    ASSERT_TRUE(seen.value);
    EXPECT_EQ(seen.width, 8u);
    EXPECT_GE(*seen.value, raw_target::heap_base);
    EXPECT_EQ(seen.asked, (strings{"get_egl_attribute_list_length", "read 20", "allocate 8", "write 8"}));
    EXPECT_EQ(pbuffers.attributes, (list{EGL_WIDTH, 7, EGL_TEXTURE_FORMAT, EGL_TEXTURE_RGBA}));
    ASSERT_TRUE(record(*seen.value));
    EXPECT_EQ(record(*seen.value)->type, surface_pbuffer);
    EXPECT_EQ(record(*seen.value)->width, 0);
    EXPECT_NE(value_of(create), seen.value);
    value_of(call(in::egl_create_pbuffer_surface).u64(display).u64(config).u64(0));
    EXPECT_TRUE(pbuffers.list_was_null);
}

TEST_F(egl_surface, APbufferThatCannotBeHadSaysWhy)
{
    put_list({EGL_NONE});
    auto create = [&](uint64_t of_display, uint64_t of_config) {
        return call(in::egl_create_pbuffer_surface).u64(of_display).u64(of_config).u64(list_address);
    };
    EXPECT_EQ(value_of(create(display, 0)), 0u);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_CONFIG));
    EXPECT_EQ(value_of(create(0x999, config)), 0u);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_DISPLAY));
    out_of_memory = true;
    auto seen = send(create(display, config));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_EQ(seen.host.back(), "eglDestroySurface(pointer, pointer)");
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_ALLOC));
    claimed_list_length = 0x200000;
    seen = send(create(display, config));
    EXPECT_TRUE(seen.host.empty());
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] Failed to align egl attribute list on host side.\n"));
    fake_host::fails<&sidechannel_egl_imports::eglCreatePbufferSurface>(EGL_BAD_ATTRIBUTE);
    claimed_list_length.reset();
    EXPECT_EQ(value_of(create(display, config)), 0u);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_ATTRIBUTE));
}

TEST_F(egl_surface, SwapBehaviourIsSwallowedAndTheRestGoesToTheHost)
{
    uint64_t surface = *value_of(window());
    auto set = [&](EGLint attribute) {
        return send(call(in::egl_surface_attrib).u64(display).u64(surface).i32(attribute).i32(1));
    };
    auto seen = set(EGL_SWAP_BEHAVIOR);
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_TRUE(seen.host.empty());
    EXPECT_EQ(set(EGL_MIPMAP_LEVEL).host, strings{"eglSurfaceAttrib(pointer, pointer, 12419, 1)"});
    surface = 0x999;
    seen = set(EGL_MIPMAP_LEVEL);
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(seen.host.empty());
}

TEST_F(egl_surface, QueriesAskThePbuffer)
{
    uint64_t surface = *value_of(window());
    auto query = [&](uint64_t of_surface) {
        return send(call(in::egl_query_surface).u64(display).u64(of_surface).i32(EGL_WIDTH).u64(out_address));
    };
    EXPECT_EQ(query(surface).value, EGL_TRUE);
    EXPECT_EQ(target.peek<int32_t>(out_address), 16);
    target.poke(out_address, -1);
    auto seen = query(0x999);
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(prints(seen.printed,
                       "FATAL [ZELVAR] eglQuerySurface(): failed to find display or surface mapping "
                       "for target display 0xd15 and surface 0x999.\n"));
    fake_host::fails<&sidechannel_egl_imports::eglQuerySurface>(EGL_BAD_ATTRIBUTE);
    EXPECT_EQ(query(surface).value, EGL_FALSE);
    EXPECT_EQ(target.peek<int32_t>(out_address), -1);
}

TEST_F(egl_surface, TextureImagesDifferInHowTheyFail)
{
    put_list({EGL_NONE});
    uint64_t surface =
        *value_of(call(in::egl_create_pbuffer_surface).u64(display).u64(config).u64(list_address));
    auto image = [&](uint32_t type, uint64_t of_display, uint64_t of_surface) {
        return send(call(type).u64(of_display).u64(of_surface).i32(EGL_BACK_BUFFER));
    };
    EXPECT_EQ(image(in::egl_bind_tex_image, display, surface).host,
              strings{"eglBindTexImage(pointer, pointer, 12420)"});
    EXPECT_EQ(image(in::egl_release_tex_image, display, surface).host,
              strings{"eglReleaseTexImage(pointer, pointer, 12420)"});
    struct
    {
        uint32_t type;
        uint64_t display, surface;
        uint32_t error;
    } cases[] = {{in::egl_bind_tex_image, display, 0x999, EGL_SUCCESS},
                 {in::egl_bind_tex_image, 0x999, surface, EGL_SUCCESS},
                 {in::egl_release_tex_image, display, 0x999, EGL_BAD_SURFACE},
                 {in::egl_release_tex_image, 0x999, surface, EGL_BAD_DISPLAY}};
    for (const auto& one : cases) {
        auto seen = image(one.type, one.display, one.surface);
        EXPECT_EQ(seen.value, EGL_FALSE);
        EXPECT_TRUE(seen.host.empty());
        EXPECT_EQ(pending_error(), one.error);
    }
}

TEST_F(egl_surface, PixmapsAndClientBuffersAreRefused)
{
    struct
    {
        message call;
        unsigned width;
        uint32_t error;
    } cases[] = {
        {call(in::egl_copy_buffers).u64(display).u64(1).u64(2), 4, EGL_BAD_NATIVE_PIXMAP},
        {call(in::egl_create_pixmap_surface).u64(display).u64(config).u64(2).u64(0), 8, EGL_BAD_MATCH},
        {call(in::egl_create_pbuffer_from_client_buffer).u64(display).u32(0x3098).u64(2).u64(config).u64(0),
         8, EGL_BAD_ACCESS},
    };
    for (auto& one : cases) {
        auto seen = send(one.call);
        EXPECT_EQ(seen.value, 0u);
        EXPECT_EQ(seen.width, one.width);
        EXPECT_TRUE(seen.host.empty() && seen.asked.empty());
        EXPECT_EQ(pending_error(), one.error);
    }
}

/// A target with one config and an EGL of its own.
template <class Base>
class egl_surface_on_target : public Base
{
protected:
    static constexpr uint64_t display = 0x1001;
    pbuffer_log pbuffers;
    egl_surface_on_target()
    {
        this->target_configs = {{0x90, 7, 8, 8, 8, 8, 24, 8, 0}};
        this->send(this->call64(in::egl_get_display, display).u64(0));
        this->send(this->call32(in::egl_initialize, EGL_TRUE).u64(display).u64(0).u64(0));
        pbuffers.watch();
    }
    message window(uint64_t surface)
    {
        return this->call64(in::egl_create_window_surface, surface).u64(display).u64(0x90).u64(0x77).u64(0);
    }
    auto& process() { return pid_to_process_data_map.at(Base::pid); }
};
using egl_surface_on_dummy = egl_surface_on_target<egl_test_on_dummy>;
using egl_surface_on_real = egl_surface_on_target<egl_test_on_real>;

TEST_F(egl_surface_on_dummy, TheTargetKnowsTheSizeOfItsWindow)
{
    process().cached_framebuffers = {0x1234};
    auto seen = send(window(0x51));
    EXPECT_FALSE(seen.value);
    EXPECT_EQ(seen.asked,
              (strings{"winsys_get_target_os_version", "allocate 8", "call eglQuerySurface 12375", "read 4",
                       "call eglQuerySurface 12374", "read 4", "deallocate_memory_block"}));
    EXPECT_EQ(pbuffers.attributes, (list{EGL_WIDTH, 640, EGL_HEIGHT, 480}));
    EXPECT_TRUE(process().surfaces.contains(0x51));
    EXPECT_TRUE(process().cached_framebuffers.empty());
    process().cached_framebuffers = {0x1234};
    send(call32(in::egl_destroy_surface, EGL_TRUE).u64(display).u64(0x51));
    EXPECT_TRUE(process().cached_framebuffers.empty());
    EXPECT_FALSE(process().surfaces.contains(0x51));
}

TEST_F(egl_surface_on_dummy, AWindowThatTheTargetDoesNotHaveEndsAtOnce)
{
    auto seen = send(window(0));
    EXPECT_TRUE(seen.host.empty() && seen.asked.empty());
    EXPECT_TRUE(prints(seen.printed, "ERROR [ZELVAR] eglCreateWindowSurface() failed on target-side. Surface "
                                     "reported [0], error reported [12288].\n\n\n"));
    failing_calls = {{in::egl_query_surface, EGL_HEIGHT}};
    seen = send(window(0x51));
    EXPECT_TRUE(seen.host.empty());
    EXPECT_EQ(seen.asked.back(), "deallocate_memory_block");
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] Could not query target-side surface height\n"));
    failing_calls = {{in::egl_query_surface, EGL_WIDTH}};
    seen = send(window(0x51));
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] Could not query target-side surface width\n"));
    EXPECT_EQ(seen.printed.find("height"), std::string::npos);
}

TEST_F(egl_surface_on_real, FrameCacheAndAndroidWindowsAreLeftAlone)
{
    os_version = 2;
    process().cached_framebuffers = {0x1234};
    EXPECT_EQ(send(window(0x51)).asked.front(), "allocate 8");
    send(call32(in::egl_destroy_surface, EGL_TRUE).u64(display).u64(0x51));
    EXPECT_EQ(process().cached_framebuffers.size(), 1u);
}

TEST_F(egl_surface_on_real, PbuffersHaveTheTargetsIdAndOutParametersAreItsOwn)
{
    put_list({EGL_WIDTH, 7, EGL_NONE});
    auto seen = send(call64(in::egl_create_pbuffer_surface, 0x52).u64(display).u64(0x90).u64(list_address));
    EXPECT_FALSE(seen.value);
    EXPECT_EQ(seen.asked, (strings{"get_egl_attribute_list_length", "read 12"}));
    EXPECT_TRUE(process().surfaces.contains(0x52));
    seen =
        send(call32(in::egl_query_surface, EGL_TRUE).u64(display).u64(0x52).i32(EGL_WIDTH).u64(out_address));
    EXPECT_TRUE(seen.asked.empty());
    EXPECT_EQ(target.peek<int32_t>(out_address), 0);
}
} // namespace
