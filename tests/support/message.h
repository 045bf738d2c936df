#pragma once
// Builds messages as a target would send them:
//
//     message(wire::inbound::gles20_vertex_attrib_pointer).u32(0).i32(4).u32(GL_FLOAT).u8(0).i32(16).u64(p).bytes()
//
// `declared_size` makes the header lie.

#include "wire/wire.h"

#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

class message
{
public:
    explicit message(uint32_t type, int32_t pid = 1, uint64_t tid = 1) : _header{0, type, pid, tid} {}

    message& u8(uint8_t value) { return put(value); }
    message& u32(uint32_t value) { return put(value); }
    message& i32(int32_t value) { return put(value); }
    message& f32(float value) { return put(value); }
    message& u64(uint64_t value) { return put(value); }
    /// The characters and the zero byte behind them.
    message& text(std::string_view characters) { return raw(characters.data(), characters.size()).u8(0); }
    message& raw(const void* data, size_t size)
    {
        const auto* from = static_cast<const uint8_t*>(data);
        _payload.insert(_payload.end(), from, from + size);
        return *this;
    }
    message& raw(const std::vector<uint8_t>& data) { return raw(data.data(), data.size()); }
    message& declared_size(uint32_t size)
    {
        _declared = size;
        return *this;
    }

    const std::vector<uint8_t>& payload() const { return _payload; }
    uint32_t type() const { return _header.type; }
    std::vector<uint8_t> bytes() const
    {
        uint8_t head[wire::header_size];
        wire::header header = _header;
        header.size = _declared.value_or(static_cast<uint32_t>(sizeof(head) + _payload.size()));
        wire::store_header(head, header);
        std::vector<uint8_t> all(head, head + sizeof(head));
        all.insert(all.end(), _payload.begin(), _payload.end());
        return all;
    }

private:
    template <class T>
    message& put(T value)
    {
        return raw(&value, sizeof(value));
    }

    wire::header _header;
    std::optional<uint32_t> _declared;
    std::vector<uint8_t> _payload;
};
