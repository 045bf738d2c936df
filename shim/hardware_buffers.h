#pragma once
// Buffers of a phone's buffer service: applications make them with the functions of libnativewindow.so and
// EGL images of them with EGL_NATIVE_BUFFER_ANDROID. The library asks for their shape and their memory while
// a call runs. Buffers of other devices come as file descriptors, which are mapped while they are looked at.

#include "shim/proc_address.h"

#include "wire/wire.h"

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdint>

extern "C" {

/// As the NDK publishes it.
typedef struct AHardwareBuffer_Desc
{
    uint32_t width;
    uint32_t height;
    uint32_t layers;
    uint32_t format;
    uint64_t usage;
    uint32_t stride; // pixels
    uint32_t reserved_0;
    uint64_t reserved_1;
} AHardwareBuffer_Desc;
}

namespace shim {

/// Whether the target is to be taken for a phone (ZELVAR_TARGET_OS=android in the environment).
bool target_is_android();

/// eglGetNativeClientBufferANDROID.
extern const named_entry_point android_entry_points[];
/// The library's EGL extensions with those of a phone's buffers behind them, on a phone; null stays null.
const char* with_android_extensions(const char* extensions);

// What the library asks. The process-wide lock is held.

/// All zero when there is no such buffer. The buffer lives at least until the use ends.
wire::winsys_buffer_object_descriptor begin_buffer_use(uint64_t handle, uint32_t kind);
/// False when the buffer isn't in use.
bool end_buffer_use(uint64_t handle);
/// The same descriptor with the pixels' address; unchanged when there is no such buffer.
wire::winsys_buffer_object_descriptor map_buffer(uint64_t handle,
                                                 wire::winsys_buffer_object_descriptor descriptor);
/// False when nothing is mapped there.
bool unmap_buffer(uint64_t address);

/// For a forked child and for tests.
void forget_hardware_buffers();

} // namespace shim
