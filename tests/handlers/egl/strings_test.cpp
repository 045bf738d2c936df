// eglQueryString: strings that live in target memory.

#include "egl_fixture.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

namespace in = wire::inbound;

namespace {
TEST_F(egl_test, PlainStringsAreCopiedToTheTargetOnceForEachContext)
{
    uint64_t display = open_display();
    auto query = call(in::egl_query_string).u64(display).u32(EGL_VENDOR);
    auto seen = send(query);
    EXPECT_EQ(seen.width, 8u);
    EXPECT_EQ(seen.host, strings{"eglQueryString(pointer, 12371)"});
    EXPECT_EQ(seen.asked, (strings{"allocate 16", "write 16"}));
    EXPECT_EQ(target.text_at(*seen.value), "Corvane Limited");
    auto again = send(query);
    EXPECT_EQ(again.value, seen.value);
    EXPECT_TRUE(again.host.empty() && again.asked.empty());
    EXPECT_NE(value_of(call(in::egl_query_string).u64(display).u32(EGL_VERSION)), seen.value);
}

TEST_F(egl_test, AStringThatTheHostLacksIsNull)
{
    uint64_t display = open_display();
    EXPECT_EQ(value_of(call(in::egl_query_string).u64(display).u32(0x1234)), 0u);
    EXPECT_EQ(value_of(call(in::egl_query_string).u64(0x999).u32(EGL_VENDOR)), 0u);
    out_of_memory = true;
    EXPECT_EQ(value_of(call(in::egl_query_string).u64(display).u32(EGL_VENDOR)), 0u);
    out_of_memory = false; // nothing wrong was remembered
    EXPECT_NE(value_of(call(in::egl_query_string).u64(display).u32(EGL_VENDOR)), 0u);
}

TEST_F(egl_test, ExtensionsAreFilteredAndCopiedAnewEachTime)
{
    uint64_t display = open_display();
    auto query = call(in::egl_query_string).u64(display).u32(EGL_EXTENSIONS);
    auto first = send(query);
    EXPECT_TRUE(first.host.empty());
    EXPECT_EQ(target.text_at(*first.value), "EGL_KHR_create_context EGL_KHR_fence_sync EGL_KHR_image_base ");
    auto second = send(query);
    EXPECT_NE(first.value, second.value);
    EXPECT_EQ(pid_to_process_data_map.at(pid).extensions.at(display)->target_address.address, *second.value);
}

TEST_F(egl_test, ExtensionsOfWhatIsNotOpenAreNull)
{
    auto seen = send(call(in::egl_query_string).u64(0x999).u32(EGL_EXTENSIONS));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(prints(seen.printed,
                       "FATAL [ZELVAR] Could not find common part of target and host EGL extensions "
                       "string. NULL will be reported.\n"));
    seen = send(call(in::egl_query_string).u64(0).u32(EGL_EXTENSIONS));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(prints(seen.printed,
                       "FATAL [ZELVAR]  Retrieving EGL client extensions via eglQueryString is only "
                       "supported when using a Kelvo driver on a Kelvo GPU model.\n"));
}

TEST_F(egl_test_on_real, ExtensionsAreReportedThoughTheTargetAnsweredItself)
{
    target_configs = {{0x90, 7, 8, 8, 8, 8, 24, 8, 0}};
    // The host has the first two; the third counts without it; the last one is nobody's.
    target_string = "EGL_KHR_image_base EGL_KHR_create_context EGL_ANDROID_recordable EGL_KHR_wait_sync";
    send(call64(in::egl_get_display, 0x1001).u64(0));
    send(call32(in::egl_initialize, EGL_TRUE).u64(0x1001).u64(0).u64(0));
    auto seen = send(call64(in::egl_query_string, 0x4444).u64(0x1001).u32(EGL_EXTENSIONS));
    ASSERT_TRUE(seen.value);
    EXPECT_EQ(target.text_at(*seen.value),
              "EGL_ANDROID_recordable EGL_KHR_create_context EGL_KHR_image_base ");
    // Other strings are the target's own business.
    seen = send(call64(in::egl_query_string, 0x4444).u64(0x1001).u32(EGL_VENDOR));
    EXPECT_TRUE(!seen.value && seen.host.empty() && seen.asked.empty());
}

TEST_F(egl_test_on_real, ClientExtensionsKeepTheTargetsOrder)
{
    send(call64(in::egl_get_display, 0x1001).u64(0));
    const char reported[] = "EGL_KHR_platform_gbm EGL_MADE_UP EGL_EXT_client_extensions";
    std::copy(std::begin(reported), std::end(reported),
              target.memory.begin() + (text_address - raw_target::memory_base));
    auto query = call64(in::egl_query_string, text_address).u64(0).u32(EGL_EXTENSIONS);
    auto seen = send(query);
    ASSERT_TRUE(seen.value);
    EXPECT_EQ(target.text_at(*seen.value), "EGL_KHR_platform_gbm EGL_EXT_client_extensions ");
    EXPECT_EQ(pid_to_process_data_map.at(pid).client_extension_region.address, *seen.value);
    EXPECT_NE(value_of(query), seen.value);
}
} // namespace
