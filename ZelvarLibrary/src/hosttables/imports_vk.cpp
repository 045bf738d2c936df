#include "host_tables.h"
#include "sidechannel_log.h"
#include "table_slots.h"

#include <dlfcn.h>

namespace {
enum vk_slot : size_t
{
#define ZELVAR_MESSAGE(id, name, group, function) slot_of_##function,
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
};

// The list has the core first, then what a window system needs, then debug report and native buffers. The
// last two are never exported by a library: they are asked of an instance or device, so their absence here
// says nothing.
constexpr size_t first_window_system = slot_of_vkDestroySurfaceKHR;
constexpr size_t first_unexported = slot_of_vkCreateDebugReportCallbackEXT;
static_assert(first_window_system == 137 && first_unexported - first_window_system == 18);

void report_missing(size_t slot)
{
    if (slot < first_window_system)
        LOG_ERROR("Could not retrieve function pointer for function [%s] ! ", host_vk_names[slot]);
    else if (slot < first_unexported)
        LOG_WARN("Could not retrieve function pointer for function [%s] ! ", host_vk_names[slot]);
}
} // namespace

const char* const host_vk_names[host_vk_count] = {
#define ZELVAR_MESSAGE(id, name, group, function) #function,
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
};

void* imports_vk_init(const char* name, sidechannel_vk_imports* table)
{
    void* handle = ldrOpen(name);
    if (!handle) {
        const char* reason = dlerror();
        LOG_WARN("Could not find Vulkan library! Vulkan can't be supported.");
        LOG_WARN("%s", reason ? reason : "");
        return nullptr;
    }
    if (!ldrSym(handle, host_vk_names[slot_of_vkCreateInstance])) {
        LOG_WARN("Detected kelvo driver does not support Vulkan.");
        return handle;
    }
    for (size_t slot = 0; slot < host_vk_count; slot++) {
        void* function = ldrSym(handle, host_vk_names[slot]);
        if (!function)
            report_missing(slot);
        set_table_slot(table, slot, function);
    }
    return handle;
}

void imports_vk_deinit(sidechannel_vk_imports* table, void* handle)
{
    ldrClose(handle);
    *table = {};
}
