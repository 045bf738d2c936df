#pragma once
// The shim's road to the device: it writes messages from target memory and reads answers into target memory.

#include "wire/wire.h"

#include <cstdint>

namespace shim {

/// A place in a file that stays open.
struct file_place
{
    int file = -1; // -1: none
    uint64_t offset = 0;
};

/// One connection of a target process. All calls come with the shim's process-wide lock held.
class transport
{
public:
    virtual ~transport() = default;

    /// Memory for messages that the device reaches by plain copy; messages are built here. Lives as long as
    /// the transport. `window_size()` is at least 1 MiB.
    virtual uint8_t* window() = 0;
    virtual uint64_t window_size() = 0;

    /// More such memory, for blocks of any use. Null when there is none.
    virtual uint8_t* area() { return nullptr; }
    virtual uint64_t area_size() { return 0; }

    /// Where the area lies in a file that others may map too.
    virtual file_place area_file() { return {}; }

    /// Writes `length` bytes at `message` (anywhere in this process) to the device, then reads up to
    /// `answer_capacity` bytes of the answer into `answer`; returns the bytes read. One exchange, one
    /// wake-up. Returns -1 when the device is gone.
    virtual int32_t exchange(const void* message, uint32_t length, void* answer,
                             uint32_t answer_capacity) = 0;

    /// Writes a message, which must stay as it is until it has been answered. `read` takes the answers, in
    /// the order of the messages; two of one thread may be out at a time, and no `exchange` may begin
    /// meanwhile but to confirm. False when this transport can't do that, and nothing has been sent.
    virtual bool post([[maybe_unused]] const void* message, [[maybe_unused]] uint32_t length)
    {
        return false;
    }

    /// Whether the device can take memory that lies ready when the library asks for some.
    virtual bool takes_offers() const { return false; }
    /// Before an `exchange`: memory of `size` bytes for a request of exactly that many.
    virtual void offer_block([[maybe_unused]] void* block, [[maybe_unused]] uint32_t size) {}
    /// After the exchange that an offer was made for; withdraws an offer that wasn't taken.
    virtual bool offer_was_taken() { return false; }

    /// Tells beforehand what the library will be answered when it asks for a buffer, or that it is no more.
    /// One thread at a time, with or without the process-wide lock. A device that keeps no such list asks
    /// each time.
    virtual void describe_buffer([[maybe_unused]] uint64_t handle,
                                 [[maybe_unused]] const wire::winsys_buffer_vk_data_descriptor& description)
    {
    }
    virtual void forget_buffer([[maybe_unused]] uint64_t handle) {}

    /// Reads more of an answer. -1 when the device is gone.
    virtual int32_t read(void* answer, uint32_t answer_capacity) = 0;

    /// Tells the device where the frame buffer of this process lies and how large it is, whenever it moves.
    virtual void set_frame_buffer(const void* address, uint32_t width, uint32_t height,
                                  uint32_t bits_per_pixel, uint32_t stride_pixels) = 0;

    /// Whether the library leaves compressed frames in frame buffers.
    virtual bool frames_are_compressed() const { return false; }

    /// Whether the device doesn't look into frame buffers.
    virtual bool only_counts_frames() const { return false; }

    /// A swap has returned: the frame buffer holds a finished frame. Costs no wake-up where frames are only
    /// counted.
    virtual void frame_finished() = 0;
};

/// The transport of this process, opened on first use; null when there is no device to talk to. Defined by
/// the library that is linked in front of the applications (over a socket) and by the in-process target.
transport* open_transport();

} // namespace shim
