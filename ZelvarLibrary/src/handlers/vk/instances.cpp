// Instances, their physical devices, and the layers and extensions that a target is shown.
#include "handlers/vk/counted_answer.h"
#include "handlers/vk/debug_reports.h"
#include "handlers/vk/device_handlers.h"
#include "handlers/vk/vk_handler.h"
#include "object_manager/zelvar_object_manager.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {
bool enables(const VkInstanceCreateInfo& info, std::string_view extension)
{
    for (uint32_t i = 0; i < info.enabledExtensionCount; ++i)
        if (info.ppEnabledExtensionNames[i] == extension)
            return true;
    return false;
}

VkDebugReportCallbackEXT make_debug_callback(VkInstance host)
{
    VkDebugReportCallbackCreateInfoEXT info{VK_STRUCTURE_TYPE_DEBUG_REPORT_CALLBACK_CREATE_INFO_EXT, nullptr,
                                            0, &vk_print_debug_report, nullptr};
    info.flags = VK_DEBUG_REPORT_WARNING_BIT_EXT | VK_DEBUG_REPORT_PERFORMANCE_WARNING_BIT_EXT |
                 VK_DEBUG_REPORT_ERROR_BIT_EXT;
    VkDebugReportCallbackEXT callback = VK_NULL_HANDLE;
    auto create =
        vk_instance_function<PFN_vkCreateDebugReportCallbackEXT>(host, "vkCreateDebugReportCallbackEXT");
    if (!create || create(host, &info, nullptr, &callback) != VK_SUCCESS)
        return VK_NULL_HANDLE;
    return callback;
}

void destroy_on_host(const vk_frame& call, VkInstance host, VkDebugReportCallbackEXT callback)
{
    auto destroy_callback = callback ? vk_instance_function<PFN_vkDestroyDebugReportCallbackEXT>(
                                           host, "vkDestroyDebugReportCallbackEXT")
                                     : nullptr;
    if (destroy_callback)
        destroy_callback(host, callback, nullptr);
    if (auto destroy = call.function<&sidechannel_vk_imports::vkDestroyInstance>())
        destroy(host, nullptr);
}
} // namespace

void vk_vkCreateInstance(pid_t pid, tid_t tid, vk_struct<VkInstanceCreateInfo> pCreateInfo,
                         vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkInstance> pInstance,
                         result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateInstance", pid, tid, target_result, VK_ERROR_INCOMPATIBLE_DRIVER};
    call.trace("pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr", pAllocator.address, "pInstance_ptr",
               pInstance.address);
    auto create = zelvar_imports_get_vk_ptrs()->vkCreateInstance;
    if (!create) {
        LOG_ERROR("Could not find Vulkan library on host.");
        return;
    }
    if (!pCreateInfo)
        return;
    // A process whose first Vulkan calls stand in a batch has none yet: the batch doesn't say whose calls it
    // holds.
    zelvar_object_manager_ensure_process_record_vk(pid);
    call.prepare(nullptr, pCreateInfo, "pCreateInfo");
    VkInstance host = VK_NULL_HANDLE;
    call.result = create(pCreateInfo.data, nullptr, &host);
    if (call.result != VK_SUCCESS)
        return;
    VkDebugReportCallbackEXT callback =
        enables(*pCreateInfo.data, "VK_EXT_debug_report") ? make_debug_callback(host) : VK_NULL_HANDLE;
    if (zelvar_object_manager_vk_add_instance(pid, pInstance.handle, host, callback))
        return;
    call.log_not_added("instance", reinterpret_cast<uint64_t>(host),
                       reinterpret_cast<uint64_t>(pInstance.handle));
    destroy_on_host(call, host, callback);
    call.result = VK_ERROR_INITIALIZATION_FAILED;
}

void vk_vkDestroyInstance(pid_t pid, tid_t tid, VkInstance instance,
                          vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyInstance", pid, tid};
    call.trace("target_instance", instance, "pAllocator_ptr", pAllocator.address);
    if (!instance)
        return;
    vk_instance_data data;
    if (!zelvar_object_manager_vk_get_host_instance_data(pid, instance, &data))
        return call.log_unmapped("instance", reinterpret_cast<uint64_t>(instance));
    // The host's driver can't end a device whose instance is gone.
    for (VkDevice device : zelvar_object_manager_vk_devices_of_instance(pid, instance))
        vk_destroy_device(call, device);
    zelvar_object_manager_vk_delete_instance(pid, instance);
    destroy_on_host(call, data.host, data.debug_callback);
    // Workers drop what is queued, so they stay while another instance, or a context, may have them at work.
    if (zelvar_object_manager_vk_needs_no_worker(pid))
        zelvar_object_manager_delete_all_worker_for_pid(pid);
}

void vk_vkEnumeratePhysicalDevices(pid_t pid, tid_t tid, VkInstance instance,
                                   vk_struct<uint32_t> pPhysicalDeviceCount,
                                   vk_array<VkPhysicalDevice, 1> pPhysicalDevices,
                                   result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkEnumeratePhysicalDevices", pid, tid, target_result, VK_ERROR_INITIALIZATION_FAILED};
    call.trace("target_instance", instance, "pPhysicalDeviceCount_ptr", pPhysicalDeviceCount.address,
               "pPhysicalDevices_ptr", pPhysicalDevices.address);
    VkInstance host = VK_NULL_HANDLE;
    if (!zelvar_object_manager_vk_get_host_instance(pid, instance, &host))
        return call.log_unmapped("instance", reinterpret_cast<uint64_t>(instance));
    uint32_t count = pPhysicalDevices.count;
    std::vector<VkPhysicalDevice> devices(
        std::max(count, 1u)); // never without an address, which would ask for the count
    call.result = call.host<&sidechannel_vk_imports::vkEnumeratePhysicalDevices>(
        host, &count, pPhysicalDevices.address ? devices.data() : nullptr);
    if (call.result != VK_SUCCESS && call.result != VK_INCOMPLETE)
        return;
    // One device is all that a target is shown, so that one is never an incomplete list.
    count = std::min(count, 1u);
    if (count == 1)
        call.result = VK_SUCCESS;
    if (count == 1 && pPhysicalDevices.count > 0 &&
        !zelvar_object_manager_vk_add_physical_device(pid, instance, pPhysicalDevices.data[0], devices[0])) {
        call.log_not_added("physical device", reinterpret_cast<uint64_t>(devices[0]),
                           reinterpret_cast<uint64_t>(pPhysicalDevices.data[0]));
        call.result = -1;
        return;
    }
    call.write(pPhysicalDeviceCount.address, count);
}

void vk_vkEnumerateInstanceExtensionProperties(pid_t pid, tid_t tid, vk_string pLayerName,
                                               vk_struct<uint32_t> pPropertyCount,
                                               vk_array<VkExtensionProperties, 1> pProperties,
                                               result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkEnumerateInstanceExtensionProperties", pid, tid, target_result};
    call.trace("pLayerName_ptr", pLayerName.address, "pPropertyCount_ptr", pPropertyCount.address,
               "pProperties_ptr", pProperties.address);
    std::vector<VkExtensionProperties> found;
    call.result = vk_ask_for_list(
        [&](uint32_t* count, VkExtensionProperties* list) {
            return call.host<&sidechannel_vk_imports::vkEnumerateInstanceExtensionProperties>(pLayerName.data,
                                                                                              count, list);
        },
        found);
    if (call.result != VK_SUCCESS)
        return;
    // A target's instance extensions are the business of its own window system: none of the host's is shown.
    found.clear();
    call.result = vk_answer_list_force(call, found, pPropertyCount, pProperties);
    if (call.target_result() == VK_INCOMPLETE && call.result == VK_SUCCESS)
        call.reply_force(VK_SUCCESS);
}

void vk_vkEnumerateDeviceExtensionProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                             vk_string pLayerName, vk_struct<uint32_t> pPropertyCount,
                                             vk_array<VkExtensionProperties, 2> pProperties,
                                             result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkEnumerateDeviceExtensionProperties", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "pLayerName_ptr", pLayerName.address,
               "pPropertyCount_ptr", pPropertyCount.address, "pProperties_ptr", pProperties.address);
    // What this system does itself; frames leave it through native buffers alone.
    const std::vector<VkExtensionProperties> own{{"VK_ANDROID_native_buffer", 1}};
    call.result = vk_answer_list_force(call, own, pPropertyCount, pProperties);
}

void vk_vkEnumerateInstanceLayerProperties(pid_t pid, tid_t tid, vk_struct<uint32_t> pPropertyCount,
                                           vk_array<VkLayerProperties, 0> pProperties,
                                           result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkEnumerateInstanceLayerProperties", pid, tid, target_result};
    call.trace("pPropertyCount_ptr", pPropertyCount.address, "pProperties_ptr", pProperties.address);
    std::vector<VkLayerProperties> found;
    call.result = vk_ask_for_list(
        [&](uint32_t* count, VkLayerProperties* list) {
            return call.host<&sidechannel_vk_imports::vkEnumerateInstanceLayerProperties>(count, list);
        },
        found);
    if (call.result == VK_SUCCESS)
        call.result = vk_answer_list(call, found, pPropertyCount, pProperties);
}

void vk_vkEnumerateDeviceLayerProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                         vk_struct<uint32_t> pPropertyCount,
                                         vk_array<VkLayerProperties, 1> pProperties,
                                         result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkEnumerateDeviceLayerProperties", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "pPropertyCount_ptr", pPropertyCount.address,
               "pProperties_ptr", pProperties.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    if (!host)
        return;
    std::vector<VkLayerProperties> found;
    call.result = vk_ask_for_list(
        [&](uint32_t* count, VkLayerProperties* list) {
            return call.host<&sidechannel_vk_imports::vkEnumerateDeviceLayerProperties>(host, count, list);
        },
        found);
    if (call.result == VK_SUCCESS)
        call.result = vk_answer_list(call, found, pPropertyCount, pProperties);
}
