// Direct swapchains: the host's own, whose frames stay on the host.

#include "handlers/vk/plain_objects.h"
#include "handlers/vk/presentation_handlers.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

using vk = sidechannel_vk_imports;

namespace {
/// Both calls are an unusual route, worth a line in every log.
void report_unusual(const vk_frame& call, VkDevice device, VkSwapchainKHR swapchain)
{
    LOG_FATAL("!!!%s(target_process_id=[%d] target_thread_id=[%ld] target_device=[%p] target_swapchain=[%p])",
              call.key, call.pid, static_cast<long>(call.tid), static_cast<void*>(device),
              static_cast<void*>(swapchain));
}

/// Surfaces are the process's, not the device's: for the time of a call those that it names are the device's
/// too, where structures look for them.
class borrowed_surfaces
{
public:
    borrowed_surfaces(pid_t pid, vk_device_record* data, const VkSwapchainCreateInfoKHR* infos,
                      uint32_t count)
        : _data(data)
    {
        vk_device_record* all = zelvar_object_manager_vk_lock_window_objects(pid);
        for (uint32_t i = 0; all && i < count; ++i) {
            auto known = all->surface_khr.find(infos[i].surface);
            if (known != all->surface_khr.end() && data->surface_khr.insert(*known).second)
                _borrowed.push_back(known->first);
        }
        zelvar_object_manager_vk_unlock_host_device(all);
    }
    ~borrowed_surfaces()
    {
        for (VkSurfaceKHR surface : _borrowed)
            _data->surface_khr.erase(surface);
    }

private:
    vk_device_record* _data;
    std::vector<VkSurfaceKHR> _borrowed;
};
} // namespace

void vk_vkCreateSwapchainKHR(pid_t pid, tid_t tid, VkDevice device,
                             vk_struct<VkSwapchainCreateInfoKHR> pCreateInfo,
                             vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkSwapchainKHR> pSwapchain,
                             result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateSwapchainKHR", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pSwapchain_ptr", pSwapchain.address);
    auto* data = call.lock(device);
    if (!data || !pCreateInfo)
        return;
    borrowed_surfaces surfaces{pid, data, pCreateInfo.data, 1};
    vk_create<&vk::vkCreateSwapchainKHR, &vk::vkDestroySwapchainKHR>(call, data, pCreateInfo, pSwapchain);
}

void vk_vkDestroySwapchainKHR(pid_t pid, tid_t tid, VkDevice device, VkSwapchainKHR swapchain,
                              vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroySwapchainKHR", pid, tid};
    call.trace("target_device", device, "target_swapchain", swapchain, "pAllocator_ptr", pAllocator.address);
    vk_destroy<&vk::vkDestroySwapchainKHR>(call, call.lock(device), swapchain);
}

void vk_vkCreateSharedSwapchainsKHR(pid_t pid, tid_t tid, VkDevice device, uint32_t swapchainCount,
                                    vk_array<VkSwapchainCreateInfoKHR, 1> pCreateInfos,
                                    vk_struct<VkAllocationCallbacks> pAllocator,
                                    vk_out_array<VkSwapchainKHR, 1> pSwapchains,
                                    result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateSharedSwapchainsKHR", pid, tid, target_result};
    call.trace("target_device", device, "swapchainCount", swapchainCount, "pCreateInfos_ptr",
               pCreateInfos.address, "pAllocator_ptr", pAllocator.address, "pSwapchains_ptr",
               pSwapchains.address);
    auto* data = call.lock(device);
    const uint32_t count = vk_common_count(pCreateInfos, pSwapchains);
    if (!data || count == 0)
        return;
    borrowed_surfaces surfaces{pid, data, pCreateInfos.data, count};
    call.prepare(data, pCreateInfos.data, count, "pCreateInfos[%u]");
    std::vector<VkSwapchainKHR> hosts(count, VK_NULL_HANDLE);
    call.result = call.host<&vk::vkCreateSharedSwapchainsKHR>(data->device, count, pCreateInfos.data, nullptr,
                                                              hosts.data());
    for (uint32_t i = 0; call.result == VK_SUCCESS && i < count; ++i) {
        vk_entry_of<VkSwapchainKHR> entry;
        entry.host = hosts[i];
        vk_enter<&vk::vkDestroySwapchainKHR>(call, data, pSwapchains.data[i], entry);
    }
}

void vk_vkGetSwapchainImagesKHR(pid_t pid, tid_t tid, VkDevice device, VkSwapchainKHR swapchain,
                                vk_struct<uint32_t> pSwapchainImageCount,
                                vk_array<VkImage, 2> pSwapchainImages, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetSwapchainImagesKHR", pid, tid, target_result};
    report_unusual(call, device, swapchain);
    auto* data = call.lock(device);
    if (!data || !pSwapchainImageCount || !vk_to_host(call, data, &swapchain))
        return;
    uint32_t count = 0;
    call.result = call.host<&vk::vkGetSwapchainImagesKHR>(data->device, swapchain, &count, nullptr);
    std::vector<VkImage> images;
    if (pSwapchainImages.address && call.result == VK_SUCCESS) {
        count = std::min(count, *pSwapchainImageCount.data);
        images.resize(count);
        call.result = call.host<&vk::vkGetSwapchainImagesKHR>(data->device, swapchain, &count, images.data());
    }
    if (call.result != VK_SUCCESS && call.result != VK_INCOMPLETE)
        return;
    call.write(pSwapchainImageCount.address, count);
    call.write(pSwapchainImages.address, images.data(),
               std::min(count, static_cast<uint32_t>(images.size())));
}

void vk_vkAcquireNextImageKHR(pid_t pid, tid_t tid, VkDevice device, VkSwapchainKHR swapchain,
                              uint64_t timeout, VkSemaphore semaphore, VkFence fence,
                              vk_struct<uint32_t> pImageIndex, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkAcquireNextImageKHR", pid, tid, target_result};
    report_unusual(call, device, swapchain);
    const VkSemaphore target_semaphore = semaphore;
    auto* data = call.lock(device);
    if (!data || !vk_to_host(call, data, &swapchain) ||
        !vk_to_host(call, data, &semaphore, vk_null::allowed) ||
        !vk_to_host(call, data, &fence, vk_null::allowed))
        return;
    uint32_t index = 0;
    call.result =
        call.host<&vk::vkAcquireNextImageKHR>(data->device, swapchain, timeout, semaphore, fence, &index);
    if (call.result >= VK_SUCCESS) {
        call.write(pImageIndex.address, index);
        if (auto found = data->semaphore.find(target_semaphore); found != data->semaphore.end())
            found->second.pending = true;
    }
}

void vk_vkQueuePresentKHR(pid_t pid, tid_t tid, VkQueue queue, vk_struct<VkPresentInfoKHR> pPresentInfo,
                          result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkQueuePresentKHR", pid, tid, target_result};
    call.trace("target_queue", queue, "pPresentInfo_ptr", pPresentInfo.address);
    VkQueue host = VK_NULL_HANDLE;
    auto* data = call.lock_queue(queue, &host);
    if (!data || !pPresentInfo)
        return;
    call.prepare(data, pPresentInfo, "pPresentInfo");
    call.result = call.host<&vk::vkQueuePresentKHR>(host, pPresentInfo.data);
}
