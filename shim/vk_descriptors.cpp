// Descriptor sets whose layout has samplers of its own: those that are written with their images are ignored,
// and may be anything. What the library can't map must not get there, so the shim has to know such sets.

#include "shim/vk_entries.h"
#include "shim/vk_objects.h"

#include <iterator>
#include <memory>
#include <mutex>

namespace shim {

namespace in = wire::inbound;

namespace {

using binding_numbers = std::shared_ptr<const std::set<uint32_t>>;

struct known_set
{
    VkDescriptorPool pool;
    binding_numbers bindings; // with samplers of their own
};

// Guarded by sets_lock and never destroyed. Only layouts with samplers of their own, and sets with such
// layouts.
process_lock& sets_lock = *new process_lock;
std::map<VkDescriptorSetLayout, binding_numbers>& layouts =
    *new std::map<VkDescriptorSetLayout, binding_numbers>;
std::map<VkDescriptorSet, known_set>& sets = *new std::map<VkDescriptorSet, known_set>;

bool immutable_samplers_at(VkDescriptorSet set, uint32_t binding)
{
    const std::lock_guard<process_lock> guard{sets_lock};
    const auto found = sets.find(set);
    return found != sets.end() && found->second.bindings->contains(binding);
}

VkResult create_layout(VkDevice device, const VkDescriptorSetLayoutCreateInfo* info,
                       const VkAllocationCallbacks* allocator, VkDescriptorSetLayout* layout)
{
    const VkResult result =
        vk_entry<in::vk_create_descriptor_set_layout, decltype(vkCreateDescriptorSetLayout)>::call(
            device, info, allocator, layout);
    std::set<uint32_t> bindings;
    for (uint32_t i = 0; i < info->bindingCount; ++i)
        if (vk_wire::binds_samplers(info->pBindings[i], {}) && info->pBindings[i].pImmutableSamplers)
            bindings.insert(info->pBindings[i].binding);
    if (result == VK_SUCCESS && !bindings.empty()) {
        const std::lock_guard<process_lock> guard{sets_lock};
        layouts[*layout] = std::make_shared<const std::set<uint32_t>>(std::move(bindings));
    }
    return result;
}

void destroy_layout(VkDevice device, VkDescriptorSetLayout layout, const VkAllocationCallbacks* allocator)
{
    vk_entry<in::vk_destroy_descriptor_set_layout, decltype(vkDestroyDescriptorSetLayout)>::call(
        device, layout, allocator);
    const std::lock_guard<process_lock> guard{sets_lock};
    layouts.erase(layout); // its sets outlive it
}

VkResult allocate_sets(VkDevice device, const VkDescriptorSetAllocateInfo* info, VkDescriptorSet* made)
{
    const VkResult result =
        vk_entry<in::vk_allocate_descriptor_sets, decltype(vkAllocateDescriptorSets)>::call(device, info,
                                                                                            made);
    const std::lock_guard<process_lock> guard{sets_lock};
    for (uint32_t i = 0; result == VK_SUCCESS && !layouts.empty() && i < info->descriptorSetCount; ++i)
        if (const auto found = layouts.find(info->pSetLayouts[i]); found != layouts.end())
            sets[made[i]] = {info->descriptorPool, found->second};
    return result;
}

VkResult free_sets(VkDevice device, VkDescriptorPool pool, uint32_t count, const VkDescriptorSet* freed)
{
    const VkResult result = vk_entry<in::vk_free_descriptor_sets, decltype(vkFreeDescriptorSets)>::call(
        device, pool, count, freed);
    const std::lock_guard<process_lock> guard{sets_lock};
    for (uint32_t i = 0; i < count; ++i)
        sets.erase(freed[i]);
    return result;
}

void forget_sets_of(VkDescriptorPool pool)
{
    const std::lock_guard<process_lock> guard{sets_lock};
    std::erase_if(sets, [pool](const auto& one) { return one.second.pool == pool; });
}

VkResult reset_pool(VkDevice device, VkDescriptorPool pool, VkDescriptorPoolResetFlags flags)
{
    forget_sets_of(pool);
    return vk_entry<in::vk_reset_descriptor_pool, decltype(vkResetDescriptorPool)>::call(device, pool, flags);
}

void destroy_pool(VkDevice device, VkDescriptorPool pool, const VkAllocationCallbacks* allocator)
{
    forget_sets_of(pool);
    vk_entry<in::vk_destroy_descriptor_pool, decltype(vkDestroyDescriptorPool)>::call(device, pool,
                                                                                      allocator);
}

void update_sets(VkDevice device, uint32_t writes, const VkWriteDescriptorSet* written, uint32_t copies,
                 const VkCopyDescriptorSet* copied)
{
    vk_surroundings around;
    around.immutable_samplers_at = immutable_samplers_at;
    SEND_VK(vk_update_descriptor_sets, vkUpdateDescriptorSets, around, device, writes, written, copies,
            copied);
}

} // namespace

vk_entry_points vk_descriptor_entry_points()
{
    static const vk_entry_point all[] = {
        make_vk_entry_point("vkCreateDescriptorSetLayout", create_layout),
        make_vk_entry_point("vkDestroyDescriptorSetLayout", destroy_layout),
        make_vk_entry_point("vkAllocateDescriptorSets", allocate_sets),
        make_vk_entry_point("vkFreeDescriptorSets", free_sets),
        make_vk_entry_point("vkResetDescriptorPool", reset_pool),
        make_vk_entry_point("vkDestroyDescriptorPool", destroy_pool),
        make_vk_entry_point("vkUpdateDescriptorSets", update_sets),
    };
    return {all, std::size(all)};
}

} // namespace shim
