#include "shim/connection.h"

#include "shim/configs.h"
#include "shim/hardware_buffers.h"
#include "shim/late_frames.h"
#include "shim/log.h"
#include "shim/native_buffers.h"
#include "shim/process_lock.h"
#include "shim/services.h"
#include "shim/shared_blocks.h"
#include "shim/sync_objects.h"
#include "shim/vertex_state.h"
#include "shim/vk_stream.h"
#include "shim/windows.h"

#include "wire/wire.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <optional>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#ifndef ZELVAR_REVISION
#define ZELVAR_REVISION "0000000000000000000000000000000000000000"
#endif

namespace shim {

namespace {

/// A read takes all that is pending when it can: the device masks a word at the start of what each read
/// returns, which must be the start of a message.
constexpr uint64_t largest_answer = 0x100000;
constexpr uint32_t confirmation_size = 1024;

enum class device_state
{
    unknown,
    connected,
    absent,
};

/// The bytes of answers that have arrived and are not parsed yet.
struct answer_stream
{
    uint8_t* base = nullptr;
    uint32_t capacity = 0;
    uint32_t begin = 0;
    uint32_t end = 0;

    uint8_t* tail() { return base + end; }
    uint32_t room() const { return capacity - end; }

    /// Moves what is left to the front.
    void compact()
    {
        std::memmove(base, base + begin, end - begin);
        end -= begin;
        begin = 0;
    }
};

/// Everything here is guarded by `conversation_lock`, except what is told otherwise.
struct process_state
{
    transport* device = nullptr;
    uint8_t* confirmation = nullptr;
    answer_stream answers;
    settings current;
    frame_notice last_frame;
    outgoing out[2];                     // whose answers are still to be taken, the oldest first
    std::atomic<uint32_t> out_count = 0; // may be looked at without the lock
    alignas(8) uint8_t settings_block[wire::settings_offset::size] = {}; // written by the library
    std::vector<bool> slot_taken;                                        // guarded by slots_lock
    uint8_t* slots = nullptr;
};

// Never destroyed: applications make calls from exit handlers.
process_state& state = *new process_state;
process_lock& conversation_lock = *new process_lock;
process_lock& slots_lock = *new process_lock;
std::atomic<device_state> device{device_state::unknown};
std::atomic<uint32_t> life{1};

void lose_device(const char* why)
{
    if (device.exchange(device_state::absent, std::memory_order_acq_rel) != device_state::absent)
        say(gate::error, "The device is gone (%s); every further call fails.", why);
}

enum class step
{
    incomplete, // more bytes are needed
    consumed,   // a message that wants no answer
    answered,   // a confirmation was sent, and what came back is in the stream
    released,   // the call is over
    failed,
};

bool take(answer_stream& stream, int32_t count)
{
    if (count < 0 || static_cast<uint32_t>(count) > stream.room())
        return false;
    stream.end += static_cast<uint32_t>(count);
    return true;
}

bool confirm(const wire::header& request, const service_answer& result)
{
    answer_stream& stream = state.answers;
    uint8_t* at = state.confirmation;
    const uint32_t size = wire::header_size + 5 + result.size;
    wire::store_header(at, {size, wire::inbound::command_executed, request.pid, request.tid});
    std::memcpy(at + wire::header_size, &result.error, 4);
    at[wire::header_size + 4] = result.size;
    std::memcpy(at + wire::header_size + 5, result.bytes, result.size);
    return take(stream, state.device->exchange(at, size, stream.tail(), stream.room()));
}

void take_return_value(const uint8_t* payload, uint32_t length, return_value& value)
{
    value = {};
    if (length == 0 || payload[0] > length - 1)
        return;
    value.size = payload[0];
    std::memcpy(&value.value, payload + 1, std::min<uint32_t>(value.size, sizeof value.value));
}

/// Handles the first message of the stream, which belongs to the answer to `question`. Values for calls that
/// nobody waits for are counted off there.
step parse_one(outgoing& question, return_value& value)
{
    answer_stream& stream = state.answers;
    const uint32_t available = stream.end - stream.begin;
    if (available < wire::header_size)
        return step::incomplete;
    const uint8_t* message = stream.base + stream.begin;
    const wire::header request = wire::load_header(message);
    const uint32_t size = request_length(request);
    if (request.size < wire::header_size || size > stream.capacity)
        return step::failed;
    if (available < size)
        return step::incomplete;
    stream.begin += size;
    const uint8_t* payload = message + wire::header_size;
    const uint32_t length = size - wire::header_size;
    if (log_enabled(gate::trace))
        say(gate::trace, "from the device: type %u, %u bytes", request.type, size);
    switch (request.type) {
    case wire::outbound::set_return_value_message:
        if (question.values_before)
            --question.values_before;
        else
            take_return_value(payload, length, value);
        return step::consumed;
    case wire::outbound::leave_message_processing_loop:
        return step::released;
    default:
        service_answer answer;
        if (!serve(question.surface, request, payload, length, answer))
            return step::consumed;
        stream.compact();
        return confirm(request, answer) ? step::answered : step::failed;
    }
}

/// The answer to the oldest message that is out: services until the release. The lock is held and the device
/// is there.
return_value take_answer(outgoing question)
{
    return_value value;
    for (;;) {
        switch (parse_one(question, value)) {
        case step::released:
            return value;
        case step::failed:
            lose_device("its answer makes no sense or the connection broke");
            return {};
        case step::incomplete:
            state.answers.compact();
            if (!take(state.answers, state.device->read(state.answers.tail(), state.answers.room()))) {
                lose_device("it hung up within a call");
                return {};
            }
            break;
        case step::consumed:
        case step::answered:
            break;
        }
    }
}

void drop_what_is_left()
{
    answer_stream& stream = state.answers;
    if (stream.begin != stream.end)
        say(gate::error, "%u bytes of the device's answer stand behind the release of the caller.",
            stream.end - stream.begin);
    stream.begin = stream.end = 0;
}

bool is_connected()
{
    return device.load(std::memory_order_relaxed) == device_state::connected;
}

void finish_oldest_frame()
{
    const outgoing& what = state.out[0];
    const return_value answer = is_connected() ? take_answer(what) : return_value{};
    what.frame.answered(what.frame.owner, what.frame.number, answer);
    state.out[0] = state.out[1];
    --state.out_count; // last: who sees none out without the lock may free what the frame was written to
}

void finish_late_frames_locked()
{
    if (!state.out_count)
        return;
    while (state.out_count)
        finish_oldest_frame();
    drop_what_is_left();
}

uint64_t thread_of(const outgoing& what)
{
    return wire::load_header(static_cast<const uint8_t*>(what.message)).tid;
}

/// A block that the library is going to ask for lies ready, so that nobody has to come back for it.
class offered_block
{
public:
    offered_block(transport& device, uint32_t size) : device_{device}
    {
        if (size && device_.takes_offers() && (block_ = allocate_block(size)))
            device_.offer_block(block_, size);
    }
    ~offered_block()
    {
        if (block_ && !device_.offer_was_taken())
            free_block(block_);
    }
    offered_block(const offered_block&) = delete;
    offered_block& operator=(const offered_block&) = delete;

private:
    transport& device_;
    void* block_ = nullptr;
};

/// Whether a message may be sent while a frame is out: answers come in order from one worker only, and to
/// batches only.
bool may_follow_frame(const outgoing& what)
{
    return state.out_count && thread_of(state.out[0]) == thread_of(what) &&
           wire::load_header(static_cast<const uint8_t*>(what.message)).type == wire::inbound::batch_commands;
}

/// A message that was sent while a frame was out. Whichever thread takes its answer leaves it here.
struct awaited_message
{
    std::optional<offered_block> offer;
    std::optional<return_value> answer;
};

void message_answered(void* owner, uint32_t, const return_value& answer)
{
    auto& mine = *static_cast<awaited_message*>(owner);
    mine.offer.reset();
    mine.answer = answer;
}

/// The worker goes on with this message as soon as it has done with the frame. False when the message can't
/// follow one, and then it wasn't sent.
bool send_behind_frame(const outgoing& what, awaited_message& mine)
{
    if (!state.out_count.load(std::memory_order_acquire)) [[likely]]
        return false;
    const std::lock_guard<process_lock> guard{conversation_lock};
    if (!is_connected() || !may_follow_frame(what))
        return false;
    while (state.out_count == std::size(state.out))
        finish_oldest_frame();
    if (!is_connected())
        return false;
    mine.offer.emplace(*state.device, what.block);
    if (!state.device->post(what.message, what.length)) {
        mine.offer.reset();
        lose_device("a message was not taken");
        return false;
    }
    outgoing& out = state.out[state.out_count] = what;
    out.frame = {.answered = message_answered, .owner = &mine};
    ++state.out_count;
    return true;
}

/// While the worker is at the message, the frame is shown; whoever waits may look at the window afterwards.
return_value wait_behind_frame(const outgoing& what, const awaited_message& mine)
{
    for (bool answered = false; !answered;) {
        {
            const std::lock_guard<process_lock> guard{conversation_lock};
            if (!mine.answer)
                finish_oldest_frame();
            if (!state.out_count)
                drop_what_is_left();
            answered = mine.answer.has_value();
        }
        // Also what another thread has taken meanwhile, and may still be showing.
        if (!what.follows_frame)
            show_arrived_frames();
    }
    return *mine.answer;
}

/// One message out, and its answer. The lock is held and the device is there.
return_value converse_locked(const outgoing& what)
{
    finish_late_frames_locked();
    answer_stream& stream = state.answers;
    const offered_block offer{*state.device, what.block};
    if (!take(stream, state.device->exchange(what.message, what.length, stream.tail(), stream.room()))) {
        lose_device("a message was not taken");
        return {};
    }
    const return_value answer = take_answer(what);
    drop_what_is_left();
    return answer;
}

/// Divides the window: confirmations, memory for the threads' messages, answers.
void divide_window()
{
    uint8_t* window = state.device->window();
    const uint64_t size = state.device->window_size();
    const auto answers = static_cast<uint32_t>(std::min(largest_answer, size / 4));
    state.confirmation = window;
    state.answers = {window + size - answers, answers};
    state.slots = window + confirmation_size;
    const uint64_t room = size - confirmation_size - answers;
    state.slot_taken.assign(room / message_memory_size, false);
}

template <class T>
void append(std::vector<uint8_t>& bytes, T value)
{
    const size_t at = bytes.size();
    bytes.resize(at + sizeof value);
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

std::vector<uint8_t> settings_request(int32_t pid, uint64_t tid)
{
    const window_size screen = screen_size();
    const auto block = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(state.settings_block));
    std::vector<uint8_t> message(wire::header_size);
    append(message, screen.width);
    append(message, screen.height);
    append(message, static_cast<uint32_t>(8 * sizeof(void*)));
    for (const char c : ZELVAR_REVISION)
        message.push_back(static_cast<uint8_t>(c));
    append(message, block);
    append(message, block + wire::settings_offset::white_list_text);
    wire::store_header(message.data(),
                       {static_cast<uint32_t>(message.size()), wire::inbound::get_settings, pid, tid});
    return message;
}

void forget_in_child()
{
    conversation_lock.revive();
    slots_lock.revive();
    forget_connection();
}

/// The settings exchange. It needs no thread state: nothing but memory is asked for.
bool open_locked()
{
    static const int fork_handler = pthread_atfork(nullptr, nullptr, forget_in_child);
    (void)fork_handler;
    state.device = open_transport();
    if (!state.device) {
        device.store(device_state::absent, std::memory_order_release);
        say(gate::error,
            "There is no device to talk to; start the application under zelvar-sim or zelvar-run. "
            "Every call fails.");
        return false;
    }
    divide_window();
    use_shared_area(state.device->area(), state.device->area_size(), state.device->area_file());
    device.store(device_state::connected, std::memory_order_release);
    const auto request = settings_request(static_cast<int32_t>(getpid() & 0xffffff),
                                          static_cast<uint64_t>(syscall(SYS_gettid)));
    std::memcpy(state.slots, request.data(), request.size());
    converse_locked({.message = state.slots, .length = static_cast<uint32_t>(request.size())});
    if (device.load(std::memory_order_acquire) == device_state::absent)
        return false;
    state.current = settings::from_block(state.settings_block);
    set_log_level(state.current.log_level);
    if (state.current.call_on_target)
        say(gate::error,
            "callOnTargetAPI is on, but this stand-in has no driver of its own: its messages carry "
            "no results.");
    return true;
}

} // namespace

bool connect()
{
    if (device.load(std::memory_order_acquire) == device_state::absent)
        return false;
    const std::lock_guard<process_lock> guard{conversation_lock};
    switch (device.load(std::memory_order_relaxed)) {
    case device_state::connected:
        return true;
    case device_state::absent:
        return false;
    case device_state::unknown:
        break;
    }
    return open_locked();
}

bool has_device()
{
    return device.load(std::memory_order_acquire) == device_state::connected;
}

const settings& current_settings()
{
    return state.current;
}

return_value converse(const outgoing& what)
{
    awaited_message mine;
    if (send_behind_frame(what, mine))
        return wait_behind_frame(what, mine);
    // Whoever waits for an answer may look at the window afterwards.
    if (!what.follows_frame)
        settle_late_frames();
    const std::lock_guard<process_lock> guard{conversation_lock};
    if (!is_connected())
        return {};
    return converse_locked(what);
}

bool converse_later(const outgoing& what)
{
    const std::lock_guard<process_lock> guard{conversation_lock};
    // A frame that the device looks into has to be announced before the next one is begun.
    if (!is_connected() || !state.device->only_counts_frames() || !late_frames_are_watched())
        return false;
    // Answers come in order from one worker only.
    if (state.out_count && thread_of(state.out[0]) != thread_of(what))
        finish_late_frames_locked();
    if (!is_connected() || !state.device->post(what.message, what.length))
        return false;
    state.out[state.out_count++] = what;
    if (what.frame.sent)
        what.frame.sent(what.frame.owner, what.frame.number);
    note_late_frame();
    if (state.out_count == std::size(state.out))
        finish_oldest_frame();
    return true;
}

bool finish_a_late_frame()
{
    const std::lock_guard<process_lock> guard{conversation_lock};
    if (!state.out_count)
        return false;
    finish_oldest_frame();
    if (!state.out_count)
        drop_what_is_left();
    return true;
}

void finish_late_frames()
{
    if (!state.out_count.load(std::memory_order_acquire)) [[likely]]
        return;
    const std::lock_guard<process_lock> guard{conversation_lock};
    finish_late_frames_locked();
}

void announce_frame(const frame_notice& notice)
{
    const std::lock_guard<process_lock> guard{conversation_lock};
    if (!is_connected())
        return;
    if (!state.device->only_counts_frames() && notice != state.last_frame)
        state.device->set_frame_buffer(notice.pixels, notice.width, notice.height, 32, notice.width);
    state.last_frame = notice;
    state.device->frame_finished();
}

void describe_buffer(uint64_t handle, const wire::winsys_buffer_vk_data_descriptor& description)
{
    if (has_device())
        state.device->describe_buffer(handle, description);
}

void forget_buffer(uint64_t handle)
{
    if (has_device())
        state.device->forget_buffer(handle);
}

bool frames_are_compressed()
{
    const std::lock_guard<process_lock> guard{conversation_lock};
    return is_connected() && state.device->frames_are_compressed();
}

bool frames_are_only_counted()
{
    const std::lock_guard<process_lock> guard{conversation_lock};
    return is_connected() && state.device->only_counts_frames();
}

message_memory take_message_memory()
{
    {
        const std::lock_guard<process_lock> guard{slots_lock};
        for (size_t i = 0; i < state.slot_taken.size(); ++i) {
            if (state.slot_taken[i])
                continue;
            state.slot_taken[i] = true;
            return {state.slots + i * message_memory_size, message_memory_size, static_cast<int32_t>(i)};
        }
    }
    return {new uint8_t[message_memory_size], message_memory_size, -1};
}

void give_back_message_memory(const message_memory& memory)
{
    if (memory.slot < 0) {
        delete[] memory.base;
        return;
    }
    const std::lock_guard<process_lock> guard{slots_lock};
    state.slot_taken[static_cast<size_t>(memory.slot)] = false;
}

uint32_t connection_life()
{
    return life.load(std::memory_order_acquire);
}

void forget_connection()
{
    // The transport is left alone: in a forked child it belongs to the parent as well.
    life.fetch_add(1, std::memory_order_acq_rel);
    state.device = nullptr;
    state.current = {};
    state.last_frame = {};
    state.out_count = 0;
    std::memset(state.settings_block, 0, sizeof state.settings_block);
    forget_late_frames();
    forget_services();
    forget_shared_area();
    forget_sync_objects();
    forget_windows();
    forget_vertex_states();
    forget_surface_configs();
    forget_vk_stream();
    forget_native_buffers();
    forget_hardware_buffers();
    set_log_level(settings{}.log_level);
    device.store(device_state::unknown, std::memory_order_release);
}

} // namespace shim
