// The surfaces of a target process; each stands on a host pbuffer.
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

namespace {
constexpr uint32_t label_surface =
    1; // pixel containers of surfaces; those of framebuffer objects have another

/// Copies one thing out of a surface's record.
template <class Read>
bool read_surface(pid_t pid, uint64_t target_surface, Read read)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    auto found = process->surfaces.find(target_surface);
    if (found == process->surfaces.end()) {
        LOG_ERROR("Could not find surface [%16ld] of process id [%d]", target_surface, pid);
        return false;
    }
    read(found->second);
    return true;
}
} // namespace

bool zelvar_object_manager_add_surface(pid_t pid, EGLSurface host_surface, uint64_t target_surface,
                                       zelvar_surface_type type, uint64_t target_config,
                                       uint64_t native_window, uint64_t reserved, uint16_t width,
                                       uint16_t height)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    auto [entry, added] = process->surfaces.try_emplace(target_surface);
    if (!added) {
        LOG_ERROR("Cannot add surface object to object manager - object [%16ld] is already known!",
                  target_surface);
        return false;
    }
    entry->second = {target_config, host_surface, type, native_window, reserved, width, height};
    return true;
}

bool zelvar_object_manager_delete_target_surface(pid_t pid, uint64_t target_surface)
{
    bool erased = false;
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        auto* process = registry::find_process_or_log(pid);
        erased = process && process->surfaces.erase(target_surface) != 0;
        if (erased)
            LOG_INFO("Surface [%16ld] of process [%d] is no longer considered valid.", target_surface, pid);
        else if (process)
            LOG_ERROR("Could not find surface [%16ld] of process id [%d]", target_surface, pid);
    }
    // By the plain pid: a container that was filled under a masked one stays.
    zelvar_object_manager_delete_host_pixel_container_data(pid, label_surface, target_surface, 0);
    return erased;
}

bool zelvar_object_manager_get_host_surface(pid_t pid, uint64_t target_surface, EGLSurface* host)
{
    if (target_surface == 0) {
        *host = EGL_NO_SURFACE;
        return true;
    }
    return read_surface(pid, target_surface, [host](const auto& surface) { *host = surface.host_surface; });
}

bool zelvar_object_manager_get_target_surface(pid_t pid, EGLSurface host, uint64_t* target)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    for (const auto& [key, surface] : process->surfaces) {
        if (surface.host_surface == host) {
            *target = key;
            return true;
        }
    }
    LOG_ERROR("Could not find target-side surface for host-side surface [%16ld] for process id [%08x]",
              reinterpret_cast<intptr_t>(host), static_cast<unsigned>(pid));
    return false;
}

bool zelvar_object_manager_get_host_surface_properties(pid_t pid, uint64_t target_surface, uint16_t* width,
                                                       uint16_t* height)
{
    return read_surface(pid, target_surface, [=](const auto& surface) {
        *width = surface.width;
        *height = surface.height;
    });
}

bool zelvar_object_manager_get_surface_config(pid_t pid, uint64_t target_surface, uint64_t* target_config)
{
    if (target_surface == 0)
        return false;
    return read_surface(pid, target_surface,
                        [=](const auto& surface) { *target_config = surface.target_config; });
}

bool zelvar_object_manager_get_surface_type(pid_t pid, uint64_t target_surface, zelvar_surface_type* type)
{
    return read_surface(pid, target_surface, [=](const auto& surface) { *type = surface.type; });
}
