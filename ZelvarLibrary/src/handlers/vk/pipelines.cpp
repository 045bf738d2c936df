// Shader modules, pipelines, their layouts and caches.

#include "handlers/vk/object_handlers.h"
#include "handlers/vk/plain_objects.h"
#include "pixels/astc_formats.h"

#include <memory>
#include <new>
#include <vector>

using vk = sidechannel_vk_imports;

void vk_vkCreateShaderModule(pid_t pid, tid_t tid, VkDevice device,
                             vk_struct<VkShaderModuleCreateInfo> pCreateInfo,
                             vk_struct<VkAllocationCallbacks> pAllocator,
                             vk_out<VkShaderModule> pShaderModule, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateShaderModule", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pShaderModule_ptr", pShaderModule.address);
    vk_create<&vk::vkCreateShaderModule, &vk::vkDestroyShaderModule>(call, call.lock(device), pCreateInfo,
                                                                     pShaderModule);
}

void vk_vkDestroyShaderModule(pid_t pid, tid_t tid, VkDevice device, VkShaderModule shaderModule,
                              vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyShaderModule", pid, tid};
    call.trace("target_device", device, "target_shaderModule", shaderModule, "pAllocator_ptr",
               pAllocator.address);
    vk_destroy<&vk::vkDestroyShaderModule>(call, call.lock(device), shaderModule);
}

void vk_vkCreatePipelineLayout(pid_t pid, tid_t tid, VkDevice device,
                               vk_struct<VkPipelineLayoutCreateInfo> pCreateInfo,
                               vk_struct<VkAllocationCallbacks> pAllocator,
                               vk_out<VkPipelineLayout> pPipelineLayout, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreatePipelineLayout", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pPipelineLayout_ptr", pPipelineLayout.address);
    vk_create<&vk::vkCreatePipelineLayout, &vk::vkDestroyPipelineLayout>(call, call.lock(device), pCreateInfo,
                                                                         pPipelineLayout);
}

void vk_vkDestroyPipelineLayout(pid_t pid, tid_t tid, VkDevice device, VkPipelineLayout pipelineLayout,
                                vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyPipelineLayout", pid, tid};
    call.trace("target_device", device, "target_pipelineLayout", pipelineLayout, "pAllocator_ptr",
               pAllocator.address);
    vk_destroy<&vk::vkDestroyPipelineLayout>(call, call.lock(device), pipelineLayout);
}

void vk_vkCreatePipelineCache(pid_t pid, tid_t tid, VkDevice device,
                              vk_struct<VkPipelineCacheCreateInfo> pCreateInfo,
                              vk_struct<VkAllocationCallbacks> pAllocator,
                              vk_out<VkPipelineCache> pPipelineCache, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreatePipelineCache", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pPipelineCache_ptr", pPipelineCache.address);
    vk_create<&vk::vkCreatePipelineCache, &vk::vkDestroyPipelineCache>(call, call.lock(device), pCreateInfo,
                                                                       pPipelineCache);
}

void vk_vkDestroyPipelineCache(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache pipelineCache,
                               vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyPipelineCache", pid, tid};
    call.trace("target_device", device, "target_pipelineCache", pipelineCache, "pAllocator_ptr",
               pAllocator.address);
    vk_destroy<&vk::vkDestroyPipelineCache>(call, call.lock(device), pipelineCache);
}

void vk_vkGetPipelineCacheData(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache pipelineCache,
                               vk_struct<vk_size> pDataSize, target_ptr pData,
                               result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetPipelineCacheData", pid, tid, target_result};
    call.trace("target_device", device, "target_pipelineCache", pipelineCache, "pDataSize_ptr",
               pDataSize.address, "pData_ptr", pData);
    call.accept(VK_INCOMPLETE);
    auto* data = call.lock(device);
    if (!data || !pDataSize || !vk_to_host(call, data, &pipelineCache))
        return;
    size_t size = 0;
    call.result = call.host<&vk::vkGetPipelineCacheData>(data->device, pipelineCache, &size, nullptr);
    std::unique_ptr<uint8_t[]> bytes;
    if (pData && call.result == VK_SUCCESS) {
        // The host knows how much there is: never take more than that because a target says so.
        size = pDataSize->value < size ? static_cast<size_t>(pDataSize->value) : size;
        bytes.reset(new (std::nothrow) uint8_t[size]());
        call.result = -1;
        if (bytes)
            call.result =
                call.host<&vk::vkGetPipelineCacheData>(data->device, pipelineCache, &size, bytes.get());
    }
    if (call.result != VK_SUCCESS && call.result != VK_INCOMPLETE)
        return;
    if (bytes)
        call.write(pData, bytes.get(), static_cast<uint32_t>(size));
    if (call.wide())
        call.write(pDataSize.address, uint64_t{size});
    else
        call.write(pDataSize.address, static_cast<uint32_t>(size));
}

void vk_vkMergePipelineCaches(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache dstCache,
                              uint32_t srcCacheCount, vk_array<VkPipelineCache, 2> pSrcCaches,
                              result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkMergePipelineCaches", pid, tid, target_result};
    call.trace("target_device", device, "target_dstCache", dstCache, "srcCacheCount", srcCacheCount,
               "pSrcCaches_ptr", pSrcCaches.address);
    auto* data = call.lock(device);
    if (data && vk_to_host(call, data, &dstCache) && vk_all_to_host(call, data, pSrcCaches))
        call.result =
            call.host<&vk::vkMergePipelineCaches>(data->device, dstCache, pSrcCaches.count, pSrcCaches.data);
}

namespace {
void convert_formats(VkGraphicsPipelineCreateInfo* info)
{
    const VkPipelineVertexInputStateCreateInfo* input = info->pVertexInputState;
    if (!input || !input->pVertexAttributeDescriptions)
        return;
    for (uint32_t i = 0; i < input->vertexAttributeDescriptionCount; ++i)
        zelvar_helper_convert_format(const_cast<VkFormat*>(&input->pVertexAttributeDescriptions[i].format));
}

/// The host may make some of the pipelines and none of the others: those that exist are entered.
template <auto Create, class Infos, class Pipelines>
void create_pipelines(vk_handler& call, VkDevice device, VkPipelineCache cache, const Infos& infos,
                      const Pipelines& targets)
{
    auto* data = call.lock(device);
    if (!data || !vk_to_host(call, data, &cache, vk_null::allowed))
        return;
    const uint32_t count = vk_common_count(infos, targets);
    if (count == 0)
        return;
    std::vector<vk_entry_of<VkPipeline>> entries(count);
    for (uint32_t i = 0; i < count; ++i) {
        if (const char* reason = vk_refusal(data, infos.data[i]))
            call.refuse(reason);
        else
            vk_remember(data, entries[i], infos.data[i]);
    }
    call.prepare(data, infos.data, count, "pCreateInfos[%u]");
    std::vector<VkPipeline> hosts(count, VK_NULL_HANDLE);
    call.result = call.host<Create>(data->device, cache, count, infos.data, nullptr, hosts.data());
    int worst = call.result;
    for (uint32_t i = 0; i < count; ++i) {
        entries[i].host = hosts[i];
        call.result = VK_SUCCESS;
        if (hosts[i])
            vk_enter<&vk::vkDestroyPipeline>(call, data, targets.data[i], entries[i]);
        if (worst == VK_SUCCESS)
            worst = call.result;
    }
    call.result = worst;
}
} // namespace

void vk_vkCreateGraphicsPipelines(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache pipelineCache,
                                  uint32_t createInfoCount,
                                  vk_array<VkGraphicsPipelineCreateInfo, 2> pCreateInfos,
                                  vk_struct<VkAllocationCallbacks> pAllocator,
                                  vk_out_array<VkPipeline, 2> pPipelines, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateGraphicsPipelines", pid, tid, target_result};
    call.trace("target_device", device, "target_pipelineCache", pipelineCache, "createInfoCount",
               createInfoCount, "pCreateInfos_ptr", pCreateInfos.address, "pAllocator_ptr",
               pAllocator.address, "pPipelines_ptr", pPipelines.address);
    for (uint32_t i = 0; i < pCreateInfos.count; ++i)
        convert_formats(&pCreateInfos.data[i]);
    create_pipelines<&vk::vkCreateGraphicsPipelines>(call, device, pipelineCache, pCreateInfos, pPipelines);
}

void vk_vkCreateComputePipelines(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache pipelineCache,
                                 uint32_t createInfoCount,
                                 vk_array<VkComputePipelineCreateInfo, 2> pCreateInfos,
                                 vk_struct<VkAllocationCallbacks> pAllocator,
                                 vk_out_array<VkPipeline, 2> pPipelines, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateComputePipelines", pid, tid, target_result};
    call.trace("target_device", device, "target_pipelineCache", pipelineCache, "createInfoCount",
               createInfoCount, "pCreateInfos_ptr", pCreateInfos.address, "pAllocator_ptr",
               pAllocator.address, "pPipelines_ptr", pPipelines.address);
    // There is no other, and a driver looks its own up by it.
    for (uint32_t i = 0; i < pCreateInfos.count; ++i)
        pCreateInfos.data[i].stage.stage = VK_SHADER_STAGE_COMPUTE_BIT;
    create_pipelines<&vk::vkCreateComputePipelines>(call, device, pipelineCache, pCreateInfos, pPipelines);
}

void vk_vkDestroyPipeline(pid_t pid, tid_t tid, VkDevice device, VkPipeline pipeline,
                          vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyPipeline", pid, tid};
    call.trace("target_device", device, "target_pipeline", pipeline, "pAllocator_ptr", pAllocator.address);
    vk_destroy<&vk::vkDestroyPipeline>(call, call.lock(device), pipeline);
}
