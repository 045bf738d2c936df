#include "host_tables.h"
#include "sidechannel_log.h"
#include "table_slots.h"

#include <dlfcn.h>

const char* const host_gles_names[host_gles_count] = {
    "GLES2_GetSetRequestEnumForName",
    "GLES2_Set",
#define ZELVAR_MESSAGE(id, name, group, function) #function,
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
};

void* imports_gles_init(const char* name, sidechannel_gles_imports* table,
                        host_get_proc_address get_proc_address)
{
    // Opened to see that it is there, and kept so that its functions stay loaded. They come from EGL alone,
    // which knows the one implementation that its contexts work with.
    void* handle = ldrOpen(name);
    if (!handle) {
        const char* reason = dlerror();
        LOG_FATAL("Could not find OpenGL ES library! a crash will happen should a GLES call request arrive.");
        LOG_FATAL("%s", reason ? reason : "");
        return nullptr;
    }
    for (size_t slot = 0; slot < host_gles_count; slot++) {
        void* function = nullptr;
        if (get_proc_address)
            function = reinterpret_cast<void*>(get_proc_address(host_gles_names[slot]));
        if (!function && slot >= host_gles_optional_count)
            LOG_WARN("Could not retrieve function pointer for function [%s] !", host_gles_names[slot]);
        set_table_slot(table, slot, function);
    }
    return handle;
}

void imports_gles_deinit(sidechannel_gles_imports* table, void* handle)
{
    ldrClose(handle);
    *table = {};
}
