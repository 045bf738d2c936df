// The two journals: copies of host calls and target services with their arguments.

#include "registered_call.h"
#include "sidechannel_log.h"

#include <cstdlib>
#include <cstring>

namespace registration {
namespace {
// The eleven argument slots have a text each, so that a failed assertion names the argument.
struct argument_texts
{
    const char* length;
    const char* copy;
};
#define ZELVAR_ARGUMENT_TEXTS(n, index)                                                                      \
    {                                                                                                        \
        "arg" #n "_length != 0", "call_descriptor.arg[" #index "] != __null"                                 \
    }
constexpr argument_texts texts[max_arguments] = {
    ZELVAR_ARGUMENT_TEXTS(1, 0),  ZELVAR_ARGUMENT_TEXTS(2, 1),   ZELVAR_ARGUMENT_TEXTS(3, 2),
    ZELVAR_ARGUMENT_TEXTS(4, 3),  ZELVAR_ARGUMENT_TEXTS(5, 4),   ZELVAR_ARGUMENT_TEXTS(6, 5),
    ZELVAR_ARGUMENT_TEXTS(7, 6),  ZELVAR_ARGUMENT_TEXTS(8, 7),   ZELVAR_ARGUMENT_TEXTS(9, 8),
    ZELVAR_ARGUMENT_TEXTS(10, 9), ZELVAR_ARGUMENT_TEXTS(11, 10),
};

void* copy_of(const void* data, size_t length, const char* text)
{
    void* copy = std::malloc(length);
    ZELVAR_ASSERT_TEXT(copy != nullptr, text);
    std::memcpy(copy, data, length);
    return copy;
}

void copy_arguments(_registered_call& call_descriptor, const std::array<argument, max_arguments>& arguments)
{
    for (size_t i = 0; i < max_arguments; i++) {
        const argument& given = arguments[i];
        if (!given.data)
            continue;
        ZELVAR_ASSERT_TEXT(given.length != 0, texts[i].length);
        call_descriptor.arg[i] = copy_of(given.data, given.length, texts[i].copy);
        call_descriptor.arg_length[i] = given.length;
    }
}

/// Keeps what was written to the target: argument 1 is the size, argument 2 the address of the data here.
void copy_storage(_registered_call& call_descriptor)
{
    uint32_t size = 0;
    const void* data = nullptr;
    ZELVAR_ASSERT(call_descriptor.arg[0] && call_descriptor.arg_length[0] >= sizeof(size));
    ZELVAR_ASSERT(call_descriptor.arg[1] && call_descriptor.arg_length[1] == sizeof(data));
    std::memcpy(&size, call_descriptor.arg[0], sizeof(size));
    std::memcpy(&data, call_descriptor.arg[1], sizeof(data));
    ZELVAR_ASSERT(data || size == 0);
    call_descriptor.storage = std::malloc(size ? size : 1);
    ZELVAR_ASSERT_TEXT(call_descriptor.storage != nullptr, "__null != call_descriptor.storage");
    if (size)
        std::memcpy(call_descriptor.storage, data, size);
    call_descriptor.storage_length = size;
}

void append(std::vector<_registered_call>& journal, uint32_t call, const void* error, uint32_t error_length,
            const std::array<argument, max_arguments>& arguments)
{
    ZELVAR_ASSERT(call < zelvar_call_count);
    _registered_call call_descriptor{};
    call_descriptor.call = call;
    copy_arguments(call_descriptor, arguments);
    if (error) {
        ZELVAR_ASSERT_TEXT(error_length != 0, "gl_egl_error_length != 0");
        call_descriptor.gl_egl_error = copy_of(error, error_length, "call_descriptor.gl_egl_error != __null");
        call_descriptor.gl_egl_error_length = error_length;
    }
    if (call == zelvar_call_write_to_shim_address_space)
        copy_storage(call_descriptor);
    journal.push_back(call_descriptor);
}

const _registered_call* entry(bool list, uint32_t index)
{
    const auto& journal = list ? the_state().target_journal : the_state().host_journal;
    return index < journal.size() ? &journal[index] : nullptr;
}
} // namespace

void register_host_call_list(_zelvar_call call, const std::array<argument, max_arguments>& arguments)
{
    if (active.host_registration.load(std::memory_order_relaxed))
        append(the_state().host_journal, call, nullptr, 0, arguments);
}

void register_target_call_list(_zelvar_call call, const void* error, uint32_t error_length,
                               const std::array<argument, max_arguments>& arguments)
{
    if (active.targetside_registration.load(std::memory_order_relaxed))
        append(the_state().target_journal, call, error, error_length, arguments);
}

void clear_registered_call(_registered_call& entry)
{
    for (void* argument : entry.arg)
        std::free(argument);
    std::free(entry.gl_egl_error);
    std::free(entry.storage);
    entry = {};
}
} // namespace registration

void zelvar_test_support_register_hostside_call_11_arguments(
    uint32_t call, const void* arg1, uint32_t length1, const void* arg2, uint32_t length2, const void* arg3,
    uint32_t length3, const void* arg4, uint32_t length4, const void* arg5, uint32_t length5,
    const void* arg6, uint32_t length6, const void* arg7, uint32_t length7, const void* arg8,
    uint32_t length8, const void* arg9, uint32_t length9, const void* arg10, uint32_t length10,
    const void* arg11, uint32_t length11)
{
    registration::register_host_call_list(static_cast<_zelvar_call>(call), {{{arg1, length1},
                                                                             {arg2, length2},
                                                                             {arg3, length3},
                                                                             {arg4, length4},
                                                                             {arg5, length5},
                                                                             {arg6, length6},
                                                                             {arg7, length7},
                                                                             {arg8, length8},
                                                                             {arg9, length9},
                                                                             {arg10, length10},
                                                                             {arg11, length11}}});
}

void zelvar_test_support_register_fake_targetside_call_11_arguments(
    uint32_t call, const void* error, uint32_t error_length, const void* arg1, uint32_t length1,
    const void* arg2, uint32_t length2, const void* arg3, uint32_t length3, const void* arg4,
    uint32_t length4, const void* arg5, uint32_t length5, const void* arg6, uint32_t length6,
    const void* arg7, uint32_t length7, const void* arg8, uint32_t length8, const void* arg9,
    uint32_t length9, const void* arg10, uint32_t length10, const void* arg11, uint32_t length11)
{
    registration::register_target_call_list(static_cast<_zelvar_call>(call), error, error_length,
                                            {{{arg1, length1},
                                              {arg2, length2},
                                              {arg3, length3},
                                              {arg4, length4},
                                              {arg5, length5},
                                              {arg6, length6},
                                              {arg7, length7},
                                              {arg8, length8},
                                              {arg9, length9},
                                              {arg10, length10},
                                              {arg11, length11}}});
}

uint32_t zelvar_test_support_get_number_of_registered_calls(bool list)
{
    const auto& state = registration::the_state();
    return static_cast<uint32_t>((list ? state.target_journal : state.host_journal).size());
}

bool zelvar_test_support_get_registered_call_type(bool list, uint32_t index, uint32_t* out)
{
    const _registered_call* call = registration::entry(list, index);
    if (!call)
        return false;
    *out = call->call;
    return true;
}

bool zelvar_test_support_get_registered_call_argument(bool list, uint32_t index, uint32_t n_call_argument,
                                                      uint32_t* out_length, const void** out)
{
    const _registered_call* call = registration::entry(list, index);
    if (!call)
        return false;
    ZELVAR_ASSERT_TEXT(n_call_argument < registration::max_arguments, "n_call_argument < 11");
    *out_length = call->arg_length[n_call_argument];
    *out = call->arg[n_call_argument];
    return true;
}

bool zelvar_test_support_get_registered_call_argument_storage(bool list, uint32_t index, uint32_t* out_length,
                                                              const void** out)
{
    const _registered_call* call = registration::entry(list, index);
    if (!call)
        return false;
    *out_length = call->storage_length;
    *out = call->storage;
    return true;
}
