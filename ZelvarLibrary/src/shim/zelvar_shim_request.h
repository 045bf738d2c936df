#pragma once
// How a request reaches the target and how its answer comes back. Requests of one worker are strictly one at
// a time; the worker holds its thread's context data across the wait.

#include "object_manager/records.h"
#include "zelvar_types.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>

class ChannelInterfaceWrapper;

namespace shim_request {
/// One payload field: its bytes, packed on the wire at `width`.
struct wire_field
{
    const void* data;
    uint32_t width;
};

/// What a confirmation brings. Lives in the call-back map until the confirmation fetches it or another
/// request replaces it, so a late confirmation never meets a dead stack frame.
struct callback_data
{
    std::array<uint8_t, 255> result{};
    uint32_t result_ptr_size = 0; // bytes expected, exactly
    void (*error_callback)(void* error_arg, unsigned error) = nullptr;
    unsigned error = 0;
    std::shared_ptr<semaphore__> semaphore;
};

/// Name of an outbound type for logs; "?" for a number that has none.
const char* name_of(uint32_t type);

/// Writes a whole message to the outbound buffer, field by field under the channel's send lock.
/// `declared_size` is what the header says; nothing is released.
void send(ChannelInterfaceWrapper* channel, uint32_t type, pid_t pid, tid_t tid, uint32_t declared_size,
          const wire_field* fields, size_t count);

/// Sends a request and waits for its confirmation. `result` (may be null with size 0) and `error` (may be
/// null) stay untouched when no answer comes. False when nothing was sent or the library is going down.
/// `missing_channel_is_logged`: services say so, calls don't.
bool ask(uint32_t type, pid_t pid, tid_t tid, uint32_t declared_size, const wire_field* fields, size_t count,
         void* result, uint32_t result_size, unsigned* error,
         void (*error_callback)(void* error_arg, unsigned error), bool missing_channel_is_logged);

/// Writes a request that needs no answer, under the thread's context; false when the context can't be had.
bool post_locked(uint32_t type, pid_t pid, tid_t tid, const wire_field* fields, size_t count);
/// Writes a request that needs no answer and no context; it goes out with the next release.
void post(uint32_t type, pid_t pid, tid_t tid, const wire_field* fields, size_t count);
} // namespace shim_request

/// The registered call-back of a request; runs on the simulator's thread.
void _zelvar_shim_message_execution_callback(void* result, unsigned n_result_bytes, void* user_arg,
                                             unsigned error);
/// Store the error in the word at `arg`, unless it is null.
void _zelvar_shim_message_egl_error_callback(void* arg, unsigned error);
void _zelvar_shim_message_gles_error_callback(void* arg, unsigned error);

/// Set while the library goes down: nobody waits for a target any more.
void zelvar_shim_dispatch_abandon_waits(bool abandon);
