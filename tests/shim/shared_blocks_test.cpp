// Blocks in the memory that the device shares.

#include "shim/shared_blocks.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace {
constexpr uint64_t page = 4096;

class shared_blocks : public testing::Test
{
protected:
    void SetUp() override { shim::use_shared_area(area.data(), area.size()); }
    void TearDown() override { shim::use_shared_area(nullptr, 0); }

    std::vector<uint8_t> area = std::vector<uint8_t>(64 * page);
};

TEST_F(shared_blocks, BlocksNeverOverlapAndAllRoomComesBack)
{
    struct block
    {
        uint8_t* at;
        uint64_t size;
        uint8_t mark;
    };
    std::vector<block> held;
    std::mt19937 random{7};
    const auto drop = [&](size_t which) {
        const block gone = held[which];
        held.erase(held.begin() + static_cast<ptrdiff_t>(which));
        for (uint64_t i = 0; i < gone.size; ++i)
            ASSERT_EQ(gone.at[i], gone.mark) << "another block lies in this one";
        ASSERT_TRUE(shim::give_back_shared_block(gone.at));
    };
    for (int i = 0; i < 2000; ++i) {
        if (!held.empty() && random() % 2)
            drop(random() % held.size());
        const uint64_t size = random() % (9 * page) + 1;
        uint8_t* made = shim::take_shared_block(size);
        if (!made)
            continue;
        ASSERT_TRUE(made >= area.data() && made + size <= area.data() + area.size());
        held.push_back({made, size, static_cast<uint8_t>(i)});
        std::memset(made, i, size);
    }
    while (!held.empty())
        drop(held.size() - 1);
    EXPECT_NE(shim::take_shared_block(area.size()), nullptr);
}

TEST_F(shared_blocks, TheRoomBehindABlockStaysFree)
{
    uint8_t* const first = shim::take_shared_block(10, 20 * page);
    uint8_t* const second = shim::take_shared_block(page);
    ASSERT_TRUE(first && second);
    EXPECT_GE(second - first, static_cast<ptrdiff_t>(20 * page + 10));
    EXPECT_EQ(shim::take_shared_block(10, 60 * page), nullptr);
}

TEST_F(shared_blocks, WhatDoesntFitOrIsntOneIsRefused)
{
    EXPECT_EQ(shim::take_shared_block(area.size() + 1), nullptr);
    EXPECT_EQ(shim::take_shared_block(UINT64_MAX, page), nullptr);
    EXPECT_EQ(shim::take_shared_block(page, UINT64_MAX - 100), nullptr);
    uint8_t* const block = shim::take_shared_block(page);
    uint8_t elsewhere = 0;
    EXPECT_FALSE(shim::give_back_shared_block(&elsewhere));
    EXPECT_FALSE(shim::give_back_shared_block(nullptr));
    EXPECT_FALSE(shim::give_back_shared_block(block + 8));
    EXPECT_TRUE(shim::give_back_shared_block(block));
    EXPECT_FALSE(shim::give_back_shared_block(block));
    shim::use_shared_area(nullptr, 0);
    EXPECT_EQ(shim::take_shared_block(1), nullptr);
}
} // namespace
