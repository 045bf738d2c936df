#pragma once
// Read-back of frames from the host GPU, for swaps and for windowless transfers. Runs on the worker whose
// host context is current.

#include "data_model/zelvar_data_model.h"
#include "hosttables/host_tables.h"

#include <cstdint>

/// Reads `width` x `height` pixels of the current read framebuffer from its origin. On success `*pixels` is a
/// malloc block of width * height * bytes_per_pixel that the caller owns. A format that the host refuses is
/// read as RGBA8 and converted. The context's pack state is as before afterwards. `covered` says that the
/// framebuffer is at least as large as the frame, so that no pixel keeps the zero it begins with. With
/// `blue_first` the pixels of RGBA8 may come as B, G, R, A, which it tells.
bool zelvar_helpers_read_pixels_from_host_GPU(uint8_t** pixels, uint32_t width, uint32_t height,
                                              uint32_t bytes_per_pixel, int32_t host_major_version,
                                              const current_pack_params& pack_params, uint32_t format,
                                              uint32_t type, bool covered = false,
                                              bool* blue_first = nullptr);
/// Keeps a delivered block of `size` bytes for this thread's next read: fresh pages cost more than the read.
/// Takes ownership; null is allowed.
void zelvar_helpers_reuse_pixels(uint8_t* pixels, uint64_t size);
/// Sets every pack parameter that differs from the default to it.
void zelvar_helpers_reset_pack_params(const sidechannel_gles_imports* gles,
                                      const current_pack_params& pack_params, bool is_gles3);
void zelvar_helpers_set_pack_params_value_back(const sidechannel_gles_imports* gles,
                                               const current_pack_params& pack_params, bool is_gles3);
/// A major of 0 asks the host's version string.
bool zelvar_helpers_is_gles3_context(const sidechannel_gles_imports* gles, int32_t major);
