#pragma once
// What stands behind EGL images on the host: kinds, service textures, and where parked frames are described.

#include "wire/wire.h"
#include "zelvar_types.h"

#include <cstdint>

struct zelvar_host_pixel_container;

/// Whether an image of this kind shows memory of the target, through a texture in the service context.
bool is_native_image_kind(uint32_t target);

/// Deletes a texture of the service context, which is current, and gives its name free.
void zelvar_object_manager_delete_service_texture(pid_t pid, uint32_t texture);

/// Tells the target that a native buffer is no longer used.
void zelvar_object_manager_end_native_buffer_use(pid_t pid, tid_t tid, uint64_t buffer);

/// The model knows a process by 24 bits; parked frames go by that number.
inline constexpr pid_t model_pid_mask = 0xffffff;

/// The whole description, of a frame whose format is known.
void zelvar_object_manager_set_host_pixel_container_description(
    zelvar_host_pixel_container* container, const wire::winsys_buffer_object_descriptor& description);
