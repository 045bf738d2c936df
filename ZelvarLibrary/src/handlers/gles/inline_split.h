#pragma once
// Takes the inline bytes of a message apart where several arrays stand behind each other. Bounded: what the
// message doesn't hold reads as zeros, and no more is ever promised than it holds.

#include "inbound/payload_types.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

class inline_split
{
public:
    explicit inline_split(inline_array<uint8_t> bytes) : _bytes(bytes) {}

    uint64_t left() const { return _bytes.count - _at; }

    /// The next number, zero past the end.
    template <class T>
    T take()
    {
        T value{};
        if (left() >= sizeof(T))
            std::memcpy(&value, _bytes.data + _at, sizeof(T));
        advance(sizeof(T));
        return value;
    }

    /// Up to `count` elements, aligned; fewer when the message ends before.
    template <class T>
    std::vector<T> take_array(uint64_t count)
    {
        std::vector<T> values(std::min<uint64_t>(count, left() / sizeof(T)));
        if (!values.empty())
            std::memcpy(values.data(), _bytes.data + _at, values.size() * sizeof(T));
        advance(values.size() * sizeof(T));
        return values;
    }

    /// The text up to the next zero byte, which is skipped, or to the end.
    std::string take_string()
    {
        if (left() == 0)
            return {};
        const auto* text = reinterpret_cast<const char*>(_bytes.data + _at);
        std::string taken(text, strnlen(text, left()));
        advance(taken.size() + 1);
        return taken;
    }

private:
    void advance(uint64_t bytes) { _at += std::min(bytes, left()); }

    inline_array<uint8_t> _bytes;
    uint64_t _at = 0;
};
