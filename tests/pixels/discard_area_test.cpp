// Memory for reads that nobody wants the bytes of.
#include "pixels/discard_area.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

TEST(discard_area, TakesWritesOfItsWholeLength)
{
    discard_area area;
    for (uint64_t size : {uint64_t{1}, uint64_t{5'000'001}, uint64_t{300'000}, uint64_t{64} << 20}) {
        void* room = area.room(size);
        ASSERT_NE(room, nullptr) << size;
        std::memset(room, 0x5a, size);
        EXPECT_EQ(static_cast<uint8_t*>(room)[size - 1], 0x5a);
    }
}

TEST(discard_area, IsSmallHoweverLongItIs)
{
    discard_area area;
    constexpr uint64_t size = uint64_t{8} << 20;
    auto* bytes = static_cast<uint8_t*>(area.room(size));
    ASSERT_NE(bytes, nullptr);
    bytes[0] = 7;
    EXPECT_EQ(bytes[size - (uint64_t{256} << 10)], 7) << "the last piece is the first one again";
}

TEST(discard_area, HasNoRoomBeyondTheAddressSpace)
{
    discard_area area;
    EXPECT_EQ(area.room(uint64_t{1} << 62), nullptr);
    EXPECT_NE(area.room(100), nullptr);
}

} // namespace
