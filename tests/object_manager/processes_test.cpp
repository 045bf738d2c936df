// Error stores, names and systems of processes, completion at eglInitialize, call-backs and channels.
#include "object_manager/registry_fixture.h"

#include "sidechannel_plugin_interface_wrapper.h"
#include "wire/wire.h"

namespace out = wire::outbound;
using namespace registry_test;

namespace {
using errors = registry_test::registry;

uint32_t egl_error(tid_t thread)
{
    uint32_t error = 0;
    EXPECT_TRUE(zelvar_object_manager_get_egl_error(pid, thread, &error));
    return error;
}

TEST_F(errors, TheLastEglErrorOfAThreadWinsAndIsReadOnce)
{
    EXPECT_EQ(egl_error(tid), uint32_t{EGL_SUCCESS});
    zelvar_object_manager_set_egl_error(pid, tid, EGL_BAD_ALLOC);
    zelvar_object_manager_set_egl_error(pid, tid, EGL_BAD_MATCH);
    EXPECT_EQ(egl_error(other_tid), uint32_t{EGL_SUCCESS});
    EXPECT_EQ(egl_error(tid), uint32_t{EGL_BAD_MATCH});
    EXPECT_EQ(egl_error(tid), uint32_t{EGL_SUCCESS});
}

TEST_F(errors, TheFirstGlesErrorOfAContextWinsAndIsReadOnce)
{
    add(5);
    bind_created(5); // bound is enough, current it need not be
    uint32_t error = 1;
    zelvar_object_manager_set_gles_error(pid, tid, GL_INVALID_ENUM);
    zelvar_object_manager_set_gles_error(pid, tid, GL_INVALID_VALUE);
    EXPECT_TRUE(zelvar_object_manager_get_gles_error(pid, tid, &error));
    EXPECT_EQ(error, uint32_t{GL_INVALID_ENUM});
    EXPECT_TRUE(zelvar_object_manager_get_gles_error(pid, tid, &error));
    EXPECT_EQ(error, uint32_t{GL_NO_ERROR});
    error = 1;
    EXPECT_FALSE(zelvar_object_manager_get_gles_error(pid, other_tid, &error));
    EXPECT_EQ(error, 1u);
}

TEST_F(errors, StoringAGlesErrorThatNobodyOwnsIsReportedAndSucceeds)
{
    zelvar_object_manager_lock_context_data(pid,
                                            tid); // the null context takes no errors, also not of thread 0
    std::string printed = library::printed_by([] {
        EXPECT_TRUE(zelvar_object_manager_set_gles_error(pid, tid, GL_INVALID_ENUM));
        EXPECT_TRUE(zelvar_object_manager_set_gles_error(pid, 0, GL_INVALID_ENUM));
        EXPECT_TRUE(zelvar_object_manager_set_gles_error(99, tid, GL_INVALID_ENUM));
        uint32_t error = 0;
        EXPECT_FALSE(zelvar_object_manager_get_gles_error(99, tid, &error));
    });
    EXPECT_EQ(
        printed,
        "ERROR [ZELVAR] Could not find GLES context descriptor for <7, 21> pid/tid pair - GLES error code "
        "[0x0500] cannot be set.\n"
        "ERROR [ZELVAR] Could not find GLES context descriptor for <7, 0> pid/tid pair - GLES error code "
        "[0x0500] cannot be set.\n"
        "ERROR [ZELVAR] Could not find context descriptor for PID [99] - GLES error code [0x0500] cannot be "
        "set\n"
        "ERROR [ZELVAR] Unable to retrieve EGL descriptor for PID [99]\n");
}

class error_check : public errors
{
protected:
    void SetUp() override
    {
        errors::SetUp();
        sidechannel_set_log_level(2);
        add(5);
        bind_created(5);
    }
    static std::string check(unsigned target, unsigned host)
    {
        return library::printed_by([=] {
            EXPECT_EQ(
                zelvar_object_manager_set_and_check_error_code(pid, tid, "gles20_glClear", target, host),
                host);
        });
    }
};

TEST_F(error_check, HostErrorsAreStoredAndTheTargetsOwnOnlyComparedWhereAsked)
{
    EXPECT_EQ(check(0x501, 0), "");
    zelvar_settings.checkErrorCode = true;
    EXPECT_EQ(check(0x501, 0), "") << "nothing runs on the target";
    library::set_target_gpu(TARGET_GPU_DUMMY);
    EXPECT_EQ(check(0, 0), "");
    EXPECT_EQ(check(0x501, 0), "ERROR [ZELVAR] gles20_glClear on target returns error code 0x0501\n"
                               "ERROR [ZELVAR] gles20_glClear Inconsistent error code detected. host=0x0000, "
                               "target=0x0501\n");
    uint32_t error = 1;
    zelvar_object_manager_get_gles_error(pid, tid, &error);
    EXPECT_EQ(error, 0u) << "the target's error is not stored";
    EXPECT_EQ(check(0x502, 0x502), "ERROR [ZELVAR] gles20_glClear on host returns error code 0x0502\n"
                                   "ERROR [ZELVAR] gles20_glClear on target returns error code 0x0502\n");
    zelvar_object_manager_get_gles_error(pid, tid, &error);
    EXPECT_EQ(error, 0x502u);
    zelvar_settings.checkErrorCode = false;
    EXPECT_EQ(check(0x501, 0), "");
}

TEST_F(error_check, EglCountsItsOwnSuccessAsNoError)
{
    zelvar_settings.checkErrorCode = true;
    library::set_target_gpu(TARGET_GPU_REAL);
    EXPECT_EQ(library::printed_by([] {
                  zelvar_object_manager_set_and_check_egl_error_code(pid, tid, "egl_eglSwapBuffers",
                                                                     EGL_SUCCESS, EGL_SUCCESS);
              }),
              "");
    EXPECT_EQ(
        library::printed_by([] {
            zelvar_object_manager_set_and_check_egl_error_code(pid, tid, "egl_eglSwapBuffers", EGL_SUCCESS,
                                                               EGL_BAD_SURFACE);
        }),
        "ERROR [ZELVAR] egl_eglSwapBuffers on host returns error code 0x300D\n"
        "ERROR [ZELVAR] egl_eglSwapBuffers Inconsistent error code detected. host=0x300D, target=0x3000\n");
    EXPECT_EQ(egl_error(tid), uint32_t{EGL_BAD_SURFACE});
}

class processes : public registry_test::registry
{
protected:
    /// The target's answers to one question for its process name.
    static void answer_name(const std::string& name)
    {
        constexpr uint64_t address = 0x9000;
        answer_service(out::get_target_process_name_address, address);
        answer_service(out::get_string_length, static_cast<uint32_t>(name.size()));
        if (!name.empty())
            zelvar_test_support_enqueue_fake_targetside_call_result(
                service(out::read_from_shim_address_space), nullptr, 0, nullptr, 0, name.c_str(),
                name.size() + 1, nullptr, 0, nullptr, 0, nullptr, 0);
    }
};

TEST_F(processes, TheFirstNameStaysForTheProcesssLife)
{
    std::string name = "untouched";
    EXPECT_FALSE(zelvar_object_manager_get_target_process_name(pid, &name));
    answer_name("");
    std::string printed = library::printed_by(
        [&] { EXPECT_FALSE(zelvar_object_manager_initialize_target_process_name(pid, tid, &name)); });
    EXPECT_NE(printed.find("ERROR [ZELVAR] Failed to query process name for process id [7]\n"),
              std::string::npos);
    EXPECT_EQ(name, "untouched");
    answer_name("first");
    EXPECT_TRUE(zelvar_object_manager_initialize_target_process_name(pid, tid, &name));
    EXPECT_EQ(name, "first");
    answer_name("second");
    EXPECT_TRUE(zelvar_object_manager_initialize_target_process_name(pid, tid, &name));
    EXPECT_EQ(name, "first");
    EXPECT_TRUE(zelvar_object_manager_get_target_process_name(pid, &name));
    EXPECT_EQ(name, "first");
}

TEST_F(processes, TheSystemIsAskedForUntilItIsKnownAndThenNeverAgain)
{
    uint32_t version = 77;
    answer_service(out::winsys_get_target_os_version, uint32_t{0});
    std::string printed =
        library::printed_by([] { EXPECT_FALSE(zelvar_helpers_is_shim_runs_android(pid, tid)); });
    EXPECT_NE(printed.find("ERROR [ZELVAR] Failed to query target OS version for process process id [7]\n"
                           "ERROR [ZELVAR] Failed to retrieve target OS version or version is undefined.\n"),
              std::string::npos);
    answer_service(out::winsys_get_target_os_version, uint32_t{2});
    EXPECT_TRUE(zelvar_helpers_is_shim_runs_android(pid, tid));
    answer_service(out::winsys_get_target_os_version, uint32_t{3});
    EXPECT_TRUE(zelvar_object_manager_get_target_os_version(pid, tid, &version));
    EXPECT_EQ(version, 2u);
    EXPECT_EQ(
        zelvar_test_support_get_fake_targetside_call_counter(service(out::winsys_get_target_os_version)), 2u);
}

TEST_F(processes, CompletionBuildsWhatADisplayNeedsOnce)
{
    constexpr uint64_t display = 0xd0;
    fake_host::returns<&sidechannel_egl_imports::eglQueryString>("EGL_KHR_image_base EGL_XY_unknown");
    zelvar_object_manager_add_display(pid, tid, reinterpret_cast<EGLDisplay>(0x77), display);
    answer_name("app");
    EXPECT_TRUE(zelvar_object_manager_update_process_data(pid, tid, display));
    const auto& process = pid_to_process_data_map.at(pid);
    EXPECT_EQ(process.process_name, "app");
    EXPECT_NE(process.service_context, EGL_NO_CONTEXT);
    ASSERT_TRUE(process.extensions.at(display));
    EXPECT_EQ(process.extensions.at(display)->text, "EGL_KHR_image_base ");
    EXPECT_TRUE(process.configs.contains(display));

    auto record = process.extensions.at(display);
    answer_name("app");
    std::string printed = library::printed_by(
        [] { EXPECT_TRUE(zelvar_object_manager_update_process_data(pid, tid, display)); });
    EXPECT_NE(printed.find(
                  "INFO [ZELVAR] There is already extensions info retrieved for a given display. No need to "
                  "do that again.\n"),
              std::string::npos);
    EXPECT_EQ(process.extensions.at(display), record);
}

TEST_F(processes, CompletionOfAnUnknownDisplayStillAsksForNameAndServiceContext)
{
    answer_name("app");
    std::string printed =
        library::printed_by([] { EXPECT_FALSE(zelvar_object_manager_update_process_data(pid, tid, 0xd1)); });
    EXPECT_NE(printed.find("ERROR [ZELVAR] Cannot find target_display=209 in process displays.\n"),
              std::string::npos);
    EXPECT_NE(printed.find("INFO [ZELVAR] Process name [app] is added to pid_to_process_data_map\n"),
              std::string::npos);
    EXPECT_NE(pid_to_process_data_map.at(pid).service_context, EGL_NO_CONTEXT);
    EXPECT_FALSE(pid_to_process_data_map.at(pid).extensions.contains(0xd1));
}

using callbacks = registry_test::registry;

void first_callback(void*, unsigned, void*, unsigned) {}
void second_callback(void*, unsigned, void*, unsigned) {}

TEST_F(callbacks, AThreadHasOneAndFetchingTakesIt)
{
    auto data = std::make_shared<int>(5);
    std::weak_ptr<int> first_data = data;
    zelvar_object_manager_set_callback_for_command_executed_message(pid, tid, first_callback,
                                                                    std::move(data));
    EXPECT_FALSE(first_data.expired()) << "owned by the registration";
    std::string printed = library::printed_by([] {
        zelvar_object_manager_set_callback_for_command_executed_message(pid, tid, second_callback,
                                                                        std::make_shared<int>(6));
        zelvar_object_manager_set_callback_for_command_executed_message(pid, other_tid, first_callback,
                                                                        nullptr);
    });
    EXPECT_EQ(printed,
              "ERROR [ZELVAR] Potential flaw: a call-back was registered even though user attempted to "
              "register a new one! Please investigate\n");
    EXPECT_TRUE(first_data.expired()) << "replaced";

    command_executed_callback callback = first_callback;
    std::shared_ptr<void> user_data;
    zelvar_object_manager_get_callback_for_command_executed_message(pid, tid, &callback, &user_data);
    EXPECT_EQ(callback, second_callback);
    EXPECT_EQ(*std::static_pointer_cast<int>(user_data), 6);
    printed = library::printed_by([&] {
        zelvar_object_manager_get_callback_for_command_executed_message(pid, tid, &callback, &user_data);
    });
    EXPECT_EQ(printed, "ERROR [ZELVAR] Potential flaw: no command executed message call-back found.\n");
    EXPECT_EQ(callback, nullptr);
    EXPECT_EQ(user_data, nullptr);
}

/// A plug-in that notes the order in which it is used.
struct recording_plugin : scPluginInterface, PluginInterfaceWrapperSandbox
{
    struct channel : scChannelInterface
    {
        std::vector<std::string>& journal;
        explicit channel(std::vector<std::string>& j) : journal(j) {}
        ~channel() override { journal.push_back("destroy"); }
        int32_t read(uint64_t, uint32_t, scModelInterface*) override { return 0; }
        int32_t write(uint64_t, uint32_t, scModelInterface*) override { return 0; }
        void close() override { journal.push_back("close"); }
        void writeSideChannel(uint64_t, uint32_t, scModelInterface*) override {}
    };
    std::vector<std::string> journal;

    scChannelInterface* open() override
    {
        journal.push_back("open");
        return new channel{journal};
    }
    scPluginInterface* getPluginInterface() override { return this; }
    ChannelInterfaceWrapper* getSidechannelInterface(int) override { return nullptr; }
    void lock() override { journal.push_back("lock"); }
    void setSocket(SOCKET socket) override { journal.push_back("socket " + std::to_string(socket)); }
    void unlock() override { journal.push_back("unlock"); }
};

constexpr auto register_channel =
    zelvar_object_manager_register_channel_interface_for_current_communication_thread;
constexpr auto unregister_channel =
    zelvar_object_manager_unregister_channel_interface_for_current_communication_thread;

TEST(channels, AreMadeUnderTheSandboxAndEndedBySocket)
{
    library::start();
    recording_plugin plugin;
    pid_t owner = 0;
    EXPECT_TRUE(register_channel(pid, 4, &plugin, &plugin));
    EXPECT_TRUE(zelvar_object_manager_get_target_pid_for_socket(4, &owner));
    EXPECT_EQ(owner, pid);
    EXPECT_FALSE(zelvar_object_manager_get_target_pid_for_socket(5, &owner));
    std::string printed = library::printed_by([&] {
        EXPECT_FALSE(register_channel(pid, 5, &plugin, &plugin));
        EXPECT_FALSE(register_channel(8, 5, nullptr, &plugin));
        EXPECT_FALSE(register_channel(8, 5, &plugin, nullptr));
        EXPECT_FALSE(unregister_channel(5));
    });
    EXPECT_EQ(printed, "ERROR [ZELVAR] PID [7] is already recognized! Cannot create channel instance!\n"
                       "ERROR [ZELVAR] Sandbox plugin interface pointer is NULL!\n"
                       "ERROR [ZELVAR] Plugin interface wrapper pointer is NULL!\n"
                       "ERROR [ZELVAR] Cannot unregister channel instance - socket has an unknown owner!\n");
    EXPECT_TRUE(unregister_channel(4));
    EXPECT_FALSE(zelvar_object_manager_get_target_pid_for_socket(4, &owner));
    EXPECT_EQ(plugin.journal,
              (std::vector<std::string>{"lock", "socket 4", "open", "unlock", "close", "destroy"}));
}

TEST(channels, WithoutAPlugInThereIsNone)
{
    sidechannel_set_log_level(2);
    zelvar_object_manager_init(true);
    ChannelInterfaceWrapper* channel = nullptr;
    std::string printed = library::printed_by(
        [&] { EXPECT_FALSE(zelvar_object_manager_get_channel_interface(pid, &channel)); });
    EXPECT_EQ(printed, "ERROR [ZELVAR] Plugin interface does not exist. Communication with target side is "
                       "impossible!.\n");
}
} // namespace
