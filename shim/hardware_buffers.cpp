#include "shim/hardware_buffers.h"

#include "shim/exports.h"
#include "shim/log.h"
#include "shim/native_buffers.h"
#include "shim/process_lock.h"
#include "shim/texts.h"
#include "shim/thread_state.h"

#include "wire/api.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <set>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// What the service knows of a format: bytes a pixel and how OpenGL ES names it.
struct buffer_format
{
    uint32_t number;
    uint8_t bytes;
    uint8_t remove_alpha;
    uint32_t format;
    uint32_t type;
};

constexpr buffer_format formats[] = {
    {1, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE},       // R8G8B8A8
    {2, 4, 1, GL_RGBA, GL_UNSIGNED_BYTE},       // R8G8B8X8
    {3, 3, 0, GL_RGB, GL_UNSIGNED_BYTE},        // R8G8B8
    {4, 2, 0, GL_RGB, GL_UNSIGNED_SHORT_5_6_5}, // R5G6B5
    {5, 4, 0, GL_BGRA_EXT, GL_UNSIGNED_BYTE},   // B8G8R8A8
};

const buffer_format* find_format(uint32_t number)
{
    for (const buffer_format& each : formats)
        if (each.number == number)
            return &each;
    return nullptr;
}

/// Rows begin at multiples of this, as those of real services do.
constexpr uint32_t row_step = 16;
constexpr uint32_t largest_side = 16384;

} // namespace

struct AHardwareBuffer
{
    AHardwareBuffer(const AHardwareBuffer_Desc& description, const buffer_format& its_format)
        : desc{description}, format{its_format}, memory{{description.stride, description.height}}
    {
    }

    const AHardwareBuffer_Desc desc;
    const buffer_format& format;
    const shim::native_buffer memory;
    // Guarded by buffers_lock.
    uint32_t references = 1;
    uint32_t uses = 0; // of the library; each is a reference as well
};

namespace shim {

namespace {

// Guarded by buffers_lock and never destroyed.
process_lock& buffers_lock = *new process_lock;
std::set<const AHardwareBuffer*>& buffers = *new std::set<const AHardwareBuffer*>;
std::map<uint64_t, size_t>& mappings = *new std::map<uint64_t, size_t>; // of descriptors: address to bytes

AHardwareBuffer* find_buffer(uint64_t handle)
{
    auto* buffer = reinterpret_cast<AHardwareBuffer*>(static_cast<uintptr_t>(handle));
    return buffers.count(buffer) ? buffer : nullptr;
}

void drop_reference(AHardwareBuffer* buffer)
{
    if (--buffer->references != 0)
        return;
    buffers.erase(buffer);
    delete buffer;
}

bool can_be_allocated(const AHardwareBuffer_Desc* wanted)
{
    return wanted && wanted->width && wanted->height && wanted->width <= largest_side &&
           wanted->height <= largest_side && wanted->layers == 1 && find_format(wanted->format);
}

/// Memory behind a file descriptor, as devices hand it from process to process.
uint64_t map_file(uint64_t handle, size_t size)
{
    const int file = static_cast<int>(handle);
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED)
        memory = mmap(nullptr, size, PROT_READ, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) {
        say(gate::error, "The %zu bytes of buffer %d can't be mapped: %s.", size, file, std::strerror(errno));
        return 0;
    }
    const auto address = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(memory));
    mappings[address] = size;
    return address;
}

} // namespace

bool target_is_android()
{
    const char* system = std::getenv("ZELVAR_TARGET_OS");
    return system && std::strcmp(system, "android") == 0;
}

const char* with_android_extensions(const char* extensions)
{
    return target_is_android()
               ? text_with(extensions, "EGL_ANDROID_image_native_buffer EGL_ANDROID_get_native_client_buffer")
               : extensions;
}

wire::winsys_buffer_object_descriptor begin_buffer_use(uint64_t handle, uint32_t kind)
{
    const std::lock_guard<process_lock> guard{buffers_lock};
    wire::winsys_buffer_object_descriptor shape{};
    AHardwareBuffer* buffer = kind == EGL_NATIVE_BUFFER_ANDROID ? find_buffer(handle) : nullptr;
    if (!buffer) {
        say(gate::error, "The library asks for buffer %#llx of kind %#x, which there isn't.",
            static_cast<unsigned long long>(handle), kind);
        return shape;
    }
    ++buffer->references;
    ++buffer->uses;
    shape.source_kind = kind;
    shape.format = buffer->format.format;
    shape.type = buffer->format.type;
    shape.width = buffer->desc.width;
    shape.height = buffer->desc.height;
    shape.stride = buffer->desc.stride * buffer->format.bytes;
    shape.remove_alpha = buffer->format.remove_alpha;
    shape.bits_per_pixel = static_cast<uint8_t>(buffer->format.bytes * 8);
    return shape;
}

bool end_buffer_use(uint64_t handle)
{
    const std::lock_guard<process_lock> guard{buffers_lock};
    AHardwareBuffer* buffer = find_buffer(handle);
    if (!buffer || buffer->uses == 0)
        return false;
    --buffer->uses;
    drop_reference(buffer);
    return true;
}

wire::winsys_buffer_object_descriptor map_buffer(uint64_t handle,
                                                 wire::winsys_buffer_object_descriptor descriptor)
{
    const std::lock_guard<process_lock> guard{buffers_lock};
    const uint64_t size = descriptor.get_buffer_size();
    if (descriptor.source_kind == EGL_LINUX_DMA_BUF_EXT) {
        if (size != 0 && size <= SIZE_MAX)
            descriptor.pixels = map_file(handle, static_cast<size_t>(size));
        descriptor.mapped = descriptor.pixels;
    } else if (const AHardwareBuffer* buffer = find_buffer(handle)) {
        // Mapped as long as it lives, so there is nothing to unmap.
        descriptor.pixels = reinterpret_cast<uintptr_t>(buffer->memory.pixels());
    }
    return descriptor;
}

bool unmap_buffer(uint64_t address)
{
    const std::lock_guard<process_lock> guard{buffers_lock};
    const auto mapped = mappings.find(address);
    if (mapped == mappings.end())
        return false;
    munmap(reinterpret_cast<void*>(static_cast<uintptr_t>(address)), mapped->second);
    mappings.erase(mapped);
    return true;
}

void forget_hardware_buffers()
{
    buffers_lock.revive();
    buffers.clear();
    mappings.clear();
}

} // namespace shim

using shim::buffers;
using shim::buffers_lock;
using guard_type = std::lock_guard<shim::process_lock>;

extern "C" {

SHIM_EXPORT int SHIM_NAME(AHardwareBuffer_isSupported)(const AHardwareBuffer_Desc* wanted)
{
    return shim::can_be_allocated(wanted);
}

SHIM_EXPORT int SHIM_NAME(AHardwareBuffer_allocate)(const AHardwareBuffer_Desc* wanted, AHardwareBuffer** out)
{
    if (!out || !shim::can_be_allocated(wanted))
        return -EINVAL;
    AHardwareBuffer_Desc desc = *wanted;
    desc.stride = (desc.width + row_step - 1) / row_step * row_step;
    auto* buffer = new (std::nothrow) AHardwareBuffer{desc, *find_format(desc.format)};
    if (!buffer || !buffer->memory.pixels()) {
        delete buffer;
        return -ENOMEM;
    }
    const guard_type guard{buffers_lock};
    buffers.insert(buffer);
    *out = buffer;
    return 0;
}

SHIM_EXPORT void SHIM_NAME(AHardwareBuffer_acquire)(AHardwareBuffer* buffer)
{
    const guard_type guard{buffers_lock};
    ++buffer->references;
}

SHIM_EXPORT void SHIM_NAME(AHardwareBuffer_release)(AHardwareBuffer* buffer)
{
    const guard_type guard{buffers_lock};
    shim::drop_reference(buffer);
}

SHIM_EXPORT void SHIM_NAME(AHardwareBuffer_describe)(const AHardwareBuffer* buffer, AHardwareBuffer_Desc* out)
{
    *out = buffer->desc;
}

/// The memory is the processor's all the time, but calls of this thread that still wait come before it.
SHIM_EXPORT int SHIM_NAME(AHardwareBuffer_lock)(AHardwareBuffer* buffer, uint64_t, int32_t, const void*,
                                                void** address)
{
    if (!buffer || !address)
        return -EINVAL;
    if (shim::thread_state* self = shim::this_thread())
        self->messages.flush();
    *address = const_cast<uint8_t*>(buffer->memory.pixels());
    return 0;
}

SHIM_EXPORT int SHIM_NAME(AHardwareBuffer_unlock)(AHardwareBuffer* buffer, int32_t* fence)
{
    if (fence)
        *fence = -1;
    return buffer ? 0 : -EINVAL;
}

SHIM_EXPORT EGLClientBuffer SHIM_NAME(eglGetNativeClientBufferANDROID)(const struct AHardwareBuffer* buffer)
{
    return const_cast<AHardwareBuffer*>(buffer);
}

} // extern "C"

namespace shim {

const named_entry_point android_entry_points[] = {
    {"eglGetNativeClientBufferANDROID",
     reinterpret_cast<entry_point>(&SHIM_NAME(eglGetNativeClientBufferANDROID))},
    {nullptr, nullptr},
};

} // namespace shim
