// What the road of a frame remembers: whether the draw surface changed, the frame buffer's size, the frame
// buffers already seen, and frames that wait for the GPU model.
#include "object_manager/images.h"
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

#include <atomic>
#include <cstdlib>

namespace {
constexpr uint32_t label_surface = 1;

// Read at every swap without a lock.
std::atomic<bool> draw_surface_changed{true};
/// Width in the upper half, so that both are seen together.
std::atomic<uint64_t> framebuffer_resolution{0};

_target_egl_surface_descriptor key_of(pid_t pid, uint32_t label, uint64_t target_surface,
                                      uint64_t target_context)
{
    ZELVAR_ASSERT_TEXT(label != label_surface || target_context == 0,
                       "target_context == (uint64_t) ((EGLContext)0)");
    return {pid, label, target_surface, target_context};
}

void set_format(wire::winsys_buffer_object_descriptor& description, uint32_t format, uint32_t type)
{
    description.format = format;
    description.type = type;
    description.remove_alpha = 0;
}

void set_format_of_bpp(wire::winsys_buffer_object_descriptor& description, uint32_t bpp)
{
    constexpr uint32_t bgr = 0x80e0; // GL_BGR_EXT, which OpenGL ES has no name for
    switch (bpp) {
    case 32:
        return set_format(description, GL_RGBA, GL_UNSIGNED_BYTE);
    case 24:
        return set_format(description, bgr, GL_UNSIGNED_BYTE);
    case 16:
        return set_format(description, GL_RGB, GL_UNSIGNED_SHORT_5_6_5);
    case 8:
        return set_format(description, GL_RED, GL_UNSIGNED_BYTE);
    default:
        LOG_WARN("Unhandled config_bpp value: %i", bpp);
    }
}
} // namespace

bool zelvar_object_manager_check_tpak_encode_allowed(pid_t pid, uint64_t framebuffer)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    return process && !process->cached_framebuffers.insert(framebuffer).second;
}

void zelvar_object_manager_clear_cached_framebuffer(pid_t pid)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    if (auto* process = registry::find_process(pid))
        process->cached_framebuffers.clear();
}

bool zelvar_object_manager_has_draw_surface_been_changed_since_last_swap()
{
    return draw_surface_changed.load(std::memory_order_relaxed);
}

void zelvar_object_manager_reset_draw_surface_changed_flag()
{
    draw_surface_changed.store(false, std::memory_order_relaxed);
}

void zelvar_object_manager_set_draw_surface_changed_flag()
{
    draw_surface_changed.store(true, std::memory_order_relaxed);
}

void zelvar_object_manager_framebuffer_resolution_set(uint32_t width, uint32_t height)
{
    framebuffer_resolution.store(uint64_t{width} << 32 | height, std::memory_order_relaxed);
}

void zelvar_object_manager_framebuffer_resolution_get(uint32_t* width, uint32_t* height)
{
    uint64_t both = framebuffer_resolution.load(std::memory_order_relaxed);
    *width = static_cast<uint32_t>(both >> 32);
    *height = static_cast<uint32_t>(both);
}

zelvar_host_pixel_container* zelvar_object_manager_get_host_pixel_container(pid_t pid, uint32_t label,
                                                                            uint64_t target_surface,
                                                                            uint64_t target_context,
                                                                            bool create)
{
    auto key = key_of(pid, label, target_surface, target_context);
    Autolock pixel_lock{host_pixel_map_cs};
    auto found = host_pixel_map.find(key);
    if (found != host_pixel_map.end())
        return found->second.get();
    if (!create)
        return nullptr;
    return host_pixel_map.emplace(key, std::make_unique<zelvar_host_pixel_container>()).first->second.get();
}

void zelvar_object_manager_delete_host_pixel_container_data(pid_t pid, uint32_t label,
                                                            uint64_t target_surface, uint64_t target_context)
{
    auto key = key_of(pid, label, target_surface, target_context);
    Autolock pixel_lock{host_pixel_map_cs};
    auto found = host_pixel_map.find(key);
    if (found == host_pixel_map.end())
        return;
    std::free(found->second->pixels);
    host_pixel_map.erase(found);
}

void zelvar_object_manager_set_host_pixel_container_data(zelvar_host_pixel_container* container,
                                                         uint8_t* pixels, uint64_t size)
{
    Autolock pixel_lock{host_pixel_map_cs};
    if (container->pixels) {
        LOG_INFO("Free host pixels [%#lx]", reinterpret_cast<uintptr_t>(container->pixels));
        std::free(container->pixels);
    }
    container->pixels = pixels;
    container->size = size;
    container->obsolete = false;
}

void zelvar_object_manager_set_host_pixel_container_desc(zelvar_host_pixel_container* container, uint32_t bpp)
{
    Autolock pixel_lock{host_pixel_map_cs};
    auto& description = container->description;
    if (bpp == 0) {
        description.bits_per_pixel = 32;
        LOG_WARN("Force set %dbpp for host_pixel_container", description.bits_per_pixel);
        return;
    }
    description.bits_per_pixel = static_cast<uint8_t>(bpp);
    if (description.format == 0 && description.type == 0)
        set_format_of_bpp(description, bpp);
}

void zelvar_object_manager_set_host_pixel_container_description(
    zelvar_host_pixel_container* container, const wire::winsys_buffer_object_descriptor& description)
{
    Autolock pixel_lock{host_pixel_map_cs};
    container->description = description;
}

void zelvar_object_manager_set_host_pixel_container_width(zelvar_host_pixel_container* container,
                                                          uint32_t value)
{
    Autolock pixel_lock{host_pixel_map_cs};
    container->description.width = value;
}

void zelvar_object_manager_set_host_pixel_container_height(zelvar_host_pixel_container* container,
                                                           uint32_t value)
{
    Autolock pixel_lock{host_pixel_map_cs};
    container->description.height = value;
}

void zelvar_object_manager_set_host_pixel_container_stride(zelvar_host_pixel_container* container,
                                                           uint32_t value)
{
    Autolock pixel_lock{host_pixel_map_cs};
    container->description.stride = value;
}
