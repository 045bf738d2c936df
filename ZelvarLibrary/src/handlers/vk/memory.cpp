// Device memory: allocating, binding, mapping, and keeping its two copies equal at the calls that say when.
#include "handlers/vk/counted_answer.h"
#include "handlers/vk/mapped_memory.h"
#include "handlers/vk/memory_handlers.h"
#include "handlers/vk/plain_objects.h"
#include "pixels/astc_formats.h"

#include <algorithm>

using vk = sidechannel_vk_imports;

namespace {
/// The host has allocated; now the target's driver does, with its own index of a like type. The handle is the
/// target's word, null when it failed.
VkDeviceMemory allocate_on_target(const vk_handler& call, VkDevice device, uint32_t host_index,
                                  const vk_struct<VkMemoryAllocateInfo>& info,
                                  const vk_struct<VkAllocationCallbacks>& allocator, target_ptr memory)
{
    const int index = zelvar_object_manager_vk_get_memory_index_mapping(call.pid, device, host_index);
    uint64_t handle = 0;
    unsigned result = 0;
    zelvar_shim_dispatch_vkAllocateMemory(call.pid, call.tid, reinterpret_cast<uint64_t>(device),
                                          info.address.address, allocator.address.address, memory.address,
                                          static_cast<uint32_t>(index), &handle, &result);
    if (result == 0)
        return reinterpret_cast<VkDeviceMemory>(handle);
    LOG_ERROR("Target executes vkAllocateMemory() returns %d", static_cast<int>(result));
    return VK_NULL_HANDLE;
}
} // namespace

void vk_vkAllocateMemory(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkMemoryAllocateInfo> pAllocateInfo,
                         vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkDeviceMemory> pMemory,
                         result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkAllocateMemory", pid, tid, target_result};
    call.trace("target_device", device, "pAllocateInfo_ptr", pAllocateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pMemory_ptr", pMemory.address);
    auto* data = call.lock(device);
    // The host's driver looks the type up without a check.
    if (!data || !pAllocateInfo || pAllocateInfo->memoryTypeIndex >= data->memory_properties.memoryTypeCount)
        return;
    call.prepare(data, pAllocateInfo, "pAllocateInfo");
    vk_entry_of<VkDeviceMemory> entry;
    entry.size = pAllocateInfo->allocationSize;
    call.result = call.host<&vk::vkAllocateMemory>(data->device, pAllocateInfo.data, nullptr, &entry.host);
    if (call.result != VK_SUCCESS)
        return;
    VkDeviceMemory target = pMemory.handle;
    if (zelvar_call_on_target())
        target = allocate_on_target(call, device, pAllocateInfo->memoryTypeIndex, pAllocateInfo, pAllocator,
                                    pMemory.address);
    const bool refused_by_target = !target && zelvar_call_on_target();
    if (refused_by_target || !call.add(data, target, entry)) {
        call.host<&vk::vkFreeMemory>(data->device, entry.host, nullptr);
        return;
    }
    if (data->memory_properties.memoryTypes[pAllocateInfo->memoryTypeIndex].propertyFlags &
        VK_MEMORY_PROPERTY_HOST_COHERENT_BIT)
        data->coherent_memory.insert(target);
}

namespace {
/// What was bound to freed memory forgets it.
void unbind(const vk_void_handler& call, vk_device_record* data, const vk_memory_data& memory)
{
    if (memory.target_buffer) {
        auto* buffer = call.find(data, memory.target_buffer);
        if (!buffer)
            return;
        buffer->target_memory = VK_NULL_HANDLE;
        buffer->changed = false;
    }
    if (memory.target_image)
        if (auto* image = call.find(data, memory.target_image))
            image->target_memory = VK_NULL_HANDLE;
}
} // namespace

void vk_vkFreeMemory(pid_t pid, tid_t tid, VkDevice device, VkDeviceMemory memory,
                     vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkFreeMemory", pid, tid};
    call.trace("target_device", device, "target_memory", memory, "pAllocator_ptr", pAllocator.address);
    auto* data = call.lock(device);
    auto* entry = data && memory ? call.find(data, memory) : nullptr;
    if (!entry)
        return;
    vk_let_finish(call, data, *entry);
    vk_end<&vk::vkFreeMemory>(call, data, *entry, entry->host);
    if (entry->replaced)
        vk_end<&vk::vkFreeMemory>(call, data, *entry, entry->replaced);
    unbind(call, data, *entry);
    data->coherent_memory.erase(memory);
    vk_registry::remove(data, memory);
}

void vk_vkMapMemory(pid_t pid, tid_t tid, VkDevice device, VkDeviceMemory memory, VkDeviceSize offset,
                    VkDeviceSize size, VkMemoryMapFlags flags, vk_struct<uint64_t> ppData,
                    result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkMapMemory", pid, tid, target_result, VK_ERROR_MEMORY_MAP_FAILED};
    call.trace("target_device", device, "target_memory", memory, "offset", offset, "size", size, "flags",
               flags, "ppData_ptr", ppData.address);
    auto* data = call.lock(device);
    auto* entry = data ? call.find(data, memory) : nullptr;
    if (!entry || !ppData)
        return;
    // More than there is can't be copied.
    if (offset > entry->size || (size != VK_WHOLE_SIZE && size > entry->size - offset))
        return;
    void* mapped = nullptr;
    call.result = call.host<&vk::vkMapMemory>(data->device, entry->host, offset, size, flags, &mapped);
    if (call.result != VK_SUCCESS)
        return;
    std::memcpy(&entry->target_address.address, ppData.data, sizeof(uint64_t));
    entry->host_pointer = static_cast<uint8_t*>(mapped);
    entry->map_offset = offset;
    entry->map_size = size == VK_WHOLE_SIZE ? entry->size - offset : size;
    entry->contents = vk_contents::as_on_target;
    vk_write_mapping(call, *entry, offset, entry->map_size);
}

namespace {
/// The target has written to mapped memory: blocks become texels, and copies from the buffer will look.
/// False, with a line, when what is bound isn't known.
template <class Call>
bool note_target_writes(const Call& call, vk_device_record* data, const vk_memory_data& memory)
{
    if (memory.target_image) {
        auto* image = call.find(data, memory.target_image);
        if (!image)
            return false;
        if (memory.host_pointer && is_astc_format(image->create_info.format))
            vk_decode_astc(image->create_info, memory.host_pointer, memory.map_size, memory.host_pointer,
                           memory.map_size);
    }
    if (memory.target_buffer) {
        auto* buffer = call.find(data, memory.target_buffer);
        if (!buffer)
            return false;
        buffer->changed = true;
    }
    return true;
}
} // namespace

void vk_vkUnmapMemory(pid_t pid, tid_t tid, VkDevice device, VkDeviceMemory memory)
{
    vk_void_handler call{"vk_vkUnmapMemory", pid, tid};
    call.trace("target_device", device, "target_memory", memory);
    auto* data = call.lock(device);
    auto* entry = data ? call.find(data, memory) : nullptr;
    if (!entry)
        return;
    if (entry->contents != vk_contents::decoded) {
        // What the target has written last.
        vk_read_mapping(call, *entry, entry->map_offset, static_cast<uint32_t>(entry->map_size));
        if (entry->host_pointer)
            note_target_writes(call, data, *entry);
        entry->contents = vk_contents::as_on_target;
    }
    call.host<&vk::vkUnmapMemory>(data->device, entry->host);
    entry->target_address = {};
    entry->host_pointer = nullptr;
    entry->map_offset = 0;
    entry->map_size = 0;
}

namespace {
/// A range of the target's, and where it lies.
struct mapped_range
{
    vk_entry_of<VkDeviceMemory>* memory;
    uint64_t offset;
    uint64_t size; // in bytes, never VK_WHOLE_SIZE
};

/// The target's ranges as the host's. `visit` sees each; the walk ends, with false, when that gives false or
/// a memory isn't known.
template <class Visit>
bool host_ranges(vk_device_record* data, const vk_array<VkMappedMemoryRange, 1>& ranges,
                 std::vector<VkMappedMemoryRange>& found, Visit visit)
{
    found.reserve(ranges.count);
    for (uint32_t i = 0; i < ranges.count; ++i) {
        VkMappedMemoryRange range = ranges.data[i];
        auto entry = data->device_memory.find(range.memory);
        if (entry == data->device_memory.end()) {
            LOG_ERROR("Can't find mapping for target memory [%p], data desync ahead.",
                      static_cast<void*>(range.memory));
            return false;
        }
        uint64_t size = range.size;
        if (size == VK_WHOLE_SIZE)
            size = entry->second.size - std::min(range.offset, entry->second.size);
        range.pNext = nullptr;
        range.memory = entry->second.host;
        found.push_back(range);
        if (!visit(mapped_range{&entry->second, range.offset, size}))
            return false;
    }
    return true;
}
} // namespace

void vk_vkFlushMappedMemoryRanges(pid_t pid, tid_t tid, VkDevice device, uint32_t memoryRangeCount,
                                  vk_array<VkMappedMemoryRange, 1> pMemoryRanges,
                                  result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkFlushMappedMemoryRanges", pid, tid, target_result};
    call.trace("target_device", device, "memoryRangeCount", memoryRangeCount, "pMemoryRanges_ptr",
               pMemoryRanges.address);
    auto* data = call.lock(device);
    if (!data)
        return;
    std::vector<VkMappedMemoryRange> ranges;
    auto read = [&](const mapped_range& range) {
        vk_read_mapping(call, *range.memory, range.offset, range.size);
        range.memory->contents = vk_contents::as_on_target;
        return note_target_writes(call, data, *range.memory);
    };
    if (host_ranges(data, pMemoryRanges, ranges, read))
        call.result = call.host<&vk::vkFlushMappedMemoryRanges>(
            data->device, static_cast<uint32_t>(ranges.size()), ranges.data());
}

void vk_vkInvalidateMappedMemoryRanges(pid_t pid, tid_t tid, VkDevice device, uint32_t memoryRangeCount,
                                       vk_array<VkMappedMemoryRange, 1> pMemoryRanges,
                                       result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkInvalidateMappedMemoryRanges", pid, tid, target_result};
    call.trace("target_device", device, "memoryRangeCount", memoryRangeCount, "pMemoryRanges_ptr",
               pMemoryRanges.address);
    auto* data = call.lock(device);
    if (!data)
        return;
    std::vector<VkMappedMemoryRange> ranges;
    std::vector<mapped_range> parts;
    auto keep = [&](const mapped_range& range) {
        parts.push_back(range);
        return true;
    };
    if (!host_ranges(data, pMemoryRanges, ranges, keep))
        return;
    call.result = call.host<&vk::vkInvalidateMappedMemoryRanges>(
        data->device, static_cast<uint32_t>(ranges.size()), ranges.data());
    for (const mapped_range& part : parts)
        vk_write_mapping(call, *part.memory, part.offset, part.size);
}

void vk_vkGetDeviceMemoryCommitment(pid_t pid, tid_t tid, VkDevice device, VkDeviceMemory memory,
                                    vk_struct<VkDeviceSize> pCommittedMemoryInBytes)
{
    vk_void_handler call{"vk_vkGetDeviceMemoryCommitment", pid, tid};
    call.trace("target_device", device, "target_memory", memory, "pCommittedMemoryInBytes_ptr",
               pCommittedMemoryInBytes.address);
    auto* data = call.lock(device);
    auto* entry = data ? call.find(data, memory) : nullptr;
    if (!entry)
        return;
    VkDeviceSize committed = 0;
    call.host<&vk::vkGetDeviceMemoryCommitment>(data->device, entry->host, &committed);
    call.write(pCommittedMemoryInBytes.address, committed);
}

namespace {
/// Both of one shape: bind on the host, then each remembers the other.
template <auto Bind, auto Ask, auto BoundTo, class Handle>
void bind(vk_handler& call, VkDevice device, Handle object, VkDeviceMemory memory, VkDeviceSize offset)
{
    auto* data = call.lock(device);
    auto* object_entry = data ? call.find(data, object) : nullptr;
    auto* memory_entry = object_entry ? call.find(data, memory) : nullptr;
    if (!memory_entry)
        return;
    VkMemoryRequirements needed{};
    call.host<Ask>(data->device, object_entry->host, &needed);
    if (offset > memory_entry->size || needed.size > memory_entry->size - offset)
        return call.refuse("the memory doesn't hold the object");
    call.result = call.host<Bind>(data->device, object_entry->host, memory_entry->host, offset);
    if (call.result != VK_SUCCESS)
        return;
    object_entry->target_memory = memory;
    object_entry->memory_serial = memory_entry->serial;
    memory_entry->*BoundTo = object;
}

/// What both drivers need. The target's own answer stands in `out` while it runs calls itself.
template <auto Ask, class Handle>
void get_requirements(vk_void_handler& call, VkDevice device, Handle object,
                      const vk_struct<VkMemoryRequirements>& out)
{
    auto* data = call.lock(device);
    auto* entry = data ? call.find(data, object) : nullptr;
    if (!entry)
        return;
    VkMemoryRequirements requirements{};
    call.host<Ask>(data->device, entry->host, &requirements);
    if (zelvar_call_on_target() && out) {
        requirements.size = std::max(requirements.size, VkDeviceSize{out->size});
        requirements.alignment = std::max(requirements.alignment, VkDeviceSize{out->alignment});
        VkMemoryRequirements last = requirements;
        last.memoryTypeBits = out->memoryTypeBits;
        zelvar_object_manager_vk_record_last_mem_req(call.pid, device, last);
    }
    call.write_force(out.address, requirements);
}
} // namespace

void vk_vkBindBufferMemory(pid_t pid, tid_t tid, VkDevice device, VkBuffer buffer, VkDeviceMemory memory,
                           VkDeviceSize memoryOffset, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkBindBufferMemory", pid, tid, target_result};
    call.trace("target_device", device, "target_buffer", buffer, "target_memory", memory, "memoryOffset",
               memoryOffset);
    bind<&vk::vkBindBufferMemory, &vk::vkGetBufferMemoryRequirements, &vk_memory_data::target_buffer>(
        call, device, buffer, memory, memoryOffset);
}

void vk_vkBindImageMemory(pid_t pid, tid_t tid, VkDevice device, VkImage image, VkDeviceMemory memory,
                          VkDeviceSize memoryOffset, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkBindImageMemory", pid, tid, target_result};
    call.trace("target_device", device, "target_image", image, "target_memory", memory, "memoryOffset",
               memoryOffset);
    bind<&vk::vkBindImageMemory, &vk::vkGetImageMemoryRequirements, &vk_memory_data::target_image>(
        call, device, image, memory, memoryOffset);
}

void vk_vkGetBufferMemoryRequirements(pid_t pid, tid_t tid, VkDevice device, VkBuffer buffer,
                                      vk_struct<VkMemoryRequirements> pMemoryRequirements)
{
    vk_void_handler call{"vk_vkGetBufferMemoryRequirements", pid, tid};
    call.trace("target_device", device, "target_buffer", buffer, "pMemoryRequirements_ptr",
               pMemoryRequirements.address);
    get_requirements<&vk::vkGetBufferMemoryRequirements>(call, device, buffer, pMemoryRequirements);
}

void vk_vkGetImageMemoryRequirements(pid_t pid, tid_t tid, VkDevice device, VkImage image,
                                     vk_struct<VkMemoryRequirements> pMemoryRequirements)
{
    vk_void_handler call{"vk_vkGetImageMemoryRequirements", pid, tid};
    call.trace("target_device", device, "target_image", image, "pMemoryRequirements_ptr",
               pMemoryRequirements.address);
    get_requirements<&vk::vkGetImageMemoryRequirements>(call, device, image, pMemoryRequirements);
}

void vk_vkGetImageSparseMemoryRequirements(
    pid_t pid, tid_t tid, VkDevice device, VkImage image, vk_struct<uint32_t> pSparseMemoryRequirementCount,
    vk_array<VkSparseImageMemoryRequirements, 2> pSparseMemoryRequirements)
{
    vk_void_handler call{"vk_vkGetImageSparseMemoryRequirements", pid, tid};
    call.trace("target_device", device, "target_image", image, "pSparseMemoryRequirementCount_ptr",
               pSparseMemoryRequirementCount.address, "pSparseMemoryRequirements_ptr",
               pSparseMemoryRequirements.address);
    auto* data = call.lock(device);
    auto* entry = data ? call.find(data, image) : nullptr;
    if (!entry)
        return;
    std::vector<VkSparseImageMemoryRequirements> found;
    vk_ask_for_list(
        [&](uint32_t* count, VkSparseImageMemoryRequirements* list) {
            call.host<&vk::vkGetImageSparseMemoryRequirements>(data->device, entry->host, count, list);
        },
        found);
    vk_answer_list(call, found, pSparseMemoryRequirementCount, pSparseMemoryRequirements);
}
