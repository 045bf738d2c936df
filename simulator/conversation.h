#pragma once
// What the simulator knows of the talk between one target process and the library, from the bytes that pass.
// It admits only what the protocol allows at that moment, and can say how a talk that broke off is to be
// ended.

#include "wire/wire.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace simulator {

/// The settings that change the shape of messages, as the shim receives them.
struct talk_settings
{
    bool batch_commands = false;
    bool call_on_target = false;
    uint32_t call_on_target_api = 0;
    bool check_error_code = false;
    bool error_check_white_list = false;
};

/// Used by one thread at a time, but for `block_written`, which is called from any thread.
class conversation
{
public:
    /// `wire_pid`: the process id that the target's messages have to carry. `initial`: settings to assume
    /// until the target has been sent its own.
    conversation(uint32_t wire_pid, const talk_settings& initial);

    /// A whole message from the target, before it is handed to the library. False when it must not be:
    /// `refusal()` says why. What is merely wrong inside passes, the library copes with it.
    bool admit(std::span<const uint8_t> message);
    const char* refusal() const { return _refusal; }

    /// Bytes of the library's answer, in order, in pieces of any size.
    void answered(std::span<const uint8_t> bytes);

    /// The target has taken all that was answered.
    void answers_taken() { _unread = 0; }

    /// The library wrote a block to the target's memory.
    void block_written(uint64_t address, std::span<const uint8_t> bytes);

    /// Whether the library will send something now: reading its channel otherwise would never return.
    bool answer_due() const { return _open && _answerable && !_pending_request; }
    /// Whether a thread may go and read before there is anything to be read: nothing that can't be ended by
    /// one of the `farewells` keeps it there.
    bool may_wait_in_read() const { return _business && !_pending_request && (!_open || _answerable); }
    /// A call was sent and has not been released yet.
    bool in_call() const { return _open != 0; }
    /// Forgets an open call that the library will not release by itself.
    void abandon_unanswered_call();
    /// The library waits for a confirmation of this outbound type; 0 when it doesn't.
    uint32_t pending_request() const { return _pending_request; }
    /// What that request carries behind its header.
    std::span<const uint8_t> pending_payload() const { return _pending_payload; }

    /// The confirmation that a pending service is owed, with zeros as its result; empty when nothing is
    /// pending or when it asks for a call on the target, whose result has no size known here.
    std::vector<uint8_t> confirmation() const;
    /// Whether the library keeps anything alive for this process: a worker at least.
    bool unfinished_business() const { return _business; }
    /// What the process would have sent at its end, to be sent one after the other: vkDestroyInstance for
    /// each instance that it has left, eglTerminate for the display that it initialised.
    std::vector<std::vector<uint8_t>> farewells() const;

    uint64_t messages() const { return _messages; }
    uint64_t calls() const { return _calls; }

private:
    bool refuse(const char* why);
    bool admit_confirmation(std::span<const uint8_t> message);
    bool admit_call(std::span<const uint8_t> message, const wire::header& head);
    bool walk_batch(std::span<const uint8_t> batch);
    void note_call(std::span<const uint8_t> message, const wire::header& head);
    void take_answer(std::span<const uint8_t> message);
    bool will_be_answered(uint32_t type) const;
    void note_vulkan_call(std::span<const uint8_t> message, const wire::header& head);
    std::vector<uint8_t> terminate_message() const;
    std::vector<uint8_t> destroy_message(uint64_t instance) const;
    talk_settings settings() const;

    const uint32_t _wire_pid;
    const char* _refusal = "";
    std::set<uint64_t> _threads;
    std::vector<uint8_t> _partial_answer;
    bool _desynchronised = false;

    uint32_t _open = 0;       // calls that the library has not released yet, all of one thread
    uint32_t _unread = 0;     // calls that it has released, and the target doesn't know yet
    bool _answerable = false; // and the library will release them
    uint64_t _thread = 0;     // the thread of the open calls, or of the last one
    uint32_t _pending_request = 0;
    std::vector<uint8_t> _pending_payload;
    bool _business = false;
    bool _last_call_terminates = false;
    uint64_t _display = 0;
    std::set<uint64_t> _instances; // of Vulkan
    uint32_t _handle_bytes = 8;    // of an instance's handle

    mutable std::mutex _settings_lock;
    talk_settings _settings;        // guarded by _settings_lock
    uint64_t _settings_address = 0; // guarded by _settings_lock

    uint64_t _messages = 0;
    uint64_t _calls = 0;
};

} // namespace simulator
