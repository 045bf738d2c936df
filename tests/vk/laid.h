#pragma once
// Lays structures out by hand as a target's compiler does: each value at its alignment, pointers by the
// target's width. What stands here knows nothing of the descriptions.

#include "wire/wire.h"

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

class laid
{
public:
    explicit laid(int bits) : bits(bits), _bytes(wire::header_size) {}

    const int bits;

    /// Begins a structure or an array at the next byte, aligned or not.
    laid& begin()
    {
        _start = _bytes.size();
        _align = 1;
        return *this;
    }
    /// The padding at a structure's end.
    laid& end() { return pad(_align); }

    laid& u32(uint32_t value) { return put(value); }
    laid& f32(float value) { return put(value); }
    laid& u64(uint64_t value) { return put(value); }
    /// A pointer, a size_t or a dispatchable handle.
    laid& word(uint64_t value) { return bits == 32 ? put(static_cast<uint32_t>(value)) : put(value); }
    laid& text(std::string_view characters)
    {
        _bytes.insert(_bytes.end(), characters.begin(), characters.end());
        _bytes.push_back(0);
        return *this;
    }
    template <class... V>
    laid& u32s(V... values)
    {
        (put(static_cast<uint32_t>(values)), ...);
        return *this;
    }

    std::vector<uint8_t> bytes() const { return _bytes; }
    uint64_t size() const { return _bytes.size(); }

private:
    template <class T>
    laid& put(T value)
    {
        pad(sizeof(T));
        _align = sizeof(T) > _align ? sizeof(T) : _align;
        const auto* from = reinterpret_cast<const uint8_t*>(&value);
        _bytes.insert(_bytes.end(), from, from + sizeof(T));
        return *this;
    }
    laid& pad(size_t align)
    {
        while ((_bytes.size() - _start) % align)
            _bytes.push_back(0xee);
        return *this;
    }

    std::vector<uint8_t> _bytes;
    size_t _start = wire::header_size;
    size_t _align = 1;
};
