// Memory, command buffers and pipelines: the entry points of a device that do more than send.

#include "shim/log.h"
#include "shim/shared_blocks.h"
#include "shim/vk_entries.h"
#include "shim/vk_objects.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>

namespace shim {

namespace in = wire::inbound;

namespace {

// Memory

VkResult allocate_memory(VkDevice device, const VkMemoryAllocateInfo* info,
                         const VkAllocationCallbacks* allocator, VkDeviceMemory* memory)
{
    auto made = std::make_unique<vk_memory>();
    made->size = info->allocationSize;
    *memory = handle_of<VkDeviceMemory>(made.get());
    const VkResult result =
        SEND_VK(vk_allocate_memory, vkAllocateMemory, {}, device, info, allocator, memory);
    if (result < 0)
        *memory = {};
    else
        static_cast<void>(made.release()); // the handle leads to it
    return result;
}

void free_memory(VkDevice device, VkDeviceMemory memory, const VkAllocationCallbacks* allocator)
{
    auto* self = object_behind<vk_memory>(memory);
    if (!self)
        return;
    // The library copies mapped memory with each submission of any thread, until it is told.
    send_now<in::vk_free_memory>(device, memory, allocator);
    delete self;
}

VkResult map_memory(VkDevice device, VkDeviceMemory memory, VkDeviceSize offset, VkDeviceSize size,
                    VkMemoryMapFlags flags, void** data)
{
    auto* self = object_behind<vk_memory>(memory);
    if (!self->make_block())
        return VK_ERROR_MEMORY_MAP_FAILED;
    void* const mapped = self->block + offset;
    vk_message out{in::vk_map_memory};
    put_vk_arguments<VkResult>(out, device, memory, offset, size, flags, data);
    const uint64_t address = reinterpret_cast<uintptr_t>(mapped);
    out.bytes(&address, sizeof address);
    const VkResult result = out.send().result();
    if (result == VK_SUCCESS)
        *data = mapped;
    return result;
}

void unmap_memory(VkDevice device, VkDeviceMemory memory)
{
    // The library fetches what the application wrote, which must be what is there now.
    send_now<in::vk_unmap_memory>(device, memory);
}

// Command pools and buffers

VkResult create_command_pool(VkDevice device, const VkCommandPoolCreateInfo* info,
                             const VkAllocationCallbacks* allocator, VkCommandPool* pool)
{
    const VkResult result = vk_entry<in::vk_create_command_pool, decltype(vkCreateCommandPool)>::call(
        device, info, allocator, pool);
    if (result == VK_SUCCESS) {
        vk_device& self = object_of(device);
        const std::lock_guard<process_lock> guard{self.lock};
        self.command_pools[*pool];
    }
    return result;
}

void destroy_command_pool(VkDevice device, VkCommandPool pool, const VkAllocationCallbacks* allocator)
{
    if (!pool)
        return;
    send_now<in::vk_destroy_command_pool>(device, pool, allocator); // its command buffers go with it
    vk_device& self = object_of(device);
    const std::lock_guard<process_lock> guard{self.lock};
    self.command_pools.erase(pool);
}

VkResult allocate_command_buffers(VkDevice device, const VkCommandBufferAllocateInfo* info,
                                  VkCommandBuffer* buffers)
{
    std::vector<std::unique_ptr<vk_command_buffer>> made(info->commandBufferCount);
    for (uint32_t i = 0; i < info->commandBufferCount; ++i) {
        made[i] = std::make_unique<vk_command_buffer>();
        made[i]->secondary = info->level == VK_COMMAND_BUFFER_LEVEL_SECONDARY;
        buffers[i] = reinterpret_cast<VkCommandBuffer>(made[i].get());
    }
    const VkResult result =
        SEND_VK(vk_allocate_command_buffers, vkAllocateCommandBuffers, {}, device, info, buffers);
    if (result < 0) {
        std::fill_n(buffers, info->commandBufferCount, nullptr);
        return result;
    }
    vk_device& self = object_of(device);
    const std::lock_guard<process_lock> guard{self.lock};
    auto& pool = self.command_pools[info->commandPool];
    for (uint32_t i = 0; i < info->commandBufferCount; ++i)
        pool[buffers[i]] = std::move(made[i]);
    return result;
}

void free_command_buffers(VkDevice device, VkCommandPool pool, uint32_t count, const VkCommandBuffer* buffers)
{
    // Null handles may stand among them, which the library has no mapping for.
    std::vector<VkCommandBuffer> real;
    for (uint32_t i = 0; i < count; ++i)
        if (buffers[i])
            real.push_back(buffers[i]);
    if (real.empty())
        return;
    send_now<in::vk_free_command_buffers>(device, pool, static_cast<uint32_t>(real.size()),
                                          static_cast<const VkCommandBuffer*>(real.data()));
    vk_device& self = object_of(device);
    const std::lock_guard<process_lock> guard{self.lock};
    for (const VkCommandBuffer buffer : real)
        self.command_pools[pool].erase(buffer);
}

VkResult begin_command_buffer(VkCommandBuffer buffer, const VkCommandBufferBeginInfo* info)
{
    vk_surroundings around;
    around.secondary = object_of(buffer).secondary;
    return SEND_VK(vk_begin_command_buffer, vkBeginCommandBuffer, around, buffer, info);
}

// Render passes: which attachments a subpass has says which states of a pipeline count.

using subpasses = std::vector<vk_wire::subpass_attachments>;

process_lock& passes_lock = *new process_lock;
std::map<VkRenderPass, subpasses>& passes = *new std::map<VkRenderPass, subpasses>;

vk_wire::subpass_attachments attachments_of(VkRenderPass pass, uint32_t subpass)
{
    const std::lock_guard<process_lock> guard{passes_lock};
    const auto found = passes.find(pass);
    return found != passes.end() && subpass < found->second.size() ? found->second[subpass]
                                                                   : vk_wire::subpass_attachments{};
}

vk_wire::subpass_attachments attachments_in(const VkSubpassDescription& subpass)
{
    const auto uses = [](const VkAttachmentReference& reference) {
        return reference.attachment != VK_ATTACHMENT_UNUSED;
    };
    vk_wire::subpass_attachments found;
    found.colour = subpass.pColorAttachments &&
                   std::any_of(subpass.pColorAttachments,
                               subpass.pColorAttachments + subpass.colorAttachmentCount, uses);
    found.depth_stencil = subpass.pDepthStencilAttachment && uses(*subpass.pDepthStencilAttachment);
    return found;
}

VkResult create_render_pass(VkDevice device, const VkRenderPassCreateInfo* info,
                            const VkAllocationCallbacks* allocator, VkRenderPass* pass)
{
    const VkResult result = vk_entry<in::vk_create_render_pass, decltype(vkCreateRenderPass)>::call(
        device, info, allocator, pass);
    if (result != VK_SUCCESS)
        return result;
    subpasses found(info->subpassCount);
    std::transform(info->pSubpasses, info->pSubpasses + info->subpassCount, found.begin(), attachments_in);
    const std::lock_guard<process_lock> guard{passes_lock};
    passes[*pass] = std::move(found);
    return result;
}

void destroy_render_pass(VkDevice device, VkRenderPass pass, const VkAllocationCallbacks* allocator)
{
    vk_entry<in::vk_destroy_render_pass, decltype(vkDestroyRenderPass)>::call(device, pass, allocator);
    const std::lock_guard<process_lock> guard{passes_lock};
    passes.erase(pass);
}

VkResult create_graphics_pipelines(VkDevice device, VkPipelineCache cache, uint32_t count,
                                   const VkGraphicsPipelineCreateInfo* infos,
                                   const VkAllocationCallbacks* allocator, VkPipeline* pipelines)
{
    vk_surroundings around;
    around.attachments_of = attachments_of;
    std::generate_n(pipelines, count, new_handle<VkPipeline>);
    const VkResult result = SEND_VK(vk_create_graphics_pipelines, vkCreateGraphicsPipelines, around, device,
                                    cache, count, infos, allocator, pipelines);
    if (result < 0)
        std::fill_n(pipelines, count, VkPipeline{});
    return result;
}

// Entry points that only send

/// Those that are answered on the target, or are no part of what applications see.
constexpr bool is_sent_as_it_is(uint32_t id)
{
    constexpr uint32_t others[] = {
        in::vk_create_instance,
        in::vk_destroy_instance,
        in::vk_enumerate_physical_devices,
        in::vk_get_physical_device_features,
        in::vk_get_physical_device_properties,
        in::vk_get_physical_device_queue_family_properties,
        in::vk_get_physical_device_memory_properties,
        in::vk_get_instance_proc_addr,
        in::vk_get_device_proc_addr,
        in::vk_create_device,
        in::vk_destroy_device,
        in::vk_enumerate_instance_extension_properties,
        in::vk_enumerate_device_extension_properties,
        in::vk_enumerate_instance_layer_properties,
        in::vk_enumerate_device_layer_properties,
        in::vk_get_device_queue,
        in::vk_allocate_memory,
        in::vk_free_memory,
        in::vk_map_memory,
        in::vk_unmap_memory,
        in::vk_wait_for_fences,
        in::vk_create_graphics_pipelines,
        in::vk_create_render_pass,
        in::vk_destroy_render_pass,
        in::vk_create_command_pool,
        in::vk_destroy_command_pool,
        in::vk_allocate_command_buffers,
        in::vk_free_command_buffers,
        in::vk_begin_command_buffer,
        in::vk_create_descriptor_set_layout,
        in::vk_destroy_descriptor_set_layout,
        in::vk_allocate_descriptor_sets,
        in::vk_free_descriptor_sets,
        in::vk_reset_descriptor_pool,
        in::vk_destroy_descriptor_pool,
        in::vk_update_descriptor_sets,
        in::vk_queue_submit,
        in::vk_queue_bind_sparse,
        in::vk_queue_wait_idle,
        in::vk_device_wait_idle,
        in::vk_destroy_semaphore,
        in::vk_get_fence_status,
        in::vk_reset_fences,
        in::vk_destroy_fence,
    };
    const bool of_window_system =
        id >= in::vk_destroy_surface_khr && id <= in::vk_create_shared_swapchains_khr;
    return !of_window_system && id < in::vk_get_swapchain_gralloc_usage_android &&
           std::find(std::begin(others), std::end(others), id) == std::end(others);
}

template <uint32_t Id, class F>
void add_plain(std::vector<vk_entry_point>& to, std::string_view name)
{
    if constexpr (is_sent_as_it_is(Id))
        to.push_back(make_vk_entry_point(name, &vk_entry<Id, F>::call));
}

const std::vector<vk_entry_point>& plain_entry_points()
{
    static const auto& all = *[] {
        auto* list = new std::vector<vk_entry_point>;
#define ZELVAR_MESSAGE(id, name, group, function) add_plain<id, decltype(::function)>(*list, #function);
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
        return list;
    }();
    return all;
}

const vk_entry_point* find_in(vk_entry_points list, std::string_view name)
{
    const auto* end = list.first + list.count;
    const auto* found = std::find_if(list.first, end, [name](const auto& one) { return one.name == name; });
    return found == end ? nullptr : found;
}

} // namespace

bool vk_memory::make_block()
{
    if (block)
        return true;
    if (size > SIZE_MAX)
        return false;
    if ((block = take_shared_block(size))) {
        std::memset(block, 0, static_cast<size_t>(size));
        is_shared = true;
        return true;
    }
    void* made = mmap(nullptr, static_cast<size_t>(size), PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (made == MAP_FAILED) {
        say(gate::error, "There is no room to map %llu bytes.", static_cast<unsigned long long>(size));
        return false;
    }
    // Large pages, which the simulator reaches in less than half the time.
    madvise(made, static_cast<size_t>(size), MADV_HUGEPAGE);
    block = static_cast<uint8_t*>(made);
    return true;
}

vk_memory::~vk_memory()
{
    if (is_shared)
        give_back_shared_block(block);
    else if (block)
        munmap(block, static_cast<size_t>(size));
}

vk_entry_points vk_command_entry_points()
{
    static const vk_entry_point all[] = {
        make_vk_entry_point("vkAllocateMemory", allocate_memory),
        make_vk_entry_point("vkFreeMemory", free_memory),
        make_vk_entry_point("vkMapMemory", map_memory),
        make_vk_entry_point("vkUnmapMemory", unmap_memory),
        make_vk_entry_point("vkCreateCommandPool", create_command_pool),
        make_vk_entry_point("vkDestroyCommandPool", destroy_command_pool),
        make_vk_entry_point("vkAllocateCommandBuffers", allocate_command_buffers),
        make_vk_entry_point("vkFreeCommandBuffers", free_command_buffers),
        make_vk_entry_point("vkBeginCommandBuffer", begin_command_buffer),
        make_vk_entry_point("vkCreateRenderPass", create_render_pass),
        make_vk_entry_point("vkDestroyRenderPass", destroy_render_pass),
        make_vk_entry_point("vkCreateGraphicsPipelines", create_graphics_pipelines),
    };
    return {all, std::size(all)};
}

const vk_entry_point* find_vk_entry_point(std::string_view name)
{
    for (const auto& list :
         {vk_instance_entry_points(), vk_command_entry_points(), vk_descriptor_entry_points(),
          vk_queue_entry_points(), vk_surface_entry_points(), vk_swapchain_entry_points()})
        if (const vk_entry_point* found = find_in(list, name))
            return found;
    const auto& plain = plain_entry_points();
    return find_in({plain.data(), plain.size()}, name);
}

} // namespace shim
