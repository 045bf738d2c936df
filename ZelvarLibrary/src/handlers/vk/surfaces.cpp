// Surfaces and displays of the host. Where the target has no driver it gets numbers made up here for the
// displays and modes that the host has.

#include "handlers/vk/counted_answer.h"
#include "handlers/vk/plain_objects.h"
#include "handlers/vk/presentation_handlers.h"

using vk = sidechannel_vk_imports;

namespace {
/// The target's handle of an object that the host tells of. `of_target` is what the target's own driver has
/// in its place, or null; the two then stand for each other.
template <class Handle>
Handle introduce(vk_device_record* objects, Handle host, Handle of_target)
{
    if (!host)
        return VK_NULL_HANDLE;
    auto& known = vk_objects_of<Handle>(*objects);
    for (const auto& [target, entry] : known) {
        if (entry.host == host)
            return target;
    }
    constexpr uint64_t first_made_up = 0x7d00000001;
    Handle target = of_target ? of_target : reinterpret_cast<Handle>(first_made_up + known.size());
    vk_entry_of<Handle> entry;
    entry.host = host;
    known.emplace(target, entry);
    return target;
}

/// The same for each entry of a list, where `member(entry)` is its handle.
template <class T, class Array, class Member>
void introduce_each(vk_device_record* objects, std::vector<T>& found, const Array& of_target, Member member)
{
    for (uint32_t i = 0; i < found.size(); ++i) {
        auto& host = member(found[i]);
        const bool has_own = zelvar_call_on_target() && i < of_target.count;
        host = introduce(objects, host, has_own ? member(of_target.data[i]) : decltype(+host){});
    }
}
} // namespace

void vk_vkDestroySurfaceKHR(pid_t pid, tid_t tid, VkInstance instance, VkSurfaceKHR surface,
                            vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroySurfaceKHR", pid, tid};
    call.trace("target_instance", instance, "target_surface", surface, "pAllocator_ptr", pAllocator.address);
    VkInstance host_instance = VK_NULL_HANDLE;
    auto* objects = call.lock_window_objects();
    VkSurfaceKHR host = surface;
    if (!zelvar_object_manager_vk_get_host_instance(pid, instance, &host_instance) || !objects ||
        !vk_to_host(call, objects, &host, vk_null::allowed))
        return;
    call.host<&vk::vkDestroySurfaceKHR>(host_instance, host, nullptr);
    if (surface)
        vk_registry::remove(objects, surface);
}

void vk_vkGetPhysicalDeviceSurfaceSupportKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                             uint32_t queueFamilyIndex, VkSurfaceKHR surface,
                                             vk_struct<VkBool32> pSupported,
                                             result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetPhysicalDeviceSurfaceSupportKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "queueFamilyIndex", queueFamilyIndex,
               "target_surface", surface, "pSupported_ptr", pSupported.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects || !vk_to_host(call, objects, &surface))
        return;
    VkBool32 supported = VK_FALSE;
    call.result =
        call.host<&vk::vkGetPhysicalDeviceSurfaceSupportKHR>(host, queueFamilyIndex, surface, &supported);
    if (call.result == VK_SUCCESS)
        call.write(pSupported.address, supported);
}

void vk_vkGetPhysicalDeviceSurfaceCapabilitiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                  VkSurfaceKHR surface,
                                                  vk_struct<VkSurfaceCapabilitiesKHR> pSurfaceCapabilities,
                                                  result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetPhysicalDeviceSurfaceCapabilitiesKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "target_surface", surface,
               "pSurfaceCapabilities_ptr", pSurfaceCapabilities.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects || !vk_to_host(call, objects, &surface))
        return;
    VkSurfaceCapabilitiesKHR capabilities{};
    call.result = call.host<&vk::vkGetPhysicalDeviceSurfaceCapabilitiesKHR>(host, surface, &capabilities);
    if (call.result == VK_SUCCESS)
        call.write(pSurfaceCapabilities.address, capabilities);
}

void vk_vkGetPhysicalDeviceSurfaceFormatsKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                             VkSurfaceKHR surface, vk_struct<uint32_t> pSurfaceFormatCount,
                                             vk_array<VkSurfaceFormatKHR, 2> pSurfaceFormats,
                                             result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetPhysicalDeviceSurfaceFormatsKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "target_surface", surface, "pSurfaceFormatCount_ptr",
               pSurfaceFormatCount.address, "pSurfaceFormats_ptr", pSurfaceFormats.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects || !vk_to_host(call, objects, &surface))
        return;
    std::vector<VkSurfaceFormatKHR> found;
    call.result = vk_ask_for_list(
        [&](uint32_t* count, VkSurfaceFormatKHR* list) {
            return call.host<&vk::vkGetPhysicalDeviceSurfaceFormatsKHR>(host, surface, count, list);
        },
        found);
    if (call.result == VK_SUCCESS)
        call.result = vk_answer_list(call, found, pSurfaceFormatCount, pSurfaceFormats);
}

void vk_vkGetPhysicalDeviceSurfacePresentModesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                  VkSurfaceKHR surface, vk_struct<uint32_t> pPresentModeCount,
                                                  vk_array<VkPresentModeKHR, 2> pPresentModes,
                                                  result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetPhysicalDeviceSurfacePresentModesKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "target_surface", surface, "pPresentModeCount_ptr",
               pPresentModeCount.address, "pPresentModes_ptr", pPresentModes.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects || !vk_to_host(call, objects, &surface))
        return;
    std::vector<VkPresentModeKHR> found;
    call.result = vk_ask_for_list(
        [&](uint32_t* count, VkPresentModeKHR* list) {
            return call.host<&vk::vkGetPhysicalDeviceSurfacePresentModesKHR>(host, surface, count, list);
        },
        found);
    if (call.result == VK_SUCCESS)
        call.result = vk_answer_list(call, found, pPresentModeCount, pPresentModes);
}

void vk_vkGetPhysicalDeviceDisplayPropertiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                vk_struct<uint32_t> pPropertyCount,
                                                vk_array<VkDisplayPropertiesKHR, 1> pProperties,
                                                result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetPhysicalDeviceDisplayPropertiesKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "pPropertyCount_ptr", pPropertyCount.address,
               "pProperties_ptr", pProperties.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects)
        return;
    std::vector<VkDisplayPropertiesKHR> found;
    call.result = vk_ask_for_list(
        [&](uint32_t* count, VkDisplayPropertiesKHR* list) {
            return call.host<&vk::vkGetPhysicalDeviceDisplayPropertiesKHR>(host, count, list);
        },
        found);
    if (call.result != VK_SUCCESS)
        return;
    introduce_each(
        objects, found, pProperties, [](auto& entry) -> auto& { return entry.display; });
    for (VkDisplayPropertiesKHR& entry : found)
        entry.displayName = nullptr; // it stands in the host's memory
    call.result = vk_answer_list(call, found, pPropertyCount, pProperties);
}

void vk_vkGetPhysicalDeviceDisplayPlanePropertiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                     vk_struct<uint32_t> pPropertyCount,
                                                     vk_array<VkDisplayPlanePropertiesKHR, 1> pProperties,
                                                     result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetPhysicalDeviceDisplayPlanePropertiesKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "pPropertyCount_ptr", pPropertyCount.address,
               "pProperties_ptr", pProperties.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects)
        return;
    std::vector<VkDisplayPlanePropertiesKHR> found;
    call.result = vk_ask_for_list(
        [&](uint32_t* count, VkDisplayPlanePropertiesKHR* list) {
            return call.host<&vk::vkGetPhysicalDeviceDisplayPlanePropertiesKHR>(host, count, list);
        },
        found);
    if (call.result != VK_SUCCESS)
        return;
    introduce_each(
        objects, found, pProperties, [](auto& entry) -> auto& { return entry.currentDisplay; });
    call.result = vk_answer_list(call, found, pPropertyCount, pProperties);
}

void vk_vkGetDisplayPlaneSupportedDisplaysKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                              uint32_t planeIndex, vk_struct<uint32_t> pDisplayCount,
                                              vk_array<VkDisplayKHR, 2> pDisplays,
                                              result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetDisplayPlaneSupportedDisplaysKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "planeIndex", planeIndex, "pDisplayCount_ptr",
               pDisplayCount.address, "pDisplays_ptr", pDisplays.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects)
        return;
    std::vector<VkDisplayKHR> found;
    call.result = vk_ask_for_list(
        [&](uint32_t* count, VkDisplayKHR* list) {
            return call.host<&vk::vkGetDisplayPlaneSupportedDisplaysKHR>(host, planeIndex, count, list);
        },
        found);
    if (call.result != VK_SUCCESS)
        return;
    introduce_each(
        objects, found, pDisplays, [](auto& entry) -> auto& { return entry; });
    call.result = vk_answer_list(call, found, pDisplayCount, pDisplays);
}

void vk_vkGetDisplayModePropertiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                      VkDisplayKHR display, vk_struct<uint32_t> pPropertyCount,
                                      vk_array<VkDisplayModePropertiesKHR, 2> pProperties,
                                      result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetDisplayModePropertiesKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "target_display", display, "pPropertyCount_ptr",
               pPropertyCount.address, "pProperties_ptr", pProperties.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects || !vk_to_host(call, objects, &display))
        return;
    std::vector<VkDisplayModePropertiesKHR> found;
    call.result = vk_ask_for_list(
        [&](uint32_t* count, VkDisplayModePropertiesKHR* list) {
            return call.host<&vk::vkGetDisplayModePropertiesKHR>(host, display, count, list);
        },
        found);
    if (call.result != VK_SUCCESS)
        return;
    introduce_each(
        objects, found, pProperties, [](auto& entry) -> auto& { return entry.displayMode; });
    call.result = vk_answer_list(call, found, pPropertyCount, pProperties);
}

void vk_vkCreateDisplayModeKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice, VkDisplayKHR display,
                               vk_struct<VkDisplayModeCreateInfoKHR> pCreateInfo,
                               vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkDisplayModeKHR> pMode,
                               result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateDisplayModeKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "target_display", display, "pCreateInfo_ptr",
               pCreateInfo.address, "pAllocator_ptr", pAllocator.address, "pMode_ptr", pMode.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects || !pCreateInfo || !vk_to_host(call, objects, &display))
        return;
    VkDisplayModeKHR mode = VK_NULL_HANDLE; // modes are never destroyed
    call.result = call.host<&vk::vkCreateDisplayModeKHR>(host, display, pCreateInfo.data, nullptr, &mode);
    call.add(objects, pMode.handle, mode);
}

void vk_vkGetDisplayPlaneCapabilitiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                         VkDisplayModeKHR mode, uint32_t planeIndex,
                                         vk_struct<VkDisplayPlaneCapabilitiesKHR> pCapabilities,
                                         result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetDisplayPlaneCapabilitiesKHR", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "target_mode", mode, "planeIndex", planeIndex,
               "pCapabilities_ptr", pCapabilities.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    auto* objects = call.lock_window_objects();
    if (!host || !objects || !vk_to_host(call, objects, &mode))
        return;
    VkDisplayPlaneCapabilitiesKHR capabilities{};
    call.result = call.host<&vk::vkGetDisplayPlaneCapabilitiesKHR>(host, mode, planeIndex, &capabilities);
    if (call.result == VK_SUCCESS)
        call.write(pCapabilities.address, capabilities);
}

void vk_vkCreateDisplayPlaneSurfaceKHR(pid_t pid, tid_t tid, VkInstance instance,
                                       vk_struct<VkDisplaySurfaceCreateInfoKHR> pCreateInfo,
                                       vk_struct<VkAllocationCallbacks> pAllocator,
                                       vk_out<VkSurfaceKHR> pSurface, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateDisplayPlaneSurfaceKHR", pid, tid, target_result};
    call.trace("target_instance", instance, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pSurface_ptr", pSurface.address);
    VkInstance host = VK_NULL_HANDLE;
    auto* objects = call.lock_window_objects();
    if (!zelvar_object_manager_vk_get_host_instance(pid, instance, &host) || !objects || !pCreateInfo)
        return;
    call.prepare(objects, pCreateInfo, "pCreateInfo");
    VkSurfaceKHR surface = VK_NULL_HANDLE;
    call.result = call.host<&vk::vkCreateDisplayPlaneSurfaceKHR>(host, pCreateInfo.data, nullptr, &surface);
    if (call.result == VK_SUCCESS && !call.add(objects, pSurface.handle, surface))
        call.host<&vk::vkDestroySurfaceKHR>(host, surface, nullptr);
}
