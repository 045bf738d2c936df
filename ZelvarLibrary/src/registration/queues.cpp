// Queued results that stand in for the target, for internal operations and for the data model.

#include "registered_call.h"
#include "sidechannel_log.h"

#include <cstring>
#include <optional>
#include <utility>

namespace registration {
block::block(const void* bytes, size_t count) : length(count)
{
    if (!bytes)
        return;
    data = std::make_unique<unsigned char[]>(count);
    std::memcpy(data.get(), bytes, count);
}

void block::deliver(void* destination, const char* text) const
{
    if (!data)
        return;
    ZELVAR_ASSERT_TEXT(destination != nullptr, text);
    std::memcpy(destination, data.get(), length);
}

namespace {
/// Takes the oldest entry of a call's queue off.
template <class T>
std::optional<T> take(queues<T>& all, uint32_t call)
{
    auto found = all.find(call);
    if (found == all.end() || found->second.empty())
        return std::nullopt;
    std::optional<T> first{std::move(found->second.front())};
    found->second.pop_front();
    return first;
}
} // namespace
} // namespace registration

using registration::active;
using registration::take;
using registration::the_state;

void zelvar_test_support_enqueue_fake_targetside_call_result(uint32_t call, const void* stack,
                                                             size_t stack_length, const void* error,
                                                             size_t error_length, const void* arg1,
                                                             size_t length1, const void* arg2, size_t length2,
                                                             const void* arg3, size_t length3,
                                                             const void* arg4, size_t length4)
{
    the_state().target_results[call].push_back({{stack, stack_length},
                                                {error, error_length},
                                                {arg1, length1},
                                                {arg2, length2},
                                                {arg3, length3},
                                                {arg4, length4}});
}

void zelvar_test_support_enqueue_zelvar_data_model_call_result(uint32_t call, const void* stack,
                                                               size_t stack_length, const void* arg1,
                                                               size_t length1, const void* arg2,
                                                               size_t length2)
{
    the_state().data_model_results[call].push_back({{stack, stack_length}, {arg1, length1}, {arg2, length2}});
}

void zelvar_test_support_enqueue_fake_zelvar_internal_call_result(uint32_t call, const void* stack,
                                                                  size_t stack_length, const void* arg1,
                                                                  size_t length1)
{
    the_state().internal_results[call].push_back({{stack, stack_length}, {arg1, length1}});
}

void zelvar_test_support_enqueue_data_model_call(uint32_t call, bool result)
{
    the_state().data_model_answers[call].push_back(result);
}

void zelvar_test_support_enqueue_internal_call_fail_result(uint32_t call, bool fails)
{
    the_state().internal_failures[call].push_back(fails);
}

bool zelvar_test_support_dequeue_fake_targetside_call_result(uint32_t call, void* result_gl_egl_error,
                                                             void* result_stack, void* result_arg1,
                                                             void* result_arg2, void* result_arg3,
                                                             void* result_arg4)
{
    if (!active.fake_targetside.load(std::memory_order_relaxed)) [[likely]]
        return false;
    auto result = take(the_state().target_results, call);
    if (!result)
        return false;
    result->gl_egl_error.deliver(result_gl_egl_error, "result_gl_egl_error != __null");
    result->arg1.deliver(result_arg1, "result_arg1 != __null");
    result->arg2.deliver(result_arg2, "result_arg2 != __null");
    result->arg3.deliver(result_arg3, "result_arg3 != __null");
    result->arg4.deliver(result_arg4, "result_arg4 != __null");
    result->stack.deliver(result_stack, "result_stack != __null");
    return true;
}

bool zelvar_test_support_dequeue_zelvar_data_model_call_result(uint32_t call, void* result_stack,
                                                               void* result_arg1, void* result_arg2)
{
    if (!active.fake_data_model.load(std::memory_order_relaxed)) [[likely]]
        return false;
    auto result = take(the_state().data_model_results, call);
    if (!result)
        return false;
    result->arg1.deliver(result_arg1, "result_arg1 != __null");
    result->arg2.deliver(result_arg2, "result_arg2 != __null");
    result->stack.deliver(result_stack, "result_stack != __null");
    return true;
}

bool zelvar_test_support_dequeue_fake_zelvar_internal_call_result(uint32_t call, void* result_stack,
                                                                  void* result_arg1)
{
    if (!active.fake_internal.load(std::memory_order_relaxed)) [[likely]]
        return false;
    auto result = take(the_state().internal_results, call);
    if (!result)
        return false;
    result->arg1.deliver(result_arg1, "result_arg1 != __null");
    result->stack.deliver(result_stack, "result_stack != __null");
    return true;
}

bool zelvar_test_support_dequeue_data_model_call(uint32_t call)
{
    return take(the_state().data_model_answers, call).value_or(false);
}

bool zelvar_test_support_dequeue_internal_call_fail_result(uint32_t call)
{
    return take(the_state().internal_failures, call).value_or(false);
}
