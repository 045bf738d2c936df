// Whether the host has an entry point. Its address is of no use to the target, which gets a 1 in its place.

#include "handlers/vk/object_handlers.h"
#include "handlers/vk/plain_objects.h"

#include <algorithm>
#include <string_view>

using vk = sidechannel_vk_imports;

namespace {
/// What the system provides itself, whatever the host has.
constexpr std::string_view own_functions[] = {"vkGetSwapchainGrallocUsageANDROID", "vkAcquireImageANDROID",
                                              "vkQueueSignalReleaseImageANDROID"};

void answer(const vk_frame& call, const char* asked, const char* name, uint64_t on_target, void* on_host)
{
    if (zelvar_call_on_target()) {
        if ((on_target != 0) != (on_host != nullptr))
            LOG_ERROR("%s for %s on target returns %p, while on host returns %p.", asked, name,
                      reinterpret_cast<void*>(on_target), on_host);
    } else if (on_host) {
        const uint64_t present = 1;
        zelvar_shim_dispatch_set_return_value_message(call.pid, call.tid, sizeof(present), &present);
    } else {
        LOG_WARN("%s for %s on host returns %p.", asked, name, on_host);
    }
}
} // namespace

void vk_vkGetInstanceProcAddr(pid_t pid, tid_t tid, VkInstance instance, vk_string pName,
                              result_of<uint64_t> target_result)
{
    vk_void_handler call{"vk_vkGetInstanceProcAddr", pid, tid};
    call.trace("target_instance", instance, "pName_ptr", pName.address);
    VkInstance host = VK_NULL_HANDLE;
    const bool known = !instance || zelvar_object_manager_vk_get_host_instance(pid, instance, &host);
    const char* name = pName.data ? pName.data : "";
    void* found = nullptr;
    if (auto get = known ? call.function<&vk::vkGetInstanceProcAddr>() : nullptr)
        found = reinterpret_cast<void*>(get(host, name));
    answer(call, "vkGetInstanceProcAddr", name, target_result.value, found);
}

void vk_vkGetDeviceProcAddr(pid_t pid, tid_t tid, VkDevice device, vk_string pName,
                            result_of<uint64_t> target_result)
{
    vk_void_handler call{"vk_vkGetDeviceProcAddr", pid, tid};
    call.trace("target_device", device, "pName_ptr", pName.address);
    auto* data = call.lock(device);
    if (!data)
        return;
    const VkDevice host = data->device;
    call.unlock();
    const char* name = pName.data ? pName.data : "";
    void* found = nullptr;
    if (std::find(std::begin(own_functions), std::end(own_functions), name) != std::end(own_functions))
        found = reinterpret_cast<void*>(uint64_t{1});
    else if (auto get = call.function<&vk::vkGetDeviceProcAddr>())
        found = reinterpret_cast<void*>(get(host, name));
    answer(call, "vkGetDeviceProcAddr", name, target_result.value, found);
}
