#include "object_manager/zelvar_object_manager.h"
#include "support/fake_host.h"
#include "zelvar/test_support.h"

#include <gtest/gtest.h>

namespace {
TEST(TestSupportInitTest, MakesAContextCurrentWithoutTouchingTheHostsDisplays)
{
    fake_host::install();
    zelvar_test_support_init();
    EXPECT_TRUE(zelvar_object_manager_is_test_mode_active());
    EGLContext host = nullptr;
    EXPECT_TRUE(zelvar_object_manager_get_bound_host_context(0, 0, &host));
    EXPECT_EQ(host, reinterpret_cast<EGLContext>(uintptr_t{0xabcdefab}));
    EXPECT_EQ(fake_host::count("eglGetDisplay"), 0u);
    EXPECT_EQ(fake_host::count("eglCreateContext"), 0u);

    // What the handlers look for: a model of its own, locked, and a place for errors.
    _zelvar_context_data* data = zelvar_object_manager_lock_context_data(0, 0);
    ASSERT_NE(data, nullptr);
    EXPECT_TRUE(zelvar_object_manager_unlock_context_data(data));
    uint32_t error = 0;
    EXPECT_TRUE(zelvar_object_manager_set_gles_error(0, 0, 0x502));
    EXPECT_TRUE(zelvar_object_manager_get_gles_error(0, 0, &error));
    EXPECT_EQ(error, 0x502u);
    // Another thread has none.
    EXPECT_FALSE(zelvar_object_manager_get_bound_host_context(0, 1, &host));
}
} // namespace
