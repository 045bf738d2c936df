// Formats of Vulkan, and what becomes of an image on its way to the host.

#include "blocks.h"
#include "pixels/astc_formats.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "support/library.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {
VkFormat format(int number)
{
    return static_cast<VkFormat>(number);
}

std::pair<int, int> block_size(int number)
{
    unsigned char width = 99;
    unsigned char height = 99;
    get_astc_blockdim(format(number), &width, &height);
    return {width, height};
}

TEST(astc_formats, are_the_pairs_from_157_to_184)
{
    EXPECT_FALSE(is_astc_format(format(156)));
    EXPECT_FALSE(is_astc_format(format(185)));
    for (int i = 157; i <= 184; ++i) {
        EXPECT_TRUE(is_astc_format(format(i)));
        EXPECT_EQ(get_srgb_transform(format(i)), i % 2 ? 0 : 1);
        VkFormat converted = format(i);
        zelvar_helper_convert_format(&converted);
        EXPECT_EQ(converted, 37);
    }
    VkFormat other = VK_FORMAT_R8G8B8A8_SRGB;
    zelvar_helper_convert_format(&other);
    EXPECT_EQ(other, VK_FORMAT_R8G8B8A8_SRGB);
    EXPECT_EQ(block_size(157), std::make_pair(4, 4));
    EXPECT_EQ(block_size(164), std::make_pair(6, 5));
    EXPECT_EQ(block_size(181), std::make_pair(12, 10));
}

TEST(astc_formats, others_are_reported_and_decode_to_nothing)
{
    sidechannel_set_log_level(2);
    EXPECT_EQ(library::printed_by([] { EXPECT_EQ(block_size(37), std::make_pair(0, 0)); }),
              "ERROR [ZELVAR] Unkown ASTC format:37\n");
    EXPECT_EQ(library::printed_by([] { EXPECT_EQ(get_srgb_transform(format(185)), -1); }),
              "ERROR [ZELVAR] Unkown ASTC format:185\n");
    uint8_t bytes[64] = {7};
    library::printed_by([&] { zelvar_helpers_decodeASTCtoRGBA8888(format(37), 4, 4, bytes, bytes); });
    EXPECT_EQ(bytes[0], 7);
}

std::vector<uint8_t> decode(block_bytes block, int width, int height)
{
    std::vector<uint8_t> texels(static_cast<size_t>(width) * static_cast<size_t>(height) * 4, 0xee);
    zelvar_helpers_decodeASTCtoRGBA8888(format(157), width, height, block.data(), texels.data());
    return texels;
}

TEST(astc_formats, grey_images_keep_red_and_alpha)
{
    EXPECT_EQ(decode(void_extent({0x4000, 0x4000, 0x4000, 0xffff}), 1, 1),
              (std::vector<uint8_t>{0x40, 0, 0, 0xff}));
    EXPECT_EQ(decode(void_extent({0x4000, 0x4000, 0x4000, 0x8000}), 1, 1),
              (std::vector<uint8_t>{0x40, 0, 0, 0x80}));
    EXPECT_EQ(decode(void_extent({0x4000, 0x4000, 0x4100, 0xffff}), 1, 1),
              (std::vector<uint8_t>{0x40, 0x40, 0x41, 0xff}));
}

TEST(astc_formats, images_are_saved_on_demand)
{
    std::string folder = testing::TempDir() + "/zelvar-astc-XXXXXX";
    ASSERT_NE(mkdtemp(folder.data()), nullptr);
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder);
    zelvar_only_settings.astcSaveImage = true;
    decode(void_extent({0x1000, 0x1000, 0x1000, 0xffff}), 3, 2);
    decode(void_extent({0x2000, 0x3000, 0x4000, 0x5000}), 1, 1);
    zelvar_only_settings.astcSaveImage = false;
    decode(void_extent({0, 0, 0, 0}), 1, 1);
    std::filesystem::current_path(before);

    std::ifstream file{folder + "/000.dds", std::ios::binary};
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
    ASSERT_EQ(bytes.size(), 128U + 3 * 2 * 4);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "DDS ");
    EXPECT_EQ(bytes[12], 2); // height
    EXPECT_EQ(bytes[16], 3); // width
    // As decoded, before a grey image loses its green and blue.
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin() + 128, bytes.begin() + 132),
              (std::vector<uint8_t>{0x10, 0x10, 0x10, 0xff}));
    EXPECT_TRUE(std::filesystem::exists(folder + "/001.dds"));
    EXPECT_FALSE(std::filesystem::exists(folder + "/002.dds"));
    std::filesystem::remove_all(folder);
}
} // namespace
