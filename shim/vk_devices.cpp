// Vulkan instances, physical devices and devices.

#include "shim/exports.h"
#include "shim/vk_entries.h"
#include "shim/vk_objects.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string_view>

namespace shim {

std::atomic<uint64_t> last_vk_handle{0x1000};

namespace {

constexpr char native_buffers[] = "VK_ANDROID_native_buffer";

VkExtensionProperties extension(const char* name, uint32_t version)
{
    VkExtensionProperties properties{};
    std::strncpy(properties.extensionName, name, sizeof properties.extensionName - 1);
    properties.specVersion = version;
    return properties;
}

/// The window system's are the shim's own; the library has instances report for themselves.
const std::vector<VkExtensionProperties>& instance_extensions()
{
    static const auto& all = *new std::vector<VkExtensionProperties>{
        extension("VK_KHR_surface", 25),      extension("VK_KHR_xcb_surface", 6),
        extension("VK_KHR_xlib_surface", 6),  extension("VK_EXT_headless_surface", 1),
        extension("VK_EXT_debug_report", 10),
    };
    return all;
}

bool is_listed(const std::vector<VkExtensionProperties>& all, std::string_view name)
{
    return std::any_of(all.begin(), all.end(), [name](const auto& one) { return name == one.extensionName; });
}

/// Swapchains are made of native buffers, which the library has to know.
std::vector<VkExtensionProperties> device_extensions(VkPhysicalDevice device)
{
    uint32_t count = 0;
    const char* no_layer = nullptr;
    if (SEND_VK(vk_enumerate_device_extension_properties, vkEnumerateDeviceExtensionProperties, {}, device,
                no_layer, &count, nullptr) < 0)
        return {};
    constexpr uint32_t most = 1024;
    std::vector<VkExtensionProperties> known(std::min(count, most));
    count = static_cast<uint32_t>(known.size());
    if (count && SEND_VK(vk_enumerate_device_extension_properties, vkEnumerateDeviceExtensionProperties, {},
                         device, no_layer, &count, known.data()) < 0)
        return {};
    known.resize(std::min<size_t>(count, known.size()));
    if (!is_listed(known, native_buffers))
        return {};
    return {extension("VK_KHR_swapchain", 68)};
}

VkResult create_instance(const VkInstanceCreateInfo* info, const VkAllocationCallbacks* allocator,
                         VkInstance* instance)
{
    std::vector<const char*> passed_on;
    for (uint32_t i = 0; i < info->enabledExtensionCount; ++i) {
        const char* name = info->ppEnabledExtensionNames[i];
        if (!is_listed(instance_extensions(), name))
            return VK_ERROR_EXTENSION_NOT_PRESENT;
        if (std::string_view{name} == "VK_EXT_debug_report")
            passed_on.push_back(name);
    }
    VkInstanceCreateInfo own = *info;
    own.enabledLayerCount = 0;
    own.ppEnabledLayerNames = nullptr;
    own.enabledExtensionCount = static_cast<uint32_t>(passed_on.size());
    own.ppEnabledExtensionNames = passed_on.empty() ? nullptr : passed_on.data();
    auto made = std::make_unique<vk_instance>();
    *instance = reinterpret_cast<VkInstance>(made.get());
    const VkResult result = SEND_VK(vk_create_instance, vkCreateInstance, {}, &own, allocator, instance);
    if (result < 0)
        *instance = nullptr;
    else
        made.release();
    // Without a device to talk to there is no driver, and the loader goes on to the next.
    return result == VK_ERROR_DEVICE_LOST ? VK_ERROR_INCOMPATIBLE_DRIVER : result;
}

void destroy_instance(VkInstance instance, const VkAllocationCallbacks* allocator)
{
    if (!instance)
        return;
    send_now<wire::inbound::vk_destroy_instance>(instance, allocator);
    delete &object_of(instance);
}

VkResult enumerate_physical_devices(VkInstance instance, uint32_t* count, VkPhysicalDevice* devices)
{
    vk_instance& self = object_of(instance);
    const std::lock_guard<process_lock> guard{self.lock};
    if (!self.physical_device) {
        auto made = std::make_unique<vk_physical_device>();
        auto handle = reinterpret_cast<VkPhysicalDevice>(made.get());
        uint32_t room = 1; // the library has one physical device, whatever the host has
        const VkResult result =
            SEND_VK(vk_enumerate_physical_devices, vkEnumeratePhysicalDevices, {}, instance, &room, &handle);
        if (result < 0)
            return result;
        self.physical_device = std::move(made);
    }
    return list({reinterpret_cast<VkPhysicalDevice>(self.physical_device.get())}, count, devices);
}

void get_features(VkPhysicalDevice device, VkPhysicalDeviceFeatures* features)
{
    vk_physical_device& self = object_of(device);
    const std::lock_guard<process_lock> guard{self.lock};
    if (!self.has_features) {
        self.features = {};
        SEND_VK(vk_get_physical_device_features, vkGetPhysicalDeviceFeatures, {}, device, &self.features);
        self.has_features = true;
    }
    *features = self.features;
}

void get_properties(VkPhysicalDevice device, VkPhysicalDeviceProperties* properties)
{
    vk_physical_device& self = object_of(device);
    const std::lock_guard<process_lock> guard{self.lock};
    if (!self.has_properties) {
        self.properties = {};
        SEND_VK(vk_get_physical_device_properties, vkGetPhysicalDeviceProperties, {}, device,
                &self.properties);
        // The host's driver may know later versions, but their calls have no messages.
        if (self.properties.apiVersion >= VK_API_VERSION_1_1)
            self.properties.apiVersion =
                VK_MAKE_API_VERSION(0, 1, 0, VK_API_VERSION_PATCH(self.properties.apiVersion));
        self.has_properties = true;
    }
    *properties = self.properties;
}

void get_memory_properties(VkPhysicalDevice device, VkPhysicalDeviceMemoryProperties* properties)
{
    vk_physical_device& self = object_of(device);
    const std::lock_guard<process_lock> guard{self.lock};
    if (!self.has_memory) {
        self.memory = {};
        SEND_VK(vk_get_physical_device_memory_properties, vkGetPhysicalDeviceMemoryProperties, {}, device,
                &self.memory);
        self.has_memory = true;
    }
    *properties = self.memory;
}

void get_queue_families(VkPhysicalDevice device, uint32_t* count, VkQueueFamilyProperties* families)
{
    list(object_of(device).queue_families(), count, families);
}

VkResult list_instance_extensions(const char* layer, uint32_t* count, VkExtensionProperties* properties)
{
    if (layer)
        return VK_ERROR_LAYER_NOT_PRESENT;
    return list(instance_extensions(), count, properties);
}

VkResult list_device_extensions(VkPhysicalDevice device, const char* layer, uint32_t* count,
                                VkExtensionProperties* properties)
{
    if (layer)
        return VK_ERROR_LAYER_NOT_PRESENT;
    return list(device_extensions(device), count, properties);
}

VkResult list_instance_layers(uint32_t* count, VkLayerProperties*)
{
    *count = 0;
    return VK_SUCCESS;
}

VkResult list_device_layers(VkPhysicalDevice, uint32_t* count, VkLayerProperties*)
{
    *count = 0;
    return VK_SUCCESS;
}

VkResult create_device(VkPhysicalDevice physical_device, const VkDeviceCreateInfo* info,
                       const VkAllocationCallbacks* allocator, VkDevice* device)
{
    auto made = std::make_unique<vk_device>();
    made->physical_device = &object_of(physical_device);
    for (uint32_t i = 0; i < info->enabledExtensionCount; ++i) {
        if (std::string_view{info->ppEnabledExtensionNames[i]} != "VK_KHR_swapchain")
            return VK_ERROR_EXTENSION_NOT_PRESENT;
        made->has_swapchains = true;
    }
    const char* passed_on[] = {native_buffers};
    VkDeviceCreateInfo own = *info;
    own.enabledLayerCount = 0;
    own.ppEnabledLayerNames = nullptr;
    own.enabledExtensionCount = made->has_swapchains ? 1 : 0;
    own.ppEnabledExtensionNames = made->has_swapchains ? passed_on : nullptr;
    *device = reinterpret_cast<VkDevice>(made.get());
    const VkResult result =
        SEND_VK(vk_create_device, vkCreateDevice, {}, physical_device, &own, allocator, device);
    if (result < 0)
        *device = nullptr;
    else
        made.release();
    return result;
}

void destroy_device(VkDevice device, const VkAllocationCallbacks* allocator)
{
    if (!device)
        return;
    send_now<wire::inbound::vk_destroy_device>(device, allocator);
    delete &object_of(device);
}

void get_queue(VkDevice device, uint32_t family, uint32_t index, VkQueue* queue)
{
    vk_device& self = object_of(device);
    const std::lock_guard<process_lock> guard{self.lock};
    auto& known = self.queues[{family, index}];
    const bool is_new = !known;
    if (is_new) {
        known = std::make_unique<vk_queue>();
        known->device = device;
    }
    *queue = reinterpret_cast<VkQueue>(known.get());
    if (is_new)
        SEND_VK(vk_get_device_queue, vkGetDeviceQueue, {}, device, family, index, queue);
}

/// The loader calls the application's function for what it and the layers report. What the host reports can't
/// get there, so a host that reports nothing is no failure.
VkResult create_debug_callback(VkInstance instance, const VkDebugReportCallbackCreateInfoEXT* info,
                               const VkAllocationCallbacks* allocator, VkDebugReportCallbackEXT* callback)
{
    *callback = new_handle<VkDebugReportCallbackEXT>();
    const VkResult result = SEND_VK(vk_create_debug_report_callback_ext, vkCreateDebugReportCallbackEXT, {},
                                    instance, info, allocator, callback);
    return result == VK_ERROR_DEVICE_LOST ? result : VK_SUCCESS;
}

PFN_vkVoidFunction get_instance_proc_addr(VkInstance, const char* name)
{
    const vk_entry_point* found = find_vk_entry_point(name);
    return found ? found->address : nullptr;
}

PFN_vkVoidFunction get_device_proc_addr(VkDevice device, const char* name)
{
    const vk_entry_point* found = find_vk_entry_point(name);
    if (!found || found->level != vk_level::device)
        return nullptr;
    const vk_entry_points swapchains = vk_swapchain_entry_points();
    const bool of_swapchains = found >= swapchains.first && found < swapchains.first + swapchains.count;
    return of_swapchains && !object_of(device).has_swapchains ? nullptr : found->address;
}

} // namespace

const std::vector<VkQueueFamilyProperties>& vk_physical_device::queue_families()
{
    const std::lock_guard<process_lock> guard{lock};
    if (has_families)
        return families;
    const auto self = reinterpret_cast<VkPhysicalDevice>(this);
    uint32_t count = 0;
    SEND_VK(vk_get_physical_device_queue_family_properties, vkGetPhysicalDeviceQueueFamilyProperties, {},
            self, &count, nullptr);
    constexpr uint32_t most = 64;
    families.resize(std::min(count, most));
    count = static_cast<uint32_t>(families.size());
    if (count)
        SEND_VK(vk_get_physical_device_queue_family_properties, vkGetPhysicalDeviceQueueFamilyProperties, {},
                self, &count, families.data());
    families.resize(std::min<size_t>(count, families.size()));
    has_families = true;
    return families;
}

uint32_t vk_physical_device::presenting_family()
{
    const auto& known = queue_families();
    for (uint32_t i = 0; i < known.size(); ++i)
        if (known[i].queueFlags & VK_QUEUE_GRAPHICS_BIT)
            return i;
    return UINT32_MAX;
}

vk_entry_points vk_instance_entry_points()
{
    static const vk_entry_point all[] = {
        make_vk_entry_point("vkCreateInstance", create_instance),
        make_vk_entry_point("vkDestroyInstance", destroy_instance),
        make_vk_entry_point("vkEnumeratePhysicalDevices", enumerate_physical_devices),
        make_vk_entry_point("vkGetPhysicalDeviceFeatures", get_features),
        make_vk_entry_point("vkGetPhysicalDeviceProperties", get_properties),
        make_vk_entry_point("vkGetPhysicalDeviceMemoryProperties", get_memory_properties),
        make_vk_entry_point("vkGetPhysicalDeviceQueueFamilyProperties", get_queue_families),
        make_vk_entry_point("vkEnumerateInstanceExtensionProperties", list_instance_extensions),
        make_vk_entry_point("vkEnumerateDeviceExtensionProperties", list_device_extensions),
        make_vk_entry_point("vkEnumerateInstanceLayerProperties", list_instance_layers),
        make_vk_entry_point("vkEnumerateDeviceLayerProperties", list_device_layers),
        make_vk_entry_point("vkCreateDevice", create_device),
        make_vk_entry_point("vkDestroyDevice", destroy_device),
        make_vk_entry_point("vkGetDeviceQueue", get_queue),
        make_vk_entry_point("vkCreateDebugReportCallbackEXT", create_debug_callback),
        make_vk_entry_point("vkGetInstanceProcAddr", get_instance_proc_addr),
        make_vk_entry_point("vkGetDeviceProcAddr", get_device_proc_addr),
    };
    return {all, std::size(all)};
}

} // namespace shim

extern "C" {

/// Version 4: entry points of physical devices, and surfaces that are the driver's own objects. Later
/// versions are for drivers of Vulkan 1.1.
SHIM_EXPORT VkResult SHIM_NAME(vk_icdNegotiateLoaderICDInterfaceVersion)(uint32_t* version)
{
    constexpr uint32_t newest = 4, oldest = 2;
    if (*version < oldest)
        return VK_ERROR_INCOMPATIBLE_DRIVER;
    *version = std::min(*version, newest);
    return VK_SUCCESS;
}

SHIM_EXPORT PFN_vkVoidFunction SHIM_NAME(vk_icdGetInstanceProcAddr)(VkInstance instance, const char* name)
{
    return shim::get_instance_proc_addr(instance, name);
}

SHIM_EXPORT PFN_vkVoidFunction SHIM_NAME(vk_icdGetPhysicalDeviceProcAddr)(VkInstance, const char* name)
{
    const shim::vk_entry_point* found = shim::find_vk_entry_point(name);
    return found && found->level == shim::vk_level::physical_device ? found->address : nullptr;
}
}
