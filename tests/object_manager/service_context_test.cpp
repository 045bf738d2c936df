// The service context of a process, and borrowing a thread's current context.

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"
#include "support/fake_host.h"
#include "support/library.h"

#include <gtest/gtest.h>

#include <thread>

namespace {
constexpr pid_t pid = 12;
using strings = std::vector<std::string>;

class service_context : public testing::Test
{
protected:
    service_context() { library::start(); }
    static bool create() { return zelvar_object_manager_initialize_service_host_egl_context(pid); }
    static bool check_out(tid_t tid, EGLContext* context = nullptr)
    {
        EGLSurface draw = nullptr, read = nullptr;
        EGLContext ignored = nullptr;
        return zelvar_object_manager_checkout_service_host_egl_context(pid, tid, nullptr, &draw, &read,
                                                                       context ? context : &ignored);
    }
    static auto& process() { return pid_to_process_data_map.at(pid); }
};

TEST_F(service_context, StandsOnTheFirstHostConfigWithAPbufferOf16By16)
{
    host_display_configs->front().host_config = reinterpret_cast<EGLConfig>(uintptr_t{0x77});
    std::vector<EGLint> context_list, surface_list;
    EGLConfig config = nullptr;
    auto copy = [](const EGLint* from, std::vector<EGLint>* to) {
        for (; *from != EGL_NONE; ++from)
            to->push_back(*from);
    };
    fake_host::hook<&sidechannel_egl_imports::eglCreateContext>(
        [&](EGLDisplay, EGLConfig given, EGLContext share, const EGLint* list) {
            config = given;
            copy(list, &context_list);
            EXPECT_EQ(share, nullptr);
            return reinterpret_cast<EGLContext>(uintptr_t{0xc1});
        });
    fake_host::hook<&sidechannel_egl_imports::eglCreatePbufferSurface>(
        [&](EGLDisplay, EGLConfig given, const EGLint* list) {
            EXPECT_EQ(given, config);
            copy(list, &surface_list);
            return reinterpret_cast<EGLSurface>(uintptr_t{0x51});
        });
    EXPECT_TRUE(create());
    EXPECT_EQ(config, reinterpret_cast<EGLConfig>(uintptr_t{0x77}));
    EXPECT_EQ(context_list, (std::vector<EGLint>{EGL_CONTEXT_CLIENT_VERSION, 3}));
    EXPECT_EQ(surface_list, (std::vector<EGLint>{EGL_WIDTH, 16, EGL_HEIGHT, 16}));
    EXPECT_EQ(process().service_draw, process().service_read);
    EGLContext context = nullptr;
    EXPECT_TRUE(check_out(1, &context));
    EXPECT_EQ(context, reinterpret_cast<EGLContext>(uintptr_t{0xc1}));
}

TEST_F(service_context, ASecondOneReplacesTheFirstAndLeavesItOnTheHost)
{
    EXPECT_TRUE(create());
    auto first = process().service_context;
    EXPECT_TRUE(check_out(1));
    EXPECT_TRUE(create());
    EXPECT_NE(process().service_context, first);
    EXPECT_FALSE(process().service_checked_out);
    EXPECT_EQ(fake_host::count("eglDestroyContext"), 0u);
}

TEST_F(service_context, AHostThatMakesNoneIsReported)
{
    fake_host::fails<&sidechannel_egl_imports::eglCreatePbufferSurface>(EGL_BAD_ALLOC);
    EXPECT_EQ(library::printed_by([] { EXPECT_FALSE(create()); }),
              "FATAL [ZELVAR] Could not create a pbuffer surface for service context of target process\n");
    EXPECT_EQ(fake_host::count("eglDestroyContext"), 1u);
    fake_host::fails<&sidechannel_egl_imports::eglCreateContext>(EGL_BAD_MATCH);
    EXPECT_NE(library::printed_by([] {
                  EXPECT_FALSE(create());
              }).find("EGL error code=[0x3009] (on init branch)\n"),
              std::string::npos);
    EXPECT_EQ(library::printed_by([] { EXPECT_FALSE(check_out(1)); }),
              "FATAL [ZELVAR] A service context does not exist on the host for process 12\n");
    EXPECT_TRUE(critical_section_verify(pid_to_process_data_map_cs));
}

TEST_F(service_context, OneThreadMayTakeItTwiceAndOthersAfterIt)
{
    create();
    EXPECT_TRUE(check_out(1));
    EXPECT_TRUE(check_out(1));
    EXPECT_TRUE(zelvar_object_manager_checkin_service_host_egl_context(pid, 1));
    EXPECT_TRUE(check_out(2));
    EXPECT_TRUE(zelvar_object_manager_checkin_service_host_egl_context(pid, 2));
    EXPECT_FALSE(zelvar_object_manager_checkin_service_host_egl_context(99, 2));
    EXPECT_TRUE(critical_section_verify(pid_to_process_data_map_cs));
    EXPECT_EQ(fake_host::count("eglMakeCurrent"), 0u);
}

TEST_F(service_context, AConflictClosesTheRegistryForGood)
{
    create();
    EXPECT_TRUE(check_out(1));
    std::string printed = library::printed_by([] {
        std::thread second{[] {
            EXPECT_FALSE(check_out(2));
            zelvar_object_manager_checkin_service_host_egl_context(pid, 2); // changes nothing about that
        }};
        second.join();
    });
    EXPECT_EQ(printed,
              "ERROR [ZELVAR] Multiple threads may be attempting to access the Zelvar service context! State "
              "may get corrupted\n");
    EXPECT_FALSE(critical_section_verify(pid_to_process_data_map_cs));
}

class context_swap : public service_context
{
protected:
    EGLContext old_context = nullptr;
    EGLSurface old_draw = nullptr, old_read = nullptr;
    static void* at(uintptr_t number) { return reinterpret_cast<void*>(number); }
    bool swap()
    {
        return zelvar_helpers_swap_host_current_context(at(1), at(2), at(3), at(4), &old_context, &old_draw,
                                                        &old_read);
    }
    context_swap()
    {
        fake_host::returns<&sidechannel_egl_imports::eglGetCurrentContext>(at(0xc));
        fake_host::hook<&sidechannel_egl_imports::eglGetCurrentSurface>(
            [](EGLint which) { return at(which == EGL_DRAW ? 0xd : 0xe); });
    }
};

TEST_F(context_swap, RemembersWhatWasCurrent)
{
    EXPECT_TRUE(swap());
    EXPECT_EQ(old_context, at(0xc));
    EXPECT_EQ(old_draw, at(0xd));
    EXPECT_EQ(old_read, at(0xe));
    auto calls = fake_host::calls();
    ASSERT_EQ(calls.size(), 8u); // each with its error query
    EXPECT_EQ(calls[6], fake_host::made("eglMakeCurrent", at(1), at(2), at(3), at(4)));
}

TEST_F(context_swap, StopsAtTheFirstErrorAndGivesNothingBack)
{
    const char* make_failed =
        "ERROR [ZELVAR] Failed to make current context with error [12290], draw surface [0x2], "
        "read surface [0x3], context [0x4].\n";
    const char* lines[] = {"ERROR [ZELVAR] Failed to get current context with error [12290].\n",
                           "ERROR [ZELVAR] Failed to get current draw surface with error [12290].\n",
                           "ERROR [ZELVAR] Failed to get current read surface with error [12290].\n",
                           make_failed};
    for (size_t failing = 0; failing < std::size(lines); ++failing) {
        fake_host::clear();
        for (size_t i = 0; i < failing; ++i)
            fake_host::egl_errors({EGL_SUCCESS});
        fake_host::egl_errors({EGL_BAD_ACCESS});
        EXPECT_EQ(library::printed_by([this] { EXPECT_FALSE(swap()); }), lines[failing]);
        EXPECT_EQ(fake_host::calls().size(), 2 * (failing + 1));
        EXPECT_EQ(old_context, nullptr);
        EXPECT_EQ(old_read, nullptr);
    }
}
} // namespace
