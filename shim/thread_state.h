#pragma once
// What the shim keeps for each thread: its message memory with the calls that wait in it, and what is
// current.

#include "shim/connection.h"

#include "wire/wire.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace shim {

struct thread_state;
struct vertex_state;

/// Calls gather here until one of them needs an answer. With batching off it holds one message at a time.
class message_builder
{
public:
    explicit message_builder(thread_state& self);
    ~message_builder();
    message_builder(const message_builder&) = delete;
    message_builder& operator=(const message_builder&) = delete;

    /// Room for a message of `size` bytes, its header filled in; sends what waits first when it doesn't fit.
    /// Null when no message may be that long. Exactly one of `keep` and `send` has to follow.
    uint8_t* begin(uint32_t type, uint64_t size);

    /// Makes room for so many bytes of blocks and messages together, so that they go out with one batch;
    /// sends what waits first when it has to. False when no batch is that long.
    bool reserve(uint64_t bytes);

    /// Whether so many bytes go out with what waits.
    bool fits(uint64_t bytes) const { return used_ + blocks_ + bytes <= memory_.size; }

    /// Room that `keep_block` would fill, for whoever fills it otherwise; null when there is none.
    uint8_t* take_block(uint64_t length);

    /// Copies memory of the application so that the call which is about to begin can wait. Returns the copy,
    /// or null when there is no room for it.
    const void* keep_block(const void* bytes, uint64_t length);

    /// Leaves the message that was begun in the batch.
    void keep();

    /// The same for a call whose value is known, though the library will send one.
    void keep_answered();

    /// Sends the message that was begun, behind all that wait, and returns its answer. `block`: bytes of
    /// memory that the library will ask for meanwhile.
    return_value send(uint32_t block = 0);

    /// The same for a swap of `surface` whose answer may be left for later; nothing when it is.
    std::optional<return_value> send_swap(void* surface);

    /// Sends what waits.
    void flush();

    bool has_waiting() const { return commands_ != 0; }

private:
    outgoing complete(uint8_t* base, uint32_t length);
    return_value send_all(uint8_t* base, uint32_t length, uint32_t block = 0);
    void begin_anew();

    thread_state& self_;
    message_memory memory_;
    message_memory spare_;  // for the time that a message whose answer is left for later lies in `memory_`
    uint32_t used_ = 0;     // bytes of messages, the head of the batch included
    uint32_t blocks_ = 0;   // bytes of copied blocks, taken from the end of the memory
    uint32_t commands_ = 0; // calls that wait
    uint32_t values_ = 0;   // that the library will send for them
    uint32_t begun_ = 0;    // bytes of the message between begin and keep or send
    std::vector<uint8_t> long_message_;
};

/// What eglMakeCurrent left behind.
struct current_objects
{
    void* display = nullptr;
    void* draw = nullptr;
    void* read = nullptr;
    void* context = nullptr;
    bool draw_is_twin = false; // the surface says that it has no stencil
};

struct thread_state
{
    thread_state();

    const bool batching;
    const int32_t pid;
    const uint64_t tid;
    const uint32_t life; // of the connection that this state belongs to
    message_builder messages;
    current_objects current;
    void* swapping = nullptr;               // surface, while its swap runs
    std::shared_ptr<vertex_state> vertices; // of the current context; null when none is current
};

/// The state of the calling thread, or null when there is no device to talk to.
thread_state* this_thread();

} // namespace shim
