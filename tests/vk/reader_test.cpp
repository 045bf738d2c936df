// The bytes of a message that lies about them.

#include "inbound/vk_reader.h"
#include "wire/wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {
/// A header, then `bytes` of 1, 2, 3...
class vk_reader_bytes : public testing::Test
{
protected:
    std::vector<uint8_t> message;
    vk_reader reader(uint32_t bytes, int bits = 64)
    {
        message.assign(wire::header_size, 0);
        for (uint32_t i = 0; i < bytes; ++i)
            message.push_back(static_cast<uint8_t>(i + 1));
        message.shrink_to_fit(); // a byte too far shows
        return {message.data(), static_cast<uint32_t>(message.size()), bits, nullptr};
    }
};

TEST_F(vk_reader_bytes, CountsAreCutToWholeElements)
{
    vk_reader in = reader(20);
    EXPECT_EQ(in.cut(2, 8), 2u);
    EXPECT_EQ(in.wanted(), wire::header_size) << "nothing is lacking, and nothing has been taken";
    EXPECT_EQ(in.cut(3, 8), 2u) << "half an element is none";
    in.in_place(16);
    EXPECT_EQ(in.wanted(), wire::header_size + 24);
    EXPECT_EQ(in.left(), 4u);
}

TEST_F(vk_reader_bytes, WhatIsWantedNeverWrapsAround)
{
    for (uint64_t count : {UINT64_MAX, UINT64_MAX / 16, uint64_t{0xffffffff}}) {
        vk_reader in = reader(20);
        for (int again = 0; again < 3; ++again) {
            EXPECT_EQ(in.cut(count, 16), 1u);
            EXPECT_GT(in.wanted(), uint64_t{1} << 32);
        }
        in.in_place(20);
        EXPECT_EQ(in.cut(count, 16), 0u);
        EXPECT_GT(in.wanted(), in.size());
    }
}

TEST_F(vk_reader_bytes, BlocksAreCompletedWithZeros)
{
    vk_reader in = reader(6);
    EXPECT_EQ(in.in_place(4), message.data() + wire::header_size) << "no copy";
    const auto* rest = static_cast<const uint8_t*>(in.in_place(5));
    EXPECT_EQ(std::vector<uint8_t>(rest, rest + 5), (std::vector<uint8_t>{5, 6, 0, 0, 0}));
    EXPECT_EQ(in.left(), 0u);
    EXPECT_EQ(in.take<uint32_t>(), 0u);
    EXPECT_EQ(in.wanted(), wire::header_size + 13);
    const auto* none = static_cast<const uint8_t*>(in.in_place(3));
    EXPECT_EQ(std::vector<uint8_t>(none, none + 3), std::vector<uint8_t>(3));
}

TEST_F(vk_reader_bytes, StringsEndWhereTheMessageDoes)
{
    vk_reader in = reader(5);
    message[wire::header_size + 2] = 0;
    EXPECT_STREQ(in.take_string(), "\1\2");
    EXPECT_STREQ(in.take_string(), "\4\5") << "its end is missing";
    EXPECT_GT(in.wanted(), in.size());
    EXPECT_STREQ(in.take_string(), "");
}

TEST_F(vk_reader_bytes, PointersAreAsWideAsTheTargets)
{
    EXPECT_EQ(reader(8, 32).take_pointer_sized(), 0x04030201u);
    EXPECT_EQ(reader(8, 64).take_pointer_sized(), 0x0807060504030201u);
    EXPECT_EQ(reader(6, 64).take_pointer_sized(), 0u) << "not half of one";
}

TEST(vk_reader, AFullArenaIsToldAndNotLeft)
{
    std::vector<uint8_t> arena(vk_reader::arena_size, 0xff);
    uint8_t message[wire::header_size]{};
    vk_reader in{message, sizeof(message), 32, arena.data()};
    auto* first = static_cast<uint8_t*>(in.allocate(vk_reader::arena_size - 8));
    EXPECT_EQ(first, arena.data());
    EXPECT_EQ(in.allocate(8), arena.data() + arena.size() - 8);
    EXPECT_FALSE(in.overflowed());
    auto* beyond = static_cast<uint8_t*>(in.allocate(16));
    EXPECT_TRUE(in.overflowed());
    EXPECT_TRUE(beyond < arena.data() || beyond >= arena.data() + arena.size());
    EXPECT_EQ(std::count(arena.begin(), arena.end(), 0xff), 0) << "what is given out is zero";
    EXPECT_EQ(std::count(beyond, beyond + 16, 0), 16);
}
} // namespace
