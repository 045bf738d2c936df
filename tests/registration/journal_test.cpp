#include "registration/host_call.h"
#include "registration/zelvar_test_support.h"
#include "support/fake_host.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

namespace {
using egl = sidechannel_egl_imports;
using gles = sidechannel_gles_imports;

constexpr bool host_list = false;
constexpr bool target_list = true;
constexpr uint32_t write_call = zelvar_call_write_to_shim_address_space;

struct copied
{
    uint32_t length = 0;
    const void* data = nullptr;

    template <class T>
    T as() const
    {
        T value{};
        EXPECT_EQ(length, sizeof(T));
        if (data && length == sizeof(T))
            std::memcpy(&value, data, sizeof(T));
        return value;
    }
};

copied argument(bool list, uint32_t index, uint32_t n)
{
    copied got;
    EXPECT_TRUE(zelvar_test_support_get_registered_call_argument(list, index, n, &got.length, &got.data));
    return got;
}

copied storage(bool list, uint32_t index)
{
    copied got;
    EXPECT_TRUE(
        zelvar_test_support_get_registered_call_argument_storage(list, index, &got.length, &got.data));
    return got;
}

uint32_t type(bool list, uint32_t index)
{
    uint32_t type = 0xffffffff;
    EXPECT_TRUE(zelvar_test_support_get_registered_call_type(list, index, &type));
    return type;
}

TEST(CallNumbersTest, EveryHostSlotAndServiceHasItsOwnNumberInsideTheArrays)
{
    std::set<uint32_t> numbers;
    for (size_t slot = 0; slot < host_egl_count; slot++)
        numbers.insert(zelvar_call_of_egl_slot(slot));
    for (size_t slot = 0; slot < host_gles_count; slot++)
        numbers.insert(zelvar_call_of_gles_slot(slot));
    EXPECT_FALSE(numbers.contains(write_call));
    for (uint32_t service = 436; service <= 469; service++)
        numbers.insert(zelvar_call_of_service(service));
    EXPECT_TRUE(numbers.contains(write_call));
    EXPECT_EQ(numbers.size(), host_egl_count + host_gles_count + 34);
    EXPECT_LT(*numbers.rbegin(), uint32_t{zelvar_call_count});
    EXPECT_EQ(zelvar_call_of_service(439), write_call);
    EXPECT_NE(zelvar_call_of<&egl::wl_egl_window_create>(), zelvar_call_of<&egl::eglGetProcAddress>());
}

TEST(CountersTest, CountEachSideAloneWhateverTheSwitchesSay)
{
    fake_host::install();
    EXPECT_EQ(zelvar_test_support_get_hostside_call_counter(zelvar_call_of<&gles::glFlush>()), 0u);
    host::gl<&gles::glFlush>();
    host::gl_unchecked<&gles::glFlush>();
    zelvar_test_support_increment_targetside_call_counter(zelvar_call_of_service(444));
    EXPECT_EQ(zelvar_test_support_get_hostside_call_counter(zelvar_call_of<&gles::glFlush>()), 2u);
    EXPECT_EQ(zelvar_test_support_get_hostside_call_counter(zelvar_call_of<&gles::glGetError>()), 1u);
    EXPECT_EQ(zelvar_test_support_get_fake_targetside_call_counter(zelvar_call_of<&gles::glFlush>()), 0u);
    EXPECT_EQ(zelvar_test_support_get_fake_targetside_call_counter(zelvar_call_of_service(444)), 1u);
    EXPECT_EQ(zelvar_test_support_get_hostside_call_counter(zelvar_call_of_service(444)), 0u);

    EXPECT_EQ(zelvar_test_support_get_and_reset_hostside_call_counter(zelvar_call_of<&gles::glFlush>()), 2u);
    EXPECT_EQ(zelvar_test_support_get_hostside_call_counter(zelvar_call_of<&gles::glFlush>()), 0u);
    EXPECT_EQ(zelvar_test_support_get_and_reset_fake_targetside_call_counter(zelvar_call_of_service(444)),
              1u);
    EXPECT_EQ(zelvar_test_support_get_and_reset_fake_targetside_call_counter(zelvar_call_of_service(444)),
              0u);
    EXPECT_EQ(zelvar_test_support_get_number_of_registered_calls(host_list), 0u);
}

TEST(JournalTest, KeepsCopiesOfWhatAHostCallWasGiven)
{
    fake_host::install();
    zelvar_test_support_enable_host_call_registration(true);
    host::gl<&gles::glUniform2f>(5, 0.25f, -2.0f);
    host::egl_unchecked<&egl::eglSwapInterval>(reinterpret_cast<EGLDisplay>(uintptr_t{0xd1}), 1);
    zelvar_test_support_enable_host_call_registration(false);
    host::gl<&gles::glFlush>();

    ASSERT_EQ(zelvar_test_support_get_number_of_registered_calls(host_list), 3u);
    EXPECT_EQ(zelvar_test_support_get_number_of_registered_calls(target_list), 0u);
    EXPECT_EQ(type(host_list, 0), zelvar_call_of<&gles::glUniform2f>());
    EXPECT_EQ(argument(host_list, 0, 0).as<GLint>(), 5);
    EXPECT_EQ(argument(host_list, 0, 1).as<GLfloat>(), 0.25f);
    EXPECT_EQ(argument(host_list, 0, 2).as<GLfloat>(), -2.0f);
    EXPECT_EQ(argument(host_list, 0, 3).data, nullptr);
    EXPECT_EQ(argument(host_list, 0, 10).length, 0u);
    EXPECT_EQ(storage(host_list, 0).data, nullptr);
    EXPECT_EQ(type(host_list, 1), zelvar_call_of<&gles::glGetError>());
    EXPECT_EQ(argument(host_list, 1, 0).data, nullptr);
    EXPECT_EQ(type(host_list, 2), zelvar_call_of<&egl::eglSwapInterval>());
    EXPECT_EQ(argument(host_list, 2, 0).as<uintptr_t>(), 0xd1u);
}

TEST(JournalTest, TheCopyOutlivesTheArgumentAndHasRoomForEleven)
{
    zelvar_test_support_enable_host_call_registration(true);
    char bytes[11][3];
    for (int i = 0; i < 11; i++)
        std::memset(bytes[i], 'a' + i, 3);
    zelvar_test_support_register_hostside_call_11_arguments(
        7, bytes[0], 1, bytes[1], 2, bytes[2], 3, nullptr, 9, bytes[4], 1, bytes[5], 2, bytes[6], 3, bytes[7],
        1, bytes[8], 2, bytes[9], 3, bytes[10], 1);
    std::memset(bytes, 'z', sizeof(bytes));
    const uint32_t lengths[11] = {1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1};
    for (uint32_t i = 0; i < 11; i++) {
        copied got = argument(host_list, 0, i);
        ASSERT_EQ(got.length, lengths[i]) << i;
        EXPECT_EQ(std::string(static_cast<const char*>(got.data), got.length),
                  std::string(lengths[i], static_cast<char>('a' + i)));
    }
}

TEST(JournalTest, ServicesGoToTheOtherListBehindTheirOwnSwitch)
{
    zelvar_test_support_enable_host_call_registration(true);
    uint32_t error = 0x502, window = 9;
    zelvar_test_support_register_fake_targetside_call_11_arguments(zelvar_call_of_service(464), &error, 4,
                                                                   &window, 4);
    EXPECT_EQ(zelvar_test_support_get_number_of_registered_calls(target_list), 0u);
    zelvar_test_support_enable_fake_targetside_call_registration(true);
    zelvar_test_support_enable_host_call_registration(false);
    zelvar_test_support_register_fake_targetside_call_11_arguments(zelvar_call_of_service(464), &error, 4,
                                                                   &window, 4);
    zelvar_test_support_register_hostside_call_11_arguments(1, &window, 4);
    ASSERT_EQ(zelvar_test_support_get_number_of_registered_calls(target_list), 1u);
    EXPECT_EQ(zelvar_test_support_get_number_of_registered_calls(host_list), 0u);
    EXPECT_EQ(type(target_list, 0), zelvar_call_of_service(464));
    EXPECT_EQ(argument(target_list, 0, 0).as<uint32_t>(), 9u);
}

TEST(JournalTest, AWriteToTheTargetKeepsTheWrittenBytes)
{
    zelvar_test_support_enable_fake_targetside_call_registration(true);
    char data[] = "pixels";
    uint32_t size = 6;
    uint64_t address = 0x1000;
    registration::register_target_call(zelvar_call_write_to_shim_address_space, size,
                                       static_cast<const void*>(data), address);
    std::memset(data, 0, sizeof(data));
    copied kept = storage(target_list, 0);
    ASSERT_EQ(kept.length, 6u);
    EXPECT_EQ(std::memcmp(kept.data, "pixels", 6), 0);
    EXPECT_EQ(argument(target_list, 0, 2).as<uint64_t>(), 0x1000u);

    // Nothing to write is no fault, and reads nothing.
    registration::register_target_call(zelvar_call_write_to_shim_address_space, uint32_t{0},
                                       static_cast<const void*>(nullptr), address);
    EXPECT_EQ(storage(target_list, 1).length, 0u);
}

TEST(JournalTest, LooksOutsideTheJournalFail)
{
    zelvar_test_support_enable_host_call_registration(true);
    zelvar_test_support_register_hostside_call_11_arguments(1, nullptr, 0);
    uint32_t type = 77, length = 77;
    const void* data = &type;
    EXPECT_FALSE(zelvar_test_support_get_registered_call_type(host_list, 1, &type));
    EXPECT_FALSE(zelvar_test_support_get_registered_call_type(target_list, 0, &type));
    EXPECT_FALSE(zelvar_test_support_get_registered_call_argument(host_list, 0xffffffff, 0, &length, &data));
    EXPECT_FALSE(zelvar_test_support_get_registered_call_argument_storage(host_list, 1, &length, &data));
    EXPECT_EQ(type, 77u);
    EXPECT_EQ(length, 77u);
    EXPECT_EQ(data, &type);
}

TEST(ResetTest, ClearsCountersJournalsQueuesAndSwitches)
{
    zelvar_test_support_enable_fake_zelvar_data_model_calls(true);
    zelvar_test_support_enable_fake_zelvar_internal_calls(true);
    zelvar_test_support_enable_fake_targetside_calls(true);
    zelvar_test_support_enable_host_call_registration(true);
    zelvar_test_support_enable_fake_targetside_call_registration(true);
    zelvar_test_support_enable_internal_call_fail(true);
    auto fill = [] {
        uint32_t value = 1;
        zelvar_test_support_increment_hostside_call_counter(zelvar_call_of_egl_slot(3));
        zelvar_test_support_increment_targetside_call_counter(zelvar_call_of_service(440));
        zelvar_test_support_register_hostside_call_11_arguments(3, &value, 4);
        zelvar_test_support_register_fake_targetside_call_11_arguments(4, &value, 4, &value, 4);
        zelvar_test_support_enqueue_fake_targetside_call_result(5, &value, 4, &value, 4, nullptr, 0, nullptr,
                                                                0, nullptr, 0, nullptr, 0);
        zelvar_test_support_enqueue_zelvar_data_model_call_result(5, &value, 4, nullptr, 0, nullptr, 0);
        zelvar_test_support_enqueue_fake_zelvar_internal_call_result(5, &value, 4, nullptr, 0);
        zelvar_test_support_enqueue_data_model_call(5, true);
        zelvar_test_support_enqueue_internal_call_fail_result(zelvar_internal_lock_context_data, true);
    };
    fill();
    EXPECT_TRUE(zelvar_test_support_get_fake_dispatch_mode_status());
    zelvar_test_support_reset();

    EXPECT_FALSE(zelvar_test_support_get_fake_dispatch_mode_status());
    EXPECT_EQ(zelvar_test_support_get_hostside_call_counter(zelvar_call_of_egl_slot(3)), 0u);
    EXPECT_EQ(zelvar_test_support_get_fake_targetside_call_counter(zelvar_call_of_service(440)), 0u);
    EXPECT_EQ(zelvar_test_support_get_number_of_registered_calls(host_list), 0u);
    EXPECT_EQ(zelvar_test_support_get_number_of_registered_calls(target_list), 0u);
    // Queues empty even with the switches on again.
    zelvar_test_support_enable_fake_zelvar_data_model_calls(true);
    zelvar_test_support_enable_fake_zelvar_internal_calls(true);
    zelvar_test_support_enable_fake_targetside_calls(true);
    uint32_t error = 0, stack = 0;
    EXPECT_FALSE(zelvar_test_support_dequeue_fake_targetside_call_result(5, &error, &stack));
    EXPECT_FALSE(zelvar_test_support_dequeue_zelvar_data_model_call_result(5, &stack));
    EXPECT_FALSE(zelvar_test_support_dequeue_fake_zelvar_internal_call_result(5, &stack));
    EXPECT_FALSE(zelvar_test_support_dequeue_data_model_call(5));
    EXPECT_FALSE(zelvar_test_support_dequeue_internal_call_fail_result(zelvar_internal_lock_context_data));
    // And the switches were off: nothing is registered or forced.
    zelvar_test_support_reset();
    fill();
    EXPECT_EQ(zelvar_test_support_get_number_of_registered_calls(host_list), 0u);
    EXPECT_EQ(zelvar_test_support_get_number_of_registered_calls(target_list), 0u);
    EXPECT_FALSE(zelvar_internal_call_fails(zelvar_internal_lock_context_data));
    EXPECT_FALSE(zelvar_test_support_is_zelvar_built_in_debug_mode());
}

// Misuse stops the process and says why.

class MisuseDeathTest : public testing::Test
{
protected:
    void SetUp() override
    {
        zelvar_test_support_enable_host_call_registration(true);
        zelvar_test_support_enable_fake_targetside_call_registration(true);
    }
    uint32_t value = 1;
};

TEST_F(MisuseDeathTest, AnArgumentOfNoLength)
{
    EXPECT_DEATH(zelvar_test_support_register_hostside_call_11_arguments(1, &value, 0), "arg1_length != 0");
    EXPECT_DEATH(zelvar_test_support_register_hostside_call_11_arguments(
                     1, &value, 4, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0,
                     nullptr, 0, nullptr, 0, nullptr, 0, &value, 0),
                 "arg11_length != 0");
    EXPECT_DEATH(zelvar_test_support_register_fake_targetside_call_11_arguments(1, &value, 0, nullptr, 0),
                 "gl_egl_error_length != 0");
}

TEST_F(MisuseDeathTest, ANumberThatIsNoCall)
{
    EXPECT_DEATH(zelvar_test_support_register_hostside_call_11_arguments(477, &value, 4),
                 "call < zelvar_call_count");
    EXPECT_DEATH(zelvar_test_support_get_hostside_call_counter(0xffffffff), "call < zelvar_call_count");
    EXPECT_DEATH(zelvar_test_support_get_and_reset_fake_targetside_call_counter(477),
                 "call < zelvar_call_count");
}

TEST_F(MisuseDeathTest, AWriteThatDoesNotSayWhatItWrites)
{
    const void* nothing = nullptr;
    EXPECT_DEATH(zelvar_test_support_register_fake_targetside_call_11_arguments(write_call, nullptr, 0,
                                                                                nullptr, 0, &nothing, 8),
                 "arg\\[0\\]");
    EXPECT_DEATH(zelvar_test_support_register_fake_targetside_call_11_arguments(write_call, nullptr, 0,
                                                                                &value, 2, &nothing, 8),
                 "arg_length\\[0\\]");
    EXPECT_DEATH(
        zelvar_test_support_register_fake_targetside_call_11_arguments(write_call, nullptr, 0, &value, 4),
        "arg\\[1\\]");
    EXPECT_DEATH(zelvar_test_support_register_fake_targetside_call_11_arguments(write_call, nullptr, 0,
                                                                                &value, 4, &nothing, 8),
                 "data \\|\\| size == 0");
}

TEST_F(MisuseDeathTest, ATwelfthArgument)
{
    zelvar_test_support_register_hostside_call_11_arguments(1, &value, 4);
    uint32_t length;
    const void* data;
    EXPECT_DEATH(zelvar_test_support_get_registered_call_argument(host_list, 0, 11, &length, &data),
                 "n_call_argument < 11");
}
} // namespace
