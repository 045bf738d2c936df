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

/// Two rows change places, and each pixel its order.
inline void exchange_rows_swapped_portably(uint8_t* a, uint8_t* b, size_t pixels)
{
    for (; pixels > 0; --pixels, a += 4, b += 4) {
        uint8_t from_a[4];
        std::memcpy(from_a, a, sizeof from_a);
        swap_red_and_blue_portably(b, a, 1);
        swap_red_and_blue_portably(from_a, b, 1);
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

__attribute__((target("avx2"))) inline void exchange_rows_swapped_by_eights(uint8_t* a, uint8_t* b,
                                                                            size_t pixels)
{
    for (; pixels >= 8; pixels -= 8, a += 32, b += 32) {
        uint8_t from_a[32];
        std::memcpy(from_a, a, sizeof from_a);
        swap_red_and_blue_by_eights(b, a, 8);
        swap_red_and_blue_by_eights(from_a, b, 8);
    }
    exchange_rows_swapped_portably(a, b, pixels);
}

inline bool processor_takes_eights()
{
    static const bool takes = __builtin_cpu_supports("avx2");
    return takes;
}
#else
inline constexpr auto swap_red_and_blue_by_eights = swap_red_and_blue_portably;
inline constexpr auto exchange_rows_swapped_by_eights = exchange_rows_swapped_portably;
inline constexpr bool processor_takes_eights()
{
    return false;
}
#endif

/// R, G, B, A bytes to B, G, R, A or back. Both blocks may be the same.
inline void swap_red_and_blue(const uint8_t* from, uint8_t* to, size_t pixels)
{
    if (processor_takes_eights())
        swap_red_and_blue_by_eights(from, to, pixels);
    else
        swap_red_and_blue_portably(from, to, pixels);
}

/// The same for two rows that change places on the way; both may be the same row.
inline void exchange_rows_swapped(uint8_t* a, uint8_t* b, size_t pixels)
{
    if (processor_takes_eights())
        exchange_rows_swapped_by_eights(a, b, pixels);
    else
        exchange_rows_swapped_portably(a, b, pixels);
}

} // namespace wire
