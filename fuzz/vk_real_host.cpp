// The software driver's Vulkan as the host, without what would keep a run waiting.

#include "vk_real_host.h"

#include "hosttables/host_tables.h"
#include "settings/zelvar_settings.h"

#include <cstdlib>

namespace {
sidechannel_vk_imports driver;

/// Within what a test can wait for.
template <class... N>
bool is_short(N... counts)
{
    constexpr double most = 1e4;
    return (1.0 * ... * counts) < most;
}

/// The driver's device takes longer to build up than all the rest of an input: one is enough for all.
VkResult one_device(VkPhysicalDevice physical, const VkDeviceCreateInfo* info,
                    const VkAllocationCallbacks* allocator, VkDevice* device)
{
    static VkDevice made = VK_NULL_HANDLE;
    const VkResult result = made ? VK_SUCCESS : driver.vkCreateDevice(physical, info, allocator, &made);
    *device = made;
    return result;
}
VkResult one_instance(const VkInstanceCreateInfo*, const VkAllocationCallbacks* allocator,
                      VkInstance* instance)
{
    static VkInstance made = VK_NULL_HANDLE;
    VkInstanceCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO;
    const VkResult result = made ? VK_SUCCESS : driver.vkCreateInstance(&info, allocator, &made);
    *instance = made;
    return result;
}
} // namespace

void install_vk_host()
{
    setenv("VK_DRIVER_FILES", "/usr/share/vulkan/icd.d/lvp_icd.x86_64.json", 1);
    setenv("MESA_SHADER_CACHE_DISABLE", "true", 1);
    zelvar_settings.requireKelvoEmulator = false;
    zelvar_imports_init();
    driver = *zelvar_imports_get_vk_ptrs();
    sidechannel_vk_imports& table = zelvar_imports_vk_ptrs;
    table.vkCreateInstance = one_instance;
    table.vkDestroyInstance = [](VkInstance, const VkAllocationCallbacks*) {};
    table.vkCreateDevice = one_device;
    table.vkDestroyDevice = [](VkDevice, const VkAllocationCallbacks*) {};
    // Every driver obeys draws and dispatches that would take for ever, and waits for what never comes.
    table.vkCmdDraw = [](VkCommandBuffer commands, uint32_t n, uint32_t instances, uint32_t first,
                         uint32_t of) {
        if (is_short(n, instances))
            driver.vkCmdDraw(commands, n, instances, first, of);
    };
    table.vkCmdDrawIndexed = [](VkCommandBuffer commands, uint32_t n, uint32_t instances, uint32_t first,
                                int32_t vertex, uint32_t of) {
        if (is_short(n, instances))
            driver.vkCmdDrawIndexed(commands, n, instances, first, vertex, of);
    };
    table.vkCmdDispatch = [](VkCommandBuffer commands, uint32_t x, uint32_t y, uint32_t z) {
        if (is_short(x, y, z))
            driver.vkCmdDispatch(commands, x, y, z);
    };
    table.vkWaitForFences = [](VkDevice device, uint32_t count, const VkFence* fences, VkBool32 all,
                               uint64_t) { return driver.vkWaitForFences(device, count, fences, all, 1000); };
    // How much they draw stands in buffers, where it isn't seen.
    table.vkCmdDrawIndirect = [](VkCommandBuffer, VkBuffer, VkDeviceSize, uint32_t, uint32_t) {};
    table.vkCmdDrawIndexedIndirect = [](VkCommandBuffer, VkBuffer, VkDeviceSize, uint32_t, uint32_t) {};
    table.vkCmdDispatchIndirect = [](VkCommandBuffer, VkBuffer, VkDeviceSize) {};
}
