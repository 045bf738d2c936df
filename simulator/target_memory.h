#pragma once
// The library's way to a target's memory, and to the messages and answers that pass the channel.

#include "conversation.h"
#include "link_endpoint.h"
#include "zelvar/sc_interfaces.h"

#include <atomic>
#include <cstdint>
#include <span>
#include <thread>
#include <vector>

namespace simulator {

/// Copies between this process and a target's memory: plainly inside the memory that both share, through the
/// system otherwise. A bad address gives a short count, never a fault. Any thread.
class process_memory
{
public:
    explicit process_memory(const link_endpoint& link) : _link(link) {}
    uint32_t read(uint64_t address, void* destination, uint32_t length) const;
    uint32_t write(uint64_t address, const void* source, uint32_t length) const;

private:
    uint8_t* shared_block(uint64_t address, uint32_t length) const;
    const link_endpoint& _link;
};

/// Bytes that the library moved.
struct traffic
{
    std::atomic<uint64_t> read{0};
    std::atomic<uint64_t> written{0};
};

/// The model interface of one connection. The thread that made it is the one that drives the channel: what it
/// reads is the admitted message, what it writes is the library's answer. All other threads are workers of
/// the library and reach the target's memory, as long as there is a target.
class channel_model final : public scModelInterface
{
public:
    channel_model(process_memory& memory, conversation& talk, traffic& moved);

    /// The message that the next `channel->write` takes. The caller gets the memory of the last one for the
    /// next, since fresh memory for every batch would cost more than the copy.
    void offer(std::vector<uint8_t>& message) { _message.swap(message); }
    const std::vector<uint8_t>& offered() const { return _message; }
    /// Bytes of answers that no target has taken yet.
    std::vector<uint8_t>& answers() { return _answers; }

    uint32_t read(uint64_t target_address, void* destination, uint32_t length) override;
    uint32_t write(uint64_t target_address, const void* source, uint32_t length) override;
    uint64_t reserved() override { return 0; }
    uint64_t queryCore(uint32_t) override { return 0; }

private:
    bool on_channel_thread() const { return std::this_thread::get_id() == _channel_thread; }

    process_memory& _memory;
    conversation& _talk;
    traffic& _moved;
    const std::thread::id _channel_thread;
    std::vector<uint8_t> _message;
    std::vector<uint8_t> _answers;
};

} // namespace simulator
