// Query pools and their results.

#include "handlers/vk/plain_objects.h"
#include "handlers/vk/queue_handlers.h"

#include <algorithm>
#include <memory>
#include <new>

using vk = sidechannel_vk_imports;

namespace {
/// A query writes 11 counters and its availability at the most, 8 bytes each.
constexpr uint64_t most_bytes_of_query = 12 * 8;
constexpr uint64_t most_bytes_of_results = uint64_t{1} << 28;

/// A block that no host can write beyond, whatever the target tells of its own block; 0 when that is more
/// than any target asks for.
uint64_t result_bytes(uint32_t query_count, VkDeviceSize stride)
{
    uint64_t bytes = 0;
    if (__builtin_mul_overflow(uint64_t{query_count}, uint64_t{stride}, &bytes) ||
        bytes > most_bytes_of_results)
        return 0;
    return bytes + most_bytes_of_query;
}
} // namespace

void vk_vkCreateQueryPool(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkQueryPoolCreateInfo> pCreateInfo,
                          vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkQueryPool> pQueryPool,
                          result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateQueryPool", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pQueryPool_ptr", pQueryPool.address);
    vk_create<&vk::vkCreateQueryPool, &vk::vkDestroyQueryPool>(call, call.lock(device), pCreateInfo,
                                                               pQueryPool);
}

void vk_vkDestroyQueryPool(pid_t pid, tid_t tid, VkDevice device, VkQueryPool queryPool,
                           vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyQueryPool", pid, tid};
    call.trace("target_device", device, "target_queryPool", queryPool, "pAllocator_ptr", pAllocator.address);
    vk_destroy<&vk::vkDestroyQueryPool>(call, call.lock(device), queryPool);
}

void vk_vkGetQueryPoolResults(pid_t pid, tid_t tid, VkDevice device, VkQueryPool queryPool,
                              uint32_t firstQuery, uint32_t queryCount, vk_size dataSize, target_ptr pData,
                              VkDeviceSize stride, VkQueryResultFlags flags,
                              result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetQueryPoolResults", pid, tid, target_result};
    call.trace("target_device", device, "target_queryPool", queryPool, "firstQuery", firstQuery, "queryCount",
               queryCount, "dataSize", dataSize, "pData_ptr", pData, "stride", stride, "flags", flags);
    call.accept(VK_NOT_READY);
    auto* data = call.lock(device);
    const uint64_t bytes = result_bytes(queryCount, stride);
    if (data && !vk_has_queries(data, queryPool, firstQuery, queryCount))
        return call.refuse("the pool has no such queries");
    if (!data || bytes == 0 || !vk_to_host(call, data, &queryPool))
        return;
    std::unique_ptr<uint8_t[]> results{new (std::nothrow) uint8_t[bytes]()};
    if (!results)
        return;
    // What the host leaves alone, results that aren't there yet and gaps, keeps what the target has there.
    const auto given = static_cast<uint32_t>(std::min(bytes, dataSize.value));
    const bool give_back = !zelvar_call_on_target() && pData && given != 0;
    if (give_back)
        zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, given, pData, results.get());
    // Some hosts wait for all that the device does, whatever they are asked.
    if ((flags & VK_QUERY_RESULT_WAIT_BIT) || data->looks_at_all)
        vk_release_queues(call, data);
    call.result = call.host<&vk::vkGetQueryPoolResults>(data->device, queryPool, firstQuery, queryCount,
                                                        bytes, results.get(), stride, flags);
    if (give_back && (call.result == VK_SUCCESS || call.result == VK_NOT_READY))
        call.write(pData, results.get(), given);
}
