#pragma once
// The registry over recording host tables, with target services that are journalled and answered from queues.

#include "object_manager/zelvar_object_manager.h"
#include "registration/zelvar_call.h"
#include "sidechannel_log.h"
#include "support/fake_host.h"
#include "support/library.h"
#include "zelvar/test_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace registry_test {
constexpr pid_t pid = 7;
constexpr tid_t tid = 21;
constexpr tid_t other_tid = 22;

inline EGLContext host_context(uint64_t target)
{
    return reinterpret_cast<EGLContext>(0xff0000 + target);
}

/// What the library asked of the target, in order: the services' numbers and first arguments behind pid and
/// tid.
struct service_call
{
    uint32_t type;
    uint64_t argument;
    bool operator==(const service_call&) const = default;
};

inline uint32_t service(uint32_t outbound_type)
{
    return zelvar_call_of_service(outbound_type);
}

template <class T>
void answer_service(uint32_t outbound_type, T value)
{
    zelvar_test_support_enqueue_fake_targetside_call_result(service(outbound_type), nullptr, 0, nullptr, 0,
                                                            &value, sizeof(value), nullptr, 0, nullptr, 0,
                                                            nullptr, 0);
}

class registry : public testing::Test
{
protected:
    void SetUp() override
    {
        library::start();
        zelvar_test_support_enable_fake_targetside_calls(true);
        zelvar_test_support_enable_fake_targetside_call_registration(true);
        sidechannel_set_log_level(6566);
        zelvar_object_manager_ensure_process_record(pid);
    }

    static void add(uint64_t context, uint64_t share = 0, pid_t process = pid)
    {
        ASSERT_TRUE(zelvar_object_manager_add_context(process, tid, host_context(context), nullptr, context,
                                                      share, 3, 1, 3, 1));
    }
    static bool make_current(uint64_t context, tid_t thread = tid, uint64_t surface = 0x50)
    {
        return zelvar_object_manager_bind_context_to_thread(pid, context, thread, surface, surface + 1,
                                                            false);
    }
    static bool bind_created(uint64_t context, tid_t thread = tid)
    {
        return zelvar_object_manager_bind_context_to_thread(pid, context, thread, 0, 0, true);
    }
    /// The key of the context that a thread finds; 0 for the null context.
    static uint64_t found_by(tid_t thread)
    {
        auto* data = zelvar_object_manager_lock_context_data(pid, thread);
        uint64_t key = 0;
        for (const auto& [target, context] : pid_to_process_data_map[pid].contexts)
            if (&context->data == data)
                key = target;
        EXPECT_TRUE(zelvar_object_manager_unlock_context_data(data));
        return key;
    }
    static bool is_known(uint64_t context) { return pid_to_process_data_map[pid].contexts.contains(context); }
};
} // namespace registry_test
