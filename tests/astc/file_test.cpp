// What astc2png takes for an ASTC file.

#include "astc_file.h"

#include <gtest/gtest.h>

namespace {
std::vector<uint8_t> file(uint32_t width, uint32_t height, size_t blocks)
{
    std::vector<uint8_t> bytes(16 + blocks * 16);
    const uint8_t header[] = {0x13, 0xab, 0xa1, 0x5c, 8, 5, 1, 0, 0, 0, 0, 0, 0, 1, 0, 0};
    std::copy(std::begin(header), std::end(header), bytes.begin());
    for (unsigned i = 0; i < 3; ++i) {
        bytes[7 + i] = static_cast<uint8_t>(width >> (8 * i));
        bytes[10 + i] = static_cast<uint8_t>(height >> (8 * i));
    }
    return bytes;
}

TEST(astc_file, tells_its_sizes)
{
    astc_file parsed;
    EXPECT_EQ(parse_astc_file(file(300, 6, 38 * 2), parsed), "");
    EXPECT_EQ(parsed.image.width, 300U);
    EXPECT_EQ(parsed.image.height, 6U);
    EXPECT_EQ(parsed.image.block_width, 8U);
    EXPECT_EQ(parsed.image.block_height, 5U);
    EXPECT_EQ(parsed.image.blocks, parsed.bytes.data() + 16);
}

TEST(astc_file, that_lacks_something_is_refused)
{
    astc_file parsed;
    EXPECT_NE(parse_astc_file({}, parsed), "");
    EXPECT_NE(parse_astc_file(file(300, 6, 38 * 2 - 1), parsed), "");
    EXPECT_NE(parse_astc_file(file(0, 6, 9), parsed), "");
    EXPECT_NE(parse_astc_file(file(0xffffff, 0xffffff, 9), parsed), "");
    for (size_t at : {0, 4, 6, 13}) {
        auto bytes = file(8, 5, 1);
        bytes[at] = 2;
        EXPECT_NE(parse_astc_file(bytes, parsed), "") << at;
    }
}
} // namespace
