#include "shim/native_buffers.h"

#include "shim/connection.h"
#include "shim/process_lock.h"

#include <mutex>
#include <set>

namespace shim {

namespace {

// Guarded by buffers_lock and never destroyed.
process_lock& buffers_lock = *new process_lock;
std::set<const native_buffer*>& buffers = *new std::set<const native_buffer*>;

/// Four bytes a pixel and nothing compressed, as graphics buffers of phones name it.
constexpr uint64_t plain_format = 1;

} // namespace

native_buffer::native_buffer(window_size size) : size_{size}
{
    memory_.make(size);
    {
        const std::lock_guard<process_lock> guard{buffers_lock};
        buffers.insert(this);
    }
    const uint64_t handle = reinterpret_cast<uintptr_t>(this);
    describe_buffer(handle, describe_native_buffer(handle));
}

native_buffer::~native_buffer()
{
    forget_buffer(reinterpret_cast<uintptr_t>(this));
    const std::lock_guard<process_lock> guard{buffers_lock};
    buffers.erase(this);
}

wire::winsys_buffer_vk_data_descriptor describe_native_buffer(uint64_t handle)
{
    const std::lock_guard<process_lock> guard{buffers_lock};
    const auto* buffer = reinterpret_cast<const native_buffer*>(static_cast<uintptr_t>(handle));
    wire::winsys_buffer_vk_data_descriptor found{};
    if (!buffers.count(buffer))
        return found;
    found.framebuffer = reinterpret_cast<uintptr_t>(buffer->pixels());
    found.format = plain_format;
    found.length = frame_memory::length(buffer->size());
    return found; // mapped as long as it lives, so there is nothing to unmap
}

void forget_native_buffers()
{
    buffers_lock.revive();
    buffers.clear();
}

} // namespace shim
