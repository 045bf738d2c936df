#pragma once
// The two orders in which the bytes of a pixel stand: red first, as frames go to the target, and blue first,
// as drivers and windows keep them.

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace wire {

inline void swap_red_and_blue_portably(const uint8_t* from, uint8_t* to, size_t pixels)
{
    for (; pixels > 0; --pixels, from += 4, to += 4) {
        uint32_t v;
        std::memcpy(&v, from, sizeof v);
        v = (v & 0xff00ff00u) | ((v >> 16) & 0xffu) | ((v & 0xffu) << 16);
        std::memcpy(to, &v, sizeof v);
    }
}

#if defined(__x86_64__) || defined(__i386__)
/// One shuffle for eight pixels: every frame goes through here twice.
__attribute__((target("avx2"))) inline void swap_red_and_blue_by_eights(const uint8_t* from, uint8_t* to,
                                                                        size_t pixels)
{
    using bytes = uint8_t __attribute__((vector_size(32)));
    for (; pixels >= 8; pixels -= 8, from += 32, to += 32) {
        bytes eight;
        std::memcpy(&eight, from, sizeof eight);
        eight = __builtin_shufflevector(eight, eight, 2, 1, 0, 3, 6, 5, 4, 7, 10, 9, 8, 11, 14, 13, 12, 15,
                                        18, 17, 16, 19, 22, 21, 20, 23, 26, 25, 24, 27, 30, 29, 28, 31);
        std::memcpy(to, &eight, sizeof eight);
    }
    swap_red_and_blue_portably(from, to, pixels);
}
#endif

/// R, G, B, A bytes to B, G, R, A or back. Both blocks may be the same.
inline void swap_red_and_blue(const uint8_t* from, uint8_t* to, size_t pixels)
{
#if defined(__x86_64__) || defined(__i386__)
    static const bool by_eights = __builtin_cpu_supports("avx2");
    if (by_eights)
        return swap_red_and_blue_by_eights(from, to, pixels);
#endif
    swap_red_and_blue_portably(from, to, pixels);
}

} // namespace wire
