#include "inbound/decoder.h"

#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

#include <cstdlib>
#include <new>

namespace {
/// Trivially destructible: freed by the worker's last act, not by a thread-exit destructor that could run
/// after the library has been unloaded.
struct scratch_block
{
    void* bytes;
    uint64_t size;
};
thread_local scratch_block scratch;
} // namespace

void begin_decode(decode_frame& frame, unsigned result_width, bool has_error, unsigned neutral_error)
{
    frame.target_error = neutral_error;
    if (zelvar_target_gpu() == TARGET_GPU_NONE)
        return;
    if (result_width != 0)
        frame.target_result = frame.in.take_width(result_width);
    if (has_error && sidechannel_error_check_support(zelvar_settings, message_info_of_type(frame.type).key))
        frame.target_error = frame.in.take<uint32_t>();
}

void end_decode(decode_frame& frame) noexcept
{
    if (frame.in.bad()) [[unlikely]]
        LOG_ERROR("Message %u (%s) is too short: %lu bytes received, %lu bytes wanted.", frame.type,
                  message_info_of_type(frame.type).name, static_cast<unsigned long>(frame.in.size()),
                  static_cast<unsigned long>(frame.in.wanted()));
    if (!setting(zelvar_settings.batchCommands))
        zelvar_shim_dispatch_leave_message_processing_loop(frame.pid, frame.tid);
}

void decode_failed(const decode_frame& frame) noexcept
{
    LOG_FATAL("%s has run out of memory; the call of <%d, %ld> is dropped.",
              message_info_of_type(frame.type).key, frame.pid, static_cast<long>(frame.tid));
}

void* decode_scratch(uint64_t size)
{
    if (scratch.size >= size)
        return scratch.bytes;
    void* grown = std::realloc(scratch.bytes, size);
    if (!grown)
        throw std::bad_alloc{};
    scratch = {grown, size};
    return grown;
}

void decode_scratch_release() noexcept
{
    std::free(scratch.bytes);
    scratch = {};
}
