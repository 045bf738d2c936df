// Buffers, and views of buffers and images.

#include "handlers/vk/object_handlers.h"
#include "handlers/vk/plain_objects.h"
#include "pixels/astc_formats.h"

using vk = sidechannel_vk_imports;

void vk_vkCreateBuffer(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkBufferCreateInfo> pCreateInfo,
                       vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkBuffer> pBuffer,
                       result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateBuffer", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pBuffer_ptr", pBuffer.address);
    vk_create<&vk::vkCreateBuffer, &vk::vkDestroyBuffer>(call, call.lock(device), pCreateInfo, pBuffer);
}

void vk_vkDestroyBuffer(pid_t pid, tid_t tid, VkDevice device, VkBuffer buffer,
                        vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyBuffer", pid, tid};
    call.trace("target_device", device, "target_buffer", buffer, "pAllocator_ptr", pAllocator.address);
    auto* data = call.lock(device);
    if (!data)
        return;
    // Its memory outlives it and must not look for it when it is freed.
    auto known = data->buffer.find(buffer);
    if (known != data->buffer.end()) {
        auto memory = data->device_memory.find(known->second.target_memory);
        if (memory != data->device_memory.end() && memory->second.target_buffer == buffer)
            memory->second.target_buffer = VK_NULL_HANDLE;
        vk_let_finish(call, data, known->second);
        if (known->second.replaced)
            vk_end<&vk::vkDestroyBuffer>(call, data, known->second, known->second.replaced);
    }
    vk_destroy<&vk::vkDestroyBuffer>(call, data, buffer);
}

void vk_vkCreateBufferView(pid_t pid, tid_t tid, VkDevice device,
                           vk_struct<VkBufferViewCreateInfo> pCreateInfo,
                           vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkBufferView> pView,
                           result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateBufferView", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pView_ptr", pView.address);
    if (pCreateInfo)
        zelvar_helper_convert_format(&pCreateInfo->format);
    vk_create<&vk::vkCreateBufferView, &vk::vkDestroyBufferView>(call, call.lock(device), pCreateInfo, pView);
}

void vk_vkDestroyBufferView(pid_t pid, tid_t tid, VkDevice device, VkBufferView bufferView,
                            vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyBufferView", pid, tid};
    call.trace("target_device", device, "target_bufferView", bufferView, "pAllocator_ptr",
               pAllocator.address);
    vk_destroy<&vk::vkDestroyBufferView>(call, call.lock(device), bufferView);
}

void vk_vkCreateImageView(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkImageViewCreateInfo> pCreateInfo,
                          vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkImageView> pView,
                          result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateImageView", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pView_ptr", pView.address);
    if (pCreateInfo)
        zelvar_helper_convert_format(&pCreateInfo->format);
    vk_create<&vk::vkCreateImageView, &vk::vkDestroyImageView>(call, call.lock(device), pCreateInfo, pView);
}

void vk_vkDestroyImageView(pid_t pid, tid_t tid, VkDevice device, VkImageView imageView,
                           vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyImageView", pid, tid};
    call.trace("target_device", device, "target_imageView", imageView, "pAllocator_ptr", pAllocator.address);
    vk_destroy<&vk::vkDestroyImageView>(call, call.lock(device), imageView);
}
