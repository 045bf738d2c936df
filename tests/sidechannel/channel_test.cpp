#include "fake_library.h"

#include <chrono>
#include <set>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

constexpr uint32_t capacity = ChannelInterfaceWrapper::inbound_capacity;
const std::string too_much = "FATAL [ZELVAR] too much data read from VPLAT for command.\n";
const std::string partial = "FATAL [ZELVAR] partial data read from VPLAT for command.\n";
const std::string no_data = "ERROR [ZELVAR] No data received\n";

class Channel : public testing::Test
{
protected:
    void SetUp() override { sidechannel_set_log_level(2); }

    std::vector<Bytes>& messages = fake_library().messages;
};

/// Clears the top byte of the word at `offset`.
void clear_vmid(Bytes& bytes, size_t offset)
{
    if (offset + 3 < bytes.size())
        bytes[offset + 3] = 0;
}

/// Stores the first and the last byte only, so that gigabytes can be sent in no time.
class HollowModel : public FakeModel
{
public:
    uint32_t read(uint64_t, void* destination, uint32_t length) override
    {
        auto* bytes = static_cast<uint8_t*>(destination);
        bytes[0] = bytes[length - 1] = 0;
        destinations.insert(bytes);
        return length;
    }

    std::set<const uint8_t*> destinations;
};

} // namespace

TEST_F(Channel, TakesMessagesAndBindsToTheFirstPid)
{
    TestChannel t;
    EXPECT_EQ(t.channel.getBoundTargetProcess(), 0);
    const Bytes first = make_message(28, 0x12000007), second = make_message(20, 9);
    EXPECT_EQ(logged([&] {
                  EXPECT_EQ(t.send(first), 28);
                  EXPECT_EQ(t.send(second), 20);
              }),
              "");
    EXPECT_EQ(messages, (std::vector<Bytes>{first, second})); // VMID bits untouched, the second pid unchecked
    EXPECT_EQ(t.channel.getBoundTargetProcess(), 0x12000007);
    EXPECT_EQ(t.model.core_queries, 0);
}

TEST_F(Channel, PutsPiecesTogetherWhereverTheyAreCut)
{
    const Bytes message = make_message(28, 7);
    for (size_t cut = 1; cut < message.size(); cut++) {
        TestChannel t;
        messages.clear();
        EXPECT_EQ(logged([&] { EXPECT_EQ(t.send(message, 0, cut), static_cast<int32_t>(cut)); }),
                  cut < 4 ? no_data : partial);
        EXPECT_EQ(t.channel.getBoundTargetProcess(), 0);
        EXPECT_TRUE(messages.empty());
        EXPECT_EQ(logged([&] { t.send(message, cut, message.size() - cut); }), "");
        EXPECT_EQ(messages, std::vector<Bytes>{message});
        EXPECT_EQ(t.channel.getBoundTargetProcess(), 7);
    }
    TestChannel t;
    messages.clear();
    for (size_t i = 0; i < message.size(); i++)
        t.send(message, i, 1);
    EXPECT_EQ(messages, std::vector<Bytes>{message});
    EXPECT_EQ(logged([&] { EXPECT_EQ(t.send(message, 0, 0), 0); }), no_data);
}

TEST_F(Channel, SurplusStopsItForGood)
{
    TestChannel t;
    const Bytes message = make_message(28, 7);
    t.send(message);
    Bytes surplus = message;
    surplus.insert(surplus.end(), message.begin(), message.begin() + 14);
    EXPECT_EQ(logged([&] { EXPECT_EQ(t.send(surplus), 42); }), too_much);
    EXPECT_EQ(logged([&] { EXPECT_EQ(t.send(message, 14, 14), 14); }), too_much);
    EXPECT_EQ(logged([&] { t.send(message); }), too_much);
    EXPECT_EQ(messages.size(), 1u);
}

TEST_F(Channel, SizesBelowTheSizeWordCanNeverBeMet)
{
    for (uint32_t declared = 0; declared < 4; declared++) {
        TestChannel t;
        Bytes message = make_message(20, 7);
        std::memcpy(message.data(), &declared, 4);
        EXPECT_EQ(logged([&] { t.send(message); }), too_much);
        EXPECT_EQ(t.channel.getBoundTargetProcess(), 0);
    }
    EXPECT_TRUE(messages.empty());
}

TEST_F(Channel, StuckChannelNeitherWrapsNorGathersMemory)
{
    TestChannel t;
    Bytes stuck = make_message(16, 7);
    stuck[0] = 8;
    t.send(stuck);
    HollowModel hollow;
    logged([&] {
        for (int i = 0; i < 1023; i++)
            t.channel.write(FakeModel::base, capacity, &hollow);
        t.channel.write(FakeModel::base, capacity - 16, &hollow); // 2^32 bytes in all
    });
    EXPECT_LE(hollow.destinations.size(), 2u); // one place, moved at most once
    EXPECT_EQ(count_of(logged([&] { t.send(make_message(20, 7)); }), too_much), 1u);
    EXPECT_TRUE(messages.empty());
}

TEST_F(Channel, GrowsBehindTheOverflowLine)
{
    TestChannel t{capacity + 4096};
    const Bytes fits = make_message(capacity, 7), over = make_message(capacity + 1, 7);
    EXPECT_EQ(logged([&] { t.send(fits); }), "");
    EXPECT_EQ(logged([&] { t.send(over); }), "FATAL [ZELVAR] VPLAT read buffer is to small @ 4194305.\n");
    t.send(make_message(20, 7));
    ASSERT_EQ(messages.size(), 3u);
    EXPECT_TRUE(messages[0] == fits);
    EXPECT_TRUE(messages[1] == over);
    EXPECT_EQ(messages[2], make_message(20, 7));

    // In pieces, with the overflow in the middle of a message.
    messages.clear();
    EXPECT_EQ(logged([&] {
                  t.send(over, 0, capacity - 10);
                  t.send(over, capacity - 10, 11);
              }),
              partial + "FATAL [ZELVAR] VPLAT read buffer is to small @ 4194305.\n");
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_TRUE(messages[0] == over);
}

TEST_F(Channel, ShortHeadersAndPidZeroLeaveItUnbound)
{
    TestChannel t;
    const std::string unbound = "Communication for this sidechannel interface is impossible!\n";
    std::string text = logged([&] { t.send(make_message(19, 7)); });
    EXPECT_EQ(count_of(text,
                       "FATAL [ZELVAR] Cannot extract target pid due to message size is too small ([19] "
                       "bytes)\n"),
              1u);
    EXPECT_EQ(count_of(text, unbound), 1u);
    text = logged([&] { t.send(make_message(20, 0)); });
    EXPECT_EQ(count_of(text, "too small"), 0u);
    EXPECT_EQ(count_of(text, unbound), 1u);
    EXPECT_EQ(messages.size(), 2u); // passed on all the same
    t.channel.bindTargetProcess(nullptr, 20);
    EXPECT_EQ(t.channel.getBoundTargetProcess(), 0);
    EXPECT_EQ(logged([&] { t.send(make_message(20, 7)); }), "");
    EXPECT_EQ(t.channel.getBoundTargetProcess(), 7);
}

TEST_F(Channel, WithoutAModelNothingIsTaken)
{
    TestChannel t;
    t.send(make_message(20, 7));
    EXPECT_EQ(logged([&] { EXPECT_EQ(t.channel.write(FakeModel::base, 20, nullptr), 20); }),
              "ERROR [ZELVAR] Can't read data from VPLAT.\n");
    EXPECT_EQ(messages.size(), 1u); // the old message in the buffer must not count again
    t.append(make_message(20, 7));
    t.channel.allowMainThreadToSendMessage();
    logged([&] { EXPECT_EQ(t.channel.read(FakeModel::base, 20, nullptr), -1); });
}

TEST_F(Channel, DeliversAnswersWithoutTheVmid)
{
    TestChannel t;
    Bytes answer = make_message(28, 0xab000007);
    t.append(Bytes(answer.begin(), answer.begin() + 4)); // field by field
    t.append(Bytes(answer.begin() + 4, answer.end()));
    t.channel.allowMainThreadToSendMessage();
    clear_vmid(answer, 8);
    EXPECT_EQ(t.receive(1000), answer);
}

TEST_F(Channel, EachSmallReadMasksItsThirdWord)
{
    const Bytes message = make_message(64, 0xab000007);
    for (uint32_t piece : {1u, 4u, 8u, 12u, 16u, 63u}) {
        TestChannel t;
        t.append(message);
        t.channel.allowMainThreadToSendMessage(); // one signal for all the reads
        Bytes received;
        while (received.size() < message.size()) {
            const Bytes next = t.receive(piece);
            ASSERT_EQ(next.size(), std::min<size_t>(piece, message.size() - received.size()));
            received.insert(received.end(), next.begin(), next.end());
        }
        Bytes expected = message;
        for (size_t at = 0; at < message.size(); at += piece)
            clear_vmid(expected, at + 8); // behind a short read too, before it is delivered
        EXPECT_EQ(received, expected) << piece;
    }
}

TEST_F(Channel, ReadSleepsUntilAMessageIsComplete)
{
    TestChannel t;
    const Bytes answer = make_message(20, 7);
    for (int round = 0; round < 2; round++) { // the second finds no signal left over from the first
        std::atomic<bool> released{false};
        std::thread worker{[&] {
            t.append(answer); // doesn't wake the reader
            std::this_thread::sleep_for(40ms);
            released = true;
            t.channel.allowMainThreadToSendMessage();
        }};
        Bytes received = t.receive(8);
        EXPECT_TRUE(released);
        worker.join();
        const Bytes rest = t.receive(64);
        received.insert(received.end(), rest.begin(), rest.end());
        clear_vmid(received, 8 + 8);
        Bytes expected = answer;
        clear_vmid(expected, 8 + 8);
        EXPECT_EQ(received, expected);
    }
}

TEST_F(Channel, ShortDeliveryFailsTheRead)
{
    sidechannel_set_log_level(6567);
    TestChannel t{16};
    t.append(make_message(20, 7));
    t.channel.allowMainThreadToSendMessage();
    EXPECT_EQ(logged([&] { EXPECT_EQ(t.channel.read(FakeModel::base, 20, &t.model), -1); }),
              "FATAL [ZELVAR] Can't write data to VPLAT ( writeLength = 20, written = 16 .\n"
              "TRACE [ZELVAR] StackDump()\n");
    t.append(make_message(12, 7));
    t.channel.allowMainThreadToSendMessage();
    EXPECT_EQ(t.receive(20), make_message(12, 7));
}

TEST_F(Channel, ASecondActiveModelIsReported)
{
    TestChannel t;
    FakeModel intruder;
    std::string text;
    std::thread second{[&] {
        t.channel.lock(); // free as soon as the first waits
        t.channel.allowMainThreadToSendMessage();
        t.channel.allowMainThreadToSendMessage();
        text = logged([&] { t.channel.read(FakeModel::base, 4, &intruder); });
        t.channel.unlock();
    }};
    t.channel.read(FakeModel::base, 4, &t.model);
    t.channel.unlock();
    second.join();
    EXPECT_EQ(count_of(text, "FATAL [ZELVAR] Setting model interface "), 1u) << text;
}

TEST_F(Channel, CloseTellsTheOwnerOnceAndFreesNothing)
{
    TestChannel t;
    t.channel.close();
    EXPECT_EQ(t.closed, std::vector{&t.channel});
    t.channel.forgetOwner();
    t.channel.close();
    EXPECT_EQ(t.closed.size(), 1u);
    t.send(make_message(20, 7));
    EXPECT_EQ(messages.size(), 1u);
}

TEST(ChannelDeathTest, ModelInterfaceOutsideReadStopsTheProcess)
{
    TestChannel t;
    t.channel.allowMainThreadToSendMessage();
    EXPECT_EQ(t.receive(20), Bytes{}); // over: the model isn't reachable any more
    EXPECT_DEATH(
        {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            t.channel.getModelInterface();
        },
        "for pid=0\\): Attempt to use NULL model interface crash ahead\n.*"
        "Assertion `_model_interface != __null' failed");
}

TEST(TargetIdentifier, HasNoSeparator)
{
    EXPECT_EQ((scTargetIdentifier{0x12000007}).toString(), "VMID: 18PID: 7");
}
