#include "fake_library.h"

namespace {

constexpr uint32_t capacity = ChannelInterfaceBuffer::capacity;

Bytes take(ChannelInterfaceBuffer& buffer, uint32_t n)
{
    const uint8_t* bytes = buffer.read(n);
    return {bytes, bytes + n};
}

} // namespace

TEST(Buffer, TakesOneByteLessThanItsCapacity)
{
    const Bytes whole = make_message(capacity, 1);
    ChannelInterfaceBuffer buffer;
    EXPECT_EQ(logged([&] { buffer.write(whole.data(), capacity); }),
              "FATAL [ZELVAR] Sidechannel buffer full\n");
    EXPECT_EQ(buffer.length(), 0u);
    EXPECT_EQ(logged([&] { buffer.write(whole.data(), capacity - 1); }), "");
    EXPECT_EQ(buffer.length(), capacity - 1);
    EXPECT_EQ(take(buffer, capacity - 1), Bytes(whole.begin(), whole.end() - 1));
}

TEST(Buffer, DropsSingleFieldsAndTakesLaterOnesThatFit)
{
    const Bytes filler = make_message(capacity - 16, 1), wide(16, 0xaa), narrow(15, 0xbb);
    ChannelInterfaceBuffer buffer;
    buffer.write(filler.data(), capacity - 16);
    const std::string text = logged([&] {
        buffer.write(wide.data(), 16); // would make the buffer exactly full
        buffer.write(narrow.data(), 15);
        buffer.write(wide.data(), 1);
        buffer.write(wide.data(), UINT32_MAX - 5); // must not wrap round to a small sum
    });
    EXPECT_EQ(count_of(text, "FATAL [ZELVAR] Sidechannel buffer full\n"), 3u);
    Bytes expected = filler;
    expected.insert(expected.end(), narrow.begin(), narrow.end());
    EXPECT_EQ(buffer.length(), capacity - 1);
    EXPECT_EQ(take(buffer, capacity - 1), expected);
}

TEST(Buffer, DrainsInOrderAndStartsAgainFromTheFront)
{
    const Bytes message = make_message(30, 1);
    ChannelInterfaceBuffer buffer;
    for (int round = 0; round < 2; round++) {
        buffer.write(message.data(), 10);
        buffer.write(message.data() + 10, 20);
        Bytes drained = take(buffer, 7);
        EXPECT_EQ(buffer.length(), 23u);
        for (uint32_t n : {22u, 1u}) {
            const Bytes piece = take(buffer, n);
            drained.insert(drained.end(), piece.begin(), piece.end());
        }
        EXPECT_EQ(drained, message);
        EXPECT_EQ(buffer.length(), 0u);
    }
}

TEST(BufferDeathTest, BrokenOrderStopsTheProcess)
{
    ChannelInterfaceBuffer buffer;
    buffer.write("abcd", 4);
    EXPECT_DEATH(buffer.read(5), "Assertion `len == length\\(\\)' failed");
    buffer.read(1);
    EXPECT_DEATH(buffer.write("e", 1), "Assertion `outPos == 0' failed");
    buffer.read(3);
    buffer.write("e", 1);
    EXPECT_EQ(buffer.length(), 1u);
}
