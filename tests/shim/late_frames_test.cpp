// Swaps whose answers are left for later: what an application sees of them, and when its frames are shown.

#include "shim/connection.h"
#include "shim/fake_device.h"
#include "shim/fake_window_server.h"
#include "shim/late_frames.h"
#include "shim/target_names.h"

#include <chrono>
#include <thread>

using namespace shim_test;

namespace {

constexpr uint32_t swap_type = 27;
constexpr uint32_t frame_height_request = 443;
constexpr uint32_t frame_width_request = 444;

template <class T>
T load(const std::vector<uint8_t>& bytes, size_t offset)
{
    T value{};
    if (offset + sizeof value <= bytes.size())
        std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

class late_frames : public device_test
{
protected:
    void SetUp() override
    {
        device_test::SetUp();
        shim::set_late_frame_patience(600'000);
        use_batching();
        device->counts_frames = true;
        device->takes_posts = true;
        shim::use_window_server(&server);
        device->on_message = [this](const std::vector<uint8_t>& sent) { draw_frame(sent); };
        surface = make_surface(5);
        make_current(surface);
        EXPECT_EQ(swap(), EGL_TRUE) << "the first one is waited for";
        EXPECT_EQ(server.shown, 1u);
    }

    EGLSurface make_surface(uint64_t handle)
    {
        device->replies = {value_and_release(bytes{}.u64(handle))};
        return target_eglCreateWindowSurface(display, nullptr, static_cast<EGLNativeWindowType>(77), nullptr);
    }

    void make_current(EGLSurface draw)
    {
        device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
        target_eglMakeCurrent(display, draw, draw, reinterpret_cast<EGLContext>(9));
    }

    EGLBoolean swap(const bytes& reply = value_and_release(bytes{}.u32(EGL_TRUE)))
    {
        device->replies = {reply};
        return target_eglSwapBuffers(display, surface);
    }

    /// A swap of the first surface on a thread of its own.
    EGLBoolean swap_elsewhere()
    {
        EGLBoolean result = EGL_FALSE;
        std::thread{[&] { result = swap(); }}.join();
        return result;
    }

    /// What the library does in a swap: the frame's number in its first pixel.
    void draw_frame(const std::vector<uint8_t>& sent)
    {
        if (load<uint32_t>(sent, sent.size() - 80 + 4) != swap_type)
            return;
        const auto address = load<uint64_t>(sent, sent.size() - 80 + 36);
        if (!address)
            return;
        ++drawn;
        *reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(address)) = drawn;
        blocks.push_back(address);
    }

    uint8_t shown_frame() const { return server.last_pixels.empty() ? 0 : server.last_pixels[0]; }

    const EGLDisplay display = reinterpret_cast<EGLDisplay>(0x1000);
    EGLSurface surface = nullptr;
    fake_server server;
    uint8_t drawn = 0;
    std::vector<uint64_t> blocks; // that frames were drawn to
};

TEST_F(late_frames, show_each_frame_when_the_next_one_has_been_sent)
{
    swap();
    EXPECT_EQ(drawn, 2);
    swap();
    EXPECT_EQ(shown_frame(), 2);
    swap();
    EXPECT_EQ(shown_frame(), 3);
    EXPECT_EQ(server.shown, 3u) << "each once";
    ASSERT_EQ(blocks.size(), 4u);
    EXPECT_NE(blocks[2], blocks[1]) << "one is drawn while the other is shown";
    EXPECT_EQ(blocks[3], blocks[1]);
    EXPECT_GE(device->frames, 3);
}

TEST_F(late_frames, are_shown_while_the_library_is_at_a_call_that_waits)
{
    swap();
    uint32_t shown_at_call = 0;
    device->on_message = [&](const std::vector<uint8_t>&) { shown_at_call = server.shown; };
    device->replies = {value_and_release(bytes{}.u32(GL_INVALID_ENUM))};
    EXPECT_EQ(target_glGetError(), GLenum{GL_INVALID_ENUM});
    EXPECT_EQ(shown_at_call, 1u) << "sent behind the frame";
    EXPECT_EQ(shown_frame(), 2);
}

TEST_F(late_frames, are_drawn_where_the_window_server_looks_no_more)
{
    server.looks_on = true;
    swap();
    swap(); // shows the one before
    ASSERT_TRUE(server.is_looking);
    EXPECT_EQ(server.last.own, server.last.pixels) << "nobody else looks at it";
    bool looking_at_swap = true;
    device->on_message = [&](const std::vector<uint8_t>& sent) {
        looking_at_swap = server.is_looking;
        draw_frame(sent);
    };
    swap(); // in the memory of the one that is looked at
    EXPECT_FALSE(looking_at_swap);
    ASSERT_EQ(blocks.size(), 4u);
    EXPECT_EQ(blocks[3], blocks[1]);
    ASSERT_TRUE(server.is_looking);
    device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
    target_eglDestroySurface(display, surface);
    EXPECT_FALSE(server.is_looking) << "its memory goes";
}

TEST_F(late_frames, that_the_library_leaves_out_show_what_was_there)
{
    server.looks_on = true;
    swap();
    swap();
    swap(); // shows the one before, and is drawn to the memory of the second one
    EXPECT_EQ(shown_frame(), 3);
    EXPECT_FALSE(server.last.blue_first) << "it has been written since it was shown in place";
    device->on_message = nullptr; // nothing is drawn any more
    swap();
    EXPECT_EQ(shown_frame(), 4);
    EXPECT_FALSE(server.last.blue_first);
    const std::vector<uint8_t> third = server.last_pixels;
    swap();
    EXPECT_EQ(shown_frame(), 3);
    EXPECT_TRUE(server.last.blue_first) << "as it was left when it was shown in place";
    swap();
    EXPECT_EQ(server.last_pixels, third) << "the whole picture";
    EXPECT_TRUE(server.last.blue_first);
}

TEST_F(late_frames, may_be_followed_by_a_call_whose_answer_another_thread_takes)
{
    swap();
    server.on_show = [] { std::thread{shim::finish_late_frames}.join(); };
    device->replies = {value_and_release(bytes{}.u32(GL_INVALID_ENUM))};
    EXPECT_EQ(target_glGetError(), GLenum{GL_INVALID_ENUM});
    server.on_show = nullptr;
    EXPECT_EQ(swap(), EGL_TRUE) << "and the next one goes on from there";
}

TEST_F(late_frames, have_memory_offered_with_a_call_behind_them)
{
    device->takes_blocks = true;
    device->takes_the_offer = true;
    swap();
    device->replies = {value_and_release(bytes{}.u64(0x500))};
    EXPECT_EQ(target_glMapBufferRange(GL_ARRAY_BUFFER, 0, 64, GL_MAP_WRITE_BIT),
              reinterpret_cast<void*>(0x500));
    ASSERT_EQ(device->offers.size(), 1u);
    EXPECT_EQ(device->offers[0].second, 64u);
    EXPECT_EQ(shown_frame(), 2);
    device->replies = {
        message(wire::outbound::deallocate_memory_block, bytes{}.address(device->offers[0].first))
            .add(release())};
    capture();
    target_glFinish();
    EXPECT_EQ(captured(), "") << "it was the library's to free";
}

TEST_F(late_frames, are_lost_with_the_device_and_with_the_call_behind_them)
{
    swap();
    const bytes senseless = bytes{}.u32(1).u32(436).u32(0).u64(0); // shorter than its own header
    device->replies = {senseless};
    capture();
    EXPECT_EQ(target_glGetError(), GLenum{GL_NO_ERROR});
    EXPECT_NE(captured().find("The device is gone"), std::string::npos);
}

TEST_F(late_frames, are_shown_though_no_call_follows)
{
    shim::set_late_frame_patience(1);
    swap();
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds{10};
    while (device->frames < 2 && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
    EXPECT_EQ(device->frames, 2);
    EXPECT_EQ(shown_frame(), 2);
    shim::set_late_frame_patience(600'000);
    EXPECT_EQ(swap(), EGL_TRUE) << "and the next one goes on from there";
}

TEST_F(late_frames, that_fail_are_told_at_the_next_one)
{
    const bytes failure = value_and_release(bytes{}.u32(EGL_FALSE));
    EXPECT_EQ(swap(failure), EGL_TRUE);
    EXPECT_EQ(swap(), EGL_TRUE); // takes the failure's answer
    EXPECT_EQ(server.shown, 1u) << "there is nothing to show of it";
    EXPECT_EQ(swap(failure), EGL_FALSE) << "now each is waited for";
    EXPECT_EQ(swap(failure), EGL_FALSE);
}

TEST_F(late_frames, answer_the_size_of_their_own_surface)
{
    const EGLSurface other = make_surface(6);
    server.size = {300, 80};
    make_current(other);
    const auto swap_with_questions = [&] {
        device->replies = {message(frame_height_request), message(frame_width_request),
                           value_and_release(bytes{}.u32(EGL_TRUE))};
        EXPECT_EQ(target_eglSwapBuffers(display, other), EGL_TRUE);
    };
    swap_with_questions();
    swap_with_questions();
    device->sent.clear();
    shim::finish_late_frames();
    ASSERT_EQ(device->sent.size(), 2u);
    EXPECT_EQ(device->sent[0], confirmation(bytes{}.u32(80)).get());
    EXPECT_EQ(device->sent[1], confirmation(bytes{}.u32(300)).get());
}

TEST_F(late_frames, are_finished_before_their_memory_goes)
{
    swap();
    server.size = {30, 20};
    swap();
    EXPECT_EQ(shown_frame(), 2);
    EXPECT_EQ(server.shown, 2u) << "shown with the size that it was drawn with, before the other one";
    EXPECT_EQ(server.last.size, (shim::window_size{100, 50}));
    device->replies = {value_and_release(bytes{}.u32(EGL_TRUE)), value_and_release(bytes{}.u32(EGL_TRUE))};
    target_eglDestroySurface(display, surface);
    EXPECT_EQ(server.last.size, (shim::window_size{30, 20}));
    EXPECT_EQ(server.shown, 3u);
}

TEST_F(late_frames, of_two_threads_take_turns)
{
    const EGLSurface other = make_surface(6);
    std::thread{[&] {
        make_current(other);
        for (int i = 0; i < 3; ++i) {
            device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
            EXPECT_EQ(target_eglSwapBuffers(display, other), EGL_TRUE);
            EXPECT_EQ(swap_elsewhere(), EGL_TRUE);
        }
    }}.join();
    shim::finish_late_frames();
    shim::show_arrived_frames();
    EXPECT_EQ(server.shown, 1u + 6) << "none is lost";
}

TEST_F(late_frames, lie_in_memory_that_calls_after_them_leave_alone)
{
    std::vector<uint64_t> messages;
    device->on_message = [&](const std::vector<uint8_t>& sent) { messages.push_back(sent.size()); };
    target_glClear(GL_COLOR_BUFFER_BIT);
    swap();
    const size_t with_one_call = messages.back();
    target_glClear(GL_COLOR_BUFFER_BIT);
    target_glClear(GL_COLOR_BUFFER_BIT);
    swap();
    EXPECT_EQ(messages.back(), with_one_call + 24) << "a batch begins anew";
    EXPECT_EQ(device->sent.size(), messages.size() + 3);
}

TEST_F(late_frames, wait_where_the_device_takes_no_second_message)
{
    device->takes_posts = false;
    EXPECT_EQ(swap(), EGL_TRUE);
    EXPECT_EQ(shown_frame(), 2);
    EXPECT_EQ(swap(value_and_release(bytes{}.u32(EGL_FALSE))), EGL_FALSE);
    device->takes_posts = true;
    device->counts_frames = false; // it looks at frames, each in its turn
    EXPECT_EQ(swap(), EGL_TRUE);
    EXPECT_EQ(shown_frame(), 4);
}

} // namespace
