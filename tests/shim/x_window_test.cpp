// Windows of a real X server, which is started for the test: Xvfb, where it is installed.

#include "shim/shared_blocks.h"
#include "shim/windows.h"
#include "shim/x_windows.h"

#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// Behind everything else, since these define common words as macros.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace {

constexpr uint64_t no_window = 1; // the server knows none of this number

/// An X server of our own on a free display number.
class x_window : public testing::Test
{
protected:
    void SetUp() override
    {
        int ready[2];
        ASSERT_EQ(pipe(ready), 0);
        server_ = fork();
        if (server_ == 0) {
            const std::string descriptor = std::to_string(ready[1]);
            execlp("Xvfb", "Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", "640x480x24",
                   "-nolisten", "tcp", nullptr);
            _exit(127);
        }
        close(ready[1]);
        name_ = ":";
        for (char c; ::read(ready[0], &c, 1) == 1 && c != '\n';)
            name_ += c;
        close(ready[0]);
        if (name_.size() == 1)
            GTEST_SKIP() << "Xvfb isn't installed (Debian package xvfb)";
        display = XOpenDisplay(name_.c_str());
        ASSERT_NE(display, nullptr);
        server = shim::open_x_server(display);
        ASSERT_NE(server, nullptr);
    }

    void TearDown() override
    {
        if (display)
            XCloseDisplay(display);
        if (server_ > 0) {
            kill(server_, SIGTERM);
            waitpid(server_, nullptr, 0);
        }
    }

    Window make_window(unsigned width, unsigned height)
    {
        const Window window =
            XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, width, height, 0, 0, 0);
        XMapWindow(display, window);
        return window;
    }

    unsigned long pixel(Window window, int x, int y)
    {
        shim::window_size size;
        server->size_of(no_window, size); // has to be asked: the server has then seen all frames
        XImage* image = XGetImage(display, window, x, y, 1, 1, AllPlanes, ZPixmap);
        const unsigned long value = image ? XGetPixel(image, 0, 0) & 0xffffff : ~0ul;
        if (image)
            XDestroyImage(image);
        return value;
    }

    Display* display = nullptr;
    shim::window_server* server = nullptr;

private:
    pid_t server_ = -1;
    std::string name_;
};

/// A frame whose pixels tell where they stand: red is the column, green the row.
std::vector<uint8_t> numbered_frame(uint32_t width, uint32_t height)
{
    std::vector<uint8_t> pixels;
    for (uint32_t y = 0; y < height; ++y)
        for (uint32_t x = 0; x < width; ++x)
            pixels.insert(pixels.end(), {static_cast<uint8_t>(x), static_cast<uint8_t>(y), 7, 255});
    return pixels;
}

TEST_F(x_window, sizes_are_asked_of_the_server_once_it_knows_the_window)
{
    const Window window = make_window(120, 50);
    shim::settle_x_display(display);
    shim::window_size size;
    ASSERT_TRUE(server->size_of(window, size));
    EXPECT_EQ(size, (shim::window_size{120, 50}));
    XResizeWindow(display, window, 60, 90);
    shim::settle_x_display(display);
    ASSERT_TRUE(server->size_of(window, size));
    EXPECT_EQ(size, (shim::window_size{60, 90}));
    EXPECT_FALSE(server->size_of(no_window, size));
}

TEST_F(x_window, a_resize_shows_within_a_run_of_frames)
{
    const Window window = make_window(40, 30);
    shim::settle_x_display(display);
    const auto pixels = numbered_frame(40, 30);
    const auto frames_until = [&](shim::window_size wanted) {
        shim::window_size size;
        int frames = 0;
        for (; frames < 50 && size != wanted; ++frames) {
            EXPECT_TRUE(server->size_of(window, size));
            server->show(window, {pixels.data(), {40, 30}, 40});
        }
        return frames;
    };
    EXPECT_EQ(frames_until({40, 30}), 1);
    XResizeWindow(display, window, 33, 44);
    shim::settle_x_display(display);
    EXPECT_EQ(frames_until({33, 44}), 1);
    XMoveWindow(display, window, 5, 6);
    shim::settle_x_display(display);
    EXPECT_EQ(frames_until({33, 44}), 1);
}

TEST_F(x_window, frames_are_put_right_way_up_and_with_their_colours)
{
    const Window window = make_window(40, 30);
    shim::settle_x_display(display);
    shim::window_size size;
    ASSERT_TRUE(server->size_of(window, size));
    const auto pixels = numbered_frame(48, 30); // eight spare pixels a row
    server->show(window, {pixels.data(), {40, 30}, 48});
    EXPECT_EQ(pixel(window, 0, 0), 0x000007u);
    EXPECT_EQ(pixel(window, 39, 0), 0x270007u);
    EXPECT_EQ(pixel(window, 3, 29), 0x031d07u);
    XResizeWindow(display, window, 75, 61); // more than memory has been made for, and no multiple of four
    shim::settle_x_display(display);
    ASSERT_TRUE(server->size_of(window, size));
    const auto larger = numbered_frame(75, 61);
    for (int i = 0; i < 3; ++i)
        server->show(window, {larger.data(), {75, 61}, 75});
    EXPECT_EQ(pixel(window, 74, 60), 0x4a3c07u);
    EXPECT_EQ(pixel(window, 0, 60), 0x003c07u);
}

TEST_F(x_window, blue_first_frames_are_taken_from_the_file_that_they_lie_in)
{
    const Window window = make_window(40, 30);
    shim::settle_x_display(display);
    shim::window_size size;
    ASSERT_TRUE(server->size_of(window, size));
    constexpr size_t area_offset = 8192;
    constexpr size_t area_size = 16384;
    const auto in_file = numbered_frame(48, 30);
    const int file = memfd_create("frames", MFD_CLOEXEC);
    ASSERT_EQ(ftruncate(file, area_offset + area_size), 0);
    ASSERT_EQ(pwrite(file, in_file.data(), in_file.size(), area_offset + 4096), ssize_t(in_file.size()));
    // What is written here doesn't reach the file, so the window tells where its pixels were taken from.
    void* mapped =
        mmap(nullptr, area_size, PROT_READ | PROT_WRITE, MAP_PRIVATE, file, static_cast<off_t>(area_offset));
    ASSERT_NE(mapped, MAP_FAILED);
    auto* area = static_cast<uint8_t*>(mapped);
    std::fill_n(area + 4096, in_file.size(), uint8_t{0x11});
    shim::use_shared_area(area, area_size, {file, area_offset});
    server->show(window, {area + 4096, {40, 30}, 48, true});
    EXPECT_EQ(pixel(window, 3, 29), 0x071d03u) << "blue is the column, green the row";
    EXPECT_EQ(pixel(window, 39, 0), 0x070027u);
    server->show(window, {area + 4096, {40, 30}, 48, false});
    EXPECT_EQ(pixel(window, 3, 29), 0x111111u) << "red and blue have to be exchanged on the way";
    shim::use_shared_area(area, area_size, {});
    server->show(window, {area + 4096, {40, 30}, 48, true});
    EXPECT_EQ(pixel(window, 3, 29), 0x111111u) << "there is no file";
    shim::use_shared_area(nullptr, 0);
    munmap(area, area_size);
    close(file);
}

TEST_F(x_window, frames_that_nobody_minds_are_turned_where_they_lie)
{
    const Window window = make_window(40, 30);
    shim::settle_x_display(display);
    shim::window_size size;
    ASSERT_TRUE(server->size_of(window, size));
    constexpr size_t area_size = 16384;
    const auto frame = numbered_frame(48, 30);
    const int file = memfd_create("frames", MFD_CLOEXEC);
    ASSERT_EQ(ftruncate(file, area_size), 0);
    void* mapped = mmap(nullptr, area_size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    auto* area = static_cast<uint8_t*>(mapped);
    std::copy(frame.begin(), frame.end(), area);
    shim::use_shared_area(area, area_size, {file, 0});
    EXPECT_FALSE(server->show(window, {.pixels = area, .size = {40, 30}, .stride = 48}));
    EXPECT_EQ(area[4], frame[4]) << "somebody may mind";
    EXPECT_TRUE(server->show(window, {.pixels = area, .size = {40, 30}, .stride = 48, .own = area}));
    EXPECT_EQ(pixel(window, 3, 29), 0x031d07u);
    EXPECT_EQ(pixel(window, 39, 0), 0x270007u);
    EXPECT_EQ(area[4], frame[6]);
    shim::use_shared_area(nullptr, 0);
    munmap(area, area_size);
    close(file);
}

TEST_F(x_window, a_window_that_has_gone_costs_nothing)
{
    const Window window = make_window(40, 30);
    shim::settle_x_display(display);
    shim::window_size size;
    ASSERT_TRUE(server->size_of(window, size));
    XDestroyWindow(display, window);
    shim::settle_x_display(display);
    const auto pixels = numbered_frame(40, 30);
    server->show(window, {pixels.data(), {40, 30}, 40});
    EXPECT_FALSE(server->size_of(window, size));
    const Window next = make_window(10, 10);
    shim::settle_x_display(display);
    EXPECT_TRUE(server->size_of(next, size)) << "the connection goes on";
}

TEST_F(x_window, displays_are_told_from_other_pointers)
{
    EXPECT_TRUE(shim::is_xlib_display(display));
    EXPECT_FALSE(shim::is_xlib_display(nullptr));
    EXPECT_FALSE(shim::is_xlib_display(reinterpret_cast<void*>(1)));
    EXPECT_EQ(server->visual(), XVisualIDFromVisual(DefaultVisual(display, DefaultScreen(display))));
    EXPECT_EQ(shim::open_x_server(display), server) << "one connection a server";
}

TEST(x_server, one_that_is_not_there_is_reported)
{
    setenv("DISPLAY", ":9999", 1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(shim::open_x_server(nullptr), nullptr);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("can't be reached"), std::string::npos);
}

} // namespace
