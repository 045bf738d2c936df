#pragma once
// What a host's Vulkan has to say: it is printed, since the target's own callbacks can't be called from here.

#include "handlers/vk/vk_handler.h"

/// Prints a message of the host at WARN. Any thread of the driver's.
VKAPI_ATTR VkBool32 VKAPI_CALL vk_print_debug_report(VkDebugReportFlagsEXT flags,
                                                     VkDebugReportObjectTypeEXT type, uint64_t object,
                                                     size_t location, int32_t code, const char* layer,
                                                     const char* message, void* user_data);

/// An instance's extension function, which no library exports.
template <class F>
F vk_instance_function(VkInstance host, const char* name)
{
    auto get = zelvar_imports_get_vk_ptrs()->vkGetInstanceProcAddr;
    return get ? reinterpret_cast<F>(get(host, name)) : nullptr;
}
