// Surfaces of the target's buffer manager.

#include "handlers/egl/egl_common.h"
#include "object_manager/native_windows.h"

namespace {
native_window_map& ubm_windows = *new native_window_map;
} // namespace

void ubm_ubm_surface_create(pid_t pid, tid_t tid, uint64_t device, uint32_t width, uint32_t height,
                            uint32_t format, uint32_t flags, result_of<uint64_t> target_result)
{
    egl_handler call{"ubm_ubm_surface_create", pid, tid, {}};
    call.trace("device", device, "width", width, "height", height, "format", format, "flags", flags);
    uint64_t window = target_result.value;
    Autolock process_lock{pid_to_process_data_map_cs};
    ubm_windows[{pid, window, client_api_ubm}] = {window, width, height};
}
