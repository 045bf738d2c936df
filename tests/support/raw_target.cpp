#include "support/raw_target.h"

#include <algorithm>

namespace {
constexpr uint64_t outgoing_address = 0x100;
constexpr uint64_t incoming_address = 0x200;
namespace out = wire::outbound;
} // namespace

bool waits_for_confirmation(uint32_t type)
{
    return type != out::set_return_value_message && type != out::leave_message_processing_loop &&
           type != out::deallocate_memory_block;
}

raw_target::raw_target(scPluginInterface* plugin) : _channel(plugin->open())
{
    on_request = [this](const outbound_message& request) { return default_answer(request); };
}

uint32_t raw_target::read(uint64_t address, void* destination, uint32_t length)
{
    const std::vector<uint8_t>* block = &memory;
    uint64_t base = memory_base;
    if (address == outgoing_address) {
        block = &_outgoing;
        base = outgoing_address;
    }
    if (address < base || address - base >= block->size())
        return 0;
    uint64_t count = std::min<uint64_t>(length, block->size() - (address - base));
    std::memcpy(destination, block->data() + (address - base), count);
    return static_cast<uint32_t>(count);
}

uint32_t raw_target::write(uint64_t address, const void* source, uint32_t length)
{
    const auto* from = static_cast<const uint8_t*>(source);
    if (address == incoming_address) {
        _pending.insert(_pending.end(), from, from + length);
        return length;
    }
    if (address < memory_base || address - memory_base >= memory.size())
        return 0;
    uint64_t count = std::min<uint64_t>(length, memory.size() - (address - memory_base));
    std::memcpy(memory.data() + (address - memory_base), from, count);
    return static_cast<uint32_t>(count);
}

void raw_target::write_only(const std::vector<uint8_t>& bytes)
{
    _outgoing = bytes;
    _channel->write(outgoing_address, static_cast<uint32_t>(bytes.size()), this);
}

bool raw_target::take_message(outbound_message* message_out)
{
    if (_pending.size() < wire::header_size)
        return false;
    wire::header header = wire::load_header(_pending.data());
    // One message promises less than it sends.
    uint32_t size = header.type == out::winsys_buffer_object_begin_use ? 32 : header.size;
    if (_pending.size() < size)
        return false;
    auto end = _pending.begin() + size;
    *message_out = {header.type, header.pid, header.tid, {_pending.begin(), end}};
    _pending.erase(_pending.begin(), end);
    return true;
}

std::vector<outbound_message> raw_target::serve(int leaves)
{
    std::vector<outbound_message> all;
    while (leaves > 0) {
        outbound_message next;
        if (!take_message(&next)) {
            _channel->read(incoming_address, 0x100000, this);
            continue;
        }
        all.push_back(next);
        if (next.type == out::leave_message_processing_loop) {
            --leaves;
        } else if (waits_for_confirmation(next.type)) {
            confirmation answer = on_request(next);
            if (answer.silent)
                continue;
            write_only(message(wire::inbound::command_executed, next.pid, next.tid)
                           .u32(answer.error)
                           .u8(static_cast<uint8_t>(answer.result.size()))
                           .raw(answer.result)
                           .bytes());
        }
    }
    return all;
}

std::vector<outbound_message> raw_target::run(const message& call, int leaves)
{
    write_only(call.bytes());
    return serve(leaves);
}

confirmation raw_target::default_answer(const outbound_message& request)
{
    switch (request.type) {
    case out::allocate_memory_block: {
        uint64_t address = _next_allocation;
        _next_allocation += (uint64_t{request.at<uint32_t>(0)} + 15) / 16 * 16;
        return confirm_with(address);
    }
    case out::get_target_pointer_size:
        return confirm_with(uint32_t{8});
    case out::winsys_get_target_os_version:
        return confirm_with(uint32_t{1});
    case out::get_string_length:
        return confirm_with(static_cast<uint32_t>(text_at(request.at<uint64_t>(0)).size()));
    case out::get_fb_height:
    case out::get_fb_width:
    case out::winsys_get_window_height:
    case out::winsys_get_window_width:
        return confirm_with(uint32_t{16});
    case out::get_egl_attribute_list_length:
    case out::get_pixmap_data:
    case out::shim_sync_object_wait:
    case out::winsys_buffer_object_end_use:
    case out::winsys_unmap_buffer_object:
        return confirm_with(uint32_t{0});
    case out::get_proc_address:
    case out::shim_sync_object_create:
    case out::vkAllocateMemory:
    case out::get_target_process_name_address:
        return confirm_with(uint64_t{0});
    case out::winsys_connect_window:
        return confirm_with(uint8_t{1});
    default:
        return {};
    }
}
