#pragma once
// Entry points of Vulkan by name. All of them are called through the loader, none is exported.

#include <string_view>
#include <vulkan/vulkan.h>

namespace shim {

/// Whom an entry point is asked from, which follows from its first argument.
enum class vk_level
{
    global,
    instance,
    physical_device,
    device,
};

struct vk_entry_point
{
    std::string_view name;
    vk_level level;
    PFN_vkVoidFunction address;
};

template <class R, class First, class... A>
vk_entry_point make_vk_entry_point(std::string_view name, R (*address)(First, A...))
{
    constexpr bool of_device = std::is_same_v<First, VkDevice> || std::is_same_v<First, VkQueue> ||
                               std::is_same_v<First, VkCommandBuffer>;
    const vk_level level = of_device                                 ? vk_level::device
                           : std::is_same_v<First, VkPhysicalDevice> ? vk_level::physical_device
                           : std::is_same_v<First, VkInstance>       ? vk_level::instance
                                                                     : vk_level::global;
    return {name, level, reinterpret_cast<PFN_vkVoidFunction>(address)};
}

/// Null when there is no entry point of that name.
const vk_entry_point* find_vk_entry_point(std::string_view name);

// Lists of the files that define them.
struct vk_entry_points
{
    const vk_entry_point* first;
    size_t count;
};
vk_entry_points vk_instance_entry_points();   // instances, physical devices, devices
vk_entry_points vk_command_entry_points();    // memory, command buffers, pipelines
vk_entry_points vk_descriptor_entry_points(); // descriptor sets
vk_entry_points vk_queue_entry_points();      // submissions, fences
vk_entry_points vk_surface_entry_points();    // surfaces
vk_entry_points vk_swapchain_entry_points();  // swapchains

} // namespace shim
