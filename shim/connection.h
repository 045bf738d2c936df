#pragma once
// The one conversation of this process with the device: a message goes out, then the services that the
// library asks for are served until it releases the caller.

#include "shim/settings.h"
#include "shim/transport.h"

#include <atomic>
#include <cstdint>

namespace shim {

/// Memory in which a thread builds its messages: in the window while there is room, else on the heap.
struct message_memory
{
    uint8_t* base = nullptr;
    uint32_t size = 0;
    int32_t slot = -1; // number of the window's slot, -1 for memory of the heap
};

/// A frame's worth of calls and of the memory that they read, since each time that it is full costs four
/// switches between threads. Pages that stay unused cost nothing.
inline constexpr uint32_t message_memory_size = 1024 * 1024;

/// The longest message that the library takes.
inline constexpr uint32_t longest_message = 0x400000;

/// Connects on first use and fetches the settings. Returns whether there is a device to talk to. Any thread.
bool connect();

/// Whether there is a device and it has not been lost.
bool has_device();

/// The settings; valid after `connect` has returned true.
const settings& current_settings();

/// The value that the library sent for a call; size 0 when it sent none.
struct return_value
{
    uint64_t value = 0;
    uint8_t size = 0;
};

/// What becomes of a frame whose answer is left for later. Both functions are called with the process-wide
/// lock held.
struct late_frame
{
    void (*sent)(void* owner, uint32_t number) = nullptr; // null: nobody wants to know
    void (*answered)(void* owner, uint32_t number, const return_value& answer) = nullptr;
    void* owner = nullptr;
    uint32_t number = 0; // the owner's own
};

/// A message, or a batch of them, for the device.
struct outgoing
{
    const void* message = nullptr;
    uint32_t length = 0;        // bytes
    void* surface = nullptr;    // whose frame the call would write, if it writes one
    uint32_t values_before = 0; // values that the library will send for calls before the last one
    uint32_t block = 0;         // bytes of target memory that the library will ask for; 0: none is foreseen
    bool follows_frame = false; // who waits for this one doesn't look at windows, so frames may stay unshown
    late_frame frame = {};      // for `converse_later`
};

/// Sends `what` for the calling thread and serves the library until it releases the thread. Takes the
/// process-wide lock. A lost device yields no value.
return_value converse(const outgoing& what);

/// Sends what finishes a frame and leaves its answer for later: for `finish_late_frames`, the next call of
/// any thread that waits, or the thread that looks after it once calls fail to come. False when that can't
/// be, and then nothing is sent.
bool converse_later(const outgoing& what);

/// Takes the oldest answer that is still out; false when there is none.
bool finish_a_late_frame();

/// Takes the answers that are still out. Frames that have arrived then lie ready for `show_arrived_frames`.
void finish_late_frames();

/// A finished frame, for the transport: `set_frame_buffer` if it lies elsewhere than the one before it, then
/// `frame_finished`, both under the process-wide lock, since threads finish frames of different surfaces.
struct frame_notice
{
    const void* pixels = nullptr;
    uint32_t width = 0;  // pixels
    uint32_t height = 0; // pixels

    bool operator==(const frame_notice&) const = default;
};
void announce_frame(const frame_notice& notice);

/// Tells the device beforehand what there is to know of a buffer of the window system, and that it is no
/// more. One thread at a time; the process-wide lock may be held, since buffers come and go within services.
void describe_buffer(uint64_t handle, const wire::winsys_buffer_vk_data_descriptor& description);
void forget_buffer(uint64_t handle);

/// Whether frame buffers hold compressed frames.
bool frames_are_compressed();

/// Whether the device doesn't look into frame buffers.
bool frames_are_only_counted();

message_memory take_message_memory();
void give_back_message_memory(const message_memory& memory);

/// Counts the lives of the connection: a forked child begins a new one, and thread states of the old one are
/// void.
uint32_t connection_life();

/// Drops the connection and all state that belongs to it without talking to the device; the next call
/// connects again. For a forked child, and for tests.
void forget_connection();

} // namespace shim
