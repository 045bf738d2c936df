#pragma once
// Messages of Vulkan calls on their way to the library.
//
// Vulkan objects belong to no thread: an application may record the first half of a command buffer on one
// thread and the second half on another, with nothing between the two but a mutex of its own that the shim
// can't see. So calls that wait for company don't wait in their threads, as those of OpenGL ES do, but in one
// batch of the process. Its order is the order in which the calls took the stream's lock, and whatever an
// application puts in order by its own means is in order there. Every call whose result counts sends what
// waits before it.

#include "shim/thread_state.h"

#include <cstring>
#include <optional>
#include <vulkan/vulkan.h>

namespace shim {

/// What came back for a call.
struct vk_answer
{
    return_value value;
    bool delivered = false; // false when there is no device, or the message was too long for it

    /// The call's result: success unless the library sent something else.
    VkResult result() const
    {
        if (!delivered)
            return VK_ERROR_DEVICE_LOST;
        return value.size ? static_cast<VkResult>(static_cast<int32_t>(value.value)) : VK_SUCCESS;
    }
};

/// One message, from its header to its answer. Holds the stream's lock as long as it lives, so a thread has
/// one at a time.
class vk_message
{
public:
    explicit vk_message(uint32_t type);
    ~vk_message();
    vk_message(const vk_message&) = delete;
    vk_message& operator=(const vk_message&) = delete;

    /// The next `count` bytes of the message; null when there is no device or it gets too long.
    uint8_t* room(uint64_t count)
    {
        if (count > static_cast<uint64_t>(end_ - at_) && !grow(count)) [[unlikely]]
            return nullptr;
        uint8_t* here = at_;
        at_ += count;
        return here;
    }

    void bytes(const void* from, uint64_t count)
    {
        if (uint8_t* to = count ? room(count) : nullptr)
            std::memcpy(to, from, count);
    }

    /// Sends the message behind all that wait. Exactly one of `send` and `leave` ends a message.
    vk_answer send();

    /// The same for what finishes a frame, whose answer may be left for later if `frame` says who takes it.
    /// Without an answer its memory has to stay as it is until the frame has been answered.
    std::optional<vk_answer> send_frame(const late_frame& frame);

    /// Ends a message whose answer can wait: it stays in the batch if batching is on, with success as its
    /// answer. Should it fail, its result is that of the call that sends the batch.
    vk_answer leave();

private:
    bool grow(uint64_t count);
    void finish();
    void send_waiting();
    outgoing complete(uint8_t* base, uint32_t length, uint32_t commands);
    vk_answer send_block(uint8_t* base, uint32_t length, uint32_t commands);
    uint32_t length() const { return static_cast<uint32_t>(at_ - begin_); }

    thread_state* self_;
    uint32_t type_;
    uint8_t* begin_ = nullptr;
    uint8_t* at_ = nullptr;
    uint8_t* end_ = nullptr;
    bool long_ = false;     // in memory of its own
    bool too_long_ = false; // for the library
};

/// Forgets what waits. For a forked child and for tests.
void forget_vk_stream();

} // namespace shim
