// Draws from small arrays of the application, which wait in the batch with copies of what they read.

#include "shim/fake_device.h"
#include "shim/target_names.h"
#include "wire/wire.h"

#include <functional>
#include <sys/mman.h>
#include <unistd.h>

using namespace shim_test;

namespace {
namespace in = wire::inbound;

struct sent_call
{
    uint32_t type;
    std::vector<uint8_t> payload;

    template <class T>
    T at(size_t offset) const
    {
        T value{};
        std::memcpy(&value, payload.data() + offset, sizeof value);
        return value;
    }
};

/// Where in a message of glVertexAttribPointer what stands.
constexpr size_t pointer_index = 0, pointer_address = 17;
constexpr size_t elements_address = 12;

class client_array : public device_test
{
protected:
    void SetUp() override
    {
        device_test::SetUp();
        use_batching();
        device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
        target_eglMakeCurrent(nullptr, nullptr, nullptr, reinterpret_cast<EGLContext>(9));
        device->sent.clear();
    }

    /// Whether the draw waits; everything sent until then is in `calls`.
    template <class F>
    bool waits(F draw)
    {
        target_glFlush();
        device->sent.clear();
        draw();
        const bool waited = device->sent.empty();
        target_glFinish();
        calls.clear();
        for (const auto& message : device->sent)
            take_apart(message);
        return waited;
    }

    void take_apart(const std::vector<uint8_t>& batch)
    {
        for (size_t at = wire::header_size + 4; at + wire::header_size <= batch.size();) {
            const wire::header head = wire::load_header(batch.data() + at);
            calls.push_back({head.type,
                             {batch.begin() + static_cast<ptrdiff_t>(at + wire::header_size),
                              batch.begin() + static_cast<ptrdiff_t>(at + head.size)}});
            at += head.size;
        }
    }

    std::vector<uint32_t> types() const
    {
        std::vector<uint32_t> all;
        for (const sent_call& call : calls)
            all.push_back(call.type);
        return all;
    }

    /// `look` gets each draw when it is sent, and where the integer attribute points at that moment.
    void on_each_draw(const std::function<void(const sent_call&, uint64_t)>& look)
    {
        device->on_message = [this, look](const std::vector<uint8_t>& batch) {
            calls.clear();
            take_apart(batch);
            uint64_t pointer = 0;
            for (const sent_call& call : calls) {
                if (call.type == in::gles30_vertex_attrib_ipointer)
                    pointer = call.at<uint64_t>(16);
                if (call.type == in::gles20_draw_arrays || call.type == in::gles20_draw_elements)
                    look(call, pointer);
            }
        };
    }

    /// What the library would read of a copy.
    template <class T>
    static T seen_at(uint64_t address)
    {
        T value{};
        if (address)
            std::memcpy(&value, reinterpret_cast<const void*>(static_cast<uintptr_t>(address)), sizeof value);
        return value;
    }

    std::vector<sent_call> calls;
};

TEST_F(client_array, ADrawKeepsWhatItsArraysHeldAndTheAttributeKeepsItsPointer)
{
    float corners[10] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    target_glEnableVertexAttribArray(3);
    target_glVertexAttribPointer(3, 2, GL_FLOAT, GL_FALSE, 0, corners);
    ASSERT_TRUE(waits([&] {
        target_glDrawArrays(GL_TRIANGLES, 2, 3);
        for (float& value : corners)
            value = -1;
    }));
    ASSERT_EQ(types(), (std::vector<uint32_t>{in::gles20_vertex_attrib_pointer, in::gles20_draw_arrays,
                                              in::gles20_vertex_attrib_pointer, in::gles20_finish}));
    EXPECT_EQ(calls[0].at<uint32_t>(pointer_index), 3u);
    const auto copy = calls[0].at<uint64_t>(pointer_address);
    for (uint32_t i = 4; i < 10; ++i)
        EXPECT_EQ(seen_at<float>(copy + 4 * i), static_cast<float>(i)) << "as before the change";
    EXPECT_TRUE(device->is_in_window(copy + 16));
    EXPECT_EQ(calls[1].at<uint32_t>(4), 2u) << "the first vertex stays, since shaders can tell";
    EXPECT_EQ(calls[2].at<uint64_t>(pointer_address), reinterpret_cast<uintptr_t>(corners));
}

TEST_F(client_array, InterleavedAndSeparateArraysComeTogetherBesideABoundBuffer)
{
    struct vertex
    {
        uint16_t a[2];
        uint32_t b;
    };
    const vertex shared[4] = {{{1, 2}, 3}, {{4, 5}, 6}, {{7, 8}, 9}, {{10, 11}, 12}};
    const uint8_t own[8] = {20, 21, 22, 23, 24, 25, 26, 27};
    for (const GLuint attribute : {0u, 1u, 2u})
        target_glEnableVertexAttribArray(attribute);
    target_glVertexAttribPointer(0, 2, GL_UNSIGNED_SHORT, GL_TRUE, sizeof(vertex), shared[0].a);
    target_glVertexAttribIPointer(1, 1, GL_UNSIGNED_INT, sizeof(vertex), &shared[0].b);
    target_glVertexAttribPointer(2, 2, GL_UNSIGNED_BYTE, GL_FALSE, 0, own);
    target_glBindBuffer(GL_ARRAY_BUFFER, 5);
    ASSERT_TRUE(waits([] { target_glDrawArrays(GL_POINTS, 0, 4); }));
    const std::vector<uint32_t> around{in::gles20_bind_buffer, in::gles20_vertex_attrib_pointer,
                                       in::gles30_vertex_attrib_ipointer, in::gles20_vertex_attrib_pointer,
                                       in::gles20_bind_buffer};
    std::vector<uint32_t> expected = around;
    expected.push_back(in::gles20_draw_arrays);
    expected.insert(expected.end(), around.begin(), around.end());
    expected.push_back(in::gles20_finish);
    ASSERT_EQ(types(), expected);
    EXPECT_EQ(calls[0].at<uint32_t>(4), 0u);
    EXPECT_EQ(calls[4].at<uint32_t>(4), 5u);
    const auto a = calls[1].at<uint64_t>(pointer_address), b = calls[2].at<uint64_t>(16),
               c = calls[3].at<uint64_t>(pointer_address);
    EXPECT_EQ(b - a, offsetof(vertex, b)) << "one copy";
    for (uint32_t i = 0; i < 4; ++i) {
        EXPECT_EQ(seen_at<uint16_t>(a + i * sizeof(vertex)), shared[i].a[0]);
        EXPECT_EQ(seen_at<uint32_t>(b + i * sizeof(vertex)), shared[i].b);
        EXPECT_EQ(seen_at<uint8_t>(c + 2 * i), own[2 * i]);
    }
}

TEST_F(client_array, IndicesSayWhichVerticesAreCopied)
{
    std::vector<float> values(20'000);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<float>(i);
    const uint16_t indices[] = {700, 0xffff, 702, 701};
    target_glEnableVertexAttribArray(0);
    target_glVertexAttribPointer(0, 4, GL_FLOAT, GL_FALSE, 0, values.data());
    const auto draw = [&] { target_glDrawElements(GL_POINTS, 4, GL_UNSIGNED_SHORT, indices); };
    EXPECT_FALSE(waits(draw)) << "an index like any other, with far too many vertices before it";
    target_glEnable(GL_PRIMITIVE_RESTART_FIXED_INDEX);
    ASSERT_TRUE(waits(draw));
    ASSERT_EQ(types(), (std::vector<uint32_t>{in::gles20_vertex_attrib_pointer, in::gles20_draw_elements,
                                              in::gles20_vertex_attrib_pointer, in::gles20_finish}));
    const auto copy = calls[0].at<uint64_t>(pointer_address);
    for (uint32_t i = 700; i < 703; ++i)
        EXPECT_EQ(seen_at<float>(copy + 16 * i), values[4 * i]);
    const auto where = calls[1].at<uint64_t>(elements_address);
    EXPECT_NE(where, reinterpret_cast<uintptr_t>(indices));
    EXPECT_EQ(seen_at<uint16_t>(where + 6), 701);
    // Vertices from a buffer leave the indices alone to be copied.
    target_glBindBuffer(GL_ARRAY_BUFFER, 5);
    target_glVertexAttribPointer(0, 1, GL_FLOAT, GL_FALSE, 0, nullptr);
    ASSERT_TRUE(waits(draw));
    EXPECT_EQ(types(), (std::vector<uint32_t>{in::gles20_draw_elements, in::gles20_finish}));
}

TEST_F(client_array, WhatCantBeCopiedIsSentAtOnceWithTheApplicationsPointers)
{
    const float values[4096] = {};
    const auto draw = [] { target_glDrawArrays(GL_POINTS, 0, 4); };
    const auto goes_out_plainly = [&](const auto& prepare) {
        prepare();
        const bool waited = waits(draw);
        return !waited && types()[0] == in::gles20_draw_arrays;
    };
    target_glEnableVertexAttribArray(0);
    target_glVertexAttribPointer(0, 4, GL_FLOAT, GL_FALSE, 0, values);
    ASSERT_TRUE(waits(draw));

    target_glEnableVertexAttribArray(1); // of long ago: the program may not even read it
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* gone = mmap(nullptr, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    EXPECT_TRUE(goes_out_plainly([&] { target_glVertexAttribPointer(1, 4, GL_FLOAT, GL_FALSE, 0, gone); }));
    munmap(gone, page);
    EXPECT_TRUE(goes_out_plainly([&] { target_glVertexAttribPointer(1, 9, GL_FLOAT, GL_FALSE, 0, values); }));
    EXPECT_TRUE(goes_out_plainly([&] { target_glVertexAttribPointer(1, 4, GL_LINES, GL_FALSE, 0, values); }));
    EXPECT_TRUE(
        goes_out_plainly([&] { target_glVertexAttribPointer(1, 4, GL_FLOAT, GL_FALSE, -4, values); }));
    // More than a batch holds.
    const std::vector<uint8_t> large(3 * 300'000 + 16);
    EXPECT_TRUE(goes_out_plainly(
        [&] { target_glVertexAttribPointer(1, 4, GL_FLOAT, GL_FALSE, 300'000, large.data()); }));
    target_glVertexAttribPointer(1, 4, GL_FLOAT, GL_FALSE, 200'000, large.data());
    ASSERT_TRUE(waits(draw)) << "a batch holds it";
    target_glVertexAttribPointer(1, 4, GL_FLOAT, GL_FALSE, 0, values);
    ASSERT_TRUE(waits(draw));
    EXPECT_TRUE(goes_out_plainly([] { target_glVertexAttribDivisor(1, 1); }));
    target_glDisableVertexAttribArray(1);
    ASSERT_TRUE(waits(draw));
    EXPECT_TRUE(goes_out_plainly([] { target_glBindVertexArray(3), target_glEnableVertexAttribArray(0); }));
}

TEST_F(client_array, ManyDrawsGoOutInWholeBatches)
{
    uint32_t value = 0;
    target_glEnableVertexAttribArray(0);
    target_glVertexAttribIPointer(0, 1, GL_UNSIGNED_INT, 0, &value);
    uint32_t drawn = 0;
    on_each_draw([&](const sent_call&, uint64_t pointer) {
        drawn += seen_at<uint32_t>(pointer) == drawn; // a copy that was used again too soon ends the count
    });
    constexpr uint32_t draws = 40'000;
    for (; value < draws; ++value)
        target_glDrawArrays(GL_POINTS, 0, 1);
    target_glFinish();
    EXPECT_EQ(drawn, draws);
    EXPECT_LT(device->sent.size(), 20u);
}

TEST_F(client_array, DrawsWithIndicesFillTheirBatchesToo)
{
    constexpr uint32_t vertices = 25'000;
    std::vector<uint32_t> values(vertices);
    const uint16_t indices[] = {0, vertices - 1};
    target_glEnableVertexAttribArray(0);
    target_glVertexAttribIPointer(0, 1, GL_UNSIGNED_INT, 0, values.data());
    uint32_t drawn = 0;
    on_each_draw([&](const sent_call& call, uint64_t pointer) {
        const auto index = seen_at<uint16_t>(call.at<uint64_t>(elements_address) + 2);
        drawn += index == vertices - 1 && seen_at<uint32_t>(pointer) == drawn &&
                 seen_at<uint32_t>(pointer + 4 * index) == drawn;
    });
    constexpr uint32_t draws = 36;
    for (; values.front() < draws; ++values.front(), ++values.back())
        target_glDrawElements(GL_POINTS, 2, GL_UNSIGNED_SHORT, indices);
    target_glFinish();
    EXPECT_EQ(drawn, draws);
    // Ten fit into a mebibyte.
    EXPECT_EQ(device->sent.size(), 4u);
}

} // namespace
