// Samplers and descriptors.

#include "handlers/vk/object_handlers.h"
#include "handlers/vk/plain_objects.h"

#include <vector>

using vk = sidechannel_vk_imports;

namespace {
void let_sets_finish(const vk_frame& call, vk_device_record* data, VkDescriptorPool target_pool)
{
    for (const auto& [target, set] : data->descriptor_set)
        if (set.target_pool == target_pool)
            vk_let_finish(call, data, set);
}

/// The sets of a pool end with the pool's contents.
void forget_sets_of_pool(vk_device_record* data, VkDescriptorPool target_pool)
{
    std::erase_if(data->descriptor_set, [data, target_pool](const auto& set) {
        const bool ends = set.second.target_pool == target_pool;
        if (ends)
            vk_registry::note_end(data, set.second.serial);
        return ends;
    });
}
} // namespace

void vk_vkCreateSampler(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkSamplerCreateInfo> pCreateInfo,
                        vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkSampler> pSampler,
                        result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateSampler", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pSampler_ptr", pSampler.address);
    // A driver looks these up even where they mean nothing.
    if (pCreateInfo && !pCreateInfo->compareEnable)
        pCreateInfo->compareOp = VK_COMPARE_OP_NEVER;
    if (pCreateInfo && !vk_clamps_to_border(*pCreateInfo.data))
        pCreateInfo->borderColor = VK_BORDER_COLOR_FLOAT_TRANSPARENT_BLACK;
    vk_create<&vk::vkCreateSampler, &vk::vkDestroySampler>(call, call.lock(device), pCreateInfo, pSampler);
}

void vk_vkDestroySampler(pid_t pid, tid_t tid, VkDevice device, VkSampler sampler,
                         vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroySampler", pid, tid};
    call.trace("target_device", device, "target_sampler", sampler, "pAllocator_ptr", pAllocator.address);
    vk_destroy<&vk::vkDestroySampler>(call, call.lock(device), sampler);
}

void vk_vkCreateDescriptorSetLayout(pid_t pid, tid_t tid, VkDevice device,
                                    vk_struct<VkDescriptorSetLayoutCreateInfo> pCreateInfo,
                                    vk_struct<VkAllocationCallbacks> pAllocator,
                                    vk_out<VkDescriptorSetLayout> pSetLayout,
                                    result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateDescriptorSetLayout", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pSetLayout_ptr", pSetLayout.address);
    vk_create<&vk::vkCreateDescriptorSetLayout, &vk::vkDestroyDescriptorSetLayout>(call, call.lock(device),
                                                                                   pCreateInfo, pSetLayout);
}

void vk_vkDestroyDescriptorSetLayout(pid_t pid, tid_t tid, VkDevice device,
                                     VkDescriptorSetLayout descriptorSetLayout,
                                     vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyDescriptorSetLayout", pid, tid};
    call.trace("target_device", device, "target_descriptorSetLayout", descriptorSetLayout, "pAllocator_ptr",
               pAllocator.address);
    vk_destroy<&vk::vkDestroyDescriptorSetLayout>(call, call.lock(device), descriptorSetLayout);
}

void vk_vkCreateDescriptorPool(pid_t pid, tid_t tid, VkDevice device,
                               vk_struct<VkDescriptorPoolCreateInfo> pCreateInfo,
                               vk_struct<VkAllocationCallbacks> pAllocator,
                               vk_out<VkDescriptorPool> pDescriptorPool, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateDescriptorPool", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pDescriptorPool_ptr", pDescriptorPool.address);
    vk_create<&vk::vkCreateDescriptorPool, &vk::vkDestroyDescriptorPool>(call, call.lock(device), pCreateInfo,
                                                                         pDescriptorPool);
}

void vk_vkDestroyDescriptorPool(pid_t pid, tid_t tid, VkDevice device, VkDescriptorPool descriptorPool,
                                vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyDescriptorPool", pid, tid};
    call.trace("target_device", device, "target_descriptorPool", descriptorPool, "pAllocator_ptr",
               pAllocator.address);
    auto* data = call.lock(device);
    if (!data)
        return;
    let_sets_finish(call, data, descriptorPool);
    if (descriptorPool)
        forget_sets_of_pool(data, descriptorPool);
    vk_destroy<&vk::vkDestroyDescriptorPool>(call, data, descriptorPool);
}

void vk_vkResetDescriptorPool(pid_t pid, tid_t tid, VkDevice device, VkDescriptorPool descriptorPool,
                              VkDescriptorPoolResetFlags flags, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkResetDescriptorPool", pid, tid, target_result};
    call.trace("target_device", device, "target_descriptorPool", descriptorPool, "flags", flags);
    auto* data = call.lock(device);
    VkDescriptorPool host = descriptorPool;
    if (!data || !vk_to_host(call, data, &host))
        return;
    let_sets_finish(call, data, descriptorPool);
    call.result = call.host<&vk::vkResetDescriptorPool>(data->device, host, flags);
    if (call.result == VK_SUCCESS)
        forget_sets_of_pool(data, descriptorPool);
}

namespace {
bool takes_sampler(const vk_binding& binding)
{
    return !binding.own_samplers && (binding.type == VK_DESCRIPTOR_TYPE_SAMPLER ||
                                     binding.type == VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER);
}
void expect_contents(vk_descriptor_set_data& set)
{
    size_t all = 0;
    set.samplers_missing = 0;
    set.offsets_taken = 0;
    if (set.bindings)
        for (const auto& [number, binding] : *set.bindings) {
            all += binding.count;
            set.samplers_missing += takes_sampler(binding) ? binding.count : 0;
            set.offsets_taken += vk_takes_offset(binding.type) ? binding.count : 0;
        }
    set.written.assign(all, false);
    if (set.offsets_taken)
        set.most_offsets.assign(all, UINT64_MAX);
}

/// Descriptors of a set from one on, by their numbers in the whole set.
size_t number_of(const vk_descriptor_set_data& set, uint32_t binding, uint32_t element)
{
    size_t number = element;
    for (const auto& [at, each] : *set.bindings)
        number += at < binding ? each.count : 0;
    return number;
}
void note_written(vk_descriptor_set_data& set, size_t number)
{
    if (number >= set.written.size() || set.written[number])
        return;
    set.written[number] = true;
    size_t end = 0;
    for (const auto& [at, each] : *set.bindings) {
        end += each.count;
        if (number < end) {
            set.samplers_missing -= takes_sampler(each);
            return;
        }
    }
}
/// What the descriptor will show, with the target's handles.
vk_descriptor shown_by(vk_device_record* data, const VkWriteDescriptorSet& write, uint32_t i)
{
    vk_descriptor all;
    auto hold_buffer = [&](VkBuffer target) {
        auto* buffer = vk_known(data, target);
        all.of = vk_hold_on(buffer);
        all.memory = vk_hold_on(buffer ? vk_known(data, buffer->target_memory) : nullptr);
    };
    if (vk_wire::writes_buffers(write, {})) {
        hold_buffer(write.pBufferInfo[i].buffer);
    } else if (vk_wire::writes_texel_buffers(write, {})) {
        auto* view = vk_known(data, VkBufferView{write.pTexelBufferView[i]});
        all.object = vk_hold_on(view);
        hold_buffer(view ? view->target_buffer : VK_NULL_HANDLE);
    } else {
        const VkDescriptorImageInfo info = write.pImageInfo[i];
        auto* view = vk_known(data, info.imageView);
        auto* image = view ? vk_known(data, view->target_image) : nullptr;
        all.object = vk_hold_on(view);
        all.of = vk_hold_on(image);
        all.memory = vk_hold_on(image ? vk_known(data, image->target_memory) : nullptr);
        all.sampler = vk_hold_on(vk_known(data, info.sampler));
    }
    return all;
}
void show(vk_descriptor_set_data& set, size_t number, vk_descriptor shown)
{
    if (number >= set.written.size())
        return;
    if (number >= set.descriptors.size())
        set.descriptors.resize(number + 1);
    set.descriptors[number] = std::move(shown);
}
void note_writes(vk_device_record* data, const VkWriteDescriptorSet& write)
{
    auto found = data->descriptor_set.find(write.dstSet);
    if (found == data->descriptor_set.end() || !found->second.bindings)
        return;
    const size_t first = number_of(found->second, write.dstBinding, write.dstArrayElement);
    for (uint32_t i = 0; i < write.descriptorCount; ++i) {
        note_written(found->second, first + i);
        show(found->second, first + i, shown_by(data, write, i));
    }
}
void note_copies(vk_device_record* data, const VkCopyDescriptorSet& copy)
{
    auto from = data->descriptor_set.find(copy.srcSet);
    auto to = data->descriptor_set.find(copy.dstSet);
    if (from == data->descriptor_set.end() || to == data->descriptor_set.end() || !from->second.bindings ||
        !to->second.bindings)
        return;
    const size_t source = number_of(from->second, copy.srcBinding, copy.srcArrayElement);
    const size_t destination = number_of(to->second, copy.dstBinding, copy.dstArrayElement);
    for (uint32_t i = 0; i < copy.descriptorCount; ++i) {
        const size_t at = source + i;
        if (from->second.written.empty() || (at < from->second.written.size() && from->second.written[at]))
            note_written(to->second, destination + i);
        const auto& shown = from->second.descriptors;
        show(to->second, destination + i, at < shown.size() ? shown[at] : vk_descriptor{});
        if (destination + i < to->second.most_offsets.size())
            to->second.most_offsets[destination + i] =
                at < from->second.most_offsets.size() ? from->second.most_offsets[at] : UINT64_MAX;
    }
}
} // namespace

void vk_vkAllocateDescriptorSets(
    pid_t pid, tid_t tid, VkDevice device, vk_struct<VkDescriptorSetAllocateInfo> pAllocateInfo,
    vk_out_array_by<VkDescriptorSet, 1, &VkDescriptorSetAllocateInfo::descriptorSetCount> pDescriptorSets,
    result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkAllocateDescriptorSets", pid, tid, target_result};
    call.trace("target_device", device, "pAllocateInfo_ptr", pAllocateInfo.address, "pDescriptorSets_ptr",
               pDescriptorSets.address);
    auto* data = call.lock(device);
    if (!data || !pAllocateInfo || pDescriptorSets.count == 0)
        return;
    if (pAllocateInfo->descriptorSetCount > pDescriptorSets.count)
        pAllocateInfo->descriptorSetCount = pDescriptorSets.count;
    const uint32_t count = pAllocateInfo->descriptorSetCount;
    vk_entry_of<VkDescriptorSet> entry;
    entry.target_pool = pAllocateInfo->descriptorPool;
    std::vector<vk_bindings> bindings(count);
    for (uint32_t i = 0; pAllocateInfo->pSetLayouts && i < count; ++i)
        if (auto* layout = vk_known(data, pAllocateInfo->pSetLayouts[i]))
            bindings[i] = layout->bindings;
    call.prepare(data, pAllocateInfo, "pAllocateInfo");
    std::vector<VkDescriptorSet> hosts(count, VK_NULL_HANDLE);
    call.result = call.host<&vk::vkAllocateDescriptorSets>(data->device, pAllocateInfo.data, hosts.data());
    for (uint32_t i = 0; call.result == VK_SUCCESS && i < count; ++i) {
        entry.host = hosts[i];
        entry.bindings = bindings[i];
        expect_contents(entry);
        call.add(data, pDescriptorSets.data[i], entry);
    }
}

void vk_vkFreeDescriptorSets(pid_t pid, tid_t tid, VkDevice device, VkDescriptorPool descriptorPool,
                             uint32_t descriptorSetCount, vk_array<VkDescriptorSet, 2> pDescriptorSets,
                             result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkFreeDescriptorSets", pid, tid, target_result};
    call.trace("target_device", device, "target_descriptorPool", descriptorPool, "descriptorSetCount",
               descriptorSetCount, "pDescriptorSets_ptr", pDescriptorSets.address);
    auto* data = call.lock(device);
    if (!data || !vk_to_host(call, data, &descriptorPool))
        return;
    std::vector<VkDescriptorSet> hosts(pDescriptorSets.count, VK_NULL_HANDLE);
    std::set<VkDescriptorSet> freed;
    for (uint32_t i = 0; i < pDescriptorSets.count; ++i) {
        hosts[i] = pDescriptorSets.data[i];
        if (!freed.insert(hosts[i]).second)
            hosts[i] = VK_NULL_HANDLE; // named twice
        if (!vk_to_host(call, data, &hosts[i], vk_null::allowed))
            return;
        if (auto* set = vk_known(data, pDescriptorSets.data[i]))
            vk_let_finish(call, data, *set);
    }
    call.result = call.host<&vk::vkFreeDescriptorSets>(data->device, descriptorPool, pDescriptorSets.count,
                                                       hosts.data());
    for (uint32_t i = 0; call.result == VK_SUCCESS && i < pDescriptorSets.count; ++i) {
        if (pDescriptorSets.data[i])
            vk_registry::remove(data, pDescriptorSets.data[i]);
    }
}

namespace {
/// How far the buffers of a set may be moved when it is bound.
void note_offsets(vk_device_record* data, const VkWriteDescriptorSet& write)
{
    auto found = data->descriptor_set.find(write.dstSet);
    if (found == data->descriptor_set.end() || !found->second.bindings ||
        !vk_takes_offset(write.descriptorType))
        return;
    const size_t first = number_of(found->second, write.dstBinding, write.dstArrayElement);
    auto& offsets = found->second.most_offsets;
    for (uint32_t i = 0; i < write.descriptorCount && first + i < offsets.size(); ++i) {
        const VkDescriptorBufferInfo info = write.pBufferInfo[i];
        auto* buffer = vk_known(data, info.buffer);
        uint64_t& most = offsets[first + i];
        most = UINT64_MAX;
        if (buffer && buffer->size != UINT64_MAX)
            most = info.range == VK_WHOLE_SIZE || !vk_within(info.offset, info.range, buffer->size)
                       ? 0
                       : buffer->size - info.offset - info.range;
    }
}
} // namespace

void vk_vkUpdateDescriptorSets(pid_t pid, tid_t tid, VkDevice device, uint32_t descriptorWriteCount,
                               vk_array<VkWriteDescriptorSet, 1> pDescriptorWrites,
                               uint32_t descriptorCopyCount,
                               vk_array<VkCopyDescriptorSet, 3> pDescriptorCopies)
{
    vk_void_handler call{"vk_vkUpdateDescriptorSets", pid, tid};
    call.trace("target_device", device, "descriptorWriteCount", descriptorWriteCount, "pDescriptorWrites_ptr",
               pDescriptorWrites.address, "descriptorCopyCount", descriptorCopyCount, "pDescriptorCopies_ptr",
               pDescriptorCopies.address);
    auto* data = call.lock(device);
    if (!data)
        return;
    for (uint32_t i = 0; i < pDescriptorWrites.count; ++i)
        if (!vk_can_write(data, pDescriptorWrites.data[i]))
            call.refuse("a set has no such descriptors, or what is written is missing");
    for (uint32_t i = 0; i < pDescriptorCopies.count; ++i)
        if (!vk_can_copy(data, pDescriptorCopies.data[i]))
            call.refuse("a set has no such descriptors");
    if (!call.refused())
        for (uint32_t i = 0; i < pDescriptorWrites.count; ++i) {
            if (auto* set = vk_known(data, pDescriptorWrites.data[i].dstSet))
                vk_let_finish(call, data, *set);
            note_offsets(data, pDescriptorWrites.data[i]);
            note_writes(data, pDescriptorWrites.data[i]);
        }
    if (!call.refused())
        for (uint32_t i = 0; i < pDescriptorCopies.count; ++i) {
            if (auto* set = vk_known(data, pDescriptorCopies.data[i].dstSet))
                vk_let_finish(call, data, *set);
            note_copies(data, pDescriptorCopies.data[i]);
        }
    call.prepare(data, pDescriptorWrites.data, pDescriptorWrites.count, "pDescriptorWrites[%u]");
    call.prepare(data, pDescriptorCopies.data, pDescriptorCopies.count, "pDescriptorCopies[%u]");
    call.host<&vk::vkUpdateDescriptorSets>(data->device, pDescriptorWrites.count, pDescriptorWrites.data,
                                           pDescriptorCopies.count, pDescriptorCopies.data);
}
