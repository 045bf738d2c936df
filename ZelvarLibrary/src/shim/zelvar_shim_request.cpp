#include "shim/zelvar_shim_request.h"

#include "object_manager/zelvar_object_manager.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_channel_interface_wrapper.h"
#include "sidechannel_log.h"

#include <atomic>

namespace {
std::atomic<bool> waits_abandoned{false};

void write_field(ChannelInterfaceWrapper* channel, const void* data, uint32_t width)
{
    channel->writeSideChannel(reinterpret_cast<uint64_t>(data), width, nullptr);
}
} // namespace

namespace shim_request {
void send(ChannelInterfaceWrapper* channel, uint32_t type, pid_t pid, tid_t tid, uint32_t declared_size,
          const wire_field* fields, size_t count)
{
    LOG_TRACE("%s (%u) for <%d, %ld>", name_of(type), type, pid, static_cast<long>(tid));
    Autolock send_lock{channel->sendLock()};
    write_field(channel, &declared_size, sizeof(declared_size));
    write_field(channel, &type, sizeof(type));
    write_field(channel, &pid, sizeof(pid));
    write_field(channel, &tid, sizeof(tid));
    for (size_t i = 0; i < count; ++i)
        write_field(channel, fields[i].data, fields[i].width);
}

namespace {
/// The locked context of the requesting thread for the length of a wait.
class context_hold
{
public:
    context_hold(pid_t pid, tid_t tid) : _data(zelvar_object_manager_lock_context_data(pid, tid))
    {
        if (!_data)
            LOG_ERROR("Could not retrieve context data for pid=%d tid=%ld", pid, static_cast<long>(tid));
    }
    ~context_hold()
    {
        if (_data)
            zelvar_object_manager_unlock_context_data(_data);
    }
    context_hold(const context_hold&) = delete;
    context_hold& operator=(const context_hold&) = delete;
    explicit operator bool() const { return _data != nullptr; }

private:
    _zelvar_context_data* _data;
};

ChannelInterfaceWrapper* channel_of(pid_t pid, bool missing_is_logged)
{
    ChannelInterfaceWrapper* channel = nullptr;
    zelvar_object_manager_get_channel_interface(pid, &channel);
    if (!channel && missing_is_logged)
        LOG_FATAL("Cannot handle request - channel interface pointer is NULL.");
    return channel;
}
} // namespace

bool ask(uint32_t type, pid_t pid, tid_t tid, uint32_t declared_size, const wire_field* fields, size_t count,
         void* result, uint32_t result_size, unsigned* error,
         void (*error_callback)(void* error_arg, unsigned error), bool missing_channel_is_logged)
{
    context_hold context{pid, tid};
    if (!context)
        return false;
    auto pending = std::make_shared<callback_data>();
    pending->result_ptr_size = result_size;
    pending->error_callback = error_callback;
    pending->semaphore = zelvar_object_manager_get_response_semaphore(pid, tid);
    if (!pending->semaphore)
        return false;
    semaphore_lower_if(pending->semaphore.get()); // a stale signal must not end this wait
    zelvar_object_manager_set_callback_for_command_executed_message(
        pid, tid, &_zelvar_shim_message_execution_callback, pending);
    ChannelInterfaceWrapper* channel = channel_of(pid, missing_channel_is_logged);
    if (!channel)
        return false;
    send(channel, type, pid, tid, declared_size, fields, count);
    if (!zelvar_shim_dispatch_wait_for_target_response(channel, pending->semaphore.get()))
        return false;
    if (result && result_size)
        std::memcpy(result, pending->result.data(), result_size);
    if (error)
        *error = pending->error;
    return true;
}

bool post_locked(uint32_t type, pid_t pid, tid_t tid, const wire_field* fields, size_t count)
{
    context_hold context{pid, tid};
    if (context)
        post(type, pid, tid, fields, count);
    return static_cast<bool>(context);
}

void post(uint32_t type, pid_t pid, tid_t tid, const wire_field* fields, size_t count)
{
    ChannelInterfaceWrapper* channel = channel_of(pid, true);
    if (!channel)
        return;
    uint32_t size = wire::header_size;
    for (size_t i = 0; i < count; ++i)
        size += fields[i].width;
    send(channel, type, pid, tid, size, fields, count);
}
} // namespace shim_request

void _zelvar_shim_message_execution_callback(void* result, unsigned n_result_bytes, void* user_arg,
                                             unsigned error)
{
    LOG_TRACE("_zelvar_shim_message_execution_callback(result=[%16p] n_result_bytes=%d user_arg=[%16p] "
              "error=[0x%x])",
              result, n_result_bytes, user_arg, error);
    auto* callback_data_ptr = static_cast<shim_request::callback_data*>(user_arg);
    if (callback_data_ptr->result_ptr_size != n_result_bytes)
        LOG_FATAL("Expected [%d] bytes result, retrieved [%d] bytes", callback_data_ptr->result_ptr_size,
                  n_result_bytes);
    ZELVAR_ASSERT_TEXT(callback_data_ptr->result_ptr_size == n_result_bytes,
                       "callback_data_ptr->result_ptr_size == n_result_bytes");
    std::memcpy(callback_data_ptr->result.data(), result, n_result_bytes);
    if (callback_data_ptr->error_callback)
        callback_data_ptr->error_callback(&callback_data_ptr->error, error);
    semaphore_raise(callback_data_ptr->semaphore.get());
}

void _zelvar_shim_message_egl_error_callback(void* arg, unsigned error)
{
    if (arg)
        *static_cast<unsigned*>(arg) = error;
}

void _zelvar_shim_message_gles_error_callback(void* arg, unsigned error)
{
    if (arg)
        *static_cast<unsigned*>(arg) = error;
}

bool zelvar_shim_dispatch_wait_for_target_response(scChannelInterface* channel, semaphore__* semaphore)
{
    if (waits_abandoned.load())
        return false;
    static_cast<ChannelInterfaceWrapper*>(channel)->allowMainThreadToSendMessage();
    semaphore_lower(semaphore);
    return !waits_abandoned.load();
}

void zelvar_shim_dispatch_abandon_waits(bool abandon)
{
    waits_abandoned.store(abandon);
}
