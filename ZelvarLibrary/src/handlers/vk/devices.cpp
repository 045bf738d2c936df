// Making and ending devices, and their queues.
#include "handlers/vk/device_handlers.h"
#include "handlers/vk/queue_progress.h"
#include "handlers/vk/vk_handler.h"

#include <cstring>
#include <string_view>

using vk = sidechannel_vk_imports;

namespace {
/// The enabled extensions without the one that the host doesn't get: the system provides it.
std::vector<const char*> host_extensions(const VkDeviceCreateInfo& info)
{
    std::vector<const char*> kept;
    for (uint32_t i = 0; i < info.enabledExtensionCount; ++i)
        if (info.ppEnabledExtensionNames[i] != std::string_view{"VK_ANDROID_native_buffer"})
            kept.push_back(info.ppEnabledExtensionNames[i]);
    return kept;
}

bool asks_for_family(const VkDeviceCreateInfo& info, uint32_t family)
{
    for (uint32_t i = 0; i < info.queueCreateInfoCount; ++i)
        if (info.pQueueCreateInfos[i].queueFamilyIndex == family)
            return true;
    return false;
}

uint32_t first_graphics_family(const vk_frame& call, VkPhysicalDevice host)
{
    auto ask = call.function<&vk::vkGetPhysicalDeviceQueueFamilyProperties>();
    if (!ask)
        return UINT32_MAX;
    uint32_t count = 0;
    ask(host, &count, nullptr);
    std::vector<VkQueueFamilyProperties> families(count);
    ask(host, &count, families.data());
    for (uint32_t i = 0; i < count && i < families.size(); ++i)
        if (families[i].queueFlags & VK_QUEUE_GRAPHICS_BIT)
            return i;
    return UINT32_MAX;
}

/// For copies of finished swapchain images. A device without queues of that family can't have the pool.
void make_swapchain_pool(vk_handler& call, vk_device_record& record, const VkDeviceCreateInfo& info)
{
    if (!asks_for_family(info, record.graphics_queue_family))
        return;
    VkCommandPoolCreateInfo pool{VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO, nullptr,
                                 VK_COMMAND_POOL_CREATE_RESET_COMMAND_BUFFER_BIT,
                                 record.graphics_queue_family};
    auto create = call.function<&vk::vkCreateCommandPool>();
    if (!create || create(record.device, &pool, nullptr, &record.swapchain_command_pool) != VK_SUCCESS) {
        record.swapchain_command_pool = VK_NULL_HANDLE;
        LOG_FATAL("Can't create command pool for swapchain.");
    }
}

/// What applications have left on a device. The host would keep it for as long as it runs, since it outlives
/// its targets.
template <auto Destroy, class Handle>
void destroy_left(const vk_frame& call, vk_device_record& device)
{
    auto destroy = zelvar_imports_get_vk_ptrs()->*Destroy;
    if (!destroy)
        return;
    for (auto& known : vk_objects_of<Handle>(device)) {
        const vk_entry_of<Handle>& entry = known.second; // no binding: clang 14 can't ask what that has
        destroy(device.device, entry.host, nullptr);
        if constexpr (requires { entry.replaced; })
            destroy(device.device, entry.replaced, nullptr);
        if constexpr (std::is_same_v<Handle, VkImage>)
            if (entry.host_backing)
                if (auto free = call.function<&vk::vkFreeMemory>())
                    free(device.device, entry.host_backing, nullptr);
    }
    vk_objects_of<Handle>(device).clear();
}

void destroy_all_left(const vk_frame& call, vk_device_record& device)
{
    destroy_left<&vk::vkDestroySwapchainKHR, VkSwapchainKHR>(call, device);
    destroy_left<&vk::vkDestroyCommandPool, VkCommandPool>(call, device);
    destroy_left<&vk::vkDestroyPipeline, VkPipeline>(call, device);
    destroy_left<&vk::vkDestroyPipelineCache, VkPipelineCache>(call, device);
    destroy_left<&vk::vkDestroyFramebuffer, VkFramebuffer>(call, device);
    destroy_left<&vk::vkDestroyRenderPass, VkRenderPass>(call, device);
    destroy_left<&vk::vkDestroyDescriptorPool, VkDescriptorPool>(call, device);
    device.descriptor_set.clear(); // and what nothing but them kept
    destroy_left<&vk::vkDestroyPipelineLayout, VkPipelineLayout>(call, device);
    destroy_left<&vk::vkDestroyDescriptorSetLayout, VkDescriptorSetLayout>(call, device);
    destroy_left<&vk::vkDestroyShaderModule, VkShaderModule>(call, device);
    destroy_left<&vk::vkDestroySampler, VkSampler>(call, device);
    destroy_left<&vk::vkDestroyImageView, VkImageView>(call, device);
    destroy_left<&vk::vkDestroyBufferView, VkBufferView>(call, device);
    destroy_left<&vk::vkDestroyQueryPool, VkQueryPool>(call, device);
    destroy_left<&vk::vkDestroyEvent, VkEvent>(call, device);
    destroy_left<&vk::vkDestroyFence, VkFence>(call, device);
    destroy_left<&vk::vkDestroySemaphore, VkSemaphore>(call, device);
    destroy_left<&vk::vkDestroyBuffer, VkBuffer>(call, device);
    destroy_left<&vk::vkDestroyImage, VkImage>(call, device);
    destroy_left<&vk::vkFreeMemory, VkDeviceMemory>(call, device);
}

void destroy_swapchain_copies(const vk_frame& call, vk_device_record& device)
{
    auto destroy_image = call.function<&vk::vkDestroyImage>();
    auto free_memory = call.function<&vk::vkFreeMemory>();
    for (auto& [extent, linear] : device.linear_images) {
        if (destroy_image)
            destroy_image(device.device, linear.image, nullptr);
        if (free_memory)
            free_memory(device.device, linear.memory, nullptr);
    }
    device.linear_images.clear();
    if (!device.swapchain_command_pool)
        return;
    if (auto free_buffers = call.function<&vk::vkFreeCommandBuffers>();
        free_buffers && device.swapchain_command_buffer)
        free_buffers(device.device, device.swapchain_command_pool, 1, &device.swapchain_command_buffer);
    if (auto destroy_pool = call.function<&vk::vkDestroyCommandPool>())
        destroy_pool(device.device, device.swapchain_command_pool, nullptr);
}
} // namespace

void vk_vkCreateDevice(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                       vk_struct<VkDeviceCreateInfo> pCreateInfo, vk_struct<VkAllocationCallbacks> pAllocator,
                       vk_out<VkDevice> pDevice, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateDevice", pid, tid, target_result, VK_ERROR_INITIALIZATION_FAILED};
    call.trace("target_physical_device", physicalDevice, "pCreateInfo_ptr", pCreateInfo.address,
               "pAllocator_ptr", pAllocator.address, "pDevice_ptr", pDevice.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    if (!host || !pCreateInfo)
        return;
    call.prepare(nullptr, pCreateInfo, "pCreateInfo");
    auto extensions = host_extensions(*pCreateInfo.data);
    pCreateInfo->enabledExtensionCount = static_cast<uint32_t>(extensions.size());
    pCreateInfo->ppEnabledExtensionNames = extensions.data();
    // Decoded by the system: the host needn't have it.
    if (pCreateInfo->pEnabledFeatures)
        const_cast<VkPhysicalDeviceFeatures*>(pCreateInfo->pEnabledFeatures)->textureCompressionASTC_LDR =
            VK_FALSE;
    auto record = std::make_shared<vk_device_record>();
    call.result = call.host<&vk::vkCreateDevice>(host, pCreateInfo.data, nullptr, &record->device);
    if (call.result != VK_SUCCESS)
        return;
    record->target_physical_device = physicalDevice;
    call.host<&vk::vkGetPhysicalDeviceMemoryProperties>(host, &record->memory_properties);
    VkPhysicalDeviceProperties properties{};
    call.host<&vk::vkGetPhysicalDeviceProperties>(host, &properties);
    record->limits = properties.limits;
    record->looks_at_all = properties.deviceType == VK_PHYSICAL_DEVICE_TYPE_CPU;
    record->graphics_queue_family = first_graphics_family(call, host);
    make_swapchain_pool(call, *record, *pCreateInfo.data);
    if (zelvar_object_manager_vk_add_device_data(pid, pDevice.handle, record))
        return;
    call.log_not_added("device", reinterpret_cast<uint64_t>(record->device),
                       reinterpret_cast<uint64_t>(pDevice.handle));
    destroy_swapchain_copies(call, *record);
    call.host<&vk::vkDestroyDevice>(record->device, nullptr);
    call.result = -1;
}

void vk_destroy_device(vk_frame& call, VkDevice target)
{
    auto* device = call.lock(target);
    if (!device)
        return;
    vk_wait_for_device(call, device);
    destroy_swapchain_copies(call, *device);
    destroy_all_left(call, *device);
    if (auto destroy = call.function<&vk::vkDestroyDevice>())
        destroy(device->device, nullptr);
    zelvar_object_manager_vk_delete_device(call.pid, target);
    call.unlock();
}

void vk_vkDestroyDevice(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyDevice", pid, tid};
    call.trace("target_device", device, "pAllocator_ptr", pAllocator.address);
    if (device)
        vk_destroy_device(call, device);
}

void vk_vkGetDeviceQueue(pid_t pid, tid_t tid, VkDevice device, uint32_t queueFamilyIndex,
                         uint32_t queueIndex, vk_out<VkQueue> pQueue)
{
    vk_void_handler call{"vk_vkGetDeviceQueue", pid, tid};
    call.trace("target_device", device, "queueFamilyIndex", queueFamilyIndex, "queueIndex", queueIndex,
               "pQueue_ptr", pQueue.address);
    auto* data = call.lock(device);
    if (!data)
        return;
    VkQueue host = VK_NULL_HANDLE;
    call.host<&vk::vkGetDeviceQueue>(data->device, queueFamilyIndex, queueIndex, &host);
    if (host && !zelvar_object_manager_vk_add_queue(pid, device, pQueue.handle, host))
        LOG_FATAL("Could not create a host<=>target vulkan instance mapping for host-side queue [%p] and "
                  "target-side queue [%p]",
                  static_cast<void*>(host), static_cast<void*>(pQueue.handle));
}
