#pragma once
// The simulator's end of the link to one target process.

#include "protocol.h"

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include <sys/types.h>

namespace simulator {

/// A file descriptor that closes itself.
class descriptor
{
public:
    explicit descriptor(int number = -1) : _number(number) {}
    descriptor(descriptor&& other) noexcept : _number(other.release()) {}
    descriptor& operator=(descriptor&& other) noexcept;
    ~descriptor();
    int get() const { return _number; }
    int release();
    explicit operator bool() const { return _number >= 0; }

private:
    int _number;
};

/// What a target asks for, copied out of the mailbox once, since the target may go on writing there.
struct link_request
{
    uint32_t operation = 0;
    uint64_t message = 0;
    uint32_t message_length = 0;
    uint64_t answer = 0;
    uint32_t answer_capacity = 0;
};

struct frame_buffer_place
{
    uint64_t address = 0;
    uint32_t width = 0;
    uint32_t height = 0;
    uint32_t bits_per_pixel = 0;
    uint32_t stride = 0; // pixels
};

/// What the greeting says, before anything is shared.
struct newcomer
{
    device_link::intent intent = device_link::intent::query;
    pid_t process = 0; // for memory accesses and signals
    uint32_t wire_pid = 0;
    uint32_t pointer_bits = 64;
};

/// What targets are told about the screen.
struct screen
{
    uint32_t width = 0;
    uint32_t height = 0;
    bool compressed = false; // what the library leaves in frame buffers
    /// The target doesn't announce its frames; `take_finished_frames` tells their number.
    bool counts_frames = false;
};

class link_endpoint
{
public:
    explicit link_endpoint(descriptor socket);
    ~link_endpoint();
    link_endpoint(const link_endpoint&) = delete;
    link_endpoint& operator=(const link_endpoint&) = delete;

    /// Waits a bounded time for the greeting; nothing when it isn't one.
    std::optional<newcomer> greet();
    /// Answers the greeting with a refusal or with what was asked.
    bool answer_query(device_link::reception reception, const screen& offered);
    /// Answers the greeting with the shared memory and waits a bounded time for the target to map it.
    bool attach(const screen& offered);

    /// Sleeps until the target asks for something. Nothing when it is gone. `may_come_soon`: false when
    /// another thread is still to answer the last request.
    std::optional<link_request> wait_request(bool may_come_soon = true);
    /// Gives the turn back. From any thread, once for a request.
    void answer(int32_t result);
    frame_buffer_place frame_buffer() const;
    /// The address of memory that the target offers for a request of so many bytes; 0 when it doesn't. Takes
    /// it.
    uint64_t take_offered_block(uint32_t size);
    /// What the target has described a buffer with beforehand; nothing when it hasn't.
    std::optional<std::array<uint8_t, 32>> described_buffer(uint64_t handle) const;
    /// Frames that the target has finished, without an announcement, since this was asked last.
    uint32_t take_finished_frames();
    /// From any thread: the target is gone, or is to be treated so. Wakes `wait_request`.
    void hang_up();
    bool gone() const { return _gone.load(std::memory_order_acquire); }
    /// Sleeps until the target is gone: for a target that waits for an answer that never comes.
    void wait_until_gone();

    /// Sends a signal to the target's process.
    void send_signal(int number) const;

    int socket() const { return _socket.get(); }
    /// Readable when the process has ended; -1 where the system has no such descriptors.
    int process_descriptor() const { return _process_descriptor.get(); }
    pid_t process() const { return _process; }
    /// Start of the shared memory in this process, and in the target.
    uint8_t* shared() const { return _shared.load(std::memory_order_acquire); }
    uint64_t shared_address() const { return _shared_address; }

private:
    bool send_welcome(device_link::reception reception, const screen& offered, int memory);
    device_link::mailbox& box() const { return *reinterpret_cast<device_link::mailbox*>(shared()); }

    descriptor _socket;
    descriptor _process_descriptor;
    pid_t _process = 0;
    std::atomic<uint8_t*> _shared{nullptr}; // set once, while `hang_up` may look
    uint64_t _shared_address = 0;
    std::atomic<bool> _gone{false};
    device_link::waiting_habits _habits;
    uint32_t _last_length = 0; // of the message that the target sent last
};

} // namespace simulator
