#include "inbound/vk_decoder.h"

#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

vk_target_layout vk_begin_decode(pid_t pid, tid_t tid)
{
    vk_target_layout target{64, nullptr};
    if (zelvar_object_manager_get_target_bit(pid, tid, &target.arena) == 32)
        target.bits = 32;
    return target;
}

bool vk_has_target_result()
{
    return zelvar_target_gpu() != TARGET_GPU_NONE;
}

void vk_check_size(uint32_t type, const vk_reader& in)
{
    if (in.wanted() != in.size()) [[unlikely]]
        LOG_FATAL("_zelvar_inbound_traffic_%s() receives %d bytes, but expects %ld bytes.",
                  message_info_of_type(type).name, static_cast<int>(in.size()),
                  static_cast<long>(in.wanted()));
}

void vk_end_decode(pid_t pid, tid_t tid, const vk_reader& in) noexcept
{
    if (in.overflowed()) [[unlikely]]
        LOG_FATAL("message_buffer overflow!");
    if (!setting(zelvar_settings.batchCommands))
        zelvar_shim_dispatch_leave_message_processing_loop(pid, tid);
}

void vk_decode_failed(uint32_t type, pid_t pid, tid_t tid) noexcept
{
    LOG_FATAL("%s has run out of memory; the call of <%d, %ld> is dropped.", message_info_of_type(type).key,
              pid, static_cast<long>(tid));
}

void vk_field<vk_string>::contents(vk_reader& in, const vk_known*, vk_string& argument)
{
    if (!argument.address)
        return;
    argument.data = in.take_string();
}
