#pragma once
// The only code that touches message bytes: a bounded reader that yields zeros past the end and remembers it.

#include "wire/wire.h"

#include <cstdint>
#include <cstring>
#include <type_traits>

class cursor
{
public:
    /// Reads the payload of a message of `size` bytes, header included. Nothing is copied.
    cursor(const void* message, uint32_t size)
        : _bytes(static_cast<const uint8_t*>(message)), _size(message ? size : 0)
    {
    }

    /// The next value at its natural width, at any alignment; zero past the end.
    template <class T>
    T take()
    {
        static_assert(std::is_arithmetic_v<T> || std::is_enum_v<T>, "only plain numbers stand on the wire");
        T value{};
        if (_at + sizeof(T) <= _size)
            std::memcpy(&value, _bytes + _at, sizeof(T));
        _at += sizeof(T);
        return value;
    }

    /// A number of `width` bytes (1, 4 or 8), widened.
    uint64_t take_width(unsigned width)
    {
        return width == 1 ? take<uint8_t>() : width == 4 ? take<uint32_t>() : take<uint64_t>();
    }

    /// What is left of the message; null when nothing is.
    const uint8_t* rest() const { return _at < _size ? _bytes + _at : nullptr; }
    uint64_t rest_size() const { return _at < _size ? _size - _at : 0; }
    /// Moves on; past the end counts as a short message.
    void skip(uint64_t bytes) { _at += bytes; }

    /// A value was wanted that the message doesn't hold.
    bool bad() const { return _at > _size; }
    uint64_t wanted() const { return _at; }
    uint64_t size() const { return _size; }

private:
    const uint8_t* _bytes;
    uint64_t _size;
    uint64_t _at = wire::header_size;
};
