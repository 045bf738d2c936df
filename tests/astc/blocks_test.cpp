// Single blocks, written by hand.

#include "astc/astc.h"
#include "blocks.h"
#include "integer_sequence.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

namespace {
using texel = std::array<uint8_t, 4>;
constexpr texel magenta = {255, 0, 255, 255};
// A grid of 4x4 weights of 2 bits each.
constexpr unsigned mode_4x4 = 0x42;

std::vector<texel> decode(const block_bytes& block, uint32_t width, uint32_t height, bool srgb = false)
{
    std::vector<texel> texels(size_t{width} * height);
    astc_decoder{width, height}.decode_block(block.data(), srgb, texels[0].data(), width * 4);
    return texels;
}

void expect_all(const block_bytes& block, texel colour)
{
    for (const texel& each : decode(block, 4, 4))
        ASSERT_EQ(each, colour);
}

/// One partition of RGB endpoints, eight bits a value, and a weight of 0 to 3 for each texel.
block_bytes gradient(const std::array<uint8_t, 6>& endpoints, const std::array<uint8_t, 16>& weights)
{
    block_bytes block{};
    put(block, 0, 11, mode_4x4);
    put(block, 13, 4, 8);
    for (unsigned i = 0; i < 6; ++i)
        put(block, 17 + 8 * i, 8, endpoints[i]);
    for (unsigned i = 0; i < 16; ++i)
        put_weight_bits(block, 2 * i, 2, weights[i]);
    return block;
}

/// The published rule, with endpoints of 16 bits.
uint8_t between(uint32_t low, uint32_t high, uint32_t weight, bool srgb)
{
    low = low << 8 | (srgb ? 0x80 : low);
    high = high << 8 | (srgb ? 0x80 : high);
    return static_cast<uint8_t>(((low * (64 - weight) + high * weight + 32) / 64) >> 8);
}

TEST(astc_blocks, texels_lie_between_the_endpoints)
{
    constexpr uint32_t unquantised[] = {0, 21, 43, 64};
    std::mt19937 random{1};
    for (int round = 0; round < 200; ++round) {
        std::array<uint8_t, 6> ends;
        std::array<uint8_t, 16> weights;
        for (unsigned i = 0; i < 3; ++i) { // the second endpoint is the lighter one
            ends[2 * i] = static_cast<uint8_t>(random() % 128);
            ends[2 * i + 1] = static_cast<uint8_t>(128 + random() % 128);
        }
        for (auto& weight : weights)
            weight = random() % 4;
        const block_bytes block = gradient(ends, weights);
        for (bool srgb : {false, true}) {
            const auto texels = decode(block, 4, 4, srgb);
            for (unsigned i = 0; i < 16; ++i) {
                for (unsigned c = 0; c < 3; ++c)
                    ASSERT_EQ(texels[i][c],
                              between(ends[2 * c], ends[2 * c + 1], unquantised[weights[i]], srgb));
                ASSERT_EQ(texels[i][3], 255);
            }
        }
    }
}

TEST(astc_blocks, a_darker_second_endpoint_means_contracted_blue)
{
    // Swapped, and red and green are the means with blue.
    const auto texels = decode(gradient({200, 100, 200, 60, 100, 20}, {0, 3}), 4, 4);
    EXPECT_EQ(texels[0], (texel{60, 40, 20, 255}));
    EXPECT_EQ(texels[1], (texel{150, 150, 100, 255}));
}

TEST(astc_blocks, void_extents_have_one_colour)
{
    const block_bytes plain = void_extent({0x12ff, 0x3400, 0x5680, 0x78ab});
    expect_all(plain, {0x12, 0x34, 0x56, 0x78});

    block_bytes somewhere = plain;
    for (unsigned i = 0; i < 4; ++i)
        put(somewhere, 12 + 13 * i, 13, i % 2 ? 20 : 10);
    expect_all(somewhere, {0x12, 0x34, 0x56, 0x78});

    block_bytes upside_down = somewhere;
    put(upside_down, 12 + 13 * 2, 13, 20);
    expect_all(upside_down, magenta);
    block_bytes hdr = plain;
    put(hdr, 9, 1, 1);
    expect_all(hdr, magenta);
    for (unsigned reserved = 0; reserved < 3; ++reserved) {
        block_bytes block = plain;
        put(block, 10, 2, reserved);
        expect_all(block, magenta);
    }
}

TEST(astc_blocks, illegal_ones_are_magenta)
{
    const block_bytes good = gradient({1, 2, 3, 4, 5, 6}, {});
    std::vector<std::pair<const char*, block_bytes>> faults;
    auto fault = [&](const char* what) -> block_bytes& { return faults.emplace_back(what, good).second; };
    put(fault("reserved weight range"), 0, 5, 0);
    put(fault("reserved grid"), 0, 11, 0x1c4);
    put(fault("a grid of 4x4 in two planes with too many bits"), 0, 11, 0x653);
    put(fault("a grid of 4x5 in a block of 4x4"), 0, 11, 0x62);
    put(fault("a grid of 4x2 with too few bits"), 0, 11, 0x11 & ~0x10);
    block_bytes& planes = fault("two planes and four partitions");
    put(planes, 0, 11, 0x442);
    put(planes, 11, 2, 3);
    block_bytes& crowded = fault("more than 18 endpoint values");
    put(crowded, 11, 2, 3);
    put(crowded, 23, 6, 12 << 2);
    block_bytes& tight = fault("endpoints with too few bits");
    put(tight, 0, 11, 0x253); // 4x4 weights of 32 levels: 80 bits
    put(tight, 11, 2, 1);
    put(tight, 23, 6, 12 << 2);
    for (const auto& [what, block] : faults) {
        SCOPED_TRACE(what);
        expect_all(block, magenta);
    }
    EXPECT_NE(decode(good, 4, 4)[0], magenta);
}

TEST(astc_blocks, hdr_endpoints_spoil_their_own_partition_only)
{
    block_bytes block{};
    put(block, 0, 11, mode_4x4);
    put(block, 11, 2, 1);   // two partitions
    put(block, 13, 10, 37); // of this pattern
    // Endpoint modes 0 (luminance) and 2 (HDR luminance) of the same group: two bits each, low ones here, the
    // rest below the weights.
    const unsigned packed = 1 | 0 << 2 | (0 | 2 << 2) << 4;
    put(block, 23, 6, packed);
    put(block, 94, 2, packed >> 6);
    const auto texels = decode(block, 4, 4);
    const auto spoilt = std::count(texels.begin(), texels.end(), magenta);
    EXPECT_GT(spoilt, 0);
    EXPECT_LT(spoilt, 16);
    EXPECT_EQ(std::count(texels.begin(), texels.end(), (texel{0, 0, 0, 255})), 16 - spoilt);
}

TEST(astc_blocks, packed_trits_and_quints_name_each_combination)
{
    std::set<std::array<uint8_t, 5>> trits;
    std::set<std::array<uint8_t, 3>> quints;
    uint8_t out[5 + sequence_padding];
    for (unsigned packed = 0; packed < 256; ++packed) {
        decode_weights(packed, 1, 5, out);
        trits.insert({out[0], out[1], out[2], out[3], out[4]});
    }
    for (unsigned packed = 0; packed < 128; ++packed) {
        decode_weights(packed, 3, 3, out);
        quints.insert({out[0], out[1], out[2]});
    }
    EXPECT_EQ(trits.size(), 243U);
    EXPECT_EQ(quints.size(), 125U);
}

TEST(astc_blocks, any_bits_stay_in_their_rectangle)
{
    constexpr uint32_t sizes[][2] = {{4, 4}, {5, 4}, {6, 5}, {8, 6}, {10, 8}, {12, 12}};
    std::mt19937 random{2};
    for (const auto& [width, height] : sizes) {
        const size_t row_bytes = width * 4 + 8;
        astc_decoder decoder{width, height};
        for (int round = 0; round < 3000; ++round) {
            block_bytes block;
            for (auto& byte : block)
                byte = static_cast<uint8_t>(random());
            std::vector<uint8_t> area(row_bytes * height + 8, 0xa5);
            decoder.decode_block(block.data(), round % 2, area.data(), row_bytes);
            for (size_t y = 0; y < height; ++y)
                for (size_t x = width * 4; x < row_bytes; ++x)
                    ASSERT_EQ(area[y * row_bytes + x], 0xa5);
        }
    }
}
} // namespace
