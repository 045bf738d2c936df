#include "scripted_target.h"

#include "answer_sizes.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_channel_interface_wrapper.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_zelvar_init.h"
#include "support/message.h"
#include "wire/wire.h"
#include "workers/zelvar_context_worker.h"

#include <EGL/egl.h>
#include <GLES3/gl31.h>

#include <algorithm>
#include <chrono>
#include <cstring>

namespace {
// No type of the library's.
constexpr uint32_t mark_type = 0x5ca1ab1e;
// A read that always takes everything that is pending.
constexpr uint32_t whole_buffer = ChannelInterfaceBuffer::capacity;
constexpr uint64_t longest_completed_message = 8 * ChannelInterfaceWrapper::inbound_capacity;
// A channel that has got more than its message's size is stuck for good, and channels are never freed. Past
// this number, what would spoil one is cut off.
constexpr int most_channels = 64;

/// Runs on the worker, behind everything that was queued for it: tells the target that it is through.
void send_mark(pid_t, tid_t, void* bytes, uint32_t size)
{
    auto* channel = sidechannel_get_plugin_interface_ptr()->getSidechannelInterface(scripted_target::pid);
    if (!channel)
        return;
    {
        Autolock send_lock{channel->sendLock()};
        channel->writeSideChannel(reinterpret_cast<uint64_t>(bytes), size, nullptr);
    }
    channel->allowMainThreadToSendMessage();
}
} // namespace

// Memory.

std::span<uint8_t> scripted_memory::at(uint64_t address, uint64_t length) const
{
    if (address < base || address >= base + size)
        return {};
    return {_bytes.data() + (address - base), std::min(length, base + size - address)};
}

uint32_t scripted_memory::read(uint64_t target_address, void* destination, uint32_t length)
{
    std::span<const uint8_t> from = at(target_address, length);
    if (target_address == outgoing_window && is_owner())
        from = outgoing.first(std::min<size_t>(outgoing.size(), length));
    if (!from.empty())
        std::memcpy(destination, from.data(), from.size());
    return static_cast<uint32_t>(from.size());
}

uint32_t scripted_memory::write(uint64_t target_address, const void* source, uint32_t length)
{
    if (target_address == incoming_window && is_owner()) {
        const auto* bytes = static_cast<const uint8_t*>(source);
        incoming.insert(incoming.end(), bytes, bytes + length);
        return length;
    }
    std::span<uint8_t> to = at(target_address, length);
    if (!to.empty())
        std::memcpy(to.data(), source, to.size());
    return static_cast<uint32_t>(to.size());
}

void scripted_memory::clear()
{
    std::fill(_bytes.begin(), _bytes.end(), uint8_t{0});
}

void scripted_memory::poke(uint64_t offset, std::span<const uint8_t> data)
{
    std::span<uint8_t> to = at(base + offset % size, data.size());
    std::copy_n(data.begin(), to.size(), to.begin());
}

uint32_t scripted_memory::text_length(uint64_t address) const
{
    std::span<const uint8_t> text = at(address, size);
    return static_cast<uint32_t>(std::find(text.begin(), text.end(), 0) - text.begin());
}

uint32_t scripted_memory::attribute_list_length(uint64_t address) const
{
    std::span<const uint8_t> list = at(address, size);
    uint32_t length = 0;
    for (uint32_t key = 0; list.size() >= length + sizeof(key) && key != EGL_NONE;) {
        std::memcpy(&key, list.data() + length, sizeof(key));
        length += key == EGL_NONE ? 4 : 8;
    }
    return length;
}

// The target.

scripted_target::scripted_target() : _nudger([this] { nudge(); })
{
    open_channel();
}

scripted_target::~scripted_target()
{
    {
        std::lock_guard guard{_nudge_lock};
        _is_ending = true;
    }
    _nudge_signal.notify_all();
    _nudger.join();
    _channel->close();
}

void scripted_target::open_channel()
{
    _opened++;
    if (_channel)
        _channel->close();
    _channel = sidechannel_get_plugin_interface_ptr()->open();
    // Channels live as long as the process, by design: they are kept, so that what leaks stands out.
    static auto& channels = *new std::vector<scChannelInterface*>;
    channels.push_back(_channel);
    _is_stuck = false;
    _started.clear();
    _written = 0;
    // The first message binds the channel. Its row is empty: nobody answers it.
    write(message(5, pid).bytes());
    _to_serve.clear();
}

void scripted_target::begin(std::span<const uint8_t> script)
{
    if (_is_stuck)
        open_channel();
    _memory.clear();
    _script = script;
    _next_allocation = scripted_memory::heap;
    _received.clear();
    _results.clear();
}

uint64_t scripted_target::peek(uint64_t address, uint32_t size)
{
    uint64_t value = 0;
    _memory.read(address, &value, size);
    return value;
}

void scripted_target::end()
{
    complete_started_message();
    serve();
}

namespace {
uint32_t size_word(const std::vector<uint8_t>& head)
{
    uint32_t declared = 0;
    std::memcpy(&declared, head.data(), std::min(head.size(), sizeof(declared)));
    return declared;
}
} // namespace

/// Writes what the size word of a half-written message still wants, so that the channel can go on.
void scripted_target::complete_started_message()
{
    if (_written != 0 && _written < sizeof(uint32_t)) {
        std::vector<uint8_t> rest(sizeof(uint32_t) - _written);
        rest[0] = size_word(_started) < sizeof(uint32_t);
        write(rest);
    }
    if (_is_stuck || _written == 0)
        return;
    uint32_t declared = size_word(_started);
    if (declared > longest_completed_message)
        _is_stuck = true;
    else
        write(std::vector<uint8_t>(declared - _written));
}

void scripted_target::write(std::span<const uint8_t> bytes)
{
    if (_opened >= most_channels)
        bytes = without_surplus(bytes);
    if (_is_stuck || is_forbidden(bytes))
        return;
    _memory.outgoing = bytes;
    _channel->write(scripted_memory::outgoing_window, static_cast<uint32_t>(bytes.size()), &_memory);
    _memory.outgoing = {};
    note_written(bytes);
}

/// What of the bytes leaves the channel fit for the next message.
std::span<const uint8_t> scripted_target::without_surplus(std::span<const uint8_t> bytes) const
{
    std::vector<uint8_t> head = _started;
    head.insert(head.end(), bytes.begin(), bytes.begin() + std::min<ptrdiff_t>(4, std::ssize(bytes)));
    if (head.size() < sizeof(uint32_t))
        return bytes;
    uint32_t declared = size_word(head);
    if (declared < sizeof(uint32_t) || declared > longest_completed_message)
        return {};
    return bytes.first(std::min<size_t>(bytes.size(), declared - _written));
}

/// A request of a process without a channel stays pending for ever. A confirmation of it in the wrong size is
/// what the library stops on by design.
bool scripted_target::is_forbidden(std::span<const uint8_t> bytes) const
{
    std::vector<uint8_t> head = _started;
    head.insert(head.end(), bytes.begin(), bytes.end());
    head.resize(wire::header_size);
    wire::header header = wire::load_header(head.data());
    return header.type == wire::inbound::command_executed && header.pid != pid;
}

/// Follows the channel's own count: a message that is longer than it said can't be ended any more.
void scripted_target::note_written(std::span<const uint8_t> bytes)
{
    size_t wanted = std::min<size_t>(wire::header_size - _started.size(), bytes.size());
    _started.insert(_started.end(), bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(wanted));
    _written += bytes.size();
    if (_written < sizeof(uint32_t))
        return;
    uint32_t declared = size_word(_started);
    _is_stuck = _written > declared;
    if (_written != declared)
        return;
    bool has_owner = _started.size() == wire::header_size;
    _started.resize(wire::header_size);
    wire::header header = wire::load_header(_started.data());
    if (!has_owner)
        header.pid = 0, header.tid = 0;
    _to_serve.push_back(header);
    _started.clear();
    _written = 0;
}

void scripted_target::serve()
{
    while (!_to_serve.empty()) {
        wire::header next = _to_serve.front();
        _to_serve.erase(_to_serve.begin());
        bool has_worker =
            next.type <= wire::inbound::row_count + 1 && next.type != wire::inbound::command_executed;
        if (has_worker)
            serve_worker(next);
    }
}

void scripted_target::serve_worker(const wire::header& of)
{
    {
        std::lock_guard guard{_nudge_lock};
        _mark++;
        _waiting_for = of;
        _is_waiting = true;
    }
    queue_mark(of);
    _nudge_signal.notify_all();
    while (!take_messages())
        _channel->read(scripted_memory::incoming_window, whole_buffer, &_memory);
    std::lock_guard guard{_nudge_lock};
    _is_waiting = false;
}

void scripted_target::fill_in_results(std::span<uint8_t> bytes) const
{
    static constexpr uint8_t token[] = {'R', 'E', 'T', 'V', 'A', 'L'};
    auto at = bytes.begin();
    while ((at = std::search(at, bytes.end(), std::begin(token), std::end(token))) != bytes.end()) {
        if (bytes.end() - at < 8)
            return;
        size_t index = at[6];
        uint64_t value = index < _results.size() ? _results[index] : 0;
        std::memcpy(&*at, &value, sizeof(value));
        at += sizeof(value);
    }
}

/// Answers all whole messages that have arrived. True when this wait's mark is among them.
bool scripted_target::take_messages()
{
    _received.insert(_received.end(), _memory.incoming.begin(), _memory.incoming.end());
    _memory.incoming.clear();
    bool is_through = false;
    size_t at = 0;
    while (_received.size() - at >= wire::header_size) {
        wire::header header = wire::load_header(&_received[at]);
        // The one service whose header leaves its payload out.
        uint64_t length = header.type == wire::outbound::winsys_buffer_object_begin_use ? 32 : header.size;
        if (length < wire::header_size || _received.size() - at < length)
            break;
        std::vector<uint8_t> one(_received.begin() + at, _received.begin() + at + length);
        at += length;
        if (header.type == mark_type) {
            is_through |= header.tid == _mark;
        } else if (header.type == wire::outbound::set_return_value_message) {
            // One byte of size, then the value.
            uint64_t result = 0;
            if (length > wire::header_size + 1)
                std::memcpy(&result, one.data() + wire::header_size + 1,
                            std::min<size_t>(sizeof(result), length - wire::header_size - 1));
            _results.push_back(result);
        } else {
            answer(one);
        }
    }
    _received.erase(_received.begin(), _received.begin() + at);
    return is_through;
}

void scripted_target::answer(std::span<const uint8_t> request)
{
    wire::header header = wire::load_header(request.data());
    int32_t size = answer_sizes::of_request(header.type);
    if (size == answer_sizes::not_answered)
        return;
    // A message that was begun has to end first, or the answer would become its middle.
    complete_started_message();
    store_output(header.type, request);
    std::vector<uint8_t> result = answer_bytes(header.type, static_cast<uint32_t>(size), request);
    uint32_t error = next_script_byte() & 1 ? 0x500u + next_script_byte() : 0u;
    write(message(wire::inbound::command_executed, pid, header.tid)
              .u32(error)
              .u8(static_cast<uint8_t>(size))
              .raw(result)
              .bytes());
}

/// What calls on the target leave in its memory. A target has one config. Fewer texture units or vertex
/// attributes than any implementation may have would stop the library by design.
void scripted_target::store_output(uint32_t type, std::span<const uint8_t> request)
{
    auto argument = [&](size_t offset, size_t size) {
        uint64_t value = 0;
        if (request.size() >= wire::header_size + offset + size)
            std::memcpy(&value, request.data() + wire::header_size + offset, size);
        return value;
    };
    auto store = [&](uint64_t address, uint64_t value, uint32_t size) {
        _memory.write(address, &value, size);
    };
    switch (type + wire::outbound::call_offset) {
    case wire::inbound::gles20_get_integerv: {
        uint64_t pname = argument(0, 4);
        bool is_needed = pname == GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS || pname == GL_MAX_VERTEX_ATTRIBS;
        store(argument(4, 8), is_needed ? 32 : next_script_byte(), 4);
        break;
    }
    case wire::inbound::egl_get_configs:
        store(argument(8, 8), 5, 8);
        store(argument(20, 8), 1, 4);
        break;
    case wire::inbound::egl_get_config_attrib:
        store(argument(20, 8), 8 + next_script_byte(), 4);
        break;
    }
}

std::vector<uint8_t> scripted_target::answer_bytes(uint32_t type, uint32_t size,
                                                   std::span<const uint8_t> request)
{
    std::vector<uint8_t> bytes(size);
    uint8_t how = next_script_byte() & 3;
    if (how == 1) {
        for (uint8_t& byte : bytes)
            byte = next_script_byte();
        return bytes;
    }
    if (how == 2 && size) {
        bytes[0] = next_script_byte();
        return bytes;
    }
    if (how == 3)
        return std::vector<uint8_t>(size, 0xff);

    // As a well-behaved target.
    uint64_t argument = 0;
    std::memcpy(&argument, request.data() + wire::header_size,
                std::min<size_t>(sizeof(argument), request.size() - wire::header_size));
    uint64_t value = size == 4 ? 1 : 0;
    switch (type) {
    case wire::outbound::allocate_memory_block:
        value = _next_allocation;
        _next_allocation = std::min(_next_allocation + ((argument & 0xffffffff) + 7) / 8 * 8,
                                    scripted_memory::base + scripted_memory::size - 8);
        break;
    case wire::outbound::get_string_length:
        value = _memory.text_length(argument);
        break;
    case wire::outbound::get_egl_attribute_list_length:
        value = _memory.attribute_list_length(argument);
        break;
    case wire::outbound::get_target_pointer_size:
        value = 8;
        break;
    case wire::outbound::get_fb_height:
    case wire::outbound::get_fb_width:
    case wire::outbound::winsys_get_window_height:
    case wire::outbound::winsys_get_window_width:
        value = 16;
        break;
    case wire::outbound::winsys_buffer_object_begin_use:
    case wire::outbound::winsys_map_buffer_object:
        // A buffer's handle is where it is described.
        _memory.read(argument, bytes.data(), size);
        return bytes;
    case wire::outbound::shim_sync_object_create:
    case wire::outbound::get_target_process_name_address:
        value = scripted_memory::base;
        break;
    }
    if (size)
        std::memcpy(bytes.data(), &value, std::min<size_t>(size, sizeof(value)));
    return bytes;
}

/// Zero once the script is used up: the well-behaved answer.
uint8_t scripted_target::next_script_byte()
{
    if (_script.empty())
        return 0;
    uint8_t byte = _script.front();
    _script = _script.subspan(1);
    return byte;
}

void scripted_target::queue_mark(const wire::header& of)
{
    std::shared_ptr<_zelvar_context_worker> worker;
    zelvar_object_manager_get_worker_for_target_tid_pid(of.pid, of.tid, 0, &worker);
    auto mark = message(mark_type, pid, _mark).bytes();
    zelvar_context_worker_enqueue(worker, send_mark, of.pid, of.tid, mark.data(),
                                  static_cast<uint32_t>(mark.size()));
}

void scripted_target::nudge()
{
    constexpr std::chrono::milliseconds first_pause{1}, longest_pause{200};
    std::unique_lock lock{_nudge_lock};
    while (!_is_ending) {
        _nudge_signal.wait(lock, [this] { return _is_waiting || _is_ending; });
        uint64_t waited_for = _mark;
        auto pause = first_pause;
        while (_is_waiting && _mark == waited_for && !_is_ending) {
            _nudge_signal.wait_for(lock, pause);
            if (_is_waiting && _mark == waited_for)
                queue_mark(_waiting_for);
            pause = std::min(pause * 2, longest_pause);
        }
    }
}
