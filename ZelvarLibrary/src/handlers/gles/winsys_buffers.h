#pragma once
// The pixels of native buffers, which live in target memory, and the service textures that stand for them on
// the host.

#include "data_model/zelvar_data_model.h"
#include "object_manager/zelvar_object_manager.h"

#include <cstdlib>
#include <memory>

struct free_with_malloc
{
    void operator()(uint8_t* block) const { std::free(block); }
};
using malloc_block = std::unique_ptr<uint8_t, free_with_malloc>;

/// What a buffer may have, in bytes: more is a target's mistake.
inline constexpr uint64_t largest_winsys_buffer = uint64_t{1} << 30;

/// Reads a buffer of the target: height times stride bytes from malloc, or null.
uint8_t* zelvar_helpers_read_winsys_buffer_pixels(pid_t pid, tid_t tid, uint64_t buffer,
                                                  const wire::winsys_buffer_object_descriptor& descriptor);

/// Writes rows of `row` bytes, which stand `pitch` bytes apart in `pixels`, into a buffer of the target. What
/// lies between the buffer's own rows stays as it is.
bool write_winsys_buffer_pixels(pid_t pid, tid_t tid, uint64_t buffer,
                                const wire::winsys_buffer_object_descriptor& descriptor,
                                const uint8_t* pixels, uint64_t pitch, uint64_t row, uint32_t height);

/// Writes a buffer's pixels into its service texture on the current host context, whose pixel store state is
/// `context`'s.
bool update_service_texture(const _zelvar_context_data& context, uint32_t texture,
                            const wire::winsys_buffer_object_descriptor& descriptor, const uint8_t* pixels);

/// Reads a buffer and writes it into the service texture of its image; false when the texture keeps its
/// pixels.
bool refresh_service_texture(pid_t pid, tid_t tid, const _zelvar_context_data& context,
                             const _zelvar_object_manager_egl_image_data& image);
