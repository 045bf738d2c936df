#include "inbound/inbound_traffic.h"

#include "inbound/cursor.h"
#include "inbound/message_table.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"
#include "sidechannel_upcalls.h"
#include "wire/wire.h"
#include "workers/zelvar_context_worker.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace {
constexpr uint32_t unknown_type = 0xffffffff;
constexpr uint32_t highest_accepted_type = 601; // one more than there are rows: the look-up copes

/// Inbound type 4: the target has carried out a request. Handled here, on the simulator's thread, so that the
/// worker can wait for it.
void take_confirmation(const void* message, uint32_t length, pid_t pid, tid_t tid)
{
    cursor in{message, length};
    auto error = in.take<uint32_t>();
    auto promised = in.take<uint8_t>();
    // What a short message doesn't hold reads as zeros.
    std::array<uint8_t, 256> result{};
    if (in.rest())
        std::memcpy(result.data(), in.rest(), std::min<uint64_t>(promised, in.rest_size()));

    command_executed_callback callback = nullptr;
    std::shared_ptr<void> user_data;
    zelvar_object_manager_get_callback_for_command_executed_message(pid, tid, &callback, &user_data);
    if (callback)
        callback(result.data(), promised, user_data.get(), error);
    else
        LOG_ERROR("Potential error: No call-back set but API command execution confirmation message was "
                  "received.");
}

void route(void* message, uint32_t length)
{
    uint32_t type = sidechannel_message_header_get_type(message, length);
    int pid = 0;
    unsigned long tid = 0;
    sidechannel_message_header_get_process_and_thread_id(message, length, &pid, &tid);
    LOG_TRACE("zelvar_inbound_traffic_api_host_data_callback(): pid=%d tid=%ld msg_type=0x%08x len=%d", pid,
              tid, type, length);
    if (type == wire::inbound::command_executed)
        return take_confirmation(message, length, pid, tid);
    if (type == unknown_type) {
        LOG_ERROR("Unknown message type - ignoring incoming message");
        return;
    }
    std::shared_ptr<_zelvar_context_worker> worker;
    if (zelvar_object_manager_get_worker_for_target_tid_pid(pid, tid, type, &worker))
        zelvar_context_worker_enqueue(worker, zelvar_row_of_type(type), pid, tid, message, length);
    else
        LOG_FATAL("Could not retrieve context worker instance for <%d, %ld> pid/tid pair", pid, tid);
}
} // namespace

uint32_t sidechannel_message_header_get_type(const void* message, uint32_t length)
{
    if (!message || length == 4)
        return unknown_type;
    uint32_t type = 0;
    if (length >= wire::offset_type + sizeof(type))
        std::memcpy(&type, static_cast<const char*>(message) + wire::offset_type, sizeof(type));
    return type > highest_accepted_type ? unknown_type : type;
}

void sidechannel_message_header_get_process_and_thread_id(const void* message, uint32_t length, int* pid,
                                                          unsigned long* tid)
{
    if (!message || !pid || !tid || length < wire::header_size)
        return;
    wire::header header = wire::load_header(message);
    *pid = header.pid;
    *tid = header.tid;
}

void zelvar_inbound_traffic_api_host_data_callback(void* message, uint32_t length)
{
    try {
        route(message, length);
    } catch (const std::bad_alloc&) {
        LOG_FATAL("Out of memory: an incoming message of %d bytes is dropped.", length);
    }
}
