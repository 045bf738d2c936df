// The registry's own window map. Nothing fills it: the size of a window surface comes from the target.

#include "object_manager/native_windows.h"

#include "object_manager/zelvar_object_manager.h"

namespace {
native_window_map& registry_windows = *new native_window_map;
}

bool zelvar_object_manager_get_target_native_window_properties(pid_t pid, uint64_t window, uint32_t* width,
                                                               uint32_t* height)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto found = registry_windows.find({pid, window, client_api_wayland_egl});
    if (found == registry_windows.end())
        return false;
    *width = found->second.width;
    *height = found->second.height;
    return true;
}
