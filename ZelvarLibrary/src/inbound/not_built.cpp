#include "inbound/not_built.h"

#include "inbound/message_table.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"
#include "wire/wire.h"

#include <array>
#include <atomic>

namespace {
std::array<std::atomic<bool>, wire::inbound::row_count + 1> said_once;

uint8_t width_of_result(const message_info& info, pid_t pid, tid_t tid)
{
    if (info.form != result_form::target_pointer)
        return info.result_width;
    return zelvar_object_manager_get_target_bit(pid, tid, nullptr) == 32 ? 4 : 8;
}
} // namespace

void answer_not_built(uint32_t type, pid_t pid, tid_t tid)
{
    const message_info& info = message_info_of_type(type);
    if (!said_once[type].exchange(true, std::memory_order_relaxed))
        LOG_ERROR("Message %u (%s) isn't built yet: the call fails on the target.", type, info.name);
    if (info.form != result_form::none) {
        // A Vulkan call that returns 0 would have succeeded; -1 is out of host memory.
        int64_t value = info.form == result_form::vk_result ? -1 : 0;
        zelvar_shim_dispatch_set_return_value_message(pid, tid, width_of_result(info, pid, tid), &value);
    }
    if (!setting(zelvar_settings.batchCommands))
        zelvar_shim_dispatch_leave_message_processing_loop(pid, tid);
}
