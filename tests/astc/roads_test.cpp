// The ways to decode blocks give the same texels, to the last bit.

#include "block_road.h"
#include "random_blocks.h"
#include "support/guarded.h"

#include <gtest/gtest.h>

#include <vector>

namespace {
constexpr uint32_t across = 40; // blocks

/// Bits that random ones hardly ever are.
void make_extreme(block_bytes& block, std::mt19937& random)
{
    const uint8_t filling = random() % 2 ? 0xff : 0;
    const size_t first = 3 + random() % 13;
    std::fill(block.begin() + static_cast<std::ptrdiff_t>(first), block.end(), filling);
}

std::vector<uint8_t> row_of_blocks(std::mt19937& random, uint32_t width, uint32_t height)
{
    std::vector<uint8_t> blocks;
    for (uint32_t i = 0; i < across; ++i) {
        block_bytes block = random_block(random, width, height);
        if (random() % 8 == 0)
            put(block, 13, 16, random()); // any endpoint modes, HDR ones too
        if (random() % 8 == 0)
            make_extreme(block, random);
        blocks.insert(blocks.end(), block.begin(), block.end());
    }
    return blocks;
}

TEST(astc_roads, give_the_same_texels)
{
    std::mt19937 random{9};
    for (const auto& [block_width, block_height] : block_sizes) {
        const auto portable = make_portable_road(block_width, block_height);
        const auto fast = make_avx512_road(block_width, block_height);
        if (!fast)
            GTEST_SKIP() << "this machine has no other road";
        for (int round = 0; round < 200; ++round) {
            const guarded_bytes blocks{row_of_blocks(random, block_width, block_height)};
            const bool srgb = random() % 2;
            // Clipped at both edges, in every way.
            const auto width = static_cast<uint32_t>(across * block_width - random() % block_width);
            const auto height = static_cast<uint32_t>(block_height - random() % block_height);
            const size_t row_bytes = width * 4 + random() % 2 * 12;
            const std::vector<uint8_t> before((height - 1) * row_bytes + width * 4, 0xa5);
            std::vector<uint8_t> expected = before;
            portable->decode_row(blocks.data(), srgb, width, height, expected.data(), row_bytes);
            const guarded_bytes texels{before};
            fast->decode_row(blocks.data(), srgb, width, height, texels.data(), row_bytes);
            const auto differs =
                std::mismatch(expected.begin(), expected.end(), texels.data()).first - expected.begin();
            ASSERT_EQ(static_cast<size_t>(differs), expected.size())
                << block_width << "x" << block_height << " in round " << round;
        }
    }
}
} // namespace
