// Whole hosts as the dynamic linker finds them: a child process per host, with the folder of its libraries in
// front of the system's. HOST_TABLES_PROBE is the child.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

namespace {
/// What the probe prints on a host; `lacks` are functions that its EGL doesn't know.
std::string probe(const std::string& host, const std::string& arguments, const std::string& lacks = "")
{
    std::string command = "STUB_HOST_LACKS=" + lacks + " LD_LIBRARY_PATH=" STUB_HOSTS "/" + host + " '" +
                          HOST_TABLES_PROBE + "' " + arguments + " 2>&1; echo status $?";
    std::string printed;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        return "no child";
    std::array<char, 4096> piece;
    while (size_t n = fread(piece.data(), 1, piece.size(), pipe))
        printed.append(piece.data(), n);
    pclose(pipe);
    return printed;
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

TEST(HostsTest, ACompleteHostFillsAllTablesOnceAndEmptiesThem)
{
    EXPECT_EQ(
        probe("full", "3 glActiveTexture eglInitialize glNone", "GLES2_GetSetRequestEnumForName,GLES2_Set"),
        "before: egl 0 gles 0 vk 0\n"
        "before: glActiveTexture no\nbefore: eglInitialize no\nbefore: glNone no\n"
        "loaded: egl 51 gles 383 vk 161\n"
        "loaded: glActiveTexture yes\nloaded: eglInitialize yes\nloaded: glNone no\n"
        "again:\n"
        "ERROR [ZELVAR] EGL library is already loaded!\n"
        "ERROR [ZELVAR] OpenGL ES library is already loaded!\n"
        "ERROR [ZELVAR] Vulkan library is already loaded!\n"
        "still: egl 51 gles 383 vk 161\n"
        "still: glActiveTexture yes\nstill: eglInitialize yes\nstill: glNone no\n"
        "down: egl 0 gles 0 vk 0\n"
        "down: glActiveTexture no\ndown: eglInitialize no\ndown: glNone no\n"
        "down again:\n"
        "WARN [ZELVAR] EGL library is not loaded!\n"
        "status 0\n");
}

TEST(HostsTest, WithoutVulkanTheOtherTablesAreFilled)
{
    std::string printed = probe("no_vulkan", "3 glActiveTexture");
    EXPECT_TRUE(
        contains(printed, "WARN [ZELVAR] Could not find Vulkan library! Vulkan can't be supported.\n"))
        << printed;
    EXPECT_TRUE(contains(printed, "loaded: egl 51 gles 383 vk 0\nloaded: glActiveTexture yes\n")) << printed;
    EXPECT_TRUE(contains(printed, "status 0\n")) << printed;
}

TEST(HostsTest, WithoutGlesTheStartGoesOnToVulkan)
{
    std::string printed = probe("no_gles", "1 glActiveTexture eglInitialize");
    EXPECT_TRUE(contains(printed, "FATAL [ZELVAR] Could not find OpenGL ES library!")) << printed;
    EXPECT_TRUE(contains(printed, "loaded: egl 51 gles 0 vk 161\n"
                                  "loaded: glActiveTexture no\nloaded: eglInitialize yes\n"))
        << printed;
    EXPECT_TRUE(contains(printed, "status 0\n")) << printed;
}

TEST(HostsTest, WithoutEglNothingOfGlesIsFoundEither)
{
    std::string printed = probe("no_egl", "1 glActiveTexture");
    EXPECT_TRUE(contains(printed, "FATAL [ZELVAR] Could not find EGL library!")) << printed;
    EXPECT_TRUE(contains(printed, "loaded: egl 0 gles 0 vk 161\nloaded: glActiveTexture no\n")) << printed;
    EXPECT_TRUE(contains(printed, "status 0\n")) << printed;
}

TEST(HostsTest, AMissingEntryIsOnlyThatEntrysMatter)
{
    std::string printed = probe("full", "3 glDrawArrays glDrawElements", "glDrawArrays");
    EXPECT_TRUE(contains(printed, "function [glDrawArrays] !\nloaded: egl 51 gles 382 vk 161\n"
                                  "loaded: glDrawArrays no\nloaded: glDrawElements yes\n"))
        << printed;
}
} // namespace
