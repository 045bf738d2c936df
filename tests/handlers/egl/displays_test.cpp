// Opening, initialising and terminating displays as a target sees it.

#include "egl_fixture.h"

#include "object_manager/display_maps.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

namespace in = wire::inbound;

namespace {
const uint64_t host_display = 0xd15;

TEST_F(egl_test, ADisplayIsTheHostsAndIsOnlyAddedOnce)
{
    auto first = send(call(in::egl_get_display).u64(0));
    EXPECT_EQ(first.value, host_display);
    EXPECT_EQ(first.width, 8u);
    EXPECT_EQ(first.host, strings{"eglGetDisplay(null)"});
    EXPECT_TRUE(first.asked.empty());
    EXPECT_EQ(send(call(in::egl_get_display).u64(0)).value, host_display);
    EXPECT_EQ(pid_to_process_data_map.at(pid).displays.size(), 1u);
}

TEST_F(egl_test, AnyOtherDisplayIdIsReportedAndTakenForTheDefault)
{
    auto seen = send(call(in::egl_get_display).u64(0x123));
    EXPECT_EQ(seen.value, host_display);
    EXPECT_EQ(seen.host, strings{"eglGetDisplay(null)"});
    EXPECT_TRUE(prints(seen.printed,
                       "ERROR [ZELVAR] eglGetDisplay() was executed with display_id=[0x123] whereas "
                       "the only supported argument is EGL_DEFAULT_DISPLAY\n"));
}

TEST_F(egl_test, ASecondProcessFindsTheDisplayThatTheFirstOneOpened)
{
    open_display();
    uint64_t known = 0;
    EXPECT_FALSE(
        zelvar_object_manager_get_target_display(9, reinterpret_cast<EGLDisplay>(host_display), &known));
    sidechannel_set_log_level(3);
    raw_target other{plugin};
    other.on_request = target.on_request;
    library::begin_capture();
    auto sent = other.run(message(in::egl_get_display, 9, 1).u64(0));
    EXPECT_TRUE(prints(library::end_capture(),
                       "WARN [ZELVAR] Resue the global host-side<=>target-side mapping for "
                       "host side display [0xd15] and target-side display [0xd15]!\n"));
    EXPECT_EQ(sent.front().at<uint64_t>(1), host_display);
    EXPECT_TRUE(
        zelvar_object_manager_get_target_display(9, reinterpret_cast<EGLDisplay>(host_display), &known));
}

TEST_F(egl_test, InitializeAsksTheHostAndCompletesTheProcess)
{
    uint64_t display = value_of(call(in::egl_get_display).u64(0)).value();
    auto seen = send(call(in::egl_initialize).u64(display).u64(out_address).u64(count_address));
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_EQ(seen.width, 4u);
    EXPECT_EQ(target.peek<int32_t>(out_address), 1);
    EXPECT_EQ(target.peek<int32_t>(count_address), 5);
    // The versions, then the process's name and its service context, then the display's extensions.
    EXPECT_EQ(seen.asked, (strings{"write 4", "write 4", "get_target_process_name_address",
                                   "get_string_length", "read 4"}));
    EXPECT_EQ(seen.host, (strings{"eglInitialize(pointer, pointer, pointer)", "eglGetDisplay(null)",
                                  "eglCreateContext(pointer, pointer, null, pointer)",
                                  "eglCreatePbufferSurface(pointer, pointer, pointer)",
                                  "eglQueryString(pointer, 12373)"}));
    EXPECT_EQ(host_display_parameters_map.at(reinterpret_cast<EGLDisplay>(host_display)), 1u);
    EXPECT_TRUE(pid_to_process_data_map.at(pid).configs.contains(display));
    EXPECT_TRUE(pid_to_process_data_map.at(pid).service_context);
}

TEST_F(egl_test, InitializeLeavesNullVersionPointersAlone)
{
    uint64_t display = value_of(call(in::egl_get_display).u64(0)).value();
    auto seen = send(call(in::egl_initialize).u64(display).u64(0).u64(count_address));
    EXPECT_EQ(std::count(seen.asked.begin(), seen.asked.end(), "write 4"), 1);
    EXPECT_EQ(target.peek<int32_t>(count_address), 5);
}

TEST_F(egl_test, InitializeRefusesWhatIsNoDisplay)
{
    for (uint64_t display : {uint64_t{0}, uint64_t{0x999}}) {
        auto seen = send(call(in::egl_initialize).u64(display).u64(0).u64(0));
        EXPECT_EQ(seen.value, EGL_FALSE);
        EXPECT_TRUE(seen.host.empty());
        EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_BAD_DISPLAY));
        EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_SUCCESS)); // the question clears it
    }
}

TEST_F(egl_test, InitializeFailsWithTheHost)
{
    uint64_t display = value_of(call(in::egl_get_display).u64(0)).value();
    fake_host::fails<&sidechannel_egl_imports::eglInitialize>(EGL_NOT_INITIALIZED);
    EXPECT_EQ(value_of(call(in::egl_initialize).u64(display).u64(out_address).u64(0)), EGL_FALSE);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_NOT_INITIALIZED));
    EXPECT_TRUE(host_display_parameters_map.empty());
}

TEST_F(egl_test, TheLastTerminateLeavesTheHostDisplayAloneAndReportsFalse)
{
    uint64_t display = open_display();
    send(call(in::egl_query_string).u64(display).u32(EGL_EXTENSIONS)); // gives the target a copy to free
    sidechannel_set_log_level(6566);
    auto seen = send(call(in::egl_terminate).u64(display));
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_EQ(fake_host::count("eglTerminate"), 0u); // the worker goes, and with it what it had current
    EXPECT_EQ(seen.asked, (strings{"deallocate_memory_block", "set_cursor_visibility 1"}));
    EXPECT_TRUE(prints(seen.printed, "eglDestroyContext.We have skipped 1 calls to eglTerminate\n"));
    sidechannel_set_log_level(2);
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_SUCCESS));
    EXPECT_TRUE(host_display_parameters_map.empty());
    EXPECT_TRUE(pid_to_process_data_map.at(pid).extensions.empty());
    EXPECT_TRUE(pid_to_process_data_map.at(pid).displays.contains(display));
}

TEST_F(egl_test, AnUninitialisedDisplayTerminatesAtOnceAndAnUnknownOneDoesNot)
{
    uint64_t display = value_of(call(in::egl_get_display).u64(0)).value();
    EXPECT_EQ(value_of(call(in::egl_terminate).u64(display)), EGL_TRUE);
    auto seen = send(call(in::egl_terminate).u64(0x999));
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_EQ(seen.asked, strings{"set_cursor_visibility 1"});
    EXPECT_EQ(pending_error(), static_cast<uint32_t>(EGL_SUCCESS));
}

TEST_F(egl_test, TwoInitialisationsAreCountedAndOneTerminateDoesNotReachZero)
{
    auto count = [] { return host_display_parameters_map.at(reinterpret_cast<EGLDisplay>(host_display)); };
    uint64_t display = open_display();
    auto context = pid_to_process_data_map.at(pid).service_context;
    EXPECT_EQ(value_of(call(in::egl_initialize).u64(display).u64(0).u64(0)), EGL_TRUE);
    EXPECT_EQ(count(), 2u);
    EXPECT_NE(pid_to_process_data_map.at(pid).service_context, context); // made anew
    EXPECT_EQ(value_of(call(in::egl_terminate).u64(display)), EGL_TRUE);
    EXPECT_EQ(count(), 1u);
    // The display counts as terminated now, whatever the count says.
    EXPECT_EQ(value_of(call(in::egl_terminate).u64(display)), EGL_TRUE);
    EXPECT_EQ(count(), 1u);
    EXPECT_EQ(value_of(call(in::egl_initialize).u64(display).u64(0).u64(0)), EGL_TRUE);
    EXPECT_EQ(count(), 2u);
}

TEST_F(egl_test_on_dummy, TheTargetNamesTheDisplay)
{
    auto seen = send(call64(in::egl_get_display, 0x1001).u64(0));
    EXPECT_FALSE(seen.value); // the target has its own answer
    EGLDisplay host = nullptr;
    EXPECT_TRUE(zelvar_object_manager_get_host_display(pid, tid, 0x1001, &host));
    EXPECT_EQ(reinterpret_cast<uint64_t>(host), host_display);
    seen = send(call64(in::egl_get_display, 0x1002).u64(0));
    EXPECT_TRUE(prints(seen.printed,
                       "ERROR [ZELVAR] Target display in mapping [0x1001] is not same as reported by "
                       "target-side call [0x1002]!\n"));
}

TEST_F(egl_test_on_dummy, PlatformDisplaysBecomeTheDefaultDisplay)
{
    auto seen = send(call64(in::egl_get_platform_display_ext, 0x1001).u32(0x31D8).u64(0x55).u64(0));
    EXPECT_EQ(seen.host, strings{"eglGetDisplay(null)"});
    EXPECT_TRUE(
        prints(seen.printed, "FATAL [ZELVAR] egl_eglGetPlatformDisplayEXT is not supported for TRV-only!\n"));
    library::set_target_gpu(TARGET_GPU_REAL);
    seen = send(call64(in::egl_get_platform_display_ext, 0x1001).u32(0x31D8).u64(0x55).u64(0));
    EXPECT_EQ(seen.printed, "");
    uint64_t known = 0;
    EXPECT_TRUE(
        zelvar_object_manager_get_target_display(pid, reinterpret_cast<EGLDisplay>(host_display), &known));
    EXPECT_EQ(known, 0x1001u);
}

TEST_F(egl_test_on_dummy, InitializeWritesNothingAndListsTheTargetsConfigs)
{
    target_configs = {{0x90, 7, 8, 8, 8, 8, 24, 8, 0}};
    target_string = "EGL_KHR_image_base";
    send(call64(in::egl_get_display, 0x1001).u64(0));
    auto seen = send(call32(in::egl_initialize, EGL_TRUE).u64(0x1001).u64(out_address).u64(count_address));
    EXPECT_FALSE(seen.value);
    EXPECT_EQ(target.peek<int32_t>(out_address), 0);
    // First the name and the extensions, then the configs: how many, which, and what each can do.
    strings expected{"get_target_process_name_address",
                     "get_string_length",
                     "read 4",
                     "call eglQueryString 12373",
                     "get_string_length",
                     "read 19",
                     "allocate 4",
                     "call eglGetConfigs",
                     "read 4",
                     "deallocate_memory_block",
                     "allocate 8",
                     "allocate 4",
                     "call eglGetConfigs",
                     "get_target_pointer_size",
                     "read 8"};
    for (int attribute : {EGL_ALPHA_SIZE, EGL_BLUE_SIZE, EGL_CONFIG_ID, EGL_CONFIG_CAVEAT, EGL_DEPTH_SIZE,
                          EGL_GREEN_SIZE, EGL_RED_SIZE, EGL_SAMPLES, EGL_STENCIL_SIZE}) {
        expected.push_back("call eglGetConfigAttrib " + std::to_string(attribute));
        expected.push_back("read 4");
    }
    expected.insert(expected.end(), {"deallocate_memory_block", "deallocate_memory_block"});
    EXPECT_EQ(seen.asked, expected);
    const auto& mapped = pid_to_process_data_map.at(pid).configs.at(0x1001);
    ASSERT_TRUE(mapped.contains(0x90));
    EXPECT_EQ(reinterpret_cast<uint64_t>(mapped.at(0x90).host_config), 1u);
    EXPECT_EQ(mapped.at(0x90).config_id, 7);
}

/// Initialises a display of a target that has the configs set.
class target_list : public egl_test_on_dummy
{
protected:
    outcome initialize()
    {
        send(call64(in::egl_get_display, 0x1001).u64(0));
        return send(call32(in::egl_initialize, EGL_TRUE).u64(0x1001).u64(0).u64(0));
    }
    const auto& rows() { return target_display_configs_map.at({pid, tid, 0x1001}); }
};

TEST_F(target_list, HandlesOfANarrowTargetAreWidened)
{
    pointer_size = 4;
    target_configs = {{0xfedcba98, 7, 8, 8, 8, 8, 24, 8, 0}, {0x12345678, 8, 5, 6, 5, 0, 16, 0, 4}};
    EXPECT_EQ(initialize().printed, "");
    ASSERT_EQ(rows().size(), 2u);
    EXPECT_EQ(rows()[0].target_config, 0xfedcba98u);
    EXPECT_EQ(rows()[1].target_config, 0x12345678u);
    EXPECT_EQ(rows()[1].samples, 4);
    EXPECT_EQ(rows()[1].host_config, local_native_display_top_config.load());
}

TEST_F(target_list, OnlyTheLastAttributeDecidesWhetherAConfigCounts)
{
    target_configs = {{0x90, 7, 8, 8, 8, 8, 24, 8, 0}};
    failing_calls = {{in::egl_get_config_attrib, EGL_BLUE_SIZE},
                     {in::egl_get_config_attrib, EGL_CONFIG_ID},
                     {in::egl_get_config_attrib, EGL_CONFIG_CAVEAT}};
    EXPECT_EQ(initialize().printed,
              "ERROR [ZELVAR] Could not query blue size for target-side EGLConfig.\n"
              "ERROR [ZELVAR] Could not query config id for target-side EGLConfig.\n"
              "ERROR [ZELVAR] Could not query config caveat for target-side EGLConfig.\n");
    ASSERT_EQ(rows().size(), 1u);
    EXPECT_EQ(rows()[0].blue_size, 0);
    EXPECT_EQ(rows()[0].config_id, -1);
    EXPECT_EQ(rows()[0].caveat, EGL_NONE);
    EXPECT_EQ(rows()[0].red_size, 8);
}

TEST_F(target_list, AConfigWithoutItsLastAttributeIsDropped)
{
    target_configs = {{0x90, 7, 8, 8, 8, 8, 24, 8, 0}};
    failing_calls = {{in::egl_get_config_attrib, EGL_STENCIL_SIZE}};
    EXPECT_EQ(initialize().printed, "ERROR [ZELVAR] Could not query stencil size for target-side EGLConfig.\n"
                                    "ERROR [ZELVAR] Could not retrieve target side EGLConfig details!\n"
                                    "FATAL [ZELVAR] List of target egl configs is empty. eglChooseConfig() "
                                    "or eglGetConfigs() will fail.\n");
    EXPECT_TRUE(rows().empty());
}

TEST_F(target_list, ATargetThatCannotListItsConfigsHasNone)
{
    target_configs = {{0x90, 7, 8, 8, 8, 8, 24, 8, 0}};
    failing_calls = {{in::egl_get_configs, 2}}; // counting
    EXPECT_TRUE(
        prints(initialize().printed,
               "FATAL [ZELVAR] Could not retrieve the number of EGLConfigs available on target side!\n"));
    EXPECT_TRUE(rows().empty());
}

TEST_F(target_list, ATargetThatOnlyCountsItsConfigsHasNoneAndGetsItsBlocksBack)
{
    target_configs = {{0x90, 7, 8, 8, 8, 8, 24, 8, 0}};
    failing_calls = {{in::egl_get_configs, 1}}; // listing
    auto seen = initialize();
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] Could not get EGL configurations on target side!\n"));
    EXPECT_EQ(std::count(seen.asked.begin(), seen.asked.end(), "deallocate_memory_block"), 3);
}

TEST_F(target_list, AnAbsurdNumberOfConfigsIsNotBelieved)
{
    target.on_request = [answer = target.on_request, this](const outbound_message& request) {
        auto given = answer(request);
        if (request.type + wire::outbound::call_offset == in::egl_get_configs)
            target.poke(request.at<uint64_t>(20), uint32_t{0x80000001});
        return given;
    };
    auto seen = initialize();
    EXPECT_TRUE(
        prints(seen.printed,
               "FATAL [ZELVAR] Could not retrieve the number of EGLConfigs available on target side!\n"));
    EXPECT_EQ(std::count(seen.asked.begin(), seen.asked.end(), "allocate 4"), 1);
}
} // namespace
