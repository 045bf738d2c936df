#pragma once
// Messages laid out by hand, field by field.

#include <cstdint>
#include <cstring>
#include <string_view>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace shim_test {

class bytes
{
public:
    bytes& u8(uint8_t value) { return raw(&value, 1); }
    bytes& u32(uint32_t value) { return raw(&value, 4); }
    bytes& i32(int32_t value) { return raw(&value, 4); }
    bytes& u64(uint64_t value) { return raw(&value, 8); }
    bytes& f32(float value) { return raw(&value, 4); }
    bytes& address(const void* pointer) { return u64(reinterpret_cast<uintptr_t>(pointer)); }
    bytes& text(std::string_view value) { return raw(value.data(), value.size()).u8(0); }
    bytes& zeros(size_t count)
    {
        data_.resize(data_.size() + count);
        return *this;
    }
    bytes& add(const bytes& other) { return raw(other.data_.data(), other.data_.size()); }
    bytes& raw(const void* from, size_t count)
    {
        const auto* at = static_cast<const uint8_t*>(from);
        data_.insert(data_.end(), at, at + count);
        return *this;
    }

    size_t size() const { return data_.size(); }
    const std::vector<uint8_t>& get() const { return data_; }

private:
    std::vector<uint8_t> data_;
};

/// A whole message of the calling thread.
inline bytes message(uint32_t type, const bytes& payload = {})
{
    return bytes{}
        .u32(static_cast<uint32_t>(20 + payload.size()))
        .u32(type)
        .u32(static_cast<uint32_t>(getpid()))
        .u64(static_cast<uint64_t>(syscall(SYS_gettid)))
        .add(payload);
}

/// The release of the caller, alone or behind a value of so many bytes.
inline bytes release()
{
    return message(437);
}

inline bytes value_and_release(const bytes& value)
{
    return message(436, bytes{}.u8(static_cast<uint8_t>(value.size())).add(value)).add(release());
}

/// What the shim confirms a request with.
inline bytes confirmation(const bytes& result, uint32_t error = 0)
{
    return message(4, bytes{}.u32(error).u8(static_cast<uint8_t>(result.size())).add(result));
}

/// The one message that a batch of one holds.
inline bytes batch(uint32_t count, const bytes& messages)
{
    return message(1, bytes{}.u32(count).add(messages));
}

} // namespace shim_test
