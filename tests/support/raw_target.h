#pragma once
// A target process of one thread that speaks the wire by itself: it writes a message and plays the shim until
// the library releases it. Requests are answered by a function of the test.

#include "support/message.h"
#include "zelvar/sc_interfaces.h"

#include <cstdint>
#include <functional>
#include <map>
#include <vector>

/// One message from the library.
struct outbound_message
{
    uint32_t type = 0;
    int32_t pid = 0;
    uint64_t tid = 0;
    std::vector<uint8_t> bytes; // header included

    std::vector<uint8_t> payload() const { return {bytes.begin() + wire::header_size, bytes.end()}; }
    /// A number of the payload.
    template <class T>
    T at(size_t offset) const
    {
        T value{};
        std::memcpy(&value, bytes.data() + wire::header_size + offset, sizeof(T));
        return value;
    }
};

/// What the target answers to a request: result bytes and error code.
struct confirmation
{
    std::vector<uint8_t> result;
    uint32_t error = 0;
    bool silent = false; // the target says nothing
};
template <class T>
confirmation confirm_with(T value, uint32_t error = 0)
{
    confirmation answer;
    answer.result.resize(sizeof(value));
    std::memcpy(answer.result.data(), &value, sizeof(value));
    answer.error = error;
    return answer;
}

class raw_target : public scModelInterface
{
public:
    static constexpr int32_t pid = 77;
    static constexpr uint64_t tid = 5;
    /// Target memory: one block here, everything else faults.
    static constexpr uint64_t memory_base = 0x10000;
    static constexpr uint64_t heap_base = memory_base + 0x8000; // allocations are served from here

    explicit raw_target(scPluginInterface* plugin);

    /// A message of this target.
    message make(uint32_t type) const { return message(type, pid, tid); }
    /// Writes the message and serves the library until it releases the target (or `leaves` times). Returns
    /// all that the library sent, in order.
    std::vector<outbound_message> run(const message& call, int leaves = 1);
    /// Writes without waiting for anything.
    void write_only(const std::vector<uint8_t>& bytes);
    std::vector<outbound_message> serve(int leaves = 1);

    /// How requests are answered; by default services as a plain Linux target would, calls with zeros.
    std::function<confirmation(const outbound_message&)> on_request;
    confirmation default_answer(const outbound_message& request);

    std::vector<uint8_t> memory = std::vector<uint8_t>(0x10000);
    template <class T>
    T peek(uint64_t address) const
    {
        T value{};
        std::memcpy(&value, memory.data() + (address - memory_base), sizeof(T));
        return value;
    }
    template <class T>
    void poke(uint64_t address, T value)
    {
        std::memcpy(memory.data() + (address - memory_base), &value, sizeof(T));
    }
    std::string text_at(uint64_t address) const
    {
        return reinterpret_cast<const char*>(memory.data() + (address - memory_base));
    }

    // The simulator's accessor of this target's memory.
    uint32_t read(uint64_t address, void* destination, uint32_t length) override;
    uint32_t write(uint64_t address, const void* source, uint32_t length) override;
    uint64_t reserved() override { return 0; }
    uint64_t queryCore(uint32_t) override { return 0; }

private:
    bool take_message(outbound_message* out);

    scChannelInterface* _channel;
    std::vector<uint8_t> _outgoing; // the message being written
    std::vector<uint8_t> _pending;  // answer bytes not yet taken apart
    uint64_t _next_allocation = heap_base;
};

/// Whether a type is a service or call that waits for a confirmation.
bool waits_for_confirmation(uint32_t outbound_type);
