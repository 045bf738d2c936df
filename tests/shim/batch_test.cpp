// Calls that wait for each other with batching on.

#include "shim/fake_device.h"
#include "shim/target_names.h"

#include <array>
#include <atomic>
#include <thread>

using namespace shim_test;

namespace {

class batching : public device_test
{
protected:
    void SetUp() override
    {
        device_test::SetUp();
        use_batching();
    }

    /// A context to draw with, its message forgotten.
    void make_current(uintptr_t context = 9)
    {
        device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
        target_eglMakeCurrent(nullptr, nullptr, nullptr, reinterpret_cast<EGLContext>(context));
        device->sent.clear();
    }

    /// Whether the call left something unsent behind itself.
    template <class F>
    bool waits(F call)
    {
        device->sent.clear();
        call();
        const bool waited = device->sent.empty();
        target_glFinish();
        device->sent.clear();
        return waited;
    }
};

TEST_F(batching, calls_without_an_answer_gather_until_one_needs_it)
{
    target_glEnable(GL_BLEND);
    target_glViewport(0, 0, 1, 2);
    EXPECT_TRUE(device->sent.empty());
    device->replies = {value_and_release(bytes{}.u32(7))};
    EXPECT_EQ(target_glGetError(), 7u);
    const bytes all = message(93, bytes{}.u32(0x0BE2)).add(message(192, bytes{}.u32(0).u32(0).u32(1).u32(2)));
    EXPECT_EQ(only_message(), batch(3, bytes{all}.add(message(111))).get());
}

TEST_F(batching, a_call_alone_is_a_batch_of_one)
{
    target_glFlush();
    EXPECT_EQ(only_message(), batch(1, message(96)).get());
    device->replies = {value_and_release(bytes{}.u8(1))};
    EXPECT_EQ(target_glIsBuffer(4), GL_TRUE);
    EXPECT_EQ(only_message(), batch(1, message(132, bytes{}.u32(4))).get());
}

TEST_F(batching, what_is_inline_may_wait_and_what_is_read_may_not)
{
    make_current();
    float values[64] = {};
    GLuint ids[2] = {1, 2};
    const char* text[1] = {"x"};
    EXPECT_TRUE(waits([&] { target_glUniform4fv(0, 1, values); }));
    EXPECT_TRUE(waits([&] { target_glDeleteTextures(2, ids); }));
    EXPECT_TRUE(waits([&] { target_glVertexAttribPointer(0, 4, GL_FLOAT, 0, 0, values); }));
    EXPECT_TRUE(
        waits([&] { target_glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 1, 1, 0, GL_RGBA, GL_FLOAT, nullptr); }));
    EXPECT_FALSE(
        waits([&] { target_glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 1, 1, 0, GL_RGBA, GL_FLOAT, values); }));
    EXPECT_FALSE(waits([&] { target_glShaderSource(1, 1, text, nullptr); }));
    EXPECT_FALSE(waits([&] { target_glGenTextures(2, ids); }));
    EXPECT_FALSE(waits([&] { target_glGetFloatv(GL_VIEWPORT, values); }));
    EXPECT_FALSE(waits([&] { target_glReadPixels(0, 0, 1, 1, GL_RGBA, GL_FLOAT, values); }));
    EXPECT_FALSE(waits([&] { target_glFlushMappedBufferRange(GL_ARRAY_BUFFER, 0, 4); }))
        << "mapped memory of the application is read";
    EXPECT_FALSE(waits([&] { target_glFlush(); }));
}

TEST_F(batching, small_blocks_are_copied_so_that_the_application_may_change_its_own)
{
    char data[8] = "before";
    target_glBufferData(GL_ARRAY_BUFFER, 8, data, GL_STATIC_DRAW);
    EXPECT_TRUE(device->sent.empty());
    std::memcpy(data, "after..", 8);
    std::string seen;
    device->on_message = [&](const std::vector<uint8_t>& sent) {
        uint64_t address;
        std::memcpy(&address, sent.data() + 24 + 20 + 12, 8);
        EXPECT_TRUE(device->is_in_window(address));
        seen = reinterpret_cast<const char*>(address);
    };
    target_glFinish();
    EXPECT_EQ(seen, "before");
    device->on_message = {};
    device->sent.clear();

    // The room for copies is there again after each batch.
    const std::vector<char> medium(100'000);
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(waits([&] { target_glBufferSubData(GL_ARRAY_BUFFER, 0, 100'000, medium.data()); })) << i;

    const std::vector<char> large(1 << 20);
    target_glBufferData(GL_ARRAY_BUFFER, 1 << 20, large.data(), GL_STATIC_DRAW);
    EXPECT_EQ(
        only_message(),
        batch(1, message(63, bytes{}.u32(0x8892).u64(1 << 20).address(large.data()).u32(0x88E4))).get());
}

TEST_F(batching, a_batch_is_sent_before_its_memory_is_full)
{
    std::vector<float> values(4 * 1000);
    size_t commands = 0;
    bool fits = true;
    device->on_message = [&](const std::vector<uint8_t>& sent) {
        uint32_t size, count;
        std::memcpy(&size, sent.data(), 4);
        std::memcpy(&count, sent.data() + 20, 4);
        fits = fits && size == sent.size() && size <= 0x400000;
        // Walk the commands: their sizes have to lead exactly to the end.
        size_t at = 24;
        for (uint32_t i = 0; i < count && at + 4 <= sent.size(); ++i, ++commands) {
            std::memcpy(&size, sent.data() + at, 4);
            at += size;
        }
        EXPECT_EQ(at, sent.size());
    };
    for (int i = 0; i < 600; ++i)
        target_glUniform4fv(0, 1000, values.data());
    target_glFinish();
    EXPECT_EQ(commands, 601u);
    EXPECT_TRUE(fits);
    EXPECT_GT(device->sent.size(), 5u);
}

TEST_F(batching, one_message_longer_than_the_memory_goes_out_alone_and_in_order)
{
    std::vector<float> values(300'000);
    values.back() = 3;
    target_glEnable(GL_BLEND);
    target_glUniform1fv(0, 300'000, values.data());
    target_glFinish();
    ASSERT_EQ(device->sent.size(), 3u);
    EXPECT_EQ(device->sent[0], batch(1, message(93, bytes{}.u32(0x0BE2))).get());
    const bytes array = bytes{}.u32(0).u32(300'000).address(values.data()).raw(values.data(), 1'200'000);
    EXPECT_EQ(device->sent[1], batch(1, message(163, array)).get());
    EXPECT_EQ(device->sent[2], batch(1, message(95)).get());
}

TEST_F(batching, a_message_that_the_library_cannot_take_is_refused)
{
    const std::vector<float> values(0x400000 / 4);
    capture();
    target_glUniform1fv(0, static_cast<GLsizei>(values.size()), values.data());
    EXPECT_NE(captured().find("longer than the library takes"), std::string::npos);
    EXPECT_TRUE(device->sent.empty());
    target_glFinish();
    EXPECT_EQ(only_message(), batch(1, message(95)).get()) << "later calls are not touched by it";
}

TEST_F(batching, each_thread_has_its_own_batch_and_sends_it_when_it_ends)
{
    target_glEnable(GL_BLEND);
    bytes expected;
    std::thread other{[&] {
        expected = batch(1, message(89, bytes{}.u32(0x0B71)));
        target_glDisable(GL_DEPTH_TEST);
    }};
    other.join();
    EXPECT_EQ(only_message(), expected.get());
    target_glFinish();
    EXPECT_EQ(only_message(), batch(2, message(93, bytes{}.u32(0x0BE2)).add(message(95))).get());
}

TEST_F(batching, more_threads_than_the_window_has_room_for)
{
    use_device(size_t{1} << 20);
    use_batching();
    std::array<std::thread, 12> threads;
    std::atomic<size_t> ready{0};
    for (auto& thread : threads)
        thread = std::thread([&] {
            target_glEnable(GL_BLEND);
            for (++ready; ready < threads.size();)
                std::this_thread::yield();
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(device->sent.size(), 12u);
    for (const auto& sent : device->sent)
        EXPECT_EQ(sent.size(), 24u + 24);
}

// Draws.

TEST_F(batching, a_draw_waits_only_while_buffers_feed_it)
{
    make_current();
    const float array[12] = {};
    const auto draw = [&] { target_glDrawArrays(GL_TRIANGLES, 0, 3); };
    const auto draw_elements = [&] { target_glDrawElements(GL_TRIANGLES, 3, GL_UNSIGNED_SHORT, nullptr); };
    EXPECT_TRUE(waits(draw)) << "no array at all";
    target_glEnableVertexAttribArray(2);
    EXPECT_FALSE(waits(draw)) << "an array that was never set";
    target_glBindBuffer(GL_ARRAY_BUFFER, 5);
    target_glVertexAttribPointer(2, 4, GL_FLOAT, 0, 0, nullptr);
    EXPECT_TRUE(waits(draw));
    EXPECT_FALSE(waits(draw_elements)) << "indices of the application";
    target_glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 6);
    EXPECT_TRUE(waits(draw_elements));
    target_glBindBuffer(GL_ARRAY_BUFFER, 0);
    EXPECT_TRUE(waits(draw)) << "the array keeps the buffer that it was set with";
    target_glVertexAttribPointer(2, 4, GL_FLOAT, 0, 0, array);
    EXPECT_TRUE(waits(draw)) << "small arrays are copied";
    target_glVertexAttribPointer(2, 4, GL_FLOAT, 0, 1 << 20, array);
    EXPECT_FALSE(waits(draw));
    target_glDisableVertexAttribArray(2);
    EXPECT_TRUE(waits(draw));
}

TEST_F(batching, vertex_arrays_and_deleted_buffers_are_followed)
{
    make_current();
    const GLuint buffer = 5, array = 3;
    const auto draw = [&] { target_glDrawArrays(GL_TRIANGLES, 0, 3); };
    target_glBindVertexArray(array);
    target_glEnableVertexAttribArray(0);
    target_glBindVertexBuffer(1, buffer, 0, 16);
    target_glVertexAttribBinding(0, 1);
    EXPECT_TRUE(waits(draw));
    target_glBindVertexArray(0);
    EXPECT_TRUE(waits(draw)) << "nothing is enabled there";
    target_glBindVertexArray(array);
    target_glDeleteBuffers(1, &buffer);
    EXPECT_FALSE(waits(draw)) << "the buffer has gone from the bound array";
    target_glDeleteVertexArrays(1, &array);
    EXPECT_TRUE(waits(draw));
    target_glBindVertexArray(array);
    EXPECT_TRUE(waits(draw)) << "the name came again with a fresh array";
}

TEST_F(batching, draws_of_another_context_and_without_one)
{
    const auto draw = [&] { target_glDrawArrays(GL_TRIANGLES, 0, 3); };
    EXPECT_FALSE(waits(draw)) << "no context: nothing is known";
    make_current(9);
    target_glEnableVertexAttribArray(0);
    EXPECT_FALSE(waits(draw));
    make_current(10);
    EXPECT_TRUE(waits(draw));
    make_current(9);
    EXPECT_FALSE(waits(draw));
    device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
    target_eglDestroyContext(nullptr, reinterpret_cast<EGLContext>(9));
    make_current(9);
    EXPECT_TRUE(waits(draw)) << "a new context under the old handle";
}

TEST_F(batching, indirect_draws_need_their_buffer)
{
    make_current();
    const auto draw = [&] { target_glDrawArraysIndirect(GL_TRIANGLES, nullptr); };
    EXPECT_FALSE(waits(draw));
    target_glBindBuffer(GL_DRAW_INDIRECT_BUFFER, 8);
    EXPECT_TRUE(waits(draw));
    EXPECT_FALSE(waits([] { target_glDrawElementsIndirect(GL_TRIANGLES, GL_UNSIGNED_INT, nullptr); }));
}

} // namespace
