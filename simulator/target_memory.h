#pragma once
// The library's way to a target's memory, and to the messages and answers that pass the channel.

#include "conversation.h"
#include "link_endpoint.h"
#include "zelvar/sc_interfaces.h"

#include <atomic>
#include <cstdint>
#include <mutex>
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

/// The model interface of one connection. On a thread that drives the channel, what it reads is the admitted
/// message and what it writes is the library's answer. All other threads are workers of the library and reach
/// the target's memory, as long as there is a target.
class channel_model final : public scModelInterface
{
public:
    /// While it lives, this thread drives a channel.
    class driver
    {
    public:
        driver() { _drives = true; }
        ~driver() { _drives = false; }
        driver(const driver&) = delete;
        driver& operator=(const driver&) = delete;
    };

    /// `lock` guards the talk.
    channel_model(process_memory& memory, conversation& talk, std::mutex& lock, traffic& moved);

    /// The message that the next `channel->write` takes. The caller gets the memory of the last one for the
    /// next, since fresh memory for every batch would cost more than the copy.
    void offer(std::vector<uint8_t>& message) { _message.swap(message); }
    /// What the library has said since this was emptied last. For the thread that reads the channel.
    std::vector<uint8_t>& arrived() { return _arrived; }

    uint32_t read(uint64_t target_address, void* destination, uint32_t length) override;
    uint32_t write(uint64_t target_address, const void* source, uint32_t length) override;
    uint64_t reserved() override { return 0; }
    uint64_t queryCore(uint32_t) override { return 0; }

private:
    static thread_local bool _drives;

    process_memory& _memory;
    conversation& _talk;
    std::mutex& _lock;
    traffic& _moved;
    std::vector<uint8_t> _message; // of the one who sends
    std::vector<uint8_t> _arrived; // at the one who reads
};

} // namespace simulator
