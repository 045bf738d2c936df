// Render passes and framebuffers.

#include "handlers/vk/object_handlers.h"
#include "handlers/vk/plain_objects.h"
#include "pixels/astc_formats.h"

using vk = sidechannel_vk_imports;

void vk_vkCreateFramebuffer(pid_t pid, tid_t tid, VkDevice device,
                            vk_struct<VkFramebufferCreateInfo> pCreateInfo,
                            vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkFramebuffer> pFramebuffer,
                            result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateFramebuffer", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pFramebuffer_ptr", pFramebuffer.address);
    vk_create<&vk::vkCreateFramebuffer, &vk::vkDestroyFramebuffer>(call, call.lock(device), pCreateInfo,
                                                                   pFramebuffer);
}

void vk_vkDestroyFramebuffer(pid_t pid, tid_t tid, VkDevice device, VkFramebuffer framebuffer,
                             vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyFramebuffer", pid, tid};
    call.trace("target_device", device, "target_framebuffer", framebuffer, "pAllocator_ptr",
               pAllocator.address);
    vk_destroy<&vk::vkDestroyFramebuffer>(call, call.lock(device), framebuffer);
}

void vk_vkCreateRenderPass(pid_t pid, tid_t tid, VkDevice device,
                           vk_struct<VkRenderPassCreateInfo> pCreateInfo,
                           vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkRenderPass> pRenderPass,
                           result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateRenderPass", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pRenderPass_ptr", pRenderPass.address);
    for (uint32_t i = 0; pCreateInfo && pCreateInfo->pAttachments && i < pCreateInfo->attachmentCount; ++i)
        zelvar_helper_convert_format(const_cast<VkFormat*>(&pCreateInfo->pAttachments[i].format));
    vk_create<&vk::vkCreateRenderPass, &vk::vkDestroyRenderPass>(call, call.lock(device), pCreateInfo,
                                                                 pRenderPass);
}

void vk_vkDestroyRenderPass(pid_t pid, tid_t tid, VkDevice device, VkRenderPass renderPass,
                            vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyRenderPass", pid, tid};
    call.trace("target_device", device, "target_renderPass", renderPass, "pAllocator_ptr",
               pAllocator.address);
    vk_destroy<&vk::vkDestroyRenderPass>(call, call.lock(device), renderPass);
}

void vk_vkGetRenderAreaGranularity(pid_t pid, tid_t tid, VkDevice device, VkRenderPass renderPass,
                                   vk_struct<VkExtent2D> pGranularity)
{
    vk_void_handler call{"vk_vkGetRenderAreaGranularity", pid, tid};
    call.trace("target_device", device, "target_renderPass", renderPass, "pGranularity_ptr",
               pGranularity.address);
    auto* data = call.lock(device);
    if (!data || !vk_to_host(call, data, &renderPass))
        return;
    VkExtent2D granularity{};
    call.host<&vk::vkGetRenderAreaGranularity>(data->device, renderPass, &granularity);
    call.write(pGranularity.address, granularity);
}
