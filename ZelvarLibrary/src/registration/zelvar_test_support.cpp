// Counters, switches, and what puts everything back to the start.

#include "zelvar_test_support.h"

#include "host_call.h"
#include "registered_call.h"
#include "sidechannel_log.h"

namespace registration {
switches active;
std::array<std::atomic<uint32_t>, zelvar_call_count> hostside_counters;
std::array<std::atomic<uint32_t>, zelvar_call_count> targetside_counters;

state& the_state()
{
    static auto& instance = *new state;
    return instance;
}

namespace {
using counters = std::array<std::atomic<uint32_t>, zelvar_call_count>;

uint32_t read_counter(const counters& all, uint32_t call)
{
    ZELVAR_ASSERT(call < zelvar_call_count);
    return all[call].load(std::memory_order_relaxed);
}

uint32_t take_counter(counters& all, uint32_t call)
{
    ZELVAR_ASSERT(call < zelvar_call_count);
    return all[call].exchange(0, std::memory_order_relaxed);
}

void clear(counters& all)
{
    for (auto& counter : all)
        counter.store(0, std::memory_order_relaxed);
}

void clear(std::vector<_registered_call>& journal)
{
    for (_registered_call& entry : journal)
        clear_registered_call(entry);
    journal.clear();
}
} // namespace
} // namespace registration

namespace host::detail {
void log_missing(const char* name)
{
    LOG_FATAL("The host lacks %s().", name);
}
} // namespace host::detail

using registration::active;

void zelvar_test_support_reset()
{
    registration::clear(registration::hostside_counters);
    registration::clear(registration::targetside_counters);
    auto& state = registration::the_state();
    registration::clear(state.host_journal);
    registration::clear(state.target_journal);
    state = {};
    for (auto* on : {&active.fake_data_model, &active.fake_internal, &active.fake_targetside,
                     &active.host_registration, &active.targetside_registration, &active.internal_fail})
        on->store(false, std::memory_order_relaxed);
}

void zelvar_test_support_imports_init(const sidechannel_egl_imports* egl,
                                      const sidechannel_gles_imports* gles)
{
    sidechannel_set_imports_init(egl, gles);
}

bool zelvar_test_support_is_zelvar_built_in_debug_mode()
{
    return false;
}

void zelvar_test_support_enable_fake_zelvar_data_model_calls(bool on)
{
    active.fake_data_model.store(on, std::memory_order_relaxed);
}

void zelvar_test_support_enable_fake_zelvar_internal_calls(bool on)
{
    active.fake_internal.store(on, std::memory_order_relaxed);
}

void zelvar_test_support_enable_fake_targetside_calls(bool on)
{
    active.fake_targetside.store(on, std::memory_order_relaxed);
}

void zelvar_test_support_enable_host_call_registration(bool on)
{
    active.host_registration.store(on, std::memory_order_relaxed);
}

void zelvar_test_support_enable_fake_targetside_call_registration(bool on)
{
    active.targetside_registration.store(on, std::memory_order_relaxed);
}

void zelvar_test_support_enable_internal_call_fail(bool on)
{
    active.internal_fail.store(on, std::memory_order_relaxed);
}

bool zelvar_test_support_get_fake_dispatch_mode_status()
{
    return active.fake_targetside.load(std::memory_order_relaxed);
}

uint32_t zelvar_test_support_get_hostside_call_counter(uint32_t call)
{
    return registration::read_counter(registration::hostside_counters, call);
}

uint32_t zelvar_test_support_get_and_reset_hostside_call_counter(uint32_t call)
{
    return registration::take_counter(registration::hostside_counters, call);
}

uint32_t zelvar_test_support_get_fake_targetside_call_counter(uint32_t call)
{
    return registration::read_counter(registration::targetside_counters, call);
}

uint32_t zelvar_test_support_get_and_reset_fake_targetside_call_counter(uint32_t call)
{
    return registration::take_counter(registration::targetside_counters, call);
}
