// Single blocks, bit for bit, against streams laid by hand.
#include "tpakutil/frames.h"

namespace {

struct encoded_block
{
    bytes data;
    long long key = 0;
    int uncompressed = 0;
    int size = 0;
};

using block_pixels = std::vector<std::vector<unsigned>>; // by component, raster order

encoded_block encode(const tpak_frame_info& info, const block_pixels& pixels, int room = 256, int wrap = 0,
                     int default_all = 0)
{
    unsigned block[4][16] = {};
    for (size_t c = 0; c < pixels.size(); c++)
        std::copy(pixels[c].begin(), pixels[c].end(), block[c]);
    encoded_block out;
    const guarded_bytes target{bytes(size_t(room), 0xcc)};
    out.size = tpak_encode_block4x4(&info, 0, block, target.data(), room, &out.key, &out.uncompressed, wrap,
                                    default_all);
    if (out.size > 0)
        out.data.assign(target.data(), target.data() + out.size);
    return out;
}

block_pixels decode(tpak_frame_info info, const bytes& data, int uncompressed, int expected_size)
{
    unsigned block[4][4][4] = {};
    const guarded_bytes source{data};
    EXPECT_EQ(
        tpak_decode_block4x4(&info, 0, source.data(), static_cast<int>(data.size()), uncompressed, block, 0),
        expected_size);
    block_pixels pixels;
    for (int c = 0; c < info.ncomponents_of_type[0]; c++)
        pixels.emplace_back(&block[c][0][0], &block[c][0][0] + 16);
    return pixels;
}

std::vector<unsigned> all(unsigned value)
{
    return std::vector<unsigned>(16, value);
}

const frame_kind grey{.bits = {8}};

TEST(tpak_block, FlatBlocksAreARootAndABase)
{
    const tpak_frame_info info = grey.describe();
    const encoded_block block = encode(info, {all(0x5a)});
    EXPECT_EQ(block.data, (bytes{0xaf, 0x05}));
    EXPECT_EQ(block.key, 0x5a);
    EXPECT_EQ(decode(info, block.data, 0, 2), (block_pixels{all(0x5a)}));
    EXPECT_EQ(encode(info, {all(0)}).data, (bytes{0x0f, 0x00}));
}

TEST(tpak_block, WhatTheLastFieldSpillsIsPartOfTheBlock)
{
    const tpak_frame_info info = grey.describe();
    // The root field alone, -2: its sign fills the byte.
    EXPECT_EQ(encode(info, {all(255)}, 256, 0, 1).data, (bytes{0xfe, 0x00}));
    EXPECT_EQ(encode(info, {all(255)}).data, (bytes{0xff, 0x0f}))
        << "only a fourth component has defaults unasked";
    const tpak_frame_info pair = frame_kind{.bits = {8, 4, 4}}.describe();
    // Roots of 4, 3 and 3 bits, each its default.
    EXPECT_EQ(encode(pair, {all(255), all(8), all(8)}, 256, 0, 1).data, (bytes{0x6e, 0xff}))
        << "14, 6, 6, then sign";
}

TEST(tpak_block, OpaqueColourTakesSixBytes)
{
    const tpak_frame_info info = frame_kind{.yuv = true}.describe();
    const block_pixels colour{all(10), all(20), all(30), all(255)};
    const encoded_block block = encode(info, colour);
    EXPECT_EQ(block.data, (bytes{0xff, 0xef, 0x14, 0xf6, 0x14, 0x02}));
    EXPECT_EQ(block.key, ((((20ll << 16 | 246) << 16) | 266) << 16) | 255);
    EXPECT_EQ(decode(info, block.data, 0, 6), colour);
    const encoded_block glass = encode(info, {all(10), all(20), all(30), all(254)});
    EXPECT_EQ(glass.data, (bytes{0xff, 0xff, 0x14, 0xf6, 0x14, 0xfa, 0x03})) << "other alpha has its base";
}

TEST(tpak_block, TreeOfOnePixel)
{
    const tpak_frame_info info = grey.describe();
    std::vector<unsigned> pixels = all(0);
    pixels[0] = 3;
    const encoded_block block = encode(info, {pixels});
    // Root 1 (one less than the widest quad), deltas +1 -1 -1 -1, base 0, quads 0 0 0 0, then the quad: child
    // 1 is zero, planes 1 0 0 and 1 0 0.
    EXPECT_EQ(block.data, (bytes{0xd1, 0x0f, 0x00, 0x25}));
    EXPECT_EQ(block.key, -1);
    EXPECT_EQ(decode(info, block.data, 0, 4), (block_pixels{pixels}));
}

TEST(tpak_block, QuadsKeepWithinTwoBitsOfTheRoot)
{
    const tpak_frame_info info = grey.describe();
    std::vector<unsigned> pixels = all(7);
    for (int i : {10, 11, 14, 15})
        pixels[size_t(i)] = 7 + 32; // the last quad: 6 bits for the root, so at least 4 for each quad
    const encoded_block block = encode(info, {pixels});
    // 4 + 8 + 8 + (2 + 18) + 4 * (2 + 12) bits
    EXPECT_EQ(block.size, 12);
    EXPECT_EQ(block.data[0], 0b10100110) << "root 6, deltas -2";
    EXPECT_EQ(decode(info, block.data, 0, 12), (block_pixels{pixels}));
}

TEST(tpak_block, UncompressedIsTheSourceInRasterOrder)
{
    const tpak_frame_info info = frame_kind{.bits = {5, 6, 5}, .yuv = true}.describe();
    std::mt19937 random{1};
    block_pixels noise(3);
    bytes expected;
    for (int pixel = 0; pixel < 16; pixel++) {
        const unsigned packed = random() & 0xffff;
        noise[0].push_back(packed & 31);
        noise[1].push_back(packed >> 5 & 63);
        noise[2].push_back(packed >> 11);
        expected.push_back(uint8_t(packed));
        expected.push_back(uint8_t(packed >> 8));
    }
    const encoded_block block = encode(info, noise);
    EXPECT_EQ(block.uncompressed, 1);
    EXPECT_EQ(block.data, expected);
    EXPECT_EQ(block.key, -1);
    EXPECT_EQ(decode(info, expected, 1, 32), noise);

    tpak_frame_info forced = info;
    forced.force_uncompressed = 1;
    EXPECT_EQ(encode(forced, {all(0), all(0), all(0)}).data, bytes(32, 0));
}

TEST(tpak_block, RoomDecidesTheForm)
{
    const tpak_frame_info info = grey.describe();
    std::vector<unsigned> pixels = all(0);
    pixels[0] = 3;
    EXPECT_EQ(encode(info, {pixels}, 4).size, 4);
    EXPECT_EQ(encode(info, {pixels}, 3).size, -1) << "nor 16 bytes fit";
    EXPECT_EQ(encode(info, {pixels}, 0).size, -1);
    const tpak_frame_info deep = frame_kind{.bits = {16, 16, 16}}.describe();
    EXPECT_EQ(encode(deep, {all(1), all(2), all(3)}, 8).size, 8) << "units of 2, rounded up from 63 bits";
    const tpak_frame_info odd = frame_kind{.bits = {16, 16, 8}}.describe();
    EXPECT_EQ(encode(odd, {all(1), all(2), all(3)}, 8).size, 8);
    EXPECT_EQ(encode(odd, {all(1), all(2), all(3)}, 7).size, -1) << "54 bits fit, their padding doesn't";
}

TEST(tpak_block, WrappedMinimumBridgesTheEndsOfTheRange)
{
    unsigned low;
    unsigned high;
    select_minval(2, 250, 255, 0, &low, &high, 8, 1);
    EXPECT_EQ(low, 250u);
    EXPECT_EQ(high, 258u);
    select_minval(2, 250, 255, 0, &low, &high, 8, 0);
    EXPECT_EQ(high - low, 255u);
    select_minval(2, 250, 255, 0x40, &low, &high, 8, 1);
    EXPECT_EQ(high - low, 253u) << "a value in between";
    select_minval(0, 1, 1, 0, &low, &high, 1, 1);
    EXPECT_EQ(high, 1u) << "one bit has no quarters";

    const tpak_frame_info info = grey.describe();
    std::vector<unsigned> pixels = all(254);
    pixels[5] = 1;
    pixels[9] = 2;
    const encoded_block wrapped = encode(info, {pixels}, 256, 1);
    EXPECT_LT(wrapped.size, encode(info, {pixels}).size);
    EXPECT_EQ(decode(info, wrapped.data, 0, wrapped.size), (block_pixels{pixels}));
}

TEST(tpak_block, ReadingPastTheEndGivesZerosFromThere)
{
    const tpak_frame_info info = grey.describe();
    EXPECT_EQ(decode(info, {0xaf}, 0, -1), (block_pixels{all(0)})) << "the base doesn't fit";
    EXPECT_EQ(decode(info, {}, 0, -1), (block_pixels{all(0)}));
    block_pixels half = decode(info, bytes(8, 9), 1, -1);
    EXPECT_EQ(half[0][7], 9u);
    EXPECT_EQ(half[0][8], 0u);
}

TEST(tpak_block, DefaultsWithoutABase)
{
    const tpak_frame_info info = frame_kind{.bits = {8, 8, 8, 8}}.describe();
    EXPECT_EQ(decode(info, {0xee, 0xee}, 0, 2), (block_pixels{all(255), all(128), all(128), all(255)}));
}

TEST(tpak_block, WideNodesCanBeSkipped)
{
    tpak_frame_info info = grey.describe();
    std::vector<unsigned> pixels = all(0);
    pixels[0] = 3;
    const bytes stream = encode(info, {pixels}).data;
    info.tree_bits_limit = 1;
    EXPECT_EQ(decode(info, stream, 0, 4), (block_pixels{all(0)}));
    info.tree_bits_limit = 2;
    EXPECT_EQ(decode(info, stream, 0, 4), (block_pixels{pixels}));
    info.tree_bits_limit = 1;
    pixels[0] = 15;
    bytes cut = encode(info, {pixels}).data;
    cut.resize(5);
    EXPECT_EQ(decode(info, cut, 0, -1), (block_pixels{all(0)}))
        << "a skip past the end is a read past the end";
}

} // namespace
