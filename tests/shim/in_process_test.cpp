// The shim and the library together in one process, over the host's software driver.

#include "shim/target_names.h"
#include "support/in_process_target.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

using pixel = std::array<uint8_t, 4>;

/// A settings file of this process, removed at its end.
class settings_file
{
public:
    explicit settings_file(const std::string& lines)
        : path_{testing::TempDir() + "shim_" + std::to_string(getpid())}
    {
        std::ofstream{path_} << "requireKelvoEmulator 0\n" << lines;
        setenv("TRV_ZELVAR_SETTINGS_PATH", path_.c_str(), 1);
        setenv("EGL_PLATFORM", "surfaceless", 1);
        setenv("MESA_GLES_VERSION_OVERRIDE", "3.1", 1);
    }
    ~settings_file() { std::remove(path_.c_str()); }

private:
    std::string path_;
};

/// A window and a context, current on the calling thread.
struct window
{
    EGLDisplay display = target_eglGetDisplay(EGL_DEFAULT_DISPLAY);
    EGLSurface surface = EGL_NO_SURFACE;
    EGLContext context = EGL_NO_CONTEXT;

    window()
    {
        EGLint major = 0, minor = 0;
        EXPECT_EQ(target_eglInitialize(display, &major, &minor), EGLBoolean{EGL_TRUE});
        EXPECT_EQ(major, 1);
        const EGLint wanted[] = {EGL_SURFACE_TYPE, EGL_WINDOW_BIT, EGL_RED_SIZE, 8, EGL_ALPHA_SIZE, 8,
                                 EGL_NONE};
        EGLConfig config{};
        EGLint count = 0;
        EXPECT_EQ(target_eglChooseConfig(display, wanted, &config, 1, &count), EGLBoolean{EGL_TRUE});
        EXPECT_EQ(count, 1);
        surface = target_eglCreateWindowSurface(display, config, (EGLNativeWindowType)1, nullptr);
        EXPECT_NE(surface, EGL_NO_SURFACE);
        const EGLint version[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
        context = target_eglCreateContext(display, config, EGL_NO_CONTEXT, version);
        EXPECT_NE(context, EGL_NO_CONTEXT);
        EXPECT_EQ(target_eglMakeCurrent(display, surface, surface, context), EGLBoolean{EGL_TRUE});
        EXPECT_EQ(target_eglGetError(), EGL_SUCCESS);
    }
};

void fill(pixel colour)
{
    target_glClearColor(colour[0] / 255.f, colour[1] / 255.f, colour[2] / 255.f, colour[3] / 255.f);
    target_glClear(GL_COLOR_BUFFER_BIT);
}

pixel read_back(GLint x, GLint y)
{
    pixel seen{};
    target_glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, seen.data());
    return seen;
}

pixel in_frame(uint32_t x, uint32_t y)
{
    pixel seen;
    std::memcpy(seen.data(), in_process_target::last_frame().at(x, y), 4);
    return seen;
}

constexpr pixel red{255, 0, 0, 255}, blue{0, 0, 255, 255}, green{0, 255, 0, 255};

/// Red with a blue corner at the bottom left, read back and swapped.
void draw_and_check_a_frame()
{
    const window shown;
    fill(red);
    target_glEnable(GL_SCISSOR_TEST);
    target_glScissor(0, 0, 20, 10);
    fill(blue);
    target_glDisable(GL_SCISSOR_TEST);
    EXPECT_EQ(read_back(5, 5), blue);
    EXPECT_EQ(read_back(50, 50), red);
    EXPECT_EQ(target_glGetError(), GLenum{GL_NO_ERROR});
    EXPECT_EQ(target_eglSwapBuffers(shown.display, shown.surface), EGLBoolean{EGL_TRUE});
    ASSERT_EQ(in_process_target::frames_so_far(), 1u);
    EXPECT_EQ(in_process_target::last_frame().width, 160u);
    EXPECT_EQ(in_process_target::last_frame().height, 90u);
    EXPECT_EQ(in_frame(0, 89), blue) << "the bottom row is the last one";
    EXPECT_EQ(in_frame(19, 80), blue);
    EXPECT_EQ(in_frame(20, 89), red);
    EXPECT_EQ(in_frame(0, 79), red);
    EXPECT_EQ(in_frame(159, 0), red);
}

TEST(in_process, a_frame_crosses)
{
    const settings_file settings{""};
    in_process_target::start({.screen_width = 160, .screen_height = 90});
    draw_and_check_a_frame();
    EXPECT_EQ(in_process_target::traffic_so_far().refused, 0u);
}

TEST(in_process, a_frame_crosses_driven_directly)
{
    const settings_file settings{"directTargetMemoryReads 1\ndirectTargetMemoryWrites 1\n"};
    in_process_target::start(
        {.by = in_process_target::driving::direct, .screen_width = 160, .screen_height = 90});
    draw_and_check_a_frame();
}

TEST(in_process, a_frame_crosses_in_batches_and_with_fewer_exchanges)
{
    const settings_file settings{"batchCommands 1\n"};
    in_process_target::start({.screen_width = 160, .screen_height = 90});
    draw_and_check_a_frame();
    const auto before = in_process_target::traffic_so_far().exchanges;
    for (int i = 0; i < 100; ++i)
        fill(green);
    EXPECT_EQ(read_back(0, 0), green);
    // The read's own exchange, and one for the confirmation of the write of its pixels.
    EXPECT_LE(in_process_target::traffic_so_far().exchanges - before, 2u);
}

TEST(in_process, strings_and_values_come_back)
{
    const settings_file settings{""};
    in_process_target::start();
    const window shown;
    const auto* version = reinterpret_cast<const char*>(target_glGetString(GL_VERSION));
    ASSERT_NE(version, nullptr);
    EXPECT_EQ(std::string{version}.substr(0, 9), "OpenGL ES");
    EXPECT_NE(target_eglQueryString(shown.display, EGL_EXTENSIONS), nullptr);
    GLint viewport[4] = {};
    target_glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 640);
    EXPECT_EQ(viewport[3], 480);
    target_glEnable(0x1234);
    EXPECT_EQ(target_glGetError(), GLenum{GL_INVALID_ENUM});
    EXPECT_EQ(target_glGetError(), GLenum{GL_NO_ERROR});
    EXPECT_EQ(target_eglGetCurrentContext(), shown.context);
    EXPECT_EQ(target_eglGetCurrentSurface(EGL_DRAW), shown.surface);
}

TEST(in_process, buffers_are_mapped_in_the_older_spelling_too)
{
    const settings_file settings{"batchCommands 1\n"};
    in_process_target::start();
    const window shown;
    const std::string list = reinterpret_cast<const char*>(target_glGetString(GL_EXTENSIONS));
    EXPECT_TRUE(list.ends_with(" GL_OES_mapbuffer")) << list;
    const auto map = reinterpret_cast<void* (*)(GLenum, GLenum)>(target_eglGetProcAddress("glMapBufferOES"));
    const auto unmap = reinterpret_cast<GLboolean (*)(GLenum)>(target_eglGetProcAddress("glUnmapBufferOES"));
    ASSERT_TRUE(map && unmap);
    EXPECT_EQ(map(GL_ARRAY_BUFFER, GL_WRITE_ONLY_OES), nullptr) << "nothing is bound";
    EXPECT_EQ(target_glGetError(), GLenum{GL_INVALID_OPERATION});
    GLuint buffer = 0;
    target_glGenBuffers(1, &buffer);
    target_glBindBuffer(GL_ARRAY_BUFFER, buffer);
    target_glBufferData(GL_ARRAY_BUFFER, 8, "old text", GL_DYNAMIC_DRAW);
    EXPECT_EQ(map(GL_ARRAY_BUFFER, 0x1234), nullptr);
    EXPECT_NE(target_glGetError(), GLenum{GL_NO_ERROR});
    auto* bytes = static_cast<char*>(map(GL_ARRAY_BUFFER, GL_WRITE_ONLY_OES));
    ASSERT_NE(bytes, nullptr);
    std::memcpy(bytes, "new", 3);
    EXPECT_TRUE(unmap(GL_ARRAY_BUFFER));
    bytes = static_cast<char*>(target_glMapBufferRange(GL_ARRAY_BUFFER, 0, 8, GL_MAP_READ_BIT));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes, 8), "new text");
}

TEST(in_process, memory_that_is_not_there_is_refused_and_not_touched)
{
    const settings_file settings{""};
    in_process_target::start();
    const window shown;
    auto* nowhere = reinterpret_cast<void*>(uintptr_t{64});
    target_glReadPixels(0, 0, 8, 8, GL_RGBA, GL_UNSIGNED_BYTE, nowhere);
    EXPECT_GT(in_process_target::traffic_so_far().refused, 0u);
    fill(green);
    EXPECT_EQ(read_back(1, 1), green) << "the connection goes on";
}

TEST(in_process, threads_have_contexts_of_their_own)
{
    const settings_file settings{"batchCommands 1\n"};
    in_process_target::start({.screen_width = 64, .screen_height = 64});
    const auto animate = [](pixel colour) {
        const window shown;
        for (int i = 0; i < 30; ++i) {
            fill(colour);
            EXPECT_EQ(read_back(3, 3), colour);
            EXPECT_EQ(target_eglSwapBuffers(shown.display, shown.surface), EGLBoolean{EGL_TRUE});
        }
    };
    std::thread one{animate, red}, two{animate, blue};
    one.join();
    two.join();
    EXPECT_EQ(in_process_target::frames_so_far(), 60u);
}

} // namespace
