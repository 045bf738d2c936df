#include "hosttables/host_tables.h"
#include "hosttables/table_slots.h"
#include "sidechannel_log.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

// STUB_HOSTS is the folder of the stub libraries, one folder a host.

namespace {
const std::string full_egl = STUB_HOSTS "/full/libEGL.so";
const std::string full_gles = STUB_HOSTS "/full/libGLESv2.so";
const std::string full_vulkan = STUB_HOSTS "/full/libvulkan.so";

class LoaderTest : public testing::Test
{
protected:
    void SetUp() override { sidechannel_set_log_level(3); }

    template <class F>
    std::string output_of(F run)
    {
        testing::internal::CaptureStdout();
        run();
        return testing::internal::GetCapturedStdout();
    }
};

template <class Table>
size_t filled(const Table& table)
{
    size_t count = 0;
    for (size_t slot = 0; slot < sizeof(Table) / sizeof(void*); slot++)
        count += table_slot(table, slot) != nullptr;
    return count;
}

/// Answers every name with a place that spells the name.
__eglMustCastToProperFunctionPointerType echo(const char* name)
{
    static auto& names = *new std::set<std::string>;
    return reinterpret_cast<__eglMustCastToProperFunctionPointerType>(
        const_cast<char*>(names.insert(name).first->c_str()));
}

__eglMustCastToProperFunctionPointerType echo_but_gaps(const char* name)
{
    std::string asked = name;
    if (asked == "glDispatchCompute" || asked == "GLES2_Set" || asked == "glIsQueryEXT")
        return nullptr;
    return echo(name);
}

template <class F>
const char* spelled(F* function)
{
    return reinterpret_cast<const char*>(function);
}

TEST_F(LoaderTest, OpensNothingForAnEmptyName)
{
    EXPECT_EQ(ldrOpen(""), nullptr);
    EXPECT_FALSE(ldrClose(nullptr));
    void* handle = ldrOpen(full_gles);
    ASSERT_NE(handle, nullptr);
    EXPECT_NE(ldrSym(handle, "glClear"), nullptr);
    EXPECT_EQ(ldrSym(handle, "glNoSuchThing"), nullptr);
    EXPECT_TRUE(ldrClose(handle));
}

TEST_F(LoaderTest, EveryEglFieldGetsTheFunctionOfItsName)
{
    sidechannel_egl_imports table{};
    void* handle = nullptr;
    EXPECT_EQ(output_of([&] { handle = imports_egl_init(full_egl.c_str(), &table); }), "");
    ASSERT_NE(handle, nullptr);
    auto get = reinterpret_cast<host_get_proc_address>(ldrSym(handle, "eglGetProcAddress"));
    EXPECT_EQ(table.eglGetProcAddress, get);
    EXPECT_EQ(reinterpret_cast<void*>(table.wl_egl_window_create), ldrSym(handle, "wl_egl_window_create"));
    EXPECT_EQ(reinterpret_cast<void*>(table.wl_egl_window_destroy), ldrSym(handle, "wl_egl_window_destroy"));
    size_t compared = 0;
#define ZELVAR_HOST_EGL(name)                                                                                \
    if (auto known = get(#name)) {                                                                           \
        EXPECT_EQ(reinterpret_cast<void*>(table.name), reinterpret_cast<void*>(known)) << #name;             \
        compared++;                                                                                          \
    }
#include "hosttables/egl.inc"
#undef ZELVAR_HOST_EGL
    EXPECT_EQ(compared, host_egl_count - 3);
    EXPECT_EQ(host_egl_count, 51u);

    imports_egl_deinit(&table, handle);
    EXPECT_EQ(filled(table), 0u);
}

TEST_F(LoaderTest, MissingEglFunctionsAreNamedAtEveryLevelWhenTheyAreNeeded)
{
    setenv("STUB_HOST_LACKS", "eglSwapBuffers,__eglKelvoGetBuffer,eglDestroyImageKHR,eglCreateSyncKHR", 1);
    sidechannel_set_log_level(0);
    sidechannel_egl_imports table{};
    EXPECT_EQ(output_of([&] { imports_egl_init(full_egl.c_str(), &table); }),
              "WARN [ZELVAR] Could not retrieve function pointer for function [eglSwapBuffers] ! \n"
              "WARN [ZELVAR] Could not retrieve function pointer for function [eglDestroyImageKHR] ! \n");
    EXPECT_EQ(table.eglSwapBuffers, nullptr);
    EXPECT_EQ(table.__eglKelvoGetBuffer, nullptr);
    EXPECT_NE(table.__eglKelvoUngetBuffer, nullptr);
    EXPECT_EQ(filled(table), host_egl_count - 4);
}

TEST_F(LoaderTest, ALibraryThatIsNoEglLeavesTheTableEmpty)
{
    sidechannel_set_log_level(0);
    sidechannel_egl_imports table{};
    std::string printed = output_of([&] { EXPECT_NE(imports_egl_init(full_gles.c_str(), &table), nullptr); });
    EXPECT_EQ(filled(table), 0u);
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 35);
}

TEST_F(LoaderTest, AnAbsentLibraryIsReportedWithTheLinkersReason)
{
    sidechannel_egl_imports egl{};
    std::string printed = output_of([&] { EXPECT_EQ(imports_egl_init("libnone.so", &egl), nullptr); });
    EXPECT_TRUE(
        printed.starts_with("FATAL [ZELVAR] Could not find EGL library! a crash will happen should an "
                            "EGL call request arrive.\nFATAL [ZELVAR] libnone.so: "))
        << printed;
    sidechannel_gles_imports gles{};
    printed = output_of([&] { EXPECT_EQ(imports_gles_init("libnone.so", &gles, echo), nullptr); });
    EXPECT_TRUE(printed.starts_with("FATAL [ZELVAR] Could not find OpenGL ES library! a crash will happen "
                                    "should a GLES call request arrive.\nFATAL [ZELVAR] libnone.so: "))
        << printed;
    EXPECT_EQ(filled(gles), 0u);
    sidechannel_vk_imports vk{};
    printed = output_of([&] { EXPECT_EQ(imports_vk_init("libnone.so", &vk), nullptr); });
    EXPECT_TRUE(printed.starts_with("WARN [ZELVAR] Could not find Vulkan library! Vulkan can't be "
                                    "supported.\nWARN [ZELVAR] libnone.so: "))
        << printed;
    sidechannel_set_log_level(2);
    EXPECT_EQ(output_of([&] { imports_vk_init("libnone.so", &vk); }), "");
}

TEST_F(LoaderTest, EveryGlesFieldIsAskedOfEglByItsName)
{
    sidechannel_gles_imports table{};
    EXPECT_EQ(output_of([&] { ASSERT_NE(imports_gles_init(full_gles.c_str(), &table, echo), nullptr); }), "");
#define ZELVAR_MESSAGE(id, name, group, function) EXPECT_STREQ(spelled(table.function), #function);
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
    EXPECT_STREQ(spelled(table.GLES2_GetSetRequestEnumForName), "GLES2_GetSetRequestEnumForName");
    EXPECT_STREQ(spelled(table.GLES2_Set), "GLES2_Set");
    EXPECT_EQ(filled(table), host_gles_count);
    EXPECT_EQ(host_gles_count, 385u);
}

TEST_F(LoaderTest, MissingGlesFunctionsWarnWithoutTheBlankAndTheOptionalOnesNot)
{
    sidechannel_gles_imports table{};
    EXPECT_EQ(output_of([&] { imports_gles_init(full_gles.c_str(), &table, echo_but_gaps); }),
              "WARN [ZELVAR] Could not retrieve function pointer for function [glDispatchCompute] !\n"
              "WARN [ZELVAR] Could not retrieve function pointer for function [glIsQueryEXT] !\n");
    EXPECT_EQ(filled(table), host_gles_count - 3);
    sidechannel_set_log_level(2);
    EXPECT_EQ(output_of([&] { imports_gles_init(full_gles.c_str(), &table, nullptr); }), "");
    EXPECT_EQ(filled(table), 0u);
}

TEST_F(LoaderTest, EveryVulkanFieldGetsTheSymbolOfItsName)
{
    sidechannel_vk_imports table{};
    void* handle = nullptr;
    EXPECT_EQ(output_of([&] { handle = imports_vk_init(full_vulkan.c_str(), &table); }), "");
    ASSERT_NE(handle, nullptr);
#define ZELVAR_MESSAGE(id, name, group, function) EXPECT_STREQ(spelled(table.function), #function);
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
    EXPECT_EQ(host_vk_count, 161u);
    imports_vk_deinit(&table, handle);
    EXPECT_EQ(filled(table), 0u);
}

TEST_F(LoaderTest, MissingVulkanFunctionsSpeakAtTheLevelOfTheirKind)
{
    const char* library = STUB_HOSTS "/vulkan_with_gaps/libvulkan.so";
    sidechannel_vk_imports table{};
    const std::string core =
        "ERROR [ZELVAR] Could not retrieve function pointer for function [vkQueueSubmit] ! \n";
    EXPECT_EQ(
        output_of([&] { imports_vk_init(library, &table); }),
        core + "WARN [ZELVAR] Could not retrieve function pointer for function [vkCreateSwapchainKHR] ! \n");
    EXPECT_EQ(filled(table), host_vk_count - 2 - 6);
    sidechannel_set_log_level(2);
    EXPECT_EQ(output_of([&] { imports_vk_init(library, &table); }), core);
    sidechannel_set_log_level(1);
    EXPECT_EQ(output_of([&] { imports_vk_init(library, &table); }), "");
}

TEST_F(LoaderTest, AVulkanLibraryWithoutInstancesStaysOpenWithAnEmptyTable)
{
    sidechannel_vk_imports table{};
    EXPECT_EQ(output_of([&] {
                  EXPECT_NE(
                      imports_vk_init(STUB_HOSTS "/vulkan_without_create_instance/libvulkan.so", &table),
                      nullptr);
              }),
              "WARN [ZELVAR] Detected kelvo driver does not support Vulkan.\n");
    EXPECT_EQ(filled(table), 0u);
}
} // namespace
