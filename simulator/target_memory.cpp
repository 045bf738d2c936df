#include "target_memory.h"

#include <algorithm>
#include <cstring>

#include <sys/uio.h>

namespace simulator {

/// The place of a target's block in our own mapping of the shared memory; null when it isn't all in there.
uint8_t* process_memory::shared_block(uint64_t address, uint32_t length) const
{
    const uint64_t start = _link.shared_address();
    if (!_link.shared() || address < start)
        return nullptr;
    const uint64_t offset = address - start;
    if (offset > device_link::shared_size || length > device_link::shared_size - offset)
        return nullptr;
    return _link.shared() + offset;
}

uint32_t process_memory::read(uint64_t address, void* destination, uint32_t length) const
{
    if (!length || _link.gone())
        return 0;
    if (const uint8_t* block = shared_block(address, length)) {
        std::memcpy(destination, block, length);
        return length;
    }
    const iovec here{destination, length};
    const iovec there{reinterpret_cast<void*>(address), length};
    const ssize_t copied = process_vm_readv(_link.process(), &here, 1, &there, 1, 0);
    return copied > 0 ? static_cast<uint32_t>(copied) : 0;
}

uint32_t process_memory::write(uint64_t address, const void* source, uint32_t length) const
{
    if (!length || _link.gone())
        return 0;
    if (uint8_t* block = shared_block(address, length)) {
        std::memcpy(block, source, length);
        return length;
    }
    const iovec here{const_cast<void*>(source), length};
    const iovec there{reinterpret_cast<void*>(address), length};
    const ssize_t copied = process_vm_writev(_link.process(), &here, 1, &there, 1, 0);
    return copied > 0 ? static_cast<uint32_t>(copied) : 0;
}

thread_local bool channel_model::_drives = false;

channel_model::channel_model(process_memory& memory, conversation& talk, std::mutex& lock, traffic& moved)
    : _memory(memory), _talk(talk), _lock(lock), _moved(moved)
{
}

uint32_t channel_model::read(uint64_t target_address, void* destination, uint32_t length)
{
    uint32_t copied = 0;
    if (_drives) {
        copied = std::min<uint32_t>(length, static_cast<uint32_t>(_message.size()));
        std::memcpy(destination, _message.data(), copied);
    } else {
        copied = _memory.read(target_address, destination, length);
    }
    _moved.read.fetch_add(copied, std::memory_order_relaxed);
    return copied;
}

uint32_t channel_model::write(uint64_t target_address, const void* source, uint32_t length)
{
    uint32_t copied = length;
    const auto* bytes = static_cast<const uint8_t*>(source);
    if (_drives) {
        _arrived.insert(_arrived.end(), bytes, bytes + length);
        std::lock_guard guard{_lock};
        _talk.answered({bytes, length});
    } else {
        copied = _memory.write(target_address, source, length);
        _talk.block_written(target_address, {bytes, length});
    }
    _moved.written.fetch_add(copied, std::memory_order_relaxed);
    return copied;
}

} // namespace simulator
