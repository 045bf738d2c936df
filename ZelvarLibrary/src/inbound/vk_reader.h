#pragma once
// The bytes of one Vulkan message, and the memory that its contents take when they can't be used in place. No
// read leaves the message: what it doesn't hold is zero, and the bytes that were wanted are counted on.

#include "inbound/cursor.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

class vk_reader
{
public:
    static constexpr uint64_t arena_size = 0x400000;

    /// `arena` is arena_size bytes, or null: then blocks are allocated one by one, as they are when it is
    /// full.
    vk_reader(void* message, uint32_t size, int target_bits, void* arena)
        : _message(static_cast<uint8_t*>(message)), _in(message, size), _target_bits(target_bits),
          _arena(static_cast<uint8_t*>(arena))
    {
    }
    vk_reader(const vk_reader&) = delete;
    vk_reader& operator=(const vk_reader&) = delete;

    /// 32 or 64. What a process that never told its width sends is taken as the host's layout.
    int target_bits() const { return _target_bits; }
    bool wide() const { return _target_bits != 32; }

    /// The next value at its natural width, at any alignment; zero past the end.
    template <class T>
    T take()
    {
        return _in.take<T>();
    }
    /// A number of 4 or 8 bytes by the target's width.
    uint64_t take_pointer_sized() { return wide() ? take<uint64_t>() : take<uint32_t>(); }

    /// Bytes that the message still holds.
    uint64_t left() const { return _in.rest_size(); }
    /// How many of `count` elements of `size` bytes the message holds. When that is fewer, the rest counts as
    /// wanted once the elements are taken.
    uint64_t cut(uint64_t count, uint64_t size)
    {
        uint64_t held = left() / size;
        if (count <= held) [[likely]]
            return count;
        uint64_t lacking = 0;
        if (__builtin_mul_overflow(count - held, size, &lacking) ||
            __builtin_add_overflow(_missing, lacking, &_missing))
            _missing = most_missing;
        return held;
    }
    /// The next `bytes` as they stand; when the message ends in them, a copy with zeros for the rest.
    void* in_place(uint64_t bytes)
    {
        const uint64_t held = left();
        if (bytes <= held) [[likely]] {
            uint8_t* at = _message + (_in.size() - held);
            _in.skip(bytes);
            return at;
        }
        return completed(bytes);
    }
    /// The characters up to the next zero byte, in place; a copy with one when the message ends before it.
    const char* take_string();
    /// Zeroed memory that lasts as long as the handler, at the arena's cursor.
    void* allocate(uint64_t bytes)
    {
        uint64_t at = _used;
        _used += bytes;
        if (_arena && _used <= arena_size) [[likely]]
            return std::memset(_arena + at, 0, bytes);
        return block(bytes);
    }

    /// Bytes that a message with all that was asked for would have, header included.
    uint64_t wanted() const { return _in.wanted() + _missing; }
    uint64_t size() const { return _in.size(); }
    /// The arena was too small. Never for a target that has none.
    bool overflowed() const { return _arena && _used > arena_size; }

private:
    /// More than any message, and far from the end of the numbers for what is added to it.
    static constexpr uint64_t most_missing = uint64_t{1} << 62;

    void* completed(uint64_t bytes);
    void* block(uint64_t bytes);

    uint8_t* _message;
    cursor _in;
    int _target_bits;
    uint8_t* _arena;
    uint64_t _used = 0;
    uint64_t _missing = 0;
    std::vector<std::unique_ptr<uint8_t[]>> _blocks;
};
