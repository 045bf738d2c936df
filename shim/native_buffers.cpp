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

wire::winsys_buffer_vk_data_descriptor description_of(const native_buffer& buffer)
{
    wire::winsys_buffer_vk_data_descriptor description{};
    description.framebuffer = reinterpret_cast<uintptr_t>(buffer.pixels());
    description.format = plain_format;
    description.length = frame_memory::length(buffer.size());
    return description; // mapped as long as it lives, so there is nothing to unmap
}

} // namespace

native_buffer::native_buffer(window_size size) : size_{size}
{
    memory_.make(size);
    const std::lock_guard<process_lock> guard{buffers_lock};
    buffers.insert(this);
    describe_buffer(reinterpret_cast<uintptr_t>(this), description_of(*this));
}

native_buffer::~native_buffer()
{
    const std::lock_guard<process_lock> guard{buffers_lock};
    forget_buffer(reinterpret_cast<uintptr_t>(this));
    buffers.erase(this);
}

wire::winsys_buffer_vk_data_descriptor describe_native_buffer(uint64_t handle)
{
    const std::lock_guard<process_lock> guard{buffers_lock};
    const auto* buffer = reinterpret_cast<const native_buffer*>(static_cast<uintptr_t>(handle));
    return buffers.count(buffer) ? description_of(*buffer) : wire::winsys_buffer_vk_data_descriptor{};
}

void forget_native_buffers()
{
    buffers_lock.revive();
    buffers.clear();
}

} // namespace shim
