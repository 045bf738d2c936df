// The contents of buffers: what reaches the host, what is kept here, what comes back from mappings.

#include "handlers/gles/buffers_fixture.h"

namespace {
class gles_buffers : public buffers_fixture
{
protected:
    const std::vector<uint8_t> abcd{'a', 'b', 'c', 'd'};
    std::vector<uint8_t> host_got;

    void SetUp() override
    {
        buffers_fixture::SetUp();
        auto keep = [this](const void* data, GLsizeiptr size) {
            host_got.clear();
            if (data)
                host_got.assign(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
        };
        fake_host::hook<&gles::glBufferData>(
            [keep](GLenum, GLsizeiptr n, const void* p, GLenum) { keep(p, n); });
        fake_host::hook<&gles::glBufferSubData>(
            [keep](GLenum, GLintptr, GLsizeiptr n, const void* p) { keep(p, n); });
        bind(GL_ARRAY_BUFFER, 1);
        bind(GL_COPY_WRITE_BUFFER, 2);
    }
    void sub_data(int64_t offset, const char* text)
    {
        std::memcpy(target.memory.data() + 0x1000, text, std::strlen(text));
        target.run(target.make(in::gles20_buffer_sub_data)
                       .u32(GL_ARRAY_BUFFER)
                       .u64(static_cast<uint64_t>(offset))
                       .u64(std::strlen(text))
                       .u64(memory + 0x1000));
    }
    std::vector<outbound_message> map(uint32_t access, uint64_t offset, uint64_t length)
    {
        return target.run(target.make(in::gles30_map_buffer_range)
                              .u32(GL_ARRAY_BUFFER)
                              .u64(offset)
                              .u64(length)
                              .u32(access));
    }
    static uint64_t returned(const std::vector<outbound_message>& sent)
    {
        for (const auto& message : sent)
            if (message.type == out::set_return_value_message) {
                uint64_t value = 0;
                std::memcpy(&value, message.payload().data() + 1,
                            message.payload().at(0)); // told width first
                return value;
            }
        ADD_FAILURE() << "nothing was returned";
        return 0;
    }
    std::vector<outbound_message> unmap(uint32_t stage = 1)
    {
        return target.run(target.make(in::gles30_unmap_buffer).u32(GL_ARRAY_BUFFER).u32(stage));
    }
};

TEST_F(gles_buffers, DataReachesHostAndCopy)
{
    fill(GL_ARRAY_BUFFER, abcd.data(), 4);
    EXPECT_EQ(host_got, abcd);
    EXPECT_EQ(contents(1), abcd);
    sub_data(1, "XY");
    EXPECT_EQ(contents(1), (std::vector<uint8_t>{'a', 'X', 'Y', 'd'}));
    sub_data(3, "PQR"); // the fake host accepts it: the copy takes what fits
    EXPECT_EQ(contents(1), (std::vector<uint8_t>{'a', 'X', 'Y', 'P'}));
    sub_data(-1, "Z");
    EXPECT_EQ(contents(1), (std::vector<uint8_t>{'a', 'X', 'Y', 'P'}));
    fake_host::gl_errors({GL_INVALID_VALUE});
    sub_data(0, "....");
    EXPECT_EQ(contents(1)[0], 'a') << "the host has refused it";
}

TEST_F(gles_buffers, SizeWithoutDataIsFilledLater)
{
    target.run(target.make(in::gles20_buffer_data).u32(GL_ARRAY_BUFFER).u64(4).u64(0).u32(GL_STATIC_DRAW));
    EXPECT_TRUE(contents(1).empty());
    sub_data(2, "xy");
    EXPECT_EQ(contents(1), (std::vector<uint8_t>{0, 0, 'x', 'y'}));
}

TEST_F(gles_buffers, WrongUploadsAreRefused)
{
    fake_host::clear();
    auto data = [&](uint32_t point, int64_t size, uint64_t at) {
        target.run(
            target.make(in::gles20_buffer_data).u32(point).u64(static_cast<uint64_t>(size)).u64(at).u32(0));
    };
    data(GL_ARRAY_BUFFER, -1, memory);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    data(GL_TEXTURE_BUFFER, 4, memory);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
    data(GL_ARRAY_BUFFER, INT64_MAX, memory); // no memory is taken for a size that lies
    EXPECT_EQ(fake_host::texts(quiet), texts{});
    // Memory that isn't there reads as zeros.
    data(GL_ARRAY_BUFFER, 4, 0x10);
    EXPECT_EQ(contents(1), (std::vector<uint8_t>(4, 0)));
}

TEST_F(gles_buffers, CopiesKeepBothSidesTheSame)
{
    fill(GL_ARRAY_BUFFER, abcd.data(), 4);
    auto copy = [&](uint32_t from, uint64_t at, uint64_t into, uint64_t size) {
        target.run(target.make(in::gles30_copy_buffer_sub_data)
                       .u32(from)
                       .u32(GL_COPY_WRITE_BUFFER)
                       .u64(at)
                       .u64(into)
                       .u64(size));
    };
    target.run(target.make(in::gles20_buffer_data).u32(GL_COPY_WRITE_BUFFER).u64(6).u64(0).u32(0));
    copy(GL_ARRAY_BUFFER, 1, 3, 2);
    EXPECT_EQ(contents(2), (std::vector<uint8_t>{0, 0, 0, 'b', 'c', 0}));
    copy(GL_ARRAY_BUFFER, 0, 4, 4); // beyond the copy, though the fake host accepts it
    copy(GL_ARRAY_BUFFER, UINT64_MAX, 0, 2);
    EXPECT_EQ(contents(2), (std::vector<uint8_t>{0, 0, 0, 'b', 'c', 0}));
    copy(GL_UNIFORM_BUFFER, 0, 0, 1); // nothing is bound there
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    EXPECT_EQ(fake_host::count("glCopyBufferSubData"), 3u);
}

TEST_F(gles_buffers, AMappingCrossesBothWays)
{
    let_host_map();
    fill(GL_ARRAY_BUFFER, std::vector<uint8_t>(16, 'z').data(), 16);
    const uint64_t at = returned(map(GL_MAP_READ_BIT | GL_MAP_WRITE_BIT, 4, 8));
    ASSERT_GE(at, raw_target::heap_base);
    EXPECT_EQ(target.peek<uint8_t>(at + 7), 7) << "the target sees what the host mapped";
    target.run(target.make(in::gles30_get_buffer_pointerv)
                   .u32(GL_ARRAY_BUFFER)
                   .u32(GL_BUFFER_MAP_POINTER)
                   .u64(memory));
    EXPECT_EQ(target.peek<uint64_t>(memory), at);
    target.poke<uint8_t>(at + 2, 0x55);
    target.run(target.make(in::gles30_flush_mapped_buffer_range).u32(GL_ARRAY_BUFFER).u64(2).u64(1));
    EXPECT_EQ(host_mapping[GL_ARRAY_BUFFER][2], 0x55);
    EXPECT_EQ(contents(1)[6], 0x55);
    EXPECT_EQ(contents(1)[7], 'z') << "only the flushed byte";
    target.run(target.make(in::gles30_flush_mapped_buffer_range).u32(GL_ARRAY_BUFFER).u64(7).u64(900));
    target.poke<uint8_t>(at + 3, 0x66);
    EXPECT_EQ(returned(unmap()), uint64_t{GL_TRUE});
    EXPECT_EQ(host_mapping[GL_ARRAY_BUFFER][3], 0x66);
    EXPECT_EQ(contents(1)[7], 0x66);
    EXPECT_EQ(contents(1)[12], 'z') << "behind the mapping nothing changes";
    EXPECT_TRUE(model().data_shared->mapped_areas.empty());
    EXPECT_EQ(error_of_target(), 0u);
    unmap();
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
}

TEST_F(gles_buffers, WhatCannotBeMappedTakesNoMemoryOfTheTarget)
{
    let_host_map();
    fake_host::gl_errors({GL_INVALID_OPERATION});
    auto sent = map(GL_MAP_READ_BIT, 0, 8);
    EXPECT_EQ(returned(sent), 0u);
    for (const auto& message : sent)
        EXPECT_NE(message.type, uint32_t{out::allocate_memory_block});
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    fake_host::clear();
    EXPECT_EQ(returned(map(GL_MAP_READ_BIT, 0, 0)), 0u);
    EXPECT_EQ(returned(map(GL_MAP_READ_BIT, 0, uint64_t{1} << 40)), 0u);
    EXPECT_EQ(fake_host::texts(quiet), texts{});
}

TEST_F(gles_buffers, A32BitTargetGetsPointersOfItsWidth)
{
    target.on_request = [this](const outbound_message& request) {
        return request.type == out::get_target_pointer_size ? confirm_with(uint32_t{4})
                                                            : target.default_answer(request);
    };
    let_host_map();
    fill(GL_ARRAY_BUFFER, abcd.data(), 4);
    auto sent = map(GL_MAP_READ_BIT, 0, 4);
    const auto& answer = sent.at(sent.size() - 2); // the last releases the target
    ASSERT_EQ(answer.type, uint32_t{out::set_return_value_message});
    EXPECT_EQ(answer.payload().size(), 5u);
    EXPECT_EQ(answer.at<uint32_t>(1), static_cast<uint32_t>(returned(sent)));
}

TEST_F(gles_buffers, DeletingAMappedBufferForgetsTheMapping)
{
    let_host_map();
    fill(GL_ARRAY_BUFFER, abcd.data(), 4);
    map(GL_MAP_WRITE_BIT, 0, 4);
    remove(in::gles20_delete_buffers, {1});
    EXPECT_TRUE(model().data_shared->mapped_areas.empty());
    unmap();
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
}

TEST_F(gles_buffers, AMappingEndsWithTheStoreThatItLedInto)
{
    let_host_map();
    auto is_mapped = [&] { return !model().data_shared->mapped_areas.empty(); };
    auto map_whole = [&] {
        fill(GL_ARRAY_BUFFER, abcd.data(), 4);
        map(GL_MAP_WRITE_BIT, 0, 4);
        ASSERT_TRUE(is_mapped());
    };
    map_whole();
    fill(GL_ARRAY_BUFFER, abcd.data(), 4);
    EXPECT_FALSE(is_mapped());
    fake_host::clear();
    unmap();
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    EXPECT_EQ(fake_host::count("glUnmapBuffer"), 0u);

    map_whole();
    fake_host::gl_errors({GL_INVALID_ENUM}); // refused: the old store stays
    fill(GL_ARRAY_BUFFER, abcd.data(), 4);
    EXPECT_TRUE(is_mapped());
    fake_host::gl_errors({GL_OUT_OF_MEMORY});
    fill(GL_ARRAY_BUFFER, abcd.data(), 4);
    EXPECT_FALSE(is_mapped());

    map_whole();
    fake_host::returns<&gles::glUnmapBuffer>(GL_FALSE); // its contents are lost
    EXPECT_EQ(returned(unmap()), uint64_t{GL_FALSE});
    EXPECT_FALSE(is_mapped());
    EXPECT_EQ(contents(1), abcd);
}

TEST_F(gles_buffers, ATargetWithADriverUnmapsBetweenTwoStages)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    let_host_map();
    const uint64_t own = memory + 0x2000;
    target.run(target.make(in::gles30_map_buffer_range)
                   .u64(own)
                   .u32(GL_ARRAY_BUFFER)
                   .u64(0)
                   .u64(8)
                   .u32(GL_MAP_WRITE_BIT));
    EXPECT_EQ(target.peek<uint8_t>(own + 5), 5);
    target.poke<uint8_t>(own + 5, 0x77);
    auto stage = [&](uint8_t target_result, uint32_t number) {
        return library::printed_by([&] {
            target.run(
                target.make(in::gles30_unmap_buffer).u8(target_result).u32(GL_ARRAY_BUFFER).u32(number));
        });
    };
    stage(0, 1);
    EXPECT_EQ(host_mapping[GL_ARRAY_BUFFER][5], 0x77);
    EXPECT_EQ(library::occurrences(stage(0, 2),
                                   "ERROR [ZELVAR] glUnmapBuffer() generated inconsistent result. "
                                   "host=1, target=0"),
              1u);
    EXPECT_EQ(library::occurrences(stage(1, 2),
                                   "FATAL [ZELVAR] Unexpected enter gles30_glUnmapBuffer() stage 2 by "
                                   "skipping stage 1."),
              1u);
    EXPECT_EQ(library::occurrences(stage(1, 3), "FATAL [ZELVAR] Unrecognized stage 3"), 1u);
}

TEST_F(gles_buffers, ADispatchRefreshesTheStorageBuffersWhereTheyStandNow)
{
    let_host_map();
    fake_host::hook<&gles::glGetBufferParameteriv>([](GLenum, GLenum, GLint* v) { *v = 8; });
    auto base = [&](uint32_t index, uint32_t id) {
        target.run(target.make(in::gles30_bind_buffer_base).u32(GL_SHADER_STORAGE_BUFFER).u32(index).u32(id));
    };
    base(3, 2);
    base(0, 2);
    base(0, 1); // in the place of 2
    fake_host::clear();
    target.run(target.make(in::gles31_dispatch_compute).u32(1).u32(2).u32(3));
    const auto host_id = std::to_string(model().data_shared->buffers.at(1).host_id);
    EXPECT_EQ(fake_host::texts(quiet),
              (texts{"glDispatchCompute(1, 2, 3)", "glBindBufferBase(37074, 0, " + host_id + ")",
                     "glGetBufferParameteriv(37074, 34660, pointer)", "glMapBufferRange(37074, 0, 8, 1)",
                     "glUnmapBuffer(37074)"}));
    EXPECT_EQ(contents(1), (std::vector<uint8_t>{0, 1, 2, 3, 4, 5, 6, 7}));
    fake_host::clear();
    fake_host::gl_errors({GL_INVALID_OPERATION});
    target.run(target.make(in::gles31_dispatch_compute).u32(1).u32(1).u32(1));
    EXPECT_EQ(fake_host::texts(quiet), (texts{"glDispatchCompute(1, 1, 1)"}));
}
} // namespace
