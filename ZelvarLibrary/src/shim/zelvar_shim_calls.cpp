#include "shim/zelvar_shim_calls.h"

#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"

namespace target_call_detail {
namespace {
uint32_t message_size(const shim_request::wire_field* fields, size_t count)
{
    uint32_t size = wire::header_size;
    for (size_t i = 0; i < count; ++i)
        size += fields[i].width;
    return size;
}
} // namespace

void run(const description& call, pid_t pid, tid_t tid, const shim_request::wire_field* fields, size_t count,
         void* result, uint32_t result_size, unsigned* error)
{
    LOG_TRACE("%s", call.name);
    if (!zelvar_call_on_target())
        LOG_FATAL("%s() should not be called.", call.name);
    if (call.batchable && setting(zelvar_settings.batchTargetCommands)) {
        if (shim_request::post_locked(call.type, pid, tid, fields, count) && error)
            *error = 0;
        return;
    }
    shim_request::ask(
        call.type, pid, tid, message_size(fields, count), fields, count, result, result_size, error,
        call.is_egl ? &_zelvar_shim_message_egl_error_callback : &_zelvar_shim_message_gles_error_callback,
        false);
}
} // namespace target_call_detail

namespace {
/// All requests of the family, in the order of the message lists.
constexpr const target_call_detail::description* call_family[] = {
#define zelvar_shim_dispatch_egl_client_wait_sync_khr_call zelvar_no_client_wait_request
#define ZELVAR_MESSAGE(id, name, group, function) &zelvar_shim_dispatch_##name##_call.call,
#include "wire/messages_egl.inc"
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
#undef zelvar_shim_dispatch_egl_client_wait_sync_khr_call
    &zelvar_shim_dispatch_egl_gles_query_get_windows_dc_call.call,
};

const char* name_of_service(uint32_t type)
{
    switch (type) {
#define ZELVAR_SERVICE(id, name)                                                                             \
    case id:                                                                                                 \
        return "zelvar_shim_dispatch_" #name;
#include "wire/services.inc"
#undef ZELVAR_SERVICE
    default:
        return "?";
    }
}
} // namespace

const char* shim_request::name_of(uint32_t type)
{
    for (const target_call_detail::description* call : call_family)
        if (call->type == type)
            return call->name;
    return name_of_service(type);
}
