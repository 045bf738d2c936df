// Inbound type 1: calls that the target gathered because it waits for none of their results.

#include "inbound/cursor.h"
#include "inbound/message_table.h"
#include "object_manager/context_memory.h"
#include "object_manager/vk_command_memory.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"
#include "wire/wire.h"

#include <algorithm>

namespace {
inbound_decoder* zelvar_callbacks = nullptr;

/// A batch inside a batch is taken apart up to this depth; what lies deeper is left out.
constexpr int deepest_nesting = 8;
thread_local int nesting = 0;

struct nesting_level
{
    nesting_level() { ++nesting; }
    ~nesting_level() { --nesting; }
};

void run_command(uint8_t* command, uint32_t size, const wire::header& header)
{
    if (header.type < 1 || header.type > wire::inbound::row_count)
        return;
    if (inbound_decoder decoder = zelvar_callbacks[header.type - 1])
        decoder(header.pid, header.tid, command, size);
}

/// Walks `count` commands, each as long as its own header says, and stops where the message ends.
void run_commands(uint8_t* at, uint64_t left, uint32_t count, uint32_t outer_type)
{
    for (; count > 0 && left > 0; --count) {
        uint8_t header_bytes[wire::header_size] = {};
        std::memcpy(header_bytes, at, std::min<uint64_t>(left, sizeof(header_bytes)));
        wire::header header = wire::load_header(header_bytes);
        if (header.size == 0 || header.size > left) {
            LOG_ERROR("A command in a batch claims %u bytes of %lu: the rest of the batch is left out.",
                      header.size, static_cast<unsigned long>(left));
            return;
        }
        ZELVAR_ASSERT_TEXT(zelvar_callbacks, "zelvar_callbacks");
        // The row of the outer message decides, as it always has.
        if (zelvar_row_of_type(outer_type))
            run_command(at, header.size, header);
        at += header.size;
        left -= header.size;
    }
}

void run_batch(uint8_t* at, uint64_t left, uint32_t count, uint32_t outer_type)
{
    // Gone before the target is released, which may delete the context then.
    zelvar_object_manager_context_memory context_memory;
    zelvar_object_manager_vk_command_memory command_memory;
    run_commands(at, left, count, outer_type);
}
} // namespace

void zelvar_register_callbacks(inbound_decoder* table)
{
    zelvar_callbacks = table;
}

void _zelvar_inbound_traffic_batch_commands(pid_t pid, tid_t tid, void* message, uint32_t size)
{
    cursor in{message, size};
    auto count = in.take<uint32_t>();
    if (!setting(zelvar_settings.batchCommands)) {
        wire::header first;
        if (in.rest_size() >= wire::header_size)
            first = wire::load_header(in.rest());
        LOG_FATAL("Unexpected batched commands: header_size=[%d] header_type=[%d] header_pid=[%d] "
                  "header_tid=[%ld]",
                  first.size, first.type, first.pid, static_cast<long>(first.tid));
    }
    nesting_level level;
    if (nesting > deepest_nesting)
        LOG_ERROR("Batches are nested more than %d deep: the inner one is left out.", deepest_nesting);
    else if (in.rest())
        run_batch(static_cast<uint8_t*>(message) + in.wanted(), in.rest_size(), count,
                  wire::inbound::batch_commands);
    zelvar_shim_dispatch_leave_message_processing_loop(pid, tid);
}
