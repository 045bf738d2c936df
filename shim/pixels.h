#pragma once
// The two orders in which the bytes of a pixel stand.

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace shim {

/// R, G, B, A bytes to B, G, R, A or back.
inline void swap_red_and_blue(const uint8_t* from, uint8_t* to, size_t pixels)
{
    using four_pixels = uint32_t __attribute__((vector_size(16)));
    for (; pixels >= 4; pixels -= 4, from += 16, to += 16) {
        four_pixels v;
        std::memcpy(&v, from, sizeof v);
        v = (v & 0xff00ff00u) | ((v >> 16) & 0xffu) | ((v & 0xffu) << 16);
        std::memcpy(to, &v, sizeof v);
    }
    for (; pixels > 0; --pixels, from += 4, to += 4) {
        uint32_t v;
        std::memcpy(&v, from, sizeof v);
        v = (v & 0xff00ff00u) | ((v >> 16) & 0xffu) | ((v & 0xffu) << 16);
        std::memcpy(to, &v, sizeof v);
    }
}

} // namespace shim
