#pragma once
// The two colours that the texels of a partition lie between.

#include <array>
#include <cstdint>

struct endpoints
{
    std::array<uint8_t, 4> low; // R, G, B, A
    std::array<uint8_t, 4> high;
};

/// What is illegal comes out in this colour, opaque magenta.
inline constexpr std::array<uint8_t, 4> error_colour = {255, 0, 255, 255};

inline unsigned values_of_mode(unsigned mode)
{
    return (mode >> 2) * 2 + 2;
}

/// `values` are the unquantised ones of the mode. The HDR modes give the error colour: the other partitions
/// of their block are not touched by it.
endpoints decode_endpoints(unsigned mode, const uint8_t* values);
