#pragma once
// Buffers of the window system in target memory, which the library writes finished Vulkan frames to.

#include "shim/windows.h"

#include "wire/wire.h"

namespace shim {

/// One buffer. Its address is the handle that the library knows it by.
class native_buffer
{
public:
    explicit native_buffer(window_size size);
    ~native_buffer();
    native_buffer(const native_buffer&) = delete;
    native_buffer& operator=(const native_buffer&) = delete;

    window_size size() const { return size_; }
    /// Null when there is no memory.
    const uint8_t* pixels() const { return memory_.pixels(); }

private:
    window_size size_;
    frame_memory memory_;
};

/// What the library is told of the buffer with this handle; all zero when there is none. Any thread.
wire::winsys_buffer_vk_data_descriptor describe_native_buffer(uint64_t handle);

/// For a forked child and for tests.
void forget_native_buffers();

} // namespace shim
