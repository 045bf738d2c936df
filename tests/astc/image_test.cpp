// Whole images: edges, memory that is shared, work in parts.

#include "astc/astc.h"
#include "blocks.h"
#include "support/guarded.h"

#include <gtest/gtest.h>

#include <random>

namespace {
std::vector<uint8_t> random_bytes(size_t size, unsigned seed)
{
    std::mt19937 random{seed};
    std::vector<uint8_t> bytes(size);
    for (auto& byte : bytes)
        byte = static_cast<uint8_t>(random());
    return bytes;
}

astc_image image_of(uint32_t block_width, uint32_t block_height, uint32_t width, uint32_t height,
                    const uint8_t* blocks = nullptr)
{
    astc_image image;
    image.block_width = block_width;
    image.block_height = block_height;
    image.width = width;
    image.height = height;
    image.blocks = blocks;
    return image;
}

TEST(astc_images, blocks_are_clipped_at_the_edges)
{
    // 7x7 texels of 5x5 blocks, each block of its own colour.
    std::vector<uint8_t> blocks;
    for (uint16_t i = 0; i < 4; ++i) {
        const block_bytes block = void_extent({static_cast<uint16_t>((i + 1) << 8), 0, 0, 0xffff});
        blocks.insert(blocks.end(), block.begin(), block.end());
    }
    const guarded_bytes input{blocks};
    const guarded_bytes output{std::vector<uint8_t>(7 * 7 * 4)};
    const astc_image image = image_of(5, 5, 7, 7, input.data());
    EXPECT_EQ(astc_image_size(image), blocks.size());
    ASSERT_TRUE(astc_decode_image(image, output.data()));
    for (unsigned y = 0; y < 7; ++y)
        for (unsigned x = 0; x < 7; ++x)
            ASSERT_EQ(output.data()[(y * 7 + x) * 4], 1 + (x >= 5) + 2 * (y >= 5)) << x << "," << y;
}

TEST(astc_images, may_overwrite_their_own_blocks)
{
    for (uint32_t width : {1U, 13U, 96U}) {
        astc_image image = image_of(6, 6, width, 50);
        const auto blocks = random_bytes(astc_image_size(image), width);
        const size_t size = size_t{width} * 50 * 4;
        std::vector<uint8_t> apart(size);
        image.blocks = blocks.data();
        ASSERT_TRUE(astc_decode_image(image, apart.data()));

        std::vector<uint8_t> shared(std::max(size, blocks.size()));
        std::copy(blocks.begin(), blocks.end(), shared.begin());
        image.blocks = shared.data();
        ASSERT_TRUE(astc_decode_image(image, shared.data()));
        shared.resize(size);
        EXPECT_EQ(shared, apart);
    }
}

TEST(astc_images, decode_the_same_in_parts)
{
    astc_image image = image_of(10, 8, 205, 161);
    const auto blocks = random_bytes(astc_image_size(image), 3);
    image.blocks = blocks.data();
    std::vector<uint8_t> whole(205 * 161 * 4);
    ASSERT_TRUE(astc_decode_image(image, whole.data()));
    std::vector<uint8_t> parts(whole.size());
    astc_decoder decoder{10, 8};
    for (uint32_t row : {20U, 0U, 7U})
        decoder.decode_rows(blocks.data(), false, 205, 161, row,
                            row == 0   ? 7
                            : row == 7 ? 20
                                       : 21,
                            parts.data());
    EXPECT_EQ(parts, whole);
}

TEST(astc_images, of_sizes_that_do_not_exist_are_refused)
{
    uint8_t nothing[4] = {1, 2, 3, 4};
    EXPECT_FALSE(astc_decode_image(image_of(4, 5, 1, 1, nothing), nothing));
    EXPECT_FALSE(astc_decode_image(image_of(0, 0, 1, 1, nothing), nothing));
    EXPECT_EQ(nothing[0], 1);
}
} // namespace
