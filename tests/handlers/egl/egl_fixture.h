#pragma once
// EGL handlers between a host that records and a target that answers: a test sends messages as a target would
// and sees, in order, what the library asked of the host and of the target, and what it reported.

#include "support/fake_host.h"
#include "support/library.h"
#include "support/raw_target.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

/// What one message led to.
struct outcome
{
    std::optional<uint64_t> value;  // reported result, widened; none when nothing was reported
    unsigned width = 0;             // of the report, bytes
    std::vector<std::string> host;  // host calls, error queries left out
    std::vector<std::string> asked; // requests to the target, the release and the report left out
    std::string printed;
};

/// A config of the target's own EGL, for the modes in which it has one.
struct target_config
{
    uint64_t handle;
    int32_t id, red, green, blue, alpha, depth, stencil, samples;
};

class egl_test : public testing::Test
{
protected:
    static constexpr int32_t pid = raw_target::pid;
    static constexpr uint64_t tid = raw_target::tid;
    // Places in target memory.
    static constexpr uint64_t list_address = raw_target::memory_base + 0x100;
    static constexpr uint64_t out_address = raw_target::memory_base + 0x1000;
    static constexpr uint64_t count_address = raw_target::memory_base + 0x2000;
    static constexpr uint64_t text_address = raw_target::memory_base + 0x3000;
    static constexpr uint64_t name_address = raw_target::memory_base + 0x3f00;

    explicit egl_test(target_gpu gpu = TARGET_GPU_NONE);

    message call(uint32_t type) const { return target.make(type); }
    /// The same with the target's result in front, as it travels while the target runs calls.
    message call32(uint32_t type, uint32_t result) const { return target.make(type).u32(result); }
    message call64(uint32_t type, uint64_t result) const { return target.make(type).u64(result); }
    outcome send(const message& call);
    /// Only what was reported.
    std::optional<uint64_t> value_of(const message& call) { return send(call).value; }

    /// Puts an attribute list into target memory.
    void put_list(std::initializer_list<int32_t> list, uint64_t address = list_address);
    /// eglGetDisplay and eglInitialize; returns the target's display.
    uint64_t open_display();
    /// A context of version 3 on a config, not current.
    uint64_t create_context(uint64_t display, uint64_t config);
    uint64_t create_window_surface(uint64_t display, uint64_t config);
    /// What the thread's next eglGetError reports.
    uint32_t pending_error();

    scPluginInterface* plugin;
    raw_target target;

    // How the target answers.
    uint32_t os_version = 1;
    uint32_t pointer_size = 8;
    uint32_t window_width = 640;
    uint32_t window_height = 480;
    uint64_t next_sync = 0x5001;
    std::optional<uint32_t> claimed_list_length;
    bool out_of_memory = false;
    std::vector<target_config> target_configs;
    std::string target_string; // of its eglQueryString
    /// Requests that run a call on the target and fail: inbound type, attribute (0: any).
    std::vector<std::pair<uint32_t, int32_t>> failing_calls;

private:
    confirmation answer(const outbound_message& request);
    confirmation answer_call(const outbound_message& request);
    bool call_fails(uint32_t inbound_type, int32_t attribute) const;
};

class egl_test_on_dummy : public egl_test
{
protected:
    egl_test_on_dummy() : egl_test(TARGET_GPU_DUMMY) {}
};
class egl_test_on_real : public egl_test
{
protected:
    egl_test_on_real() : egl_test(TARGET_GPU_REAL) {}
};

/// Whether `printed` holds `text`.
testing::AssertionResult prints(const std::string& printed, const std::string& text);
using strings = std::vector<std::string>;
