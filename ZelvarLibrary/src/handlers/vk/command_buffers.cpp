// Command pools, and command buffers as objects.

#include "handlers/vk/plain_objects.h"
#include "handlers/vk/queue_handlers.h"

#include <vector>

using vk = sidechannel_vk_imports;

namespace {
/// Nothing is recorded any more, nor may be.
void start_afresh(vk_device_record* data, vk_command_state& state)
{
    vk_command_state fresh;
    fresh.target_pool = state.target_pool;
    fresh.secondary = state.secondary;
    fresh.used = std::move(state.used);
    fresh.used.clear();
    fresh.serial = ++data->last_serial;
    fresh.stale = true; // until it begins
    state = std::move(fresh);
}

void let_finish(const vk_frame& call, vk_device_record* data, VkCommandBuffer target)
{
    auto state = data->commands.find(target);
    if (state != data->commands.end() && vk_may_run(data, state->second.submission))
        vk_wait_for_device(call, data);
}
void let_pool_finish(const vk_frame& call, vk_device_record* data, VkCommandPool pool)
{
    for (const auto& [target, state] : data->commands)
        if (state.target_pool == pool)
            let_finish(call, data, target);
}

/// The subpass that a secondary command buffer goes on with. Sees the target's handles.
vk_pass_state pass_to_continue(vk_handler& call, vk_device_record* data,
                               const VkCommandBufferInheritanceInfo& info)
{
    auto* pass = vk_known(data, info.renderPass);
    if (!pass)
        return {};
    if (info.subpass >= pass->subpass_count)
        call.refuse("the render pass has no such subpass");
    return {pass->subpasses, info.subpass, pass->subpass_count};
}
} // namespace

void vk_vkCreateCommandPool(pid_t pid, tid_t tid, VkDevice device,
                            vk_struct<VkCommandPoolCreateInfo> pCreateInfo,
                            vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkCommandPool> pCommandPool,
                            result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateCommandPool", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pCommandPool_ptr", pCommandPool.address);
    vk_create<&vk::vkCreateCommandPool, &vk::vkDestroyCommandPool>(call, call.lock(device), pCreateInfo,
                                                                   pCommandPool);
}

void vk_vkDestroyCommandPool(pid_t pid, tid_t tid, VkDevice device, VkCommandPool commandPool,
                             vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyCommandPool", pid, tid};
    call.trace("target_device", device, "target_commandPool", commandPool, "pAllocator_ptr",
               pAllocator.address);
    auto* data = call.lock(device);
    if (!data)
        return;
    let_pool_finish(call, data, commandPool);
    if (commandPool)
        zelvar_object_manager_vk_delete_command_buffers_of_pool(pid, device, commandPool);
    std::erase_if(data->commands,
                  [commandPool](const auto& entry) { return entry.second.target_pool == commandPool; });
    vk_destroy<&vk::vkDestroyCommandPool>(call, data, commandPool);
}

void vk_vkResetCommandPool(pid_t pid, tid_t tid, VkDevice device, VkCommandPool commandPool,
                           VkCommandPoolResetFlags flags, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkResetCommandPool", pid, tid, target_result};
    call.trace("target_device", device, "target_commandPool", commandPool, "flags", flags);
    auto* data = call.lock(device);
    VkCommandPool host = commandPool;
    if (!data || !vk_to_host(call, data, &host))
        return;
    let_pool_finish(call, data, commandPool);
    call.result = call.host<&vk::vkResetCommandPool>(data->device, host, flags);
    for (auto& [target, state] : data->commands)
        if (state.target_pool == commandPool)
            start_afresh(data, state);
}

void vk_vkAllocateCommandBuffers(
    pid_t pid, tid_t tid, VkDevice device, vk_struct<VkCommandBufferAllocateInfo> pAllocateInfo,
    vk_out_array_by<VkCommandBuffer, 1, &VkCommandBufferAllocateInfo::commandBufferCount> pCommandBuffers,
    result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkAllocateCommandBuffers", pid, tid, target_result};
    call.trace("target_device", device, "pAllocateInfo_ptr", pAllocateInfo.address, "pCommandBuffers_ptr",
               pCommandBuffers.address);
    auto* data = call.lock(device);
    const uint32_t count = pCommandBuffers.count;
    if (!data || !pAllocateInfo || count == 0)
        return;
    pAllocateInfo->commandBufferCount = count;
    const VkCommandPool target_pool = pAllocateInfo->commandPool;
    const bool secondary = pAllocateInfo->level == VK_COMMAND_BUFFER_LEVEL_SECONDARY;
    if (!secondary && pAllocateInfo->level != VK_COMMAND_BUFFER_LEVEL_PRIMARY)
        call.refuse("there is no such level");
    call.prepare(data, pAllocateInfo, "pAllocateInfo");
    std::vector<VkCommandBuffer> hosts(count, VK_NULL_HANDLE);
    call.result = call.host<&vk::vkAllocateCommandBuffers>(data->device, pAllocateInfo.data, hosts.data());
    if (call.result == VK_SUCCESS)
        zelvar_object_manager_vk_add_command_buffers(pid, device, pCommandBuffers.data, hosts.data(), count,
                                                     target_pool);
    for (uint32_t i = 0; call.result == VK_SUCCESS && i < count; ++i) {
        vk_command_state& state = data->commands[pCommandBuffers.data[i]];
        state = {};
        state.target_pool = target_pool;
        state.secondary = secondary;
        state.serial = ++data->last_serial;
        // Some hosts keep what they are told before it begins, as a part of the recording.
        state.stale = true;
    }
}

void vk_vkFreeCommandBuffers(pid_t pid, tid_t tid, VkDevice device, VkCommandPool commandPool,
                             uint32_t commandBufferCount, vk_array<VkCommandBuffer, 2> pCommandBuffers)
{
    vk_void_handler call{"vk_vkFreeCommandBuffers", pid, tid};
    call.trace("target_device", device, "target_commandPool", commandPool, "commandBufferCount",
               commandBufferCount, "pCommandBuffers_ptr", pCommandBuffers.address);
    auto* data = call.lock(device);
    const VkCommandPool target_pool = commandPool;
    if (!data || !vk_to_host(call, data, &commandPool))
        return;
    std::set<VkCommandBuffer> each{pCommandBuffers.data, pCommandBuffers.data + pCommandBuffers.count};
    each.erase(VK_NULL_HANDLE); // is allowed
    for (VkCommandBuffer target : each)
        if (auto state = data->commands.find(target);
            state != data->commands.end() && state->second.target_pool != target_pool)
            return call.refuse("a command buffer is of another pool");
    const std::vector<VkCommandBuffer> targets{each.begin(), each.end()};
    const auto count = static_cast<uint32_t>(targets.size());
    std::vector<VkCommandBuffer> hosts = targets;
    if (count == 0 || !vk_command_buffers_to_host(call, hosts.data(), count))
        return;
    for (VkCommandBuffer target : targets)
        let_finish(call, data, target);
    call.host<&vk::vkFreeCommandBuffers>(data->device, commandPool, count, hosts.data());
    zelvar_object_manager_vk_delete_command_buffers(pid, targets.data(), count);
    for (VkCommandBuffer target : targets)
        data->commands.erase(target);
}

void vk_vkBeginCommandBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                             vk_struct<VkCommandBufferBeginInfo> pBeginInfo,
                             result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkBeginCommandBuffer", pid, tid, target_result};
    call.trace("target_command_buffer", commandBuffer, "pBeginInfo_ptr", pBeginInfo.address);
    VkCommandBuffer host = VK_NULL_HANDLE;
    auto* data = call.lock_command_buffer(commandBuffer, &host);
    if (!data || !pBeginInfo)
        return;
    let_finish(call, data, commandBuffer);
    auto state = data->commands.find(commandBuffer);
    if (state != data->commands.end()) {
        start_afresh(data, state->second);
        const auto* inherited = pBeginInfo->pInheritanceInfo;
        if (state->second.secondary && !inherited)
            call.refuse("a secondary command buffer inherits");
        if (state->second.secondary && inherited &&
            (pBeginInfo->flags & VK_COMMAND_BUFFER_USAGE_RENDER_PASS_CONTINUE_BIT)) {
            state->second.continues_pass = true;
            state->second.pass = pass_to_continue(call, data, *inherited);
        }
    }
    call.prepare(data, pBeginInfo, "pBeginInfo");
    call.result = call.host<&vk::vkBeginCommandBuffer>(host, pBeginInfo.data);
    // The host still has what was recorded before, of which nothing is known any more.
    if (state != data->commands.end())
        state->second.stale = call.result != VK_SUCCESS;
}

void vk_vkEndCommandBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                           result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkEndCommandBuffer", pid, tid, target_result};
    call.trace("target_command_buffer", commandBuffer);
    VkCommandBuffer host = VK_NULL_HANDLE;
    if (call.lock_command_buffer(commandBuffer, &host))
        call.result = call.host<&vk::vkEndCommandBuffer>(host);
}

void vk_vkResetCommandBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                             VkCommandBufferResetFlags flags, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkResetCommandBuffer", pid, tid, target_result};
    call.trace("target_command_buffer", commandBuffer, "flags", flags);
    VkCommandBuffer host = VK_NULL_HANDLE;
    auto* data = call.lock_command_buffer(commandBuffer, &host);
    if (!data)
        return;
    let_finish(call, data, commandBuffer);
    call.result = call.host<&vk::vkResetCommandBuffer>(host, flags);
    if (auto state = data->commands.find(commandBuffer); state != data->commands.end())
        start_afresh(data, state->second);
}
