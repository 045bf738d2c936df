#include "handlers/vk/debug_reports.h"

#include "handlers/vk/debug_report_handlers.h"
#include "handlers/vk/plain_objects.h"

VKAPI_ATTR VkBool32 VKAPI_CALL vk_print_debug_report(VkDebugReportFlagsEXT, VkDebugReportObjectTypeEXT,
                                                     uint64_t, size_t, int32_t, const char* layer,
                                                     const char* message, void*)
{
    LOG_WARN("%s: %s", layer, message);
    return VK_FALSE;
}

void vk_vkCreateDebugReportCallbackEXT(pid_t pid, tid_t tid, VkInstance instance,
                                       vk_struct<VkDebugReportCallbackCreateInfoEXT> pCreateInfo,
                                       vk_struct<VkAllocationCallbacks> pAllocator,
                                       vk_out<VkDebugReportCallbackEXT> pCallback,
                                       result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateDebugReportCallbackEXT", pid, tid, target_result};
    call.trace("target_instance", instance, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pCallback_ptr", pCallback.address);
    VkInstance host = VK_NULL_HANDLE;
    auto* objects = call.lock_window_objects();
    if (!objects || !pCreateInfo || !zelvar_object_manager_vk_get_host_instance(pid, instance, &host))
        return;
    auto create =
        vk_instance_function<PFN_vkCreateDebugReportCallbackEXT>(host, "vkCreateDebugReportCallbackEXT");
    VkDebugReportCallbackCreateInfoEXT info{VK_STRUCTURE_TYPE_DEBUG_REPORT_CALLBACK_CREATE_INFO_EXT, nullptr,
                                            pCreateInfo->flags, &vk_print_debug_report, nullptr};
    VkDebugReportCallbackEXT callback = VK_NULL_HANDLE;
    if (create)
        call.result = create(host, &info, nullptr, &callback);
    if (call.result == VK_SUCCESS && !call.add(objects, pCallback.handle, callback)) {
        if (auto destroy = vk_instance_function<PFN_vkDestroyDebugReportCallbackEXT>(
                host, "vkDestroyDebugReportCallbackEXT"))
            destroy(host, callback, nullptr);
    }
}

void vk_vkDestroyDebugReportCallbackEXT(pid_t pid, tid_t tid, VkInstance instance,
                                        VkDebugReportCallbackEXT callback,
                                        vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyDebugReportCallbackEXT", pid, tid};
    call.trace("target_instance", instance, "target_callback", callback, "pAllocator_ptr",
               pAllocator.address);
    VkInstance host_instance = VK_NULL_HANDLE;
    auto* objects = call.lock_window_objects();
    VkDebugReportCallbackEXT host = callback;
    if (!objects || !zelvar_object_manager_vk_get_host_instance(pid, instance, &host_instance) ||
        !vk_to_host(call, objects, &host, vk_null::allowed))
        return;
    if (auto destroy = vk_instance_function<PFN_vkDestroyDebugReportCallbackEXT>(
            host_instance, "vkDestroyDebugReportCallbackEXT"))
        destroy(host_instance, host, nullptr);
    if (callback)
        vk_registry::remove(objects, callback);
}

void vk_vkDebugReportMessageEXT(pid_t pid, tid_t tid, VkInstance instance, VkDebugReportFlagsEXT flags,
                                VkDebugReportObjectTypeEXT objectType, uint64_t object, vk_size location,
                                int32_t messageCode, vk_string pLayerPrefix, vk_string pMessage)
{
    vk_void_handler call{"vk_vkDebugReportMessageEXT", pid, tid};
    call.trace("target_instance", instance, "flags", flags, "objectType", objectType, "object", object,
               "location", location, "messageCode", messageCode, "pLayerPrefix_ptr", pLayerPrefix.address,
               "pMessage_ptr", pMessage.address);
    VkInstance host = VK_NULL_HANDLE;
    if (!pLayerPrefix.data || !pMessage.data ||
        !zelvar_object_manager_vk_get_host_instance(pid, instance, &host))
        return;
    // Some objects are looked into on the way; the target's are nothing that the host can look into.
    if (auto report = vk_instance_function<PFN_vkDebugReportMessageEXT>(host, "vkDebugReportMessageEXT"))
        report(host, flags, VK_DEBUG_REPORT_OBJECT_TYPE_UNKNOWN_EXT, 0, location.value, messageCode,
               pLayerPrefix.data, pMessage.data);
}
