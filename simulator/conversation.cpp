#include "conversation.h"

#include "protocol.h"
#include "wire/answer_sizes.h"

#include <algorithm>
#include <cstring>

namespace simulator {
namespace {

/// Every thread id makes the library start a thread of its own.
constexpr size_t most_threads = 256;
constexpr uint32_t pid_mask = 0xffffff;
constexpr uint32_t batch_count_offset = wire::header_size;
constexpr uint32_t batch_commands_offset = wire::header_size + 4;
constexpr uint32_t confirmation_head = wire::header_size + 5;
constexpr uint32_t largest_answer = 0x100000;
/// The size word of this request leaves out its 12 bytes of payload.
constexpr uint32_t begin_use_real_size = 32;

template <class T>
T load(std::span<const uint8_t> bytes, size_t offset)
{
    T value{};
    if (offset <= bytes.size() && bytes.size() - offset >= sizeof value)
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

template <class T>
void append(std::vector<uint8_t>& bytes, T value)
{
    const auto* at = reinterpret_cast<const uint8_t*>(&value);
    bytes.insert(bytes.end(), at, at + sizeof value);
}

std::vector<uint8_t> begin_message(uint32_t type, uint32_t pid, uint64_t tid)
{
    std::vector<uint8_t> message(wire::header_size);
    wire::store_header(message.data(), {wire::header_size, type, static_cast<int32_t>(pid), tid});
    return message;
}

void end_message(std::vector<uint8_t>& message)
{
    const auto size = static_cast<uint32_t>(message.size());
    std::memcpy(message.data() + wire::offset_size, &size, sizeof size);
}

/// Types whose decoder ends the call whatever the settings say.
bool always_ends_call(uint32_t type)
{
    return type == wire::inbound::batch_commands || type == wire::inbound::get_settings ||
           type == wire::inbound::report_shim_message;
}

bool wants_no_confirmation(uint32_t type)
{
    return type == wire::outbound::set_return_value_message ||
           type == wire::outbound::deallocate_memory_block;
}

} // namespace

conversation::conversation(uint32_t wire_pid, const talk_settings& initial)
    : _wire_pid(wire_pid & pid_mask), _settings(initial)
{
}

talk_settings conversation::settings() const
{
    std::lock_guard guard{_settings_lock};
    return _settings;
}

bool conversation::refuse(const char* why)
{
    _refusal = why;
    return false;
}

bool conversation::admit(std::span<const uint8_t> message)
{
    if (message.size() < wire::header_size)
        return refuse("a message is shorter than its header");
    const wire::header head = wire::load_header(message.data());
    if (head.size != message.size())
        return refuse("a message is not as long as it says");
    if ((static_cast<uint32_t>(head.pid) & pid_mask) != _wire_pid)
        return refuse("a message names another process");
    ++_messages;
    return head.type == wire::inbound::command_executed ? admit_confirmation(message)
                                                        : admit_call(message, head);
}

/// The library takes a confirmation of the wrong length for a broken protocol and stops the whole process, so
/// it must not get that far.
bool conversation::admit_confirmation(std::span<const uint8_t> message)
{
    if (!_pending_request || wire::load_header(message.data()).tid != _thread)
        return refuse("a confirmation confirms nothing");
    if (message.size() < confirmation_head)
        return refuse("a confirmation is too short");
    const int wanted = wire::answer_size_of_service(_pending_request);
    const int carried = message[wire::header_size + 4];
    if (message.size() != confirmation_head + static_cast<size_t>(carried) ||
        (wanted >= 0 && carried != wanted))
        return refuse("a confirmation has the wrong length");
    _pending_request = 0;
    return true;
}

bool conversation::admit_call(std::span<const uint8_t> message, const wire::header& head)
{
    // The library's answers to calls of two threads would mix; to batches of one thread they come in order.
    const uint32_t out = _open + _unread;
    const bool may_follow = (_answerable || !_open) && head.tid == _thread &&
                            out < device_link::most_posted && head.type == wire::inbound::batch_commands;
    if (out && !may_follow)
        return refuse("a call begins before the one before it has ended");
    if (!_threads.contains(head.tid) && _threads.size() >= most_threads)
        return refuse("too many threads");
    if (head.type == wire::inbound::batch_commands && !walk_batch(message))
        return false;
    _threads.insert(head.tid);
    _thread = head.tid;
    ++_open;
    _answerable = will_be_answered(head.type);
    _business = true;
    if (head.type != wire::inbound::batch_commands)
        note_call(message, head);
    return true;
}

/// Follows the commands as the library does, up to one that is longer than the rest. Refused are commands for
/// another process, and batches of which a command would end the call before the batch does: the library
/// would add to an answer that is already being taken.
bool conversation::walk_batch(std::span<const uint8_t> batch)
{
    const auto count = load<uint32_t>(batch, batch_count_offset);
    if (count && !settings().batch_commands)
        return refuse("a batch came though batches are off");
    size_t at = batch_commands_offset;
    for (uint32_t i = 0; i < count && at < batch.size(); ++i) {
        uint8_t begin[wire::header_size] = {}; // of a last command that is cut off the rest counts as zeros
        std::memcpy(begin, batch.data() + at, std::min<size_t>(sizeof begin, batch.size() - at));
        const wire::header head = wire::load_header(begin);
        if (head.size == 0 || head.size > batch.size() - at)
            break;
        if ((static_cast<uint32_t>(head.pid) & pid_mask) != _wire_pid)
            return refuse("a batched command names another process");
        if (always_ends_call(head.type))
            return refuse("a batched command ends the call");
        note_call(batch.subspan(at, head.size), head);
        at += head.size;
    }
    return true;
}

void conversation::note_call(std::span<const uint8_t> message, const wire::header& head)
{
    if (head.type >= wire::inbound::first_api_type)
        ++_calls;
    _last_call_terminates = head.type == wire::inbound::egl_terminate;
    // The arguments stand last; what may stand before them depends on settings.
    if (head.type == wire::inbound::egl_initialize && message.size() >= wire::header_size + 24)
        _display = load<uint64_t>(message, message.size() - 24);
    if (head.type >= wire::inbound::first_vulkan_type)
        note_vulkan_call(message, head);
    if (head.type == wire::inbound::get_settings && message.size() >= wire::header_size + 16) {
        _handle_bytes = load<uint32_t>(message, wire::header_size + 8) == 32 ? 4 : 8;
        std::lock_guard guard{_settings_lock};
        _settings_address = load<uint64_t>(message, message.size() - 16);
    }
}

void conversation::note_vulkan_call(std::span<const uint8_t> message, const wire::header& head)
{
    if (message.size() < wire::header_size + _handle_bytes)
        return;
    const auto handle_at = [&](size_t offset) {
        return _handle_bytes == 4 ? load<uint32_t>(message, offset) : load<uint64_t>(message, offset);
    };
    if (head.type == wire::inbound::vk_create_instance)
        _instances.insert(handle_at(message.size() - _handle_bytes));
    if (head.type != wire::inbound::vk_destroy_instance)
        return;
    _instances.erase(handle_at(wire::header_size));
    _last_call_terminates = _instances.empty() && !_display;
}

bool conversation::will_be_answered(uint32_t type) const
{
    if (type == 0 || type == 5 || type > wire::inbound::row_count)
        return false;
    return always_ends_call(type) || !settings().batch_commands;
}

void conversation::abandon_unanswered_call()
{
    if (!_answerable && !_pending_request)
        _open = 0;
}

void conversation::block_written(uint64_t address, std::span<const uint8_t> bytes)
{
    using namespace wire::settings_offset;
    if (bytes.size() != size)
        return;
    std::lock_guard guard{_settings_lock};
    if (!_settings_address || address != _settings_address)
        return;
    _settings.batch_commands = bytes[batch_commands];
    _settings.call_on_target = bytes[call_on_target];
    _settings.call_on_target_api = load<uint32_t>(bytes, call_on_target_api);
    _settings.check_error_code = bytes[check_error_code];
    _settings.error_check_white_list = bytes[enable_error_check_white_list];
}

void conversation::answered(std::span<const uint8_t> bytes)
{
    if (_desynchronised)
        return;
    _partial_answer.insert(_partial_answer.end(), bytes.begin(), bytes.end());
    size_t at = 0;
    while (_partial_answer.size() - at >= wire::header_size) {
        const wire::header head = wire::load_header(_partial_answer.data() + at);
        const uint32_t size =
            head.type == wire::outbound::winsys_buffer_object_begin_use ? begin_use_real_size : head.size;
        if (size < wire::header_size || size > largest_answer) {
            _desynchronised = true;
            return;
        }
        if (_partial_answer.size() - at < size)
            break;
        take_answer(std::span(_partial_answer).subspan(at, size));
        at += size;
    }
    _partial_answer.erase(_partial_answer.begin(), _partial_answer.begin() + static_cast<ptrdiff_t>(at));
}

void conversation::take_answer(std::span<const uint8_t> message)
{
    const wire::header head = wire::load_header(message.data());
    if (head.type == wire::outbound::leave_message_processing_loop) {
        _unread += _open != 0;
        _open -= _open != 0;
        _pending_request = 0;
        if (_last_call_terminates && !_open)
            _business = false;
    } else if (!wants_no_confirmation(head.type)) {
        // Of several requests in one answer only the last can be one that is waited for.
        _pending_request = head.type;
        _pending_payload.assign(message.begin() + wire::header_size, message.end());
    }
}

std::vector<uint8_t> conversation::confirmation() const
{
    const int results = _pending_request ? wire::answer_size_of_service(_pending_request) : -1;
    if (results < 0)
        return {};
    std::vector<uint8_t> message = begin_message(wire::inbound::command_executed, _wire_pid, _thread);
    append(message, uint32_t{0});
    append(message, static_cast<uint8_t>(results));
    message.insert(message.end(), static_cast<size_t>(results), 0);
    end_message(message);
    return message;
}

std::vector<uint8_t> conversation::terminate_message() const
{
    constexpr uint32_t egl_true = 1;
    constexpr uint32_t egl_success = 0x3000;
    const talk_settings now = settings();
    std::vector<uint8_t> message = begin_message(wire::inbound::egl_terminate, _wire_pid, _thread);
    if (now.call_on_target_api)
        append(message, egl_true);
    if (now.call_on_target_api && now.check_error_code && !now.error_check_white_list)
        append(message, egl_success);
    append(message, _display);
    end_message(message);
    return message;
}

std::vector<uint8_t> conversation::destroy_message(uint64_t instance) const
{
    constexpr uint64_t no_allocator = 0;
    std::vector<uint8_t> message = begin_message(wire::inbound::vk_destroy_instance, _wire_pid, _thread);
    if (_handle_bytes == 4)
        append(message, static_cast<uint32_t>(instance));
    else
        append(message, instance);
    append(message, no_allocator);
    end_message(message);
    return message;
}

std::vector<std::vector<uint8_t>> conversation::farewells() const
{
    std::vector<std::vector<uint8_t>> all;
    for (const uint64_t instance : _instances)
        all.push_back(destroy_message(instance));
    if (_display || _instances.empty())
        all.push_back(terminate_message());
    if (!settings().batch_commands)
        return all;
    for (std::vector<uint8_t>& message : all) {
        std::vector<uint8_t> batch = begin_message(wire::inbound::batch_commands, _wire_pid, _thread);
        append(batch, uint32_t{1});
        batch.insert(batch.end(), message.begin(), message.end());
        end_message(batch);
        message = std::move(batch);
    }
    return all;
}

} // namespace simulator
