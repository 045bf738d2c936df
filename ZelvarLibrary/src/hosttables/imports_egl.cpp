#include "host_tables.h"
#include "sidechannel_log.h"
#include "table_slots.h"

#include <dlfcn.h>

namespace {
enum egl_slot : size_t
{
#define ZELVAR_HOST_EGL(name) slot_of_##name,
#include "egl.inc"
#undef ZELVAR_HOST_EGL
};

/// Functions that nothing works without: the core, and the two that frames are shared through.
constexpr bool is_expected(size_t slot)
{
    return slot <= slot_of_eglCopyBuffers || slot == slot_of_eglCreateImageKHR ||
           slot == slot_of_eglDestroyImageKHR;
}
static_assert(slot_of_eglCopyBuffers + 1 == 33);

/// Exported by the library itself: not extensions, so `eglGetProcAddress` need not know them.
constexpr bool is_exported_only(size_t slot)
{
    return slot == slot_of_eglGetProcAddress || slot == slot_of_wl_egl_window_create ||
           slot == slot_of_wl_egl_window_destroy;
}
} // namespace

const char* const host_egl_names[host_egl_count] = {
#define ZELVAR_HOST_EGL(name) #name,
#include "egl.inc"
#undef ZELVAR_HOST_EGL
};

void* imports_egl_init(const char* name, sidechannel_egl_imports* table)
{
    LOG_INFO("Loading: %s", name);
    void* handle = ldrOpen(name);
    if (!handle) {
        const char* reason = dlerror();
        LOG_FATAL("Could not find EGL library! a crash will happen should an EGL call request arrive.");
        LOG_FATAL("%s", reason ? reason : "");
        return nullptr;
    }
    auto get_proc_address =
        reinterpret_cast<host_get_proc_address>(ldrSym(handle, host_egl_names[slot_of_eglGetProcAddress]));
    for (size_t slot = 0; slot < host_egl_count; slot++) {
        void* function = nullptr;
        if (is_exported_only(slot))
            function = ldrSym(handle, host_egl_names[slot]);
        else if (get_proc_address)
            function = reinterpret_cast<void*>(get_proc_address(host_egl_names[slot]));
        if (!function && is_expected(slot))
            LOG_ALWAYS("WARN", "Could not retrieve function pointer for function [%s] ! ",
                       host_egl_names[slot]);
        set_table_slot(table, slot, function);
    }
    return handle;
}

void imports_egl_deinit(sidechannel_egl_imports* table, void* handle)
{
    ldrClose(handle);
    *table = {};
}
