#pragma once
// A target and its simulator in this process: writes messages to a channel and answers what the library asks,
// from a script while it lasts, as a well-behaved target afterwards.

#include "wire/wire.h"
#include "zelvar/sc_interfaces.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

/// Target memory: one block at `base`; everything else faults, which the model tells by a short count.
class scripted_memory : public scModelInterface
{
public:
    static constexpr uint64_t base = 0x40000000;
    static constexpr uint64_t size = 1 << 20;
    /// Where messages are written from and answers are read to.
    static constexpr uint64_t outgoing_window = 0x10000000;
    static constexpr uint64_t incoming_window = 0x20000000;
    /// The upper half is handed out by the allocation service; the input describes the lower half.
    static constexpr uint64_t heap = base + size / 2;

    uint32_t read(uint64_t target_address, void* destination, uint32_t length) override;
    uint32_t write(uint64_t target_address, const void* source, uint32_t length) override;
    uint64_t reserved() override { return 0; }
    uint64_t queryCore(uint32_t) override { return 0; }

    void clear();
    void poke(uint64_t offset, std::span<const uint8_t> data);
    /// Characters in front of the next zero byte.
    uint32_t text_length(uint64_t address) const;
    /// Bytes of an attribute list, its end mark included.
    uint32_t attribute_list_length(uint64_t address) const;

    // The two windows, for the thread that made this object alone: to others they are addresses like any.
    std::span<const uint8_t> outgoing;
    std::vector<uint8_t> incoming;

private:
    bool is_owner() const { return std::this_thread::get_id() == _owner; }
    /// The part of [address, address + length) that exists, from its start.
    std::span<uint8_t> at(uint64_t address, uint64_t length) const;
    std::thread::id _owner = std::this_thread::get_id();
    mutable std::vector<uint8_t> _bytes = std::vector<uint8_t>(size);
};

class scripted_target
{
public:
    /// All messages of the target carry this pid unless they say otherwise.
    static constexpr int32_t pid = 0x1234;

    scripted_target();
    ~scripted_target();
    scripted_target(const scripted_target&) = delete;
    scripted_target& operator=(const scripted_target&) = delete;

    /// Fresh memory, a new script and, if the last one is beyond use, a fresh channel.
    void begin(std::span<const uint8_t> script);
    void poke(uint64_t offset, std::span<const uint8_t> data) { _memory.poke(offset, data); }
    /// A value of up to 8 bytes in the target's memory, zero where there is none.
    uint64_t peek(uint64_t address, uint32_t size);

    /// Writes bytes to the channel in one piece, if it is still of use.
    void write(std::span<const uint8_t> bytes);
    /// Serves the library until the workers have run all messages that are complete.
    void serve();
    /// Ends a message that was begun and serves the last ones.
    void end();

    /// Eight bytes in an input, "RETVAL", n, 0, stand for the nth value that the library has returned: how an
    /// input names objects whose ids it can't know. Puts the values in.
    void fill_in_results(std::span<uint8_t> bytes) const;
    /// All values that the library has returned.
    std::span<const uint64_t> results() const { return _results; }

private:
    void open_channel();
    void complete_started_message();
    std::span<const uint8_t> without_surplus(std::span<const uint8_t> bytes) const;
    bool is_forbidden(std::span<const uint8_t> bytes) const;
    void note_written(std::span<const uint8_t> bytes);
    void serve_worker(const wire::header& of);
    bool take_messages();
    void answer(std::span<const uint8_t> request);
    void store_output(uint32_t type, std::span<const uint8_t> request);
    std::vector<uint8_t> answer_bytes(uint32_t type, uint32_t size, std::span<const uint8_t> request);
    uint8_t next_script_byte();
    void queue_mark(const wire::header& of);
    void nudge();

    scripted_memory _memory;
    scChannelInterface* _channel = nullptr;
    int _opened = 0;
    // The message that is being written: its header so far, and how much has been written in all.
    std::vector<uint8_t> _started;
    uint64_t _written = 0;
    bool _is_stuck = false;
    std::vector<wire::header> _to_serve;
    std::span<const uint8_t> _script;
    uint64_t _next_allocation = scripted_memory::heap;
    std::vector<uint8_t> _received;
    std::vector<uint64_t> _results;

    // The mark: a message that the worker itself sends once its queue is empty. A worker that ends loses what
    // is queued, so another thread queues the mark again when it doesn't come.
    uint64_t _mark = 0;
    std::mutex _nudge_lock;
    std::condition_variable _nudge_signal;
    bool _is_waiting = false;
    bool _is_ending = false;
    wire::header _waiting_for;
    std::thread _nudger;
};
