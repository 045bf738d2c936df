#include "registration/zelvar_test_support.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {
constexpr uint32_t service = 440;
constexpr uint32_t other_service = 441;

void enqueue_stack(uint32_t call, uint32_t value)
{
    zelvar_test_support_enqueue_fake_targetside_call_result(call, &value, sizeof(value), nullptr, 0, nullptr,
                                                            0, nullptr, 0, nullptr, 0, nullptr, 0);
}

uint32_t dequeue_stack(uint32_t call)
{
    uint32_t value = 0;
    EXPECT_TRUE(zelvar_test_support_dequeue_fake_targetside_call_result(call, nullptr, &value));
    return value;
}

TEST(TargetQueueTest, HandsResultsOutOldestFirstPerCallWhileTheSwitchIsOn)
{
    uint32_t untouched = 0x55;
    enqueue_stack(service, 1);
    enqueue_stack(other_service, 9);
    enqueue_stack(service, 2);
    EXPECT_FALSE(zelvar_test_support_dequeue_fake_targetside_call_result(service, nullptr, &untouched));

    zelvar_test_support_enable_fake_targetside_calls(true);
    EXPECT_EQ(dequeue_stack(service), 1u);
    EXPECT_EQ(dequeue_stack(service), 2u);
    EXPECT_FALSE(zelvar_test_support_dequeue_fake_targetside_call_result(service, nullptr, &untouched));
    EXPECT_EQ(untouched, 0x55u);
    EXPECT_EQ(dequeue_stack(other_service), 9u);
    EXPECT_FALSE(zelvar_test_support_dequeue_fake_targetside_call_result(442, nullptr, &untouched));
}

TEST(TargetQueueTest, FillsEverySlotThatHoldsDataAndLeavesTheOthers)
{
    zelvar_test_support_enable_fake_targetside_calls(true);
    uint32_t error = 0x3001;
    uint64_t stack = 0x1122334455667788;
    char one[] = "one", three[] = "three", four[] = "four";
    zelvar_test_support_enqueue_fake_targetside_call_result(service, &stack, 8, &error, 4, one, 4, nullptr,
                                                            100, three, 6, four, 5);
    std::memset(one, 0, sizeof(one)); // the queue has its own copy
    uint32_t got_error = 0;
    uint64_t got_stack = 0;
    char got[4][8] = {"-", "-", "-", "-"};
    EXPECT_TRUE(zelvar_test_support_dequeue_fake_targetside_call_result(service, &got_error, &got_stack,
                                                                        got[0], got[1], got[2], got[3]));
    EXPECT_EQ(got_error, 0x3001u);
    EXPECT_EQ(got_stack, 0x1122334455667788u);
    EXPECT_STREQ(got[0], "one");
    EXPECT_STREQ(got[1], "-");
    EXPECT_STREQ(got[2], "three");
    EXPECT_STREQ(got[3], "four");
}

TEST(TargetQueueTest, AnEmptyResultStillStandsInForTheTarget)
{
    zelvar_test_support_enable_fake_targetside_calls(true);
    zelvar_test_support_enqueue_fake_targetside_call_result(service, nullptr, 4, nullptr, 4, nullptr, 4,
                                                            nullptr, 4, nullptr, 4, nullptr, 4);
    EXPECT_TRUE(zelvar_test_support_dequeue_fake_targetside_call_result(service, nullptr, nullptr));
    EXPECT_FALSE(zelvar_test_support_dequeue_fake_targetside_call_result(service, nullptr, nullptr));
}

TEST(TargetQueueDeathTest, DataWithoutADestinationStopsTheProcess)
{
    zelvar_test_support_enable_fake_targetside_calls(true);
    uint32_t value = 1;
    auto death_of = [&](int slot, const char* text) {
        const void* data[6] = {};
        data[slot] = &value;
        EXPECT_DEATH(
            {
                zelvar_test_support_enqueue_fake_targetside_call_result(
                    service, data[0], 4, data[1], 4, data[2], 4, data[3], 4, data[4], 4, data[5], 4);
                zelvar_test_support_dequeue_fake_targetside_call_result(service, nullptr, nullptr);
            },
            text);
    };
    death_of(0, "result_stack != __null");
    death_of(1, "result_gl_egl_error != __null");
    death_of(2, "result_arg1 != __null");
    death_of(3, "result_arg2 != __null");
    death_of(4, "result_arg3 != __null");
    death_of(5, "result_arg4 != __null");
}

TEST(DataModelQueueTest, HasItsOwnSwitchQueueAndSlots)
{
    uint32_t stack = 1, first = 2, second = 3;
    zelvar_test_support_enqueue_zelvar_data_model_call_result(service, &stack, 4, &first, 4, &second, 4);
    zelvar_test_support_enable_fake_targetside_calls(true);
    zelvar_test_support_enable_fake_zelvar_internal_calls(true);
    uint32_t got[3] = {};
    EXPECT_FALSE(zelvar_test_support_dequeue_zelvar_data_model_call_result(service, got, got + 1, got + 2));
    EXPECT_FALSE(zelvar_test_support_dequeue_fake_targetside_call_result(service, nullptr, got));
    EXPECT_FALSE(zelvar_test_support_dequeue_fake_zelvar_internal_call_result(service, got, got + 1));
    zelvar_test_support_enable_fake_zelvar_data_model_calls(true);
    EXPECT_TRUE(zelvar_test_support_dequeue_zelvar_data_model_call_result(service, got, got + 1, got + 2));
    EXPECT_EQ(got[0], 1u);
    EXPECT_EQ(got[1], 2u);
    EXPECT_EQ(got[2], 3u);
}

TEST(InternalQueueTest, GivesAGetterItsForcedResultWhileTheSwitchIsOn)
{
    uint64_t forced = 0xabc, got = 7;
    bool success = true;
    zelvar_test_support_enqueue_fake_zelvar_internal_call_result(zelvar_internal_get_host_context, &success,
                                                                 1, &forced, 8);
    EXPECT_FALSE(zelvar_internal_call_fakes(zelvar_internal_get_host_context, &got));
    zelvar_test_support_enable_fake_zelvar_internal_calls(true);
    EXPECT_FALSE(zelvar_internal_call_fakes(zelvar_internal_get_target_context, &got));
    EXPECT_EQ(got, 7u);
    EXPECT_TRUE(zelvar_internal_call_fakes(zelvar_internal_get_host_context, &got));
    EXPECT_EQ(got, 0xabcu);
    EXPECT_FALSE(zelvar_internal_call_fakes(zelvar_internal_get_host_context, &got));
}

TEST(BoolQueuesTest, AnswerInOrderThenFalseAndForceOnlyBehindTheSwitch)
{
    for (bool answer : {true, false, true})
        zelvar_test_support_enqueue_data_model_call(zelvar_data_model_is_gl_extension_supported, answer);
    EXPECT_FALSE(zelvar_test_support_dequeue_data_model_call(zelvar_data_model_is_egl_extension_supported));
    for (bool answer : {true, false, true, false, false})
        EXPECT_EQ(zelvar_test_support_dequeue_data_model_call(zelvar_data_model_is_gl_extension_supported),
                  answer);

    zelvar_test_support_enqueue_internal_call_fail_result(zelvar_internal_add_context, false);
    zelvar_test_support_enqueue_internal_call_fail_result(zelvar_internal_add_context, true);
    EXPECT_FALSE(zelvar_internal_call_fails(zelvar_internal_add_context)); // the switch is off: nothing taken
    zelvar_test_support_enable_internal_call_fail(true);
    EXPECT_FALSE(zelvar_internal_call_fails(zelvar_internal_add_context));
    EXPECT_TRUE(zelvar_internal_call_fails(zelvar_internal_add_context));
    EXPECT_FALSE(zelvar_internal_call_fails(zelvar_internal_add_context));
}
} // namespace
