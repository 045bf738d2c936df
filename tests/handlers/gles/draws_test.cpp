// Draws: which bytes of the application are read, where the host finds them, and what never reaches the host.

#include "handlers/gles/buffers_fixture.h"
#include "handlers/gles/client_arrays.h"
#include "handlers/gles/index_range.h"

namespace {
TEST(index_range, IsThatOfTheIndicesThatAreThere)
{
    const uint16_t indices[] = {7, 3, 65535, 9};
    const auto* bytes = reinterpret_cast<const uint8_t*>(indices);
    auto scan = [&](uint64_t size, uint64_t count, bool restart) {
        auto found = scan_indices(GL_UNSIGNED_SHORT, bytes, size, count, restart);
        return std::tuple{found.any, found.lowest, found.highest};
    };
    EXPECT_EQ(scan(8, 4, false), (std::tuple{true, 3u, 65535u}));
    EXPECT_EQ(scan(8, 4, true), (std::tuple{true, 3u, 9u}));
    EXPECT_EQ(scan(4, 4, true), (std::tuple{true, 0u, 7u})) << "what is missing counts as 0";
    EXPECT_EQ(scan(8, 0, true), (std::tuple{false, 0u, 0u}));
    EXPECT_FALSE(scan_indices(GL_UNSIGNED_SHORT, bytes + 4, 2, 1, true).any)
        << "a restart alone is no vertex";
    // At any alignment.
    const uint8_t odd[] = {0, 2, 0, 0, 0, 5, 0, 0, 0};
    EXPECT_EQ(scan_indices(GL_UNSIGNED_INT, odd + 1, 8, 2, false).highest, 5u);
    EXPECT_EQ(scan_indices(GL_UNSIGNED_BYTE, odd + 1, 8, 8, true).highest, 5u);
    EXPECT_EQ(scan_indices(GL_UNSIGNED_INT, nullptr, 0, 3, false).any, true);
}

TEST(array_extent, FollowsStrideDivisorAndRange)
{
    const struct
    {
        const char* what;
        uint32_t type, size;
        int32_t stride;
        uint32_t divisor;
        vertex_range range;
        uint64_t skip, length;
    } rows[] = {
        {"strided", GL_FLOAT, 3, 20, 0, {2, 4, 0}, 40, 72},
        {"strided, nothing drawn", GL_FLOAT, 3, 20, 0, {2, 0, 0}, 40, 0},
        {"packed", GL_SHORT, 3, 0, 0, {2, 4, 0}, 12, 24},
        {"packed, nothing drawn", GL_SHORT, 3, 0, 0, {2, 0, 0}, 12, 0},
        {"one word whatever the size", GL_INT_2_10_10_10_REV, 4, 0, 0, {0, 3, 0}, 0, 12},
        {"instances of a plain array", GL_FLOAT, 1, 0, 0, {0, 5, 9}, 0, 20},
        {"a divisor without instances", GL_FLOAT, 1, 0, 2, {0, 5, 0}, 0, 20},
        {"by instance, strided", GL_FLOAT, 2, 16, 3, {1, 4, 7}, 16, 40},
        {"by instance, strided, nothing drawn", GL_FLOAT, 2, 16, 3, {1, 0, 7}, 16, 0},
        {"by instance, packed", GL_FLOAT, 2, 0, 3, {1, 4, 7}, 8, 24},
        {"before the array", GL_FLOAT, 4, 16, 0, {-1, 4, 0}, 0, 0},
        {"far out",
         GL_FLOAT,
         4,
         INT32_MAX,
         0,
         {UINT32_MAX, uint64_t{UINT32_MAX} + 1, 0},
         uint64_t{INT32_MAX} * UINT32_MAX,
         uint64_t{INT32_MAX} * UINT32_MAX + 16},
    };
    for (const auto& row : rows) {
        _zelvar_vertex_attribute_array_descriptor attribute;
        attribute.type = row.type;
        attribute.size = row.size;
        attribute.stride = row.stride;
        attribute.divisor = row.divisor;
        const auto extent = extent_of_array(attribute, row.range);
        EXPECT_EQ(extent.skip, row.skip) << row.what;
        EXPECT_EQ(extent.length, row.length) << row.what;
    }
}

class gles_draws : public buffers_fixture
{
protected:
    const void* host_pointer = nullptr;
    std::vector<uint8_t> drawn; // what the host finds behind its pointer at `look_at` when it draws
    size_t look_at = 0, look_size = 0;
    std::vector<uint8_t> host_indices;

    void SetUp() override
    {
        buffers_fixture::SetUp();
        fake_host::hook<&gles::glVertexAttribPointer>(
            [this](GLuint, GLint, GLenum, GLboolean, GLsizei, const void* p) { host_pointer = p; });
        auto look = [this] {
            const auto* bytes = static_cast<const uint8_t*>(host_pointer) + look_at;
            if (look_size)
                drawn.assign(bytes, bytes + look_size);
        };
        fake_host::hook<&gles::glDrawArrays>([look](GLenum, GLint, GLsizei) { look(); });
        fake_host::hook<&gles::glDrawRangeElements>(
            [look](GLenum, GLuint, GLuint, GLsizei, GLenum, const void*) { look(); });
        fake_host::hook<&gles::glDrawElements>(
            [this, look](GLenum, GLsizei count, GLenum, const void* indices) {
                look();
                if (reinterpret_cast<uintptr_t>(indices) > 0x10000)
                    host_indices.assign(static_cast<const uint8_t*>(indices),
                                        static_cast<const uint8_t*>(indices) + count);
            });
        for (size_t i = 0; i < 0x1000; ++i)
            target.memory[0x3000 + i] = static_cast<uint8_t>(i);
    }
    static constexpr uint64_t array_at = memory + 0x3000;
    void draw_arrays(int32_t first, int32_t count, uint32_t mode = GL_POINTS)
    {
        target.run(target.make(in::gles20_draw_arrays).u32(mode).i32(first).i32(count));
    }
    void draw_elements(int32_t count, uint32_t type, uint64_t indices)
    {
        target.run(target.make(in::gles20_draw_elements).u32(GL_POINTS).i32(count).u32(type).u64(indices));
    }
};

TEST_F(gles_draws, ClientMemoryIsBroughtOverForTheDraw)
{
    use_program({0});
    point(0, 2, GL_UNSIGNED_BYTE, 4, array_at);
    EXPECT_EQ(fake_host::count("glVertexAttribPointer"), 0u) << "the host can't see the array yet";
    target.memory[0x3000 + 8] = 0x99; // changed after the call: the draw sees it
    look_at = 8;
    look_size = 6;
    draw_arrays(2, 2);
    EXPECT_EQ(drawn, (std::vector<uint8_t>{0x99, 9, 10, 11, 12, 13}));
    EXPECT_EQ(error_of_target(), 0u);
    fake_host::clear();
    draw_arrays(2, 0); // nothing is read, the host is called all the same
    EXPECT_EQ(fake_host::count("glDrawArrays"), 1u);
}

TEST_F(gles_draws, InstancesStartAtTheFrontOfTheirArrayWhateverTheFirstVertex)
{
    use_program({0});
    point(0, 4, GL_UNSIGNED_BYTE, 8, array_at);
    target.run(target.make(in::gles30_vertex_attrib_divisor).u32(0).u32(1));
    fake_host::hook<&gles::glDrawArraysInstanced>([this](GLenum, GLint, GLsizei, GLsizei) {
        const auto* bytes = static_cast<const uint8_t*>(host_pointer);
        drawn.assign(bytes, bytes + 12);
    });
    target.run(target.make(in::gles30_draw_arrays_instanced).u32(GL_POINTS).i32(20).i32(3).i32(2));
    EXPECT_EQ(drawn, (std::vector<uint8_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
}

TEST_F(gles_draws, OnlyWhatTheProgramReadsIsBroughtOver)
{
    use_program({1});
    point(0, 4, GL_FLOAT, 0, 0x10); // no such memory
    point(1, 4, GL_UNSIGNED_BYTE, 0, array_at);
    point(2, 4, GL_FLOAT, 0, 0x10);
    target.run(target.make(in::gles20_disable_vertex_attrib_array).u32(2));
    fake_host::clear();
    auto printed = library::printed_by([&] { draw_arrays(0, 1); });
    EXPECT_EQ(printed, "");
    EXPECT_EQ(fake_host::texts(quiet),
              (texts{"glCheckFramebufferStatus(36160)", "glVertexAttribPointer(1, 4, 5121, 0, 0, pointer)",
                     "glDrawArrays(0, 0, 1)"}));
}

TEST_F(gles_draws, EachProgramOfAPipelineIsAskedOnce)
{
    auto& data = model();
    data.data_shared->programs[3].used_attributes = {0};
    data.data_shared->programs[4].used_attributes = {1};
    auto& pipeline = data.data_nonshared->program_pipelines[6];
    pipeline.stage_programs = {3, 0, 4, 3};
    data.bound_program_pipeline = 6;
    point(0, 1, GL_UNSIGNED_BYTE, 0, array_at);
    point(1, 1, GL_UNSIGNED_BYTE, 0, array_at);
    draw_arrays(0, 1);
    EXPECT_EQ(fake_host::count("glVertexAttribPointer"), 2u);
    pipeline.stage_programs = {3, 8};
    draw_arrays(0, 1);
    EXPECT_EQ(fake_host::count("glDrawArrays"), 1u) << "program 8 isn't known";
}

TEST_F(gles_draws, AnArrayBufferThatIsBoundIsLeftAside)
{
    use_program({0});
    point(0, 4, GL_UNSIGNED_BYTE, 0, array_at);
    bind(GL_ARRAY_BUFFER, 1);
    const auto host_id = std::to_string(model().data_shared->buffers.at(1).host_id);
    fake_host::clear();
    draw_arrays(0, 1);
    EXPECT_EQ(fake_host::texts(quiet),
              (texts{"glCheckFramebufferStatus(36160)", "glBindBuffer(34962, 0)",
                     "glVertexAttribPointer(0, 4, 5121, 0, 0, pointer)",
                     "glBindBuffer(34962, " + host_id + ")", "glDrawArrays(0, 0, 1)"}));
}

TEST_F(gles_draws, WhatTheHostHasBoundOutlivesASwitchOfVertexArrays)
{
    auto use_array = [&](uint32_t id) { target.run(target.make(in::gles30_bind_vertex_array).u32(id)); };
    const uint32_t array = generate(in::gles30_gen_vertex_arrays, 1)[0];
    use_program({0});
    bind(GL_ARRAY_BUFFER, 1);
    use_array(array);
    fake_host::clear();
    point(0, 4, GL_UNSIGNED_BYTE, 0, 8);
    EXPECT_EQ(fake_host::count("glVertexAttribPointer"), 1u) << "8 is an offset";
    EXPECT_EQ(model().data_nonshared->vertex_arrays.at(array).attribute_arrays.at(0).buffer, 1u);

    // Deleted while another array is bound: the host's array keeps both.
    bind(GL_ELEMENT_ARRAY_BUFFER, 2);
    use_array(0);
    remove(in::gles20_delete_buffers, {1, 2});
    use_array(array);
    draw_elements(3, GL_UNSIGNED_BYTE, 16);
    EXPECT_EQ(fake_host::count("glDrawElements"), 1u);
    EXPECT_TRUE(host_indices.empty()) << "16 is an offset";

    // Deleted while it is bound: the host must not take the offset for an address of its own.
    bind(GL_ARRAY_BUFFER, 3);
    point(0, 4, GL_UNSIGNED_BYTE, 0, array_at);
    remove(in::gles20_delete_buffers, {3});
    host_pointer = nullptr;
    draw_arrays(0, 1);
    EXPECT_NE(host_pointer, nullptr);
    EXPECT_NE(host_pointer, reinterpret_cast<const void*>(array_at));
}

TEST_F(gles_draws, BindingsWithoutABufferAreNotDrawnFrom)
{
    auto bind_vertex_buffer = [&](uint32_t binding, uint32_t buffer) {
        target.run(target.make(in::gles31_bind_vertex_buffer).u32(binding).u32(buffer).u64(0).i32(16));
    };
    auto drawn = [&] {
        fake_host::clear();
        draw_arrays(0, 1);
        const bool reached = fake_host::count("glDrawArrays") == 1;
        EXPECT_EQ(error_of_target(), reached ? uint32_t{GL_NO_ERROR} : uint32_t{GL_INVALID_OPERATION});
        return reached;
    };
    const uint32_t array = generate(in::gles30_gen_vertex_arrays, 1)[0];
    target.run(target.make(in::gles30_bind_vertex_array).u32(array));
    bind(GL_ARRAY_BUFFER, 1);
    bind(GL_ARRAY_BUFFER, 2);
    use_program({2});
    target.run(target.make(in::gles20_enable_vertex_attrib_array).u32(2));
    target.run(target.make(in::gles31_vertex_attrib_binding).u32(2).u32(5));
    EXPECT_FALSE(drawn());
    bind_vertex_buffer(5, 1);
    EXPECT_TRUE(drawn());
    bind_vertex_buffer(5, 0);
    EXPECT_FALSE(drawn());
    bind_vertex_buffer(5, 2);
    remove(in::gles20_delete_buffers, {2});
    EXPECT_FALSE(drawn());

    // A pointer binds at the attribute's own place, which may lose its buffer too.
    bind(GL_ARRAY_BUFFER, 1);
    point(2, 4, GL_UNSIGNED_BYTE, 0, 0);
    EXPECT_TRUE(drawn());
    bind_vertex_buffer(2, 0);
    EXPECT_FALSE(drawn());
}

TEST_F(gles_draws, IndicesTellWhichVerticesAreRead)
{
    use_program({0});
    point(0, 4, GL_UNSIGNED_BYTE, 0, array_at);
    const uint8_t indices[] = {5, 3, 255, 4};
    std::memcpy(target.memory.data() + 0x200, indices, 4);
    model().rendering_modes[5] = 1; // GL_PRIMITIVE_RESTART_FIXED_INDEX
    look_at = 12;
    look_size = 12;
    draw_elements(4, GL_UNSIGNED_BYTE, memory + 0x200);
    EXPECT_EQ(drawn, (std::vector<uint8_t>{12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23}));
    EXPECT_EQ(host_indices, (std::vector<uint8_t>{5, 3, 255, 4}));

    // The same from a buffer: its copy is looked at, and the host gets the offset.
    bind(GL_ELEMENT_ARRAY_BUFFER, 1);
    fill(GL_ELEMENT_ARRAY_BUFFER, "\x00\x07\x07", 3);
    fake_host::clear();
    look_at = 28;
    look_size = 4;
    draw_elements(2, GL_UNSIGNED_BYTE, 1);
    EXPECT_EQ(drawn, (std::vector<uint8_t>{28, 29, 30, 31}));
    EXPECT_EQ(fake_host::calls()[fake_host::calls().size() - 2].name, "glDrawElements");
    // Beyond the copy: index 0.
    look_at = 0;
    draw_elements(2, GL_UNSIGNED_BYTE, 1000);
    EXPECT_EQ(drawn, (std::vector<uint8_t>{0, 1, 2, 3}));
}

TEST_F(gles_draws, IndicesThatTheHostMayHaveWrittenAreReadBack)
{
    use_program({0});
    point(0, 4, GL_UNSIGNED_BYTE, 0, array_at);
    fake_host::hook<&gles::glMapBufferRange>([this](GLenum point, GLintptr, GLsizeiptr, GLbitfield) {
        return static_cast<void*>(host_mapping[point].data());
    });
    host_mapping[GL_ELEMENT_ARRAY_BUFFER] = {7, 7};
    look_at = 28;
    look_size = 4;
    uint32_t id = 0;
    for (uint32_t written_through : {GL_TRANSFORM_FEEDBACK_BUFFER, GL_SHADER_STORAGE_BUFFER,
                                     GL_ATOMIC_COUNTER_BUFFER, GL_PIXEL_PACK_BUFFER, GL_COPY_WRITE_BUFFER}) {
        bind(written_through, ++id);
        fill(written_through, "\x00\x00\x00", 3);
        if (written_through == GL_COPY_WRITE_BUFFER) {
            bind(GL_COPY_READ_BUFFER, 1); // which the host may have written
            target.run(target.make(in::gles30_copy_buffer_sub_data)
                           .u32(GL_COPY_READ_BUFFER)
                           .u32(GL_COPY_WRITE_BUFFER)
                           .u64(0)
                           .u64(0)
                           .u64(3));
        }
        bind(GL_ELEMENT_ARRAY_BUFFER, id);
        drawn.clear();
        draw_elements(2, GL_UNSIGNED_BYTE, 1);
        EXPECT_EQ(drawn, (std::vector<uint8_t>{28, 29, 30, 31})) << written_through;
        EXPECT_EQ(fake_host::count("glUnmapBuffer"), id);
    }
    // Where that can't be read, the draw can't be made safe.
    host_mapping.clear();
    fake_host::clear();
    testing::internal::CaptureStdout();
    draw_elements(2, GL_UNSIGNED_BYTE, 1);
    EXPECT_EQ(library::occurrences(testing::internal::GetCapturedStdout(), "read the indices"), 1u);
    EXPECT_EQ(fake_host::count("glDrawElements"), 0u);
    EXPECT_EQ(fake_host::count("glUnmapBuffer"), 0u);
}

TEST_F(gles_draws, IndicesOutsideOfThePromisedRangeStayInsideTheBlock)
{
    use_program({0});
    point(0, 4, GL_UNSIGNED_BYTE, 0, array_at);
    auto draw_range = [&](uint8_t index) {
        target.poke<uint8_t>(memory + 0x200, index);
        target.run(target.make(in::gles30_draw_range_elements)
                       .u32(GL_POINTS)
                       .u32(1)
                       .u32(2)
                       .i32(1)
                       .u32(GL_UNSIGNED_BYTE)
                       .u64(memory + 0x200));
    };
    look_at = 4;
    look_size = 8;
    draw_range(2);
    EXPECT_EQ(drawn, (std::vector<uint8_t>{4, 5, 6, 7, 8, 9, 10, 11}));
    look_at = 200 * 4; // a block of the promised size ends at 12
    look_size = 4;
    drawn.clear();
    draw_range(200);
    EXPECT_EQ(drawn, (std::vector<uint8_t>{0, 0, 0, 0}));
}

TEST_F(gles_draws, AnAllRestartDrawReadsNothing)
{
    use_program({0});
    point(0, 4, GL_FLOAT, 0, 0x10);
    model().rendering_modes[5] = 1;
    std::memset(target.memory.data() + 0x200, 0xff, 8);
    auto printed = library::printed_by([&] { draw_elements(4, GL_UNSIGNED_SHORT, memory + 0x200); });
    EXPECT_EQ(printed, "");
    EXPECT_EQ(fake_host::count("glDrawElements"), 1u);
}

TEST_F(gles_draws, WrongDrawsEndBeforeTheHost)
{
    auto refused = [&](auto draw) {
        fake_host::clear();
        draw();
        EXPECT_EQ(fake_host::count("glDrawArrays") + fake_host::count("glDrawElements") +
                      fake_host::count("glDrawRangeElements"),
                  0u);
        return error_of_target();
    };
    EXPECT_EQ(refused([&] { draw_arrays(0, 1, 7); }), uint32_t{GL_INVALID_ENUM});
    EXPECT_EQ(refused([&] { draw_arrays(0, -1); }), uint32_t{GL_INVALID_VALUE});
    EXPECT_EQ(refused([&] { draw_elements(1, GL_FLOAT, 0); }), uint32_t{GL_INVALID_ENUM});
    EXPECT_EQ(refused([&] {
                  target.run(target.make(in::gles30_draw_range_elements)
                                 .u32(0)
                                 .u32(5)
                                 .u32(4)
                                 .i32(1)
                                 .u32(GL_UNSIGNED_BYTE)
                                 .u64(0));
              }),
              uint32_t{GL_INVALID_VALUE});
    fake_host::returns<&gles::glCheckFramebufferStatus>(GL_FRAMEBUFFER_UNSUPPORTED);
    use_program({0});
    point(0, 4, GL_FLOAT, 0, array_at);
    EXPECT_EQ(refused([&] { draw_arrays(0, 1); }), uint32_t{GL_INVALID_FRAMEBUFFER_OPERATION});
    EXPECT_EQ(fake_host::count("glVertexAttribPointer"), 0u);
}

TEST_F(gles_draws, AnArrayThatCannotBeIsNotDrawn)
{
    use_program({0});
    point(0, 4, GL_FLOAT, INT32_MAX, array_at);
    draw_arrays(0, INT32_MAX); // exabytes
    EXPECT_EQ(fake_host::count("glDrawArrays"), 0u);
    draw_arrays(INT32_MAX, 1);
    EXPECT_EQ(fake_host::count("glDrawArrays"), 0u);
}

TEST_F(gles_draws, IndirectCommandsLieWholeInTheirBuffer)
{
    auto draw = [&](uint64_t offset) {
        target.run(target.make(in::gles31_draw_arrays_indirect).u32(GL_POINTS).u64(offset));
        return error_of_target();
    };
    EXPECT_EQ(draw(0), uint32_t{GL_INVALID_OPERATION}) << "vertex array 0";
    auto arrays = generate(in::gles30_gen_vertex_arrays, 1);
    target.run(target.make(in::gles30_bind_vertex_array).u32(arrays[0]));
    EXPECT_EQ(draw(0), uint32_t{GL_INVALID_OPERATION}) << "no buffer";
    bind(GL_DRAW_INDIRECT_BUFFER, 1);
    EXPECT_EQ(draw(0), uint32_t{GL_INVALID_OPERATION}) << "no data";
    const uint32_t command[] = {0, 3, 1, 0, 0};
    fill(GL_DRAW_INDIRECT_BUFFER, command, 20);
    EXPECT_EQ(draw(4), 0u) << "ends where the buffer ends";
    EXPECT_EQ(draw(5), uint32_t{GL_INVALID_OPERATION});
    EXPECT_EQ(draw(UINT64_MAX), uint32_t{GL_INVALID_OPERATION});
    EXPECT_EQ(fake_host::count("glDrawArraysIndirect"), 1u);
    // An attribute without a buffer.
    use_program({0});
    target.run(target.make(in::gles20_enable_vertex_attrib_array).u32(0));
    EXPECT_EQ(draw(4), uint32_t{GL_INVALID_OPERATION});
    EXPECT_EQ(fake_host::count("glDrawArraysIndirect"), 1u);
}

TEST_F(gles_draws, AttributesAreCheckedAndALaterFaultReplacesAnEarlierOne)
{
    auto error_of = [&](uint32_t index, int32_t size, uint32_t type, int32_t stride) {
        point(index, size, type, stride, array_at);
        return error_of_target();
    };
    EXPECT_EQ(error_of(0, 4, 0x140A, 0), uint32_t{GL_INVALID_ENUM});
    EXPECT_EQ(error_of(0, 5, 0x140A, 0), uint32_t{GL_INVALID_VALUE});
    EXPECT_EQ(error_of(0, 3, GL_INT_2_10_10_10_REV, 0), uint32_t{GL_INVALID_OPERATION});
    auto printed =
        library::printed_by([&] { EXPECT_EQ(error_of(0, 4, GL_FLOAT, -8), uint32_t{GL_INVALID_VALUE}); });
    EXPECT_EQ(library::occurrences(printed, "stride [1281] is negative, GL_INVALID_VALUE is generated"), 1u);
    EXPECT_EQ(error_of(0, 4, 0x8D61, 0), 0u); // half floats of version 2
    EXPECT_EQ(model().data_nonshared->vertex_arrays.at(0).attribute_arrays.at(0).type,
              uint32_t{GL_HALF_FLOAT});
    auto arrays = generate(in::gles30_gen_vertex_arrays, 1);
    target.run(target.make(in::gles30_bind_vertex_array).u32(arrays[0]));
    EXPECT_EQ(error_of(0, 4, GL_FLOAT, 0), uint32_t{GL_INVALID_OPERATION})
        << "client memory in a vertex array";
    point(0, 4, GL_FLOAT, 0, 0);
    EXPECT_EQ(error_of_target(), 0u);
}

TEST_F(gles_draws, AttributeQueriesAreAnsweredByTheModel)
{
    point(3, 2, GL_SHORT, 12, array_at + 1);
    fake_host::clear();
    auto ask = [&](uint32_t pname) {
        target.run(target.make(in::gles20_get_vertex_attribiv).u32(3).u32(pname).u64(memory));
        return target.peek<int32_t>(memory);
    };
    EXPECT_EQ(ask(GL_VERTEX_ATTRIB_ARRAY_ENABLED), 1);
    EXPECT_EQ(ask(GL_VERTEX_ATTRIB_ARRAY_SIZE), 2);
    EXPECT_EQ(ask(GL_VERTEX_ATTRIB_ARRAY_STRIDE), 12);
    EXPECT_EQ(ask(GL_VERTEX_ATTRIB_ARRAY_TYPE), int32_t{GL_SHORT});
    EXPECT_EQ(fake_host::texts(quiet), texts{});
    target.run(target.make(in::gles20_get_vertex_attrib_pointerv)
                   .u32(3)
                   .u32(GL_VERTEX_ATTRIB_ARRAY_POINTER)
                   .u64(memory));
    EXPECT_EQ(target.peek<uint64_t>(memory), array_at + 1);
    target.run(target.make(in::gles20_get_vertex_attribiv).u32(3).u32(0x1234).u64(memory));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
}

TEST_F(gles_draws, ConstantsAreReadFromTheTarget)
{
    std::vector<float> seen;
    fake_host::hook<&gles::glVertexAttrib3fv>([&](GLuint, const GLfloat* v) { seen.assign(v, v + 3); });
    for (int i = 0; i < 3; ++i)
        target.poke<float>(memory + 4u * static_cast<unsigned>(i), 1.5f + static_cast<float>(i));
    target.run(target.make(in::gles20_vertex_attrib_3fv).u32(1).u64(memory));
    EXPECT_EQ(seen, (std::vector<float>{1.5f, 2.5f, 3.5f}));
    target.run(target.make(in::gles20_vertex_attrib_1f).u32(4000).f32(1));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
}

TEST_F(gles_draws, StencilStateIsKeptByFace)
{
    target.run(target.make(in::gles20_stencil_func_separate).u32(GL_BACK).u32(GL_LESS).i32(7).u32(0xf0));
    EXPECT_EQ(model().stencil_front.func, uint32_t{GL_ALWAYS});
    EXPECT_EQ(model().stencil_back.reference, 7);
    target.run(target.make(in::gles20_stencil_op_separate).u32(GL_FRONT).u32(1).u32(2).u32(3));
    EXPECT_EQ(model().stencil_ops, (std::array<uint32_t, 6>{1, 2, 3, GL_KEEP, GL_KEEP, GL_KEEP}));
    target.run(target.make(in::gles20_blend_func).u32(GL_SRC_ALPHA).u32(GL_ONE));
    EXPECT_EQ(model().blend_src_alpha, uint32_t{GL_SRC_ALPHA});
    EXPECT_EQ(model().blend_dst_rgb, uint32_t{GL_ONE});
}

TEST_F(gles_draws, ClearValuesComeWithTheMessage)
{
    std::vector<int> seen;
    fake_host::hook<&gles::glClearBufferiv>([&](GLenum, GLint, const GLint* v) { seen.assign(v, v + 4); });
    target.run(
        target.make(in::gles30_clear_bufferiv).u32(GL_COLOR).i32(0).u64(memory).i32(1).i32(2).i32(3).i32(4));
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 3, 4}));
    target.run(target.make(in::gles30_clear_bufferiv).u32(GL_STENCIL).i32(0).u64(memory).i32(9));
    EXPECT_EQ(seen, (std::vector<int>{9, 0, 0, 0}));
}
} // namespace
