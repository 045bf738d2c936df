#include "library_channel.h"

#include "wire/answer_sizes.h"
#include "wire/wire.h"

#include <algorithm>
#include <cstring>
#include <span>

namespace simulator {
namespace {

/// More than the library ever holds ready, so that one read takes it all: it must not find a rest of the last
/// answer when it begins the next one.
constexpr uint32_t whole_answer = 0x100000;
/// Where the library believes the answer to go; only `channel_model` sees it.
constexpr uint64_t answer_address = 0;

/// The library keeps the channels of targets that have gone until the process ends, and so they stay in sight
/// here.
scChannelInterface* keep_in_sight(scChannelInterface* channel)
{
    static auto& lock = *new std::mutex;
    static auto& channels = *new std::vector<scChannelInterface*>;
    std::lock_guard guard{lock};
    channels.push_back(channel);
    return channel;
}

} // namespace

library_channel::library_channel(scPluginInterface& plugin, link_endpoint& link, process_memory& memory,
                                 const newcomer& who, const talk_settings& initial, traffic& moved)
    : _link(link), _memory(memory), _pointer_bits(who.pointer_bits), _talk(who.wire_pid, initial),
      _model(_memory, _talk, _lock, moved), _channel(keep_in_sight(plugin.open()))
{
}

const char* library_channel::send(std::vector<uint8_t>& message)
{
    std::lock_guard order{_sending};
    {
        std::lock_guard guard{_lock};
        if (!_talk.admit(message))
            return _talk.refusal();
    }
    send_own(message);
    return nullptr;
}

/// Hands the message to the library, which takes it through the model.
void library_channel::send_own(std::vector<uint8_t>& message)
{
    const auto length = static_cast<uint32_t>(message.size());
    _model.offer(message);
    const channel_model::driver driving;
    _channel->write(answer_address, length, &_model);
}

bool library_channel::answer_due() const
{
    std::lock_guard guard{_lock};
    return _talk.answer_due();
}

bool library_channel::may_read_ahead() const
{
    std::lock_guard guard{_lock};
    return _talk.may_wait_in_read();
}

void library_channel::call_reader_back()
{
    std::vector<std::vector<uint8_t>> farewells;
    {
        std::lock_guard guard{_lock};
        _talk.abandon_unanswered_call();
        _talk.answers_taken(); // by nobody
        if (!_talk.in_call() && _talk.unfinished_business())
            farewells = _talk.farewells();
    }
    if (!farewells.empty())
        send(farewells.front());
}

void library_channel::read()
{
    {
        const channel_model::driver driving;
        _channel->read(answer_address, whole_answer, &_model);
    }
    std::vector<uint8_t> confirmation;
    {
        std::lock_guard guard{_lock};
        confirmation = early_confirmation();
        std::vector<uint8_t>& arrived = _model.arrived();
        if (!confirmation.empty()) // the request stands last, as the worker waits for its answer
            arrived.resize(arrived.size() - wire::header_size - _talk.pending_payload().size());
        _answers.insert(_answers.end(), arrived.begin(), arrived.end());
        arrived.clear();
    }
    if (!confirmation.empty())
        send(confirmation);
}

/// What the target has said in its greeting, offered with its message or described before, if that is what
/// the library asks for; nothing otherwise.
std::optional<library_channel::early_answer> library_channel::known_answer()
{
    const uint32_t type = _talk.pending_request();
    const std::span payload = _talk.pending_payload();
    early_answer answer{};
    const auto set = [&answer](uint64_t value) { std::memcpy(answer.data(), &value, sizeof value); };
    if (type == wire::outbound::get_target_pointer_size && payload.empty()) {
        set(_pointer_bits / 8);
        return answer;
    }
    uint32_t size = 0;
    if (type == wire::outbound::allocate_memory_block && payload.size() == sizeof size) {
        std::memcpy(&size, payload.data(), sizeof size);
        const uint64_t block = _link.take_offered_block(size);
        set(block);
        return block ? std::optional{answer} : std::nullopt;
    }
    uint64_t handle = 0;
    if (type == wire::outbound::winsys_map_buffer_object_vk && payload.size() == sizeof handle) {
        std::memcpy(&handle, payload.data(), sizeof handle);
        return _link.described_buffer(handle);
    }
    return std::nullopt;
}

/// Answers a request in the place of the target, so that it may sleep or go on with its own work. Empty when
/// the target has to be asked.
std::vector<uint8_t> library_channel::early_confirmation()
{
    const size_t request = wire::header_size + _talk.pending_payload().size();
    if (_link.gone() || !_talk.pending_request() || _model.arrived().size() < request)
        return {};
    const std::optional<early_answer> known = known_answer();
    if (!known)
        return {};
    std::vector<uint8_t> confirmation = _talk.confirmation();
    const auto bytes = static_cast<size_t>(wire::answer_size_of_service(_talk.pending_request()));
    std::memcpy(confirmation.data() + confirmation.size() - bytes, known->data(), bytes);
    return confirmation;
}

bool library_channel::has_answer() const
{
    std::lock_guard guard{_lock};
    return _delivered != _answers.size();
}

int32_t library_channel::deliver(uint64_t address, uint32_t capacity)
{
    std::lock_guard guard{_lock};
    const auto piece = static_cast<uint32_t>(std::min<size_t>(_answers.size() - _delivered, capacity));
    const uint32_t taken = _memory.write(address, _answers.data() + _delivered, piece);
    _delivered += piece;
    if (_delivered == _answers.size()) {
        _answers.clear();
        _delivered = 0;
        _talk.answers_taken();
    }
    return taken == piece ? static_cast<int32_t>(piece) : -1;
}

bool library_channel::say_farewell()
{
    // Nobody else sends or delivers any more.
    _talk.abandon_unanswered_call();
    bool settled = settle();
    if (settled && _talk.unfinished_business()) {
        for (std::vector<uint8_t>& farewell : _talk.farewells()) {
            if (_talk.in_call() || send(farewell))
                break;
            settled = settle() && settled;
        }
    }
    _channel->close();
    return settled;
}

/// Answers the library in the place of the target until it releases the call. False when it waits for
/// something else.
bool library_channel::settle()
{
    while (_talk.in_call()) {
        if (_talk.pending_request()) {
            std::vector<uint8_t> confirmation = _talk.confirmation();
            if (confirmation.empty() || send(confirmation))
                return false;
        }
        read();
    }
    _talk.answers_taken(); // by nobody
    return true;
}

uint64_t library_channel::messages() const
{
    std::lock_guard guard{_lock};
    return _talk.messages();
}

uint64_t library_channel::calls() const
{
    std::lock_guard guard{_lock};
    return _talk.calls();
}

} // namespace simulator
