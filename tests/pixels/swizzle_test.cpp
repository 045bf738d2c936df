// Conversions between pixel layouts: one pixel of known bytes through each.

#include "pixels/swizzle.h"
#include "support/library.h"
#include "wire/api.h"

#include <gtest/gtest.h>

#include <vector>

namespace {
constexpr uint32_t BGR = 0x80E0, BGRA = 0x80E1, UINT_8888 = 0x8035, REV_1555 = 0x8366;
using bytes = std::vector<uint8_t>;

/// Converts one pixel and, where the source takes the result, returns that.
bytes convert(uint32_t dst_format, uint32_t dst_type, uint32_t dst_bits, bytes source, bool in_place = false,
              uint32_t src_format = GL_RGBA)
{
    auto src_bits = static_cast<uint32_t>(source.size() * 8);
    bytes destination(dst_bits / 8, 0xcc);
    EXPECT_TRUE(zelvar_helpers_swizzle_pixels(dst_format, dst_type, src_format, GL_UNSIGNED_BYTE, 1, 1,
                                              src_bits, dst_bits, source.data(), destination.data()));
    return in_place ? source : destination;
}

const bytes s{0x12, 0x34, 0x56, 0x78};

TEST(swizzle, FourBytesToThree)
{
    EXPECT_EQ(convert(BGR, GL_UNSIGNED_BYTE, 24, s), (bytes{0x56, 0x34, 0x12}));
    EXPECT_EQ(convert(GL_RGB, GL_UNSIGNED_BYTE, 24, s), (bytes{0x12, 0x34, 0x56}));
}

TEST(swizzle, FourBytesToFour)
{
    EXPECT_EQ(convert(GL_RGBA, UINT_8888, 32, s, true), (bytes{0x78, 0x56, 0x34, 0x12}));
    EXPECT_EQ(convert(BGRA, GL_UNSIGNED_BYTE, 32, s, true), (bytes{0x56, 0x34, 0x12, 0x78}));
    EXPECT_EQ(convert(BGRA, UINT_8888, 32, s), (bytes{0x78, 0x12, 0x34, 0x56}));
    // 0x12 << 2 | ..., channel by channel, ten bits each.
    uint32_t packed = 0x12u << 2 | 0x34u << 12 | 0x56u << 22 | 1u << 30;
    EXPECT_EQ(convert(GL_RGBA, GL_UNSIGNED_INT_2_10_10_10_REV, 32, s),
              (bytes{uint8_t(packed), uint8_t(packed >> 8), uint8_t(packed >> 16), uint8_t(packed >> 24)}));
}

TEST(swizzle, FourBytesToTwo)
{
    EXPECT_EQ(convert(BGRA, GL_UNSIGNED_SHORT_4_4_4_4, 16, s), (bytes{0x17, 0x53}));
    EXPECT_EQ(convert(GL_RGBA, GL_UNSIGNED_SHORT_4_4_4_4, 16, s), (bytes{0x57, 0x13}));
    // r = 2, g = 6, b = 10
    EXPECT_EQ(convert(GL_RGBA, REV_1555, 16, s), (bytes{6 << 5 | 2, 128 | 10 << 2 | 0}));
    EXPECT_EQ(convert(BGRA, REV_1555, 16, s), (bytes{static_cast<uint8_t>(6 << 5 | 10), 128 | 2 << 2}));
    EXPECT_EQ(convert(GL_RGBA, REV_1555, 16, {0x12, 0x34, 0x56, 0})[1], 10 << 2) << "no alpha, no top bit";
    // r = 2, g = 13, b = 10
    EXPECT_EQ(convert(GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 16, s),
              (bytes{static_cast<uint8_t>(13 << 5 | 10), 2 << 3 | 13 >> 2}));
    // The top bit of green overlaps the lowest of red.
    EXPECT_EQ(convert(GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 16, {0, 0xff, 0, 0})[1], 63 >> 2);
}

TEST(swizzle, ThreeBytesToFourMakesBlackTransparent)
{
    bytes three{0x12, 0x34, 0x56};
    EXPECT_EQ(convert(BGRA, GL_UNSIGNED_BYTE, 32, three, false, BGR), (bytes{0x12, 0x34, 0x56, 255}));
    EXPECT_EQ(convert(GL_RGBA, UINT_8888, 32, three, false, BGR), (bytes{255, 0x12, 0x34, 0x56}));
    EXPECT_EQ(convert(GL_RGBA, GL_UNSIGNED_BYTE, 32, three, false, BGR), (bytes{0x56, 0x34, 0x12, 255}));
    EXPECT_EQ(convert(BGRA, UINT_8888, 32, three, false, BGR), (bytes{255, 0x56, 0x34, 0x12}));
    EXPECT_EQ(convert(BGRA, GL_UNSIGNED_BYTE, 32, {0, 0, 0}, false, BGR), (bytes{0, 0, 0, 0}));
    EXPECT_EQ(convert(GL_RGB, GL_UNSIGNED_BYTE, 24, three, true, BGR), (bytes{0x56, 0x34, 0x12}));
}

TEST(swizzle, TouchesNothingForAnUnsupportedPair)
{
    bytes source = s, destination(4, 0xcc);
    std::string printed = library::printed_by([&] {
        EXPECT_FALSE(zelvar_helpers_swizzle_pixels(GL_RGB, GL_UNSIGNED_BYTE, GL_RGBA, GL_UNSIGNED_BYTE, 1, 1,
                                                   32, 32, source.data(), destination.data()));
        // Equal bit counts too small for what the writer touches.
        EXPECT_FALSE(zelvar_helpers_swizzle_pixels(BGRA, UINT_8888, GL_RGBA, GL_UNSIGNED_BYTE, 1, 1, 8, 8,
                                                   source.data(), destination.data()));
    });
    EXPECT_EQ(source, s);
    EXPECT_EQ(destination, bytes(4, 0xcc));
}

TEST(swizzle, WalksWholeImages)
{
    bytes source;
    for (int i = 0; i < 6; ++i)
        source.insert(source.end(), {uint8_t(i), uint8_t(i + 10), uint8_t(i + 20), 255});
    bytes destination(18);
    ASSERT_TRUE(zelvar_helpers_swizzle_pixels(GL_RGB, GL_UNSIGNED_BYTE, GL_RGBA, GL_UNSIGNED_BYTE, 2, 3, 32,
                                              24, source.data(), destination.data()));
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(destination[i * 3 + 1], i + 10);
}
} // namespace
