#include "pixels/swizzle.h"

#include "sidechannel_log.h"
#include "wire/api.h"

#include <cstddef>

namespace {
constexpr uint32_t BGR = 0x80E0;  // GL_BGR_EXT
constexpr uint32_t BGRA = 0x80E1; // GL_BGRA_EXT
constexpr uint32_t UINT_8888 = 0x8035;
constexpr uint32_t USHORT_1555_REV = 0x8366;

/// Writes one destination pixel from the bytes of one source pixel.
using pixel_writer = void (*)(const uint8_t* s, uint8_t* d);

/// Alpha for a source without one: pure black turns transparent.
uint8_t made_alpha(const uint8_t* s)
{
    return s[0] || s[1] || s[2] ? 255 : 0;
}

template <int A, int B, int C>
void three(const uint8_t* s, uint8_t* d)
{
    uint8_t p[3] = {s[A], s[B], s[C]};
    d[0] = p[0], d[1] = p[1], d[2] = p[2];
}

template <int A, int B, int C, int D>
void four(const uint8_t* s, uint8_t* d)
{
    uint8_t p[4] = {s[A], s[B], s[C], s[D]};
    d[0] = p[0], d[1] = p[1], d[2] = p[2], d[3] = p[3];
}

void to_2_10_10_10(const uint8_t* s, uint8_t* d)
{
    uint8_t s0 = s[0], s1 = s[1], s2 = s[2], s3 = s[3];
    d[0] = static_cast<uint8_t>(s0 << 2);
    d[1] = static_cast<uint8_t>(s1 << 4 | s0 >> 6);
    d[2] = static_cast<uint8_t>(s2 << 6 | s1 >> 4);
    d[3] = static_cast<uint8_t>((s3 & 0xc0) | s2 >> 2);
}

template <int High0, int High1>
void to_4444(const uint8_t* s, uint8_t* d)
{
    d[0] = static_cast<uint8_t>((s[High0] & 0xf0) | s[3] >> 4);
    d[1] = static_cast<uint8_t>((s[High1] & 0xf0) | s[1] >> 4);
}

template <int Red, int Blue>
void to_1555(const uint8_t* s, uint8_t* d)
{
    uint8_t r = s[Red] >> 3, g = s[1] >> 3, b = s[Blue] >> 3;
    d[0] = static_cast<uint8_t>(g << 5 | r);
    d[1] = static_cast<uint8_t>((s[3] ? 128 : 0) | b << 2 | g >> 3);
}

/// The top bit of green overlaps the lowest bit of red, as receivers of these frames know it.
void to_565(const uint8_t* s, uint8_t* d)
{
    uint8_t r = s[0] >> 3, g = s[1] >> 2, b = s[2] >> 3;
    d[0] = static_cast<uint8_t>(g << 5 | b);
    d[1] = static_cast<uint8_t>(r << 3 | g >> 2);
}

template <int A, int B, int C>
void add_alpha_last(const uint8_t* s, uint8_t* d)
{
    uint8_t a = made_alpha(s);
    d[0] = s[A], d[1] = s[B], d[2] = s[C], d[3] = a;
}

template <int A, int B, int C>
void add_alpha_first(const uint8_t* s, uint8_t* d)
{
    uint8_t a = made_alpha(s);
    d[0] = a, d[1] = s[A], d[2] = s[B], d[3] = s[C];
}

struct conversion
{
    uint32_t src_bits; // 0: any, equal to the destination's
    uint32_t dst_bits;
    pixel_layout src;
    pixel_layout dst;
    pixel_writer write;
    bool in_place; // the source block takes the result
};

constexpr pixel_layout RGBA8{GL_RGBA, GL_UNSIGNED_BYTE};
constexpr pixel_layout BGR8{BGR, GL_UNSIGNED_BYTE};
constexpr pixel_layout BGRA8{BGRA, GL_UNSIGNED_BYTE};

constexpr conversion conversions[] = {
    {32, 24, RGBA8, BGR8, three<2, 1, 0>, false},
    {32, 24, RGBA8, {GL_RGB, GL_UNSIGNED_BYTE}, three<0, 1, 2>, false},
    {0, 0, RGBA8, {GL_RGBA, UINT_8888}, four<3, 2, 1, 0>, true},
    {0, 0, RGBA8, BGRA8, four<2, 1, 0, 3>, true},
    {0, 0, RGBA8, {BGRA, UINT_8888}, four<3, 0, 1, 2>, false},
    {0, 0, RGBA8, {GL_RGBA, GL_UNSIGNED_INT_2_10_10_10_REV}, to_2_10_10_10, false},
    {0, 0, BGR8, {GL_RGB, GL_UNSIGNED_BYTE}, three<2, 1, 0>, true},
    {32, 16, RGBA8, {BGRA, GL_UNSIGNED_SHORT_4_4_4_4}, to_4444<0, 2>, false},
    {32, 16, RGBA8, {GL_RGBA, GL_UNSIGNED_SHORT_4_4_4_4}, to_4444<2, 0>, false},
    {32, 16, RGBA8, {GL_RGBA, USHORT_1555_REV}, to_1555<0, 2>, false},
    {32, 16, RGBA8, {BGRA, USHORT_1555_REV}, to_1555<2, 0>, false},
    {32, 16, RGBA8, {GL_RGB, GL_UNSIGNED_SHORT_5_6_5}, to_565, false},
    {24, 32, BGR8, BGRA8, add_alpha_last<0, 1, 2>, false},
    {24, 32, BGR8, {GL_RGBA, UINT_8888}, add_alpha_first<0, 1, 2>, false},
    {24, 32, BGR8, RGBA8, add_alpha_last<2, 1, 0>, false},
    {24, 32, BGR8, {BGRA, UINT_8888}, add_alpha_first<2, 1, 0>, false},
};

bool same(const pixel_layout& a, uint32_t format, uint32_t type)
{
    return a.format == format && a.type == type;
}

const conversion* find_conversion(uint32_t dst_format, uint32_t dst_type, uint32_t src_format,
                                  uint32_t src_type, uint32_t src_bits, uint32_t dst_bits)
{
    for (const conversion& c : conversions) {
        bool bits = c.src_bits ? c.src_bits == src_bits && c.dst_bits == dst_bits : src_bits == dst_bits;
        // Every layout here is of whole bytes and at least as wide as its writer touches.
        bool wide_enough = c.src_bits || src_bits >= (c.src.format == BGR ? 24u : 32u);
        if (bits && wide_enough && same(c.src, src_format, src_type) && same(c.dst, dst_format, dst_type))
            return &c;
    }
    return nullptr;
}
} // namespace

bool zelvar_helpers_swizzle_pixels(uint32_t dst_format, uint32_t dst_type, uint32_t src_format,
                                   uint32_t src_type, uint32_t height, uint32_t width, uint32_t src_bits,
                                   uint32_t dst_bits, uint8_t* source, uint8_t* destination)
{
    const conversion* found = find_conversion(dst_format, dst_type, src_format, src_type, src_bits, dst_bits);
    if (!found) {
        LOG_ERROR("No support for swizzling pixels to format: %x type: %x native format: %x native type: %x",
                  dst_format, dst_type, src_format, src_type);
        return false;
    }
    uint8_t* to = found->in_place ? source : destination;
    size_t src_step = src_bits / 8;
    size_t dst_step = dst_bits / 8;
    const uint8_t* from = source;
    for (uint64_t left = uint64_t{width} * height; left > 0; --left, from += src_step, to += dst_step)
        found->write(from, to);
    return true;
}
