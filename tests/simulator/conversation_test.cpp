// What the simulator makes of the bytes that pass, on bytes laid by hand.

#include "simulator/conversation.h"

#include <gtest/gtest.h>

using namespace simulator;

namespace {

using bytes = std::vector<uint8_t>;

constexpr uint32_t pid = 0x1234;

bytes message(uint32_t type, const bytes& payload = {}, uint64_t tid = 9, uint32_t from = pid)
{
    bytes made(wire::header_size);
    wire::store_header(made.data(),
                       {static_cast<uint32_t>(20 + payload.size()), type, static_cast<int32_t>(from), tid});
    made.insert(made.end(), payload.begin(), payload.end());
    return made;
}

bytes joined(const std::vector<bytes>& parts)
{
    bytes all;
    for (const bytes& each : parts)
        all.insert(all.end(), each.begin(), each.end());
    return all;
}

const bytes leave = message(437);

class talk : public testing::Test
{
protected:
    bool admit(const bytes& what) { return subject.admit(what); }
    static void answer(conversation& one, const bytes& what)
    {
        one.answered(what);
        one.answers_taken();
    }
    void answer(const bytes& what) { answer(subject, what); }

    conversation subject{pid, {}};
    conversation batching{pid, {.batch_commands = true}};
};

TEST_F(talk, a_call_is_open_until_it_is_released)
{
    EXPECT_FALSE(subject.in_call());
    EXPECT_FALSE(subject.answer_due());
    ASSERT_TRUE(admit(message(66, {1, 0, 0, 0})));
    EXPECT_TRUE(subject.answer_due());
    answer(joined({message(436, {1, 5}), leave}));
    EXPECT_FALSE(subject.in_call());
    EXPECT_FALSE(subject.answer_due());
    EXPECT_EQ(subject.calls(), 1u);
}

TEST_F(talk, a_second_batch_of_the_thread_may_follow_and_no_other_call)
{
    const bytes inner = message(66, {1, 0, 0, 0});
    const bytes batch = message(1, joined({{1, 0, 0, 0}, inner}));
    const bytes of_another_thread = message(1, joined({{1, 0, 0, 0}, inner}), 10);
    ASSERT_TRUE(batching.admit(batch));
    EXPECT_FALSE(batching.admit(of_another_thread));
    EXPECT_FALSE(batching.admit(inner)) << "alone it might be answered in between";
    EXPECT_TRUE(batching.admit(batch));
    EXPECT_FALSE(batching.admit(batch)) << "two are the most";
    batching.answered(leave);
    EXPECT_TRUE(batching.in_call());
    EXPECT_TRUE(batching.answer_due());
    EXPECT_FALSE(batching.admit(batch)) << "the target hasn't taken any answer";
    batching.answered(leave);
    EXPECT_FALSE(batching.in_call());
    EXPECT_FALSE(batching.admit(of_another_thread));
    batching.answers_taken();
    EXPECT_TRUE(batching.admit(of_another_thread));
}

/// A thread that waits in a read must be got out of it when the target has gone.
TEST_F(talk, reading_ahead_ends_with_the_business)
{
    EXPECT_FALSE(batching.may_wait_in_read()) << "there is no worker that would speak";
    const bytes batch = message(1, joined({{1, 0, 0, 0}, message(66, {1, 0, 0, 0})}));
    ASSERT_TRUE(batching.admit(batch));
    EXPECT_TRUE(batching.may_wait_in_read());
    batching.answered(message(454, {8, 0, 0, 0}));
    EXPECT_FALSE(batching.may_wait_in_read()) << "it is the target's turn to answer";
    ASSERT_TRUE(batching.admit(batching.confirmation()));
    batching.answered(leave);
    EXPECT_TRUE(batching.may_wait_in_read()) << "between calls";
    EXPECT_FALSE(batching.farewells().empty());
    batching.answers_taken();
    ASSERT_TRUE(batching.admit(message(5)));
    EXPECT_FALSE(batching.may_wait_in_read()) << "nothing answers that";
}

TEST_F(talk, requests_are_found_wherever_the_answer_is_cut)
{
    // The size word of type 458 leaves out its payload of 12 bytes.
    bytes begin_use = message(458);
    begin_use.resize(32, 0x55);
    const bytes stream = joined({message(441, bytes(8)), begin_use, message(442, bytes(8))});
    for (size_t cut = 0; cut <= stream.size(); ++cut) {
        conversation one{pid, {}};
        ASSERT_TRUE(one.admit(message(7)));
        one.answered({stream.data(), cut});
        EXPECT_EQ(one.pending_request(), cut < 28 + 32u ? 0u : cut < stream.size() ? 458u : 442u) << cut;
        one.answered({stream.data() + cut, stream.size() - cut});
        EXPECT_EQ(one.pending_request(), 442u) << cut;
        EXPECT_FALSE(one.answer_due()) << cut;
    }
}

TEST_F(talk, confirmations_are_as_long_as_the_service_wants)
{
    const std::vector<std::pair<uint32_t, int>> wanted = {
        {438, 0}, {439, 0},  {440, 8},  {442, 4},  {443, 4},  {444, 4}, {445, 4}, {446, 4},
        {447, 4}, {448, 16}, {449, 8},  {450, 0},  {451, 0},  {452, 0}, {453, 8}, {454, 0},
        {455, 0}, {456, 4},  {457, 0},  {458, 56}, {459, 4},  {460, 1}, {461, 0}, {462, 4},
        {463, 4}, {464, 4},  {465, 56}, {466, 4},  {467, 32}, {468, 8}, {469, 8}};
    for (const auto& [type, size] : wanted) {
        conversation one{pid, {}};
        ASSERT_TRUE(one.admit(message(7)));
        bytes request = message(type);
        if (type == 458)
            request.resize(32);
        one.answered(request);
        bytes expected = message(4, {0, 0, 0, 0, static_cast<uint8_t>(size)});
        expected.resize(25 + static_cast<size_t>(size));
        expected[0] = static_cast<uint8_t>(expected.size());
        EXPECT_EQ(one.confirmation(), expected) << type;
        for (const int lie : {size - 1, size + 1}) {
            bytes wrong = message(4, bytes(static_cast<size_t>(5 + std::max(lie, 0))));
            wrong[24] = static_cast<uint8_t>(lie);
            EXPECT_FALSE(one.admit(wrong)) << type;
        }
        EXPECT_TRUE(one.admit(expected)) << type;
        EXPECT_TRUE(one.answer_due()) << type;
    }
}

TEST_F(talk, a_call_on_the_target_has_no_confirmation_of_ours)
{
    ASSERT_TRUE(admit(message(7)));
    answer(message(10));
    EXPECT_EQ(subject.pending_request(), 10u);
    EXPECT_TRUE(subject.confirmation().empty());
    EXPECT_TRUE(admit(message(4, {0, 0, 0, 0, 2, 1, 1})));
    answer(joined({message(60), message(60), leave})); // requests that nobody waits for
    EXPECT_FALSE(subject.in_call());
    EXPECT_EQ(subject.pending_request(), 0u);
}

TEST_F(talk, a_display_is_taken_leave_of_as_the_settings_want)
{
    bytes initialize = message(22, {8, 7, 6, 5, 4, 3, 2, 1});
    initialize.resize(44);
    initialize[0] = 44;
    const bytes plain = message(28, {8, 7, 6, 5, 4, 3, 2, 1});
    bytes batched = message(1, joined({{1, 0, 0, 0}, plain}));

    ASSERT_TRUE(admit(initialize));
    answer(leave);
    EXPECT_TRUE(subject.unfinished_business());
    EXPECT_EQ(subject.farewells().at(0), plain);

    bytes settings = message(2, bytes(12));
    settings.push_back(0);
    settings.insert(settings.end(), {0, 0x40, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    settings[0] = static_cast<uint8_t>(settings.size());
    ASSERT_TRUE(admit(settings));
    uint8_t block[56] = {};
    block[32] = 1;
    subject.block_written(0x4004, block);
    subject.block_written(0x4000, {block, 55});
    EXPECT_EQ(subject.farewells().at(0), plain) << "some other block was written";
    subject.block_written(0x4000, block);
    EXPECT_EQ(subject.farewells().at(0), batched);

    block[32] = 0;
    block[37] = 1;
    block[40] = 2;
    subject.block_written(0x4000, block);
    EXPECT_EQ(subject.farewells().at(0), message(28, {1, 0, 0, 0, 8, 7, 6, 5, 4, 3, 2, 1}));
    block[44] = 1;
    subject.block_written(0x4000, block);
    EXPECT_EQ(subject.farewells().at(0), message(28, {1, 0, 0, 0, 0, 0x30, 0, 0, 8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST_F(talk, a_display_in_a_batch_is_seen_and_a_terminated_one_needs_no_leave)
{
    bytes initialize = message(22, {0xaa});
    initialize.resize(44);
    initialize[0] = 44;
    ASSERT_TRUE(batching.admit(message(1, joined({{2, 0, 0, 0}, message(19, bytes(8)), initialize}))));
    EXPECT_EQ(batching.calls(), 2u);
    answer(batching, leave);
    EXPECT_EQ(batching.farewells().at(0)[24 + 20], 0xaa);
    ASSERT_TRUE(batching.admit(message(1, joined({{1, 0, 0, 0}, message(28, bytes(8))}))));
    EXPECT_TRUE(batching.unfinished_business()) << "it has only been sent";
    answer(batching, leave);
    EXPECT_FALSE(batching.unfinished_business());
    ASSERT_TRUE(batching.admit(message(1, {0, 0, 0, 0})));
    EXPECT_TRUE(batching.unfinished_business()) << "a new worker has been started";
}

TEST_F(talk, vulkan_instances_that_were_left_are_destroyed)
{
    const auto create = [](uint8_t handle) {
        bytes call = message(440, bytes(24));
        call.insert(call.end(), {handle, 0, 0, 0, 0, 0, 0, 1});
        call[0] = static_cast<uint8_t>(call.size());
        return call;
    };
    const auto destroy = [](uint8_t handle) {
        return message(441, {handle, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0});
    };
    for (const uint8_t handle : {0xaa, 0xbb}) {
        ASSERT_TRUE(admit(create(handle)));
        answer(leave);
    }
    const std::vector<bytes> both = {destroy(0xaa), destroy(0xbb)};
    EXPECT_EQ(subject.farewells(), both);
    ASSERT_TRUE(admit(destroy(0xbb)));
    answer(leave);
    EXPECT_EQ(subject.farewells(), std::vector<bytes>{destroy(0xaa)});
    EXPECT_TRUE(subject.unfinished_business());
    ASSERT_TRUE(admit(destroy(0xaa)));
    answer(leave);
    EXPECT_FALSE(subject.unfinished_business()) << "the last instance takes the workers along";
}

TEST_F(talk, batches_that_lie_are_followed_as_far_as_they_are_whole)
{
    const bytes inner = message(66, {1, 0, 0, 0});
    const bytes many = {0xff, 0xff, 0xff, 0xff};
    bytes zero = inner;
    zero[0] = 0;
    bytes beyond = inner;
    beyond[0] = 25;
    for (const bytes& rest : {bytes{}, bytes(19), zero, beyond}) {
        conversation one{pid, {.batch_commands = true}};
        EXPECT_TRUE(one.admit(message(1, joined({many, inner, inner, rest}))));
        EXPECT_EQ(one.calls(), 2u);
    }
    EXPECT_TRUE(conversation(pid, {}).admit(message(1)));
    EXPECT_TRUE(conversation(pid, {}).admit(message(1, {0, 0})));
}

TEST_F(talk, batches_that_would_end_the_call_twice_are_refused)
{
    const bytes inner = message(66, {1, 0, 0, 0});
    EXPECT_FALSE(admit(message(1, joined({{1, 0, 0, 0}, inner}))))
        << "with batches off each command ends the call";
    for (const uint32_t type : {1u, 2u, 3u}) {
        conversation one{pid, {.batch_commands = true}};
        EXPECT_FALSE(one.admit(message(1, joined({{2, 0, 0, 0}, inner, message(type)})))) << type;
        // Where the library's walk arrives by a size shorter than a header.
        bytes stub(10);
        stub[0] = 10;
        stub[8] = pid & 0xff;
        stub[9] = pid >> 8;
        EXPECT_FALSE(one.admit(message(1, joined({{2, 0, 0, 0}, stub, message(type)})))) << type;
    }
}

TEST_F(talk, the_upper_byte_of_the_process_is_none_of_its_number)
{
    EXPECT_TRUE(admit(message(66, {}, 9, pid | 0x7f000000)));
}

TEST_F(talk, with_batches_on_only_three_types_are_answered)
{
    for (const uint32_t type : {1u, 2u, 3u, 66u}) {
        conversation one{pid, {.batch_commands = true}};
        ASSERT_TRUE(one.admit(message(type)));
        EXPECT_EQ(one.answer_due(), type <= 3) << type;
        one.abandon_unanswered_call();
        EXPECT_EQ(one.in_call(), type <= 3) << type;
    }
}

} // namespace
