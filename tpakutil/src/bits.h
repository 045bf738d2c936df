#pragma once
// Bit streams: least significant bit of the byte first, least significant bit of the value first.

#include <bit>
#include <cstdint>

namespace tpakutil {

/// Reads at most 32 bits. Past the end the position becomes -1 and stays so, and the result is 0.
inline uint32_t read_bits(const uint8_t* data, int64_t size_in_bytes, int* position, int count)
{
    if (*position < 0 || *position + int64_t{count} > 8 * size_in_bytes) {
        *position = -1;
        return 0;
    }
    uint32_t value = 0;
    for (int done = 0; done < count;) {
        const int bit = *position & 7;
        const int taken = count - done < 8 - bit ? count - done : 8 - bit;
        const uint32_t part = (data[*position >> 3] >> bit) & ((1u << taken) - 1);
        value |= part << done;
        done += taken;
        *position += taken;
    }
    return value;
}

inline int32_t read_bits_signed(const uint8_t* data, int64_t size_in_bytes, int* position, int count)
{
    const uint32_t value = read_bits(data, size_in_bytes, position, count);
    return static_cast<int32_t>(value << (32 - count)) >> (32 - count);
}

/// Writes at `position` and returns the position behind, -1 when it is -1 already or the bits don't fit. The
/// value isn't masked: the rest of the last byte takes the value's next bits. The following write replaces
/// them, and behind the last one they are part of the format.
inline int write_bits(uint8_t* data, int64_t size_in_bytes, int position, uint32_t value, int count)
{
    if (position < 0 || position + int64_t{count} > 8 * size_in_bytes)
        return -1;
    while (count > 0) {
        const int bit = position & 7;
        const int taken = count < 8 - bit ? count : 8 - bit;
        uint8_t& byte = data[position >> 3];
        byte = static_cast<uint8_t>((byte & ((1u << bit) - 1)) | (value << bit));
        value >>= taken;
        position += taken;
        count -= taken;
    }
    return position;
}

inline int bit_length(uint32_t value)
{
    return std::bit_width(value);
}

} // namespace tpakutil
