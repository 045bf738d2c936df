#pragma once
// The library's channel of one target: its messages in, the library's answers out.

#include "conversation.h"
#include "link_endpoint.h"
#include "target_memory.h"
#include "zelvar/sc_interfaces.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

namespace simulator {

/// The library lets only the thread that opened a channel read it, and its workers reach the target's memory
/// only while that thread is in the read. Messages may be sent from any thread meanwhile.
class library_channel
{
public:
    /// On the thread that will read.
    library_channel(scPluginInterface& plugin, link_endpoint& link, process_memory& memory,
                    const newcomer& who, const talk_settings& initial, traffic& moved);
    library_channel(const library_channel&) = delete;
    library_channel& operator=(const library_channel&) = delete;

    /// Hands a message to the library, from any thread. Null when that went well, otherwise why it must not
    /// be handed over.
    const char* send(std::vector<uint8_t>& message);

    /// Whether the library will say something now: reading otherwise would never return.
    bool answer_due() const;
    /// Whether the thread that reads may wait in `read` for what the library says next, if anything.
    bool may_read_ahead() const;
    /// From another thread, when the target is gone and no answer is due: makes a `read` return.
    void call_reader_back();
    /// Blocks until a worker of the library has said something. What the target needn't be asked is answered,
    /// so there may be nothing for it yet.
    void read();
    /// Whether there are bytes that the target hasn't taken.
    bool has_answer() const;
    /// Copies as much of the answer as there is to the target; how much that was, -1 when it can't be
    /// written. From any thread.
    int32_t deliver(uint64_t address, uint32_t capacity);

    /// The library is never told that a process has ended, so what the process would have said itself is said
    /// for it: the open call is brought to its end, then Vulkan instances are destroyed and the display is
    /// terminated, which lets the workers go. False when a worker waits for what can't be said in the place
    /// of the target. The channel is closed afterwards.
    bool say_farewell();

    uint64_t messages() const;
    uint64_t calls() const;

private:
    using early_answer = std::array<uint8_t, 32>; // its first bytes are the answer
    std::optional<early_answer> known_answer();
    std::vector<uint8_t> early_confirmation();
    void send_own(std::vector<uint8_t>& message);
    bool settle();

    link_endpoint& _link;
    process_memory& _memory;
    const uint32_t _pointer_bits;
    std::mutex _sending;      // what is admitted first is handed over first
    mutable std::mutex _lock; // guards the talk and the answers; never held over a call of the library
    conversation _talk;
    channel_model _model;
    std::vector<uint8_t> _answers; // for the target
    size_t _delivered = 0;         // of those
    scChannelInterface* _channel;  // the library's own, never freed
};

} // namespace simulator
