// Programs over a host with a known program and, in half of the tests, a target with the same in other
// numbers.

#include "data_model/program_interface.h"
#include "handlers/gles/program_support.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "support/fake_host.h"
#include "support/library.h"
#include "support/raw_target.h"

#include <gtest/gtest.h>

namespace {
namespace in = wire::inbound;
namespace out = wire::outbound;
using texts = std::vector<std::string>;
using gles = sidechannel_gles_imports;
constexpr auto quiet = fake_host::error_queries::leave_out;
constexpr uint64_t result_at = raw_target::memory_base + 0x100;
constexpr uint64_t text_at = raw_target::memory_base + 0x400;

struct variable
{
    std::string name;
    int32_t size;
    uint32_t type;
    int32_t location;
};

/// What a compiler makes of the program.
struct compiled
{
    std::vector<variable> uniforms;
    std::vector<variable> attributes;
    std::vector<std::string> blocks;
    int32_t linked = 1;

    int32_t number(uint32_t pname) const
    {
        switch (pname) {
        case GL_LINK_STATUS:
            return linked;
        case GL_ACTIVE_UNIFORMS:
            return static_cast<int32_t>(uniforms.size());
        case GL_ACTIVE_ATTRIBUTES:
            return static_cast<int32_t>(attributes.size());
        case GL_ACTIVE_UNIFORM_BLOCKS:
            return static_cast<int32_t>(blocks.size());
        case GL_ACTIVE_UNIFORM_MAX_LENGTH:
        case GL_ACTIVE_ATTRIBUTE_MAX_LENGTH:
        case GL_ACTIVE_UNIFORM_BLOCK_MAX_NAME_LENGTH:
            return 32;
        default:
            return 0;
        }
    }
    static int32_t location(const std::vector<variable>& list, const std::string& name)
    {
        for (const auto& v : list)
            if (v.name == name)
                return v.location;
        return -1;
    }
};

class programs : public testing::Test
{
protected:
    raw_target target{library::start()};
    compiled host;
    compiled other; // the target's

    void SetUp() override
    {
        target.write_only(target.make(5).bytes()); // binds the channel
        library::make_current(raw_target::pid, raw_target::tid);
        model().host_major_version = 3;
        fake_host::hook<&gles::glCreateProgram>([this] { return ++last_host; });
        fake_host::hook<&gles::glCreateShader>([this](GLenum) { return ++last_host; });
        fake_host::hook<&gles::glGetProgramiv>(
            [this](GLuint, GLenum pname, GLint* v) { *v = host.number(pname); });
        fake_host::hook<&gles::glGetActiveUniform>(
            [this](GLuint, GLuint i, GLsizei room, GLsizei*, GLint* size, GLenum* type, GLchar* name) {
                tell(host.uniforms.at(i), room, size, type, name);
            });
        fake_host::hook<&gles::glGetActiveAttrib>(
            [this](GLuint, GLuint i, GLsizei room, GLsizei*, GLint* size, GLenum* type, GLchar* name) {
                tell(host.attributes.at(i), room, size, type, name);
            });
        fake_host::hook<&gles::glGetUniformLocation>(
            [this](GLuint, const GLchar* name) { return compiled::location(host.uniforms, name); });
        fake_host::hook<&gles::glGetAttribLocation>(
            [this](GLuint, const GLchar* name) { return compiled::location(host.attributes, name); });
        fake_host::hook<&gles::glGetActiveUniformBlockName>(
            [this](GLuint, GLuint i, GLsizei room, GLsizei*, GLchar* name) {
                snprintf(name, static_cast<size_t>(room), "%s", host.blocks.at(i).c_str());
            });
        fake_host::clear();
    }
    static void tell(const variable& v, GLsizei room, GLint* size, GLenum* type, GLchar* name)
    {
        *size = v.size;
        *type = v.type;
        snprintf(name, static_cast<size_t>(room), "%s", v.name.c_str());
    }
    _zelvar_context_data& model()
    {
        _zelvar_context_data* data = nullptr;
        library::aside([&] {
            data = zelvar_object_manager_lock_context_data(raw_target::pid, raw_target::tid);
            zelvar_object_manager_unlock_context_data(data);
        });
        return *data;
    }
    _zelvar_program_descriptor& program(uint32_t id) { return model().data_shared->programs.at(id); }
    uint32_t error_of_target()
    {
        auto sent = target.run(target.make(in::gles20_get_error));
        return sent.at(0).at<uint32_t>(1);
    }
    static uint32_t reply_of(const std::vector<outbound_message>& sent)
    {
        for (const auto& m : sent)
            if (m.type == out::set_return_value_message)
                return m.at<uint32_t>(1);
        ADD_FAILURE() << "no return value";
        return 0;
    }
    uint32_t create() { return reply_of(target.run(target.make(in::gles20_create_program))); }
    void link(uint32_t id) { target.run(target.make(in::gles20_link_program).u32(id)); }
    uint32_t linked()
    {
        uint32_t id = create();
        link(id);
        return id;
    }
    uint64_t put_text(const char* text)
    {
        std::memcpy(target.memory.data() + (text_at - raw_target::memory_base), text, std::strlen(text) + 1);
        return text_at;
    }

    /// A driver on the target that has compiled `other`.
    void run_calls_on_target()
    {
        library::set_target_gpu(TARGET_GPU_DUMMY);
        target.on_request = [this](const outbound_message& r) { return answer(r); };
    }
    confirmation answer(const outbound_message& r)
    {
        switch (r.type) {
        case in::gles20_get_programiv - out::call_offset:
            target.poke(r.at<uint64_t>(8), other.number(r.at<uint32_t>(4)));
            return {};
        case in::gles20_get_active_uniform - out::call_offset:
            return tell_target(other.uniforms.at(r.at<uint32_t>(4)), r);
        case in::gles20_get_active_attrib - out::call_offset:
            return tell_target(other.attributes.at(r.at<uint32_t>(4)), r);
        case in::gles20_get_uniform_location - out::call_offset:
            return confirm_with(compiled::location(other.uniforms, target.text_at(r.at<uint64_t>(4))));
        case in::gles20_get_attrib_location - out::call_offset:
            return confirm_with(compiled::location(other.attributes, target.text_at(r.at<uint64_t>(4))));
        case in::gles30_get_active_uniform_block_name - out::call_offset:
            write_name(r.at<uint64_t>(20), other.blocks.at(r.at<uint32_t>(4)));
            return {};
        default:
            return target.default_answer(r);
        }
    }
    void write_name(uint64_t at, const std::string& name)
    {
        std::memcpy(target.memory.data() + (at - raw_target::memory_base), name.c_str(), name.size() + 1);
    }
    confirmation tell_target(const variable& v, const outbound_message& r)
    {
        target.poke(r.at<uint64_t>(20), v.size);
        target.poke(r.at<uint64_t>(28), v.type);
        write_name(r.at<uint64_t>(36), v.name);
        return {};
    }

    GLuint last_host = 40;
};

TEST_F(programs, IdsOfProgramsAndShadersComeFromOneCounterAndNeedTheHost)
{
    EXPECT_EQ(create(), 1u);
    EXPECT_EQ(reply_of(target.run(target.make(in::gles20_create_shader).u32(GL_VERTEX_SHADER))), 2u);
    EXPECT_EQ(program(1).host_id, 41u);
    EXPECT_EQ(model().data_shared->shaders.at(2).host_id, 42u);
    fake_host::returns<&gles::glCreateProgram>(0);
    EXPECT_EQ(create(), 0u);
    EXPECT_EQ(model().data_shared->programs.size(), 1u);
}

TEST_F(programs, NamesOfTheWrongKindNeverReachTheHost)
{
    const uint32_t id = create();
    const uint32_t shader = reply_of(target.run(target.make(in::gles20_create_shader).u32(GL_VERTEX_SHADER)));
    fake_host::clear();
    const struct
    {
        message call;
        uint32_t error;
    } cases[] = {
        {target.make(in::gles20_link_program).u32(shader), GL_INVALID_OPERATION},
        {target.make(in::gles20_link_program).u32(99), GL_INVALID_VALUE},
        {target.make(in::gles20_compile_shader).u32(id), GL_INVALID_OPERATION},
        {target.make(in::gles20_compile_shader).u32(99), GL_INVALID_VALUE},
        {target.make(in::gles20_attach_shader).u32(shader).u32(shader), GL_INVALID_OPERATION},
        {target.make(in::gles20_attach_shader).u32(id).u32(99), GL_INVALID_VALUE},
        {target.make(in::gles20_delete_program).u32(shader), GL_INVALID_OPERATION},
        {target.make(in::gles20_delete_program).u32(99), GL_INVALID_VALUE},
        {target.make(in::gles20_delete_shader).u32(id), GL_INVALID_VALUE},
        {target.make(in::gles20_use_program).u32(99), GL_INVALID_VALUE},
        {target.make(in::gles20_get_programiv).u32(99).u32(GL_LINK_STATUS).u64(result_at), GL_INVALID_VALUE},
        {target.make(in::gles30_uniform_block_binding).u32(shader).u32(0).u32(0), GL_INVALID_OPERATION},
        {target.make(in::gles20_delete_program).u32(0), GL_NO_ERROR},
        {target.make(in::gles20_delete_shader).u32(0), GL_NO_ERROR},
    };
    for (const auto& c : cases) {
        target.run(c.call);
        EXPECT_EQ(error_of_target(), c.error) << c.call.type();
    }
    EXPECT_EQ(fake_host::texts(quiet), texts{});
}

TEST_F(programs, ADeletedShaderLivesAsLongAsItsProgramAndThatAsLongAsItsUse)
{
    const uint32_t id = create();
    const uint32_t shader = reply_of(target.run(target.make(in::gles20_create_shader).u32(GL_VERTEX_SHADER)));
    target.run(target.make(in::gles20_attach_shader).u32(id).u32(shader));
    target.run(target.make(in::gles20_delete_shader).u32(shader));
    target.run(target.make(in::gles20_delete_shader).u32(shader)); // released once
    EXPECT_TRUE(model().data_shared->shaders.contains(shader));
    target.run(target.make(in::gles20_use_program).u32(id));
    target.run(target.make(in::gles20_delete_program).u32(id));
    target.run(target.make(in::gles20_delete_program).u32(id));
    EXPECT_TRUE(model().data_shared->programs.contains(id));
    fake_host::clear();
    target.run(target.make(in::gles20_use_program).u32(0));
    EXPECT_EQ(fake_host::texts(quiet), (texts{"glUseProgram(0)"}));
    EXPECT_TRUE(model().data_shared->programs.empty());
    EXPECT_TRUE(model().data_shared->shaders.empty());
    EXPECT_EQ(model().current_program, 0u);
}

TEST_F(programs, WithoutATargetDriverTheHostsNumbersAreTheTargets)
{
    host.uniforms = {{"c", 1, GL_FLOAT_VEC4, 3}, {"a[0]", 4, GL_FLOAT, 7}, {"in_block", 1, GL_FLOAT, -1}};
    host.attributes = {
        {"m", 1, GL_FLOAT_MAT3, 4}, {"gl_VertexID", 1, GL_INT, -1}, {"p", 2, GL_FLOAT_VEC2, 1}};
    host.blocks = {"B"};
    const uint32_t id = linked();
    EXPECT_TRUE(program(id).link_status);
    EXPECT_EQ(program(id).used_attributes, (std::vector<uint32_t>{4, 5, 6, 1, 2}));
    ASSERT_EQ(program(id).uniforms.size(), 3u);
    for (const auto& row : program(id).uniforms) {
        EXPECT_EQ(row.host_location, row.target_location) << row.name;
        EXPECT_EQ(row.host_index, row.target_index) << row.name;
    }
    EXPECT_EQ(program(id).uniforms_by_target_location.size(), 2u);
    EXPECT_EQ(program(id).uniform_blocks_by_host_index.size(), 1u);
    model().host_major_version = 2;
    link(id);
    EXPECT_EQ(program(id).used_attributes.size(), 5u); // not twice
}

TEST_F(programs, UniformsGoToTheHostByLocation)
{
    host.uniforms = {{"c", 1, GL_FLOAT_VEC4, 3}, {"a[0]", 4, GL_FLOAT, 7}};
    const uint32_t id = linked();
    target.run(target.make(in::gles20_uniform_1f).u32(3).f32(1)); // no program in use
    target.run(target.make(in::gles20_use_program).u32(id));
    fake_host::clear();
    auto send = [&](const message& m) { target.run(m); };
    send(target.make(in::gles20_uniform_4f).i32(3).f32(1).f32(2).f32(3).f32(0.5f));
    send(target.make(in::gles20_uniform_1i).i32(9).i32(-5)); // third element
    send(target.make(in::gles20_uniform_1fv).i32(7).i32(2).u64(1).f32(1).f32(2));
    send(target.make(in::gles20_uniform_matrix_2fv).i32(3).i32(1).u8(1).u64(1).f32(1).f32(2).f32(3).f32(4));
    send(target.make(in::gles31_program_uniform_2ui).u32(id).i32(10).u32(8).u32(9));
    send(target.make(in::gles20_uniform_1f).i32(-1).f32(1));
    send(target.make(in::gles31_program_uniform_1f).u32(id).i32(-1).f32(1));
    EXPECT_EQ(error_of_target(), uint32_t{GL_NO_ERROR});
    EXPECT_EQ(fake_host::texts(quiet),
              (texts{"glUniform4f(3, 1, 2, 3, 0.5)", "glUniform1i(9, -5)", "glUniform1fv(7, 2, pointer)",
                     "glUniformMatrix2fv(3, 1, 1, pointer)", "glProgramUniform2ui(41, 10, 8, 9)"}));
    fake_host::clear();
    send(target.make(in::gles20_uniform_1f).i32(11).f32(1)); // behind the array
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    send(target.make(in::gles20_uniform_1fv).i32(7).i32(-1).u64(1));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    send(target.make(in::gles20_uniform_1fv).i32(7).i32(3).u64(0)); // the host must not read a missing array
    send(target.make(in::gles31_program_uniform_1f).u32(99).i32(3).f32(1));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    EXPECT_EQ(fake_host::texts(quiet), texts{});
}

TEST_F(programs, VectorsAndMatricesArriveWhole)
{
    host.uniforms = {{"m", 1, GL_FLOAT_MAT4x3, 5}};
    const uint32_t id = linked();
    target.run(target.make(in::gles20_use_program).u32(id));
    std::vector<float> seen;
    fake_host::hook<&gles::glUniformMatrix4x3fv>(
        [&](GLint, GLsizei count, GLboolean, const GLfloat* v) { seen.assign(v, v + 12 * count); });
    message m = target.make(in::gles30_uniform_matrix_4x_3fv).i32(5).i32(1).u8(0).u64(1);
    std::vector<float> sent;
    for (int i = 0; i < 12; ++i) {
        sent.push_back(static_cast<float>(i) / 4);
        m.f32(sent.back());
    }
    target.run(m);
    EXPECT_EQ(seen, sent);
}

TEST_F(programs, ALinkThatFailsLeavesEmptyTables)
{
    host.uniforms = {{"c", 1, GL_FLOAT, 3}};
    const uint32_t id = linked();
    target.run(target.make(in::gles20_use_program).u32(id));
    host = compiled{};
    host.linked = 0;
    link(id);
    EXPECT_FALSE(program(id).link_status);
    EXPECT_TRUE(program(id).uniforms.empty());
    target.run(target.make(in::gles20_uniform_1f).i32(3).f32(1));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    host.linked = 1; // the model's word counts
    target.run(target.make(in::gles20_get_programiv).u32(id).u32(GL_LINK_STATUS).u64(result_at));
    EXPECT_EQ(target.peek<uint32_t>(result_at), 0u);
}

TEST_F(programs, ATargetDriversNumbersAreTranslated)
{
    const uint32_t id = create();
    host.uniforms = {{"z", 1, GL_FLOAT, 1}, {"a", 4, GL_FLOAT, 7}, {"only_host", 1, GL_FLOAT, 2}};
    host.blocks = {"Y", "X"};
    other.uniforms = {{"a[0]", 4, GL_FLOAT, 20}, {"only_target", 1, GL_FLOAT, 5}, {"z", 1, GL_FLOAT, 30}};
    other.attributes = {{"p", 1, GL_FLOAT_VEC4, 6}, {"gl_VertexID", 1, GL_INT, -1}};
    other.blocks = {"X", "Y"};
    run_calls_on_target();
    sidechannel_set_log_level(3);
    library::begin_capture();
    auto sent = target.run(target.make(in::gles20_link_program).u32(id));
    const std::string printed = library::end_capture();
    EXPECT_EQ(
        library::occurrences(printed, "Target-side uniform [only_target] was not reported by host-side!"),
        1u);
    EXPECT_EQ(library::occurrences(printed, "only_host\n"), 1u); // in the list of what the host has
    EXPECT_EQ(fake_host::count("glBindAttribLocation"), 1u);
    EXPECT_EQ(program(id).used_attributes, (std::vector<uint32_t>{6}));
    auto found = model().data_shared->programs.find(id);
    int32_t location = 0;
    EXPECT_TRUE(zelvar_data_model_get_host_uniform_location_by_target_uniform_location(found, 22, &location));
    EXPECT_EQ(location, 9);
    EXPECT_FALSE(
        zelvar_data_model_get_host_uniform_location_by_target_uniform_location(found, 24, &location));
    EXPECT_FALSE(zelvar_data_model_get_host_uniform_location_by_target_uniform_location(found, 5, &location));
    EXPECT_TRUE(zelvar_data_model_get_target_uniform_location_by_host_uniform_location(found, 10, &location));
    EXPECT_EQ(location, 23);
    uint32_t index = 0;
    EXPECT_TRUE(zelvar_data_model_get_host_uniform_index_by_target_uniform_index(found, 2, &index));
    EXPECT_EQ(index, 0u);
    EXPECT_FALSE(zelvar_data_model_get_host_uniform_index_by_target_uniform_index(found, 1, &index));
    EXPECT_TRUE(
        zelvar_data_model_get_host_uniform_block_index_by_target_uniform_block_index(found, 0, &index));
    EXPECT_EQ(index, 1u);
    size_t told = 0;
    for (const auto& m : sent)
        told += m.type == out::store_attribute_index_used_by_program_in_shim_context;
    EXPECT_EQ(told, 2u); // the shim counts built-in ones too
}

TEST_F(programs, SidesThatDisagreeOnTheLinkKeepTheOldStatus)
{
    const uint32_t id = create();
    run_calls_on_target();
    other.linked = 0;
    sidechannel_set_log_level(2);
    library::begin_capture();
    target.run(target.make(in::gles20_link_program).u32(id));
    EXPECT_EQ(library::occurrences(library::end_capture(), "do not agree on link status"), 1u);
    EXPECT_FALSE(program(id).link_status);
}

TEST_F(programs, SourcesAreReadJoinedAndFiltered)
{
    target.run(target.make(in::gles20_create_shader).u32(GL_VERTEX_SHADER));
    fake_host::clear();
    const uint64_t table = result_at;
    const uint64_t lengths = result_at + 0x40;
    put_text("#version 130 // x\n");
    const uint64_t second = text_at + 0x100;
    write_name(second, "void main() {}garbage");
    target.poke(table, text_at);
    target.poke(table + 8, second);
    target.poke<int32_t>(lengths, -1);
    target.poke<int32_t>(lengths + 4, 14);
    zelvar_only_settings.shaderFilter = true;
    std::string given;
    fake_host::hook<&gles::glShaderSource>(
        [&](GLuint, GLsizei count, const GLchar* const* strings, const GLint* size) {
            EXPECT_EQ(count, 1);
            given.assign(strings[0], static_cast<size_t>(size[0]));
        });
    target.run(target.make(in::gles20_shader_source).u32(1).i32(2).u64(table).u64(lengths));
    EXPECT_EQ(given, "\nvoid main() {}");
    EXPECT_EQ(model().data_shared->shaders.at(1).source, "#version 130 // x\nvoid main() {}");
    target.run(
        target.make(in::gles20_get_shaderiv).u32(1).u32(GL_SHADER_SOURCE_LENGTH).u64(result_at + 0x80));
    EXPECT_EQ(target.peek<int32_t>(result_at + 0x80), 33) << "the length as written, with its end";
    zelvar_only_settings.shaderFilter = false; // versions are then the compiler's to judge
    target.run(target.make(in::gles20_shader_source).u32(1).i32(1).u64(table).u64(0));
    EXPECT_EQ(given, "#version 130 \n");
    target.run(target.make(in::gles20_shader_source).u32(1).i32(0).u64(0).u64(0));
    EXPECT_EQ(given, "");
    target.run(target.make(in::gles20_shader_source).u32(1).i32(-1).u64(0).u64(0));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    EXPECT_EQ(fake_host::count("glShaderSource"), 3u);
}

TEST_F(programs, LogsAreCutToTheRoomThatTheTargetHas)
{
    const uint32_t id = create();
    fake_host::hook<&gles::glGetProgramInfoLog>([](GLuint, GLsizei room, GLsizei*, GLchar* log) {
        snprintf(log, static_cast<size_t>(room), "%s", "a long story");
    });
    auto ask = [&](int32_t room) {
        target.poke<uint64_t>(text_at, 0x2323232323232323);
        target.run(
            target.make(in::gles20_get_program_info_log).u32(id).i32(room).u64(result_at).u64(text_at));
    };
    ask(7);
    EXPECT_EQ(target.text_at(text_at), "a long");
    EXPECT_EQ(target.peek<int32_t>(result_at), 6);
    EXPECT_EQ(target.peek<uint8_t>(text_at + 7), 0x23);
    ask(0);
    EXPECT_EQ(target.peek<uint8_t>(text_at), 0x23);
    ask(-1);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
}

TEST_F(programs, ABinaryIsTakenBackOnlyAsItWasGiven)
{
    host.uniforms = {{"c", 1, GL_FLOAT, 3}};
    const uint32_t id = linked();
    fake_host::hook<&gles::glGetProgramBinary>(
        [](GLuint, GLsizei, GLsizei* length, GLenum* format, void* bytes) {
            *length = 4;
            *format = 0x77;
            std::memcpy(bytes, "host", 4);
        });
    target.run(target.make(in::gles30_get_program_binary)
                   .u32(id)
                   .i32(64)
                   .u64(result_at)
                   .u64(result_at + 8)
                   .u64(text_at));
    EXPECT_EQ(target.peek<uint32_t>(result_at), 4u);
    EXPECT_EQ(target.peek<uint32_t>(result_at + 8), 0x77u);
    EXPECT_EQ(std::memcmp(target.memory.data() + (text_at - raw_target::memory_base), "host", 4), 0);
    const uint32_t restored = create();
    target.run(target.make(in::gles30_program_binary).u32(restored).u32(0x77).u64(text_at).i32(4));
    EXPECT_EQ(error_of_target(), uint32_t{GL_NO_ERROR});
    EXPECT_TRUE(program(restored).link_status);
    EXPECT_EQ(program(restored).uniforms.size(), 1u);
    target.poke<uint8_t>(text_at, 'H');
    target.run(target.make(in::gles30_program_binary).u32(restored).u32(0x77).u64(text_at).i32(4));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
    EXPECT_FALSE(program(restored).link_status);
    EXPECT_EQ(fake_host::count("glProgramBinary"), 1u);
}

TEST_F(programs, PipelinesRememberProgramsByStage)
{
    const uint32_t id = linked();
    model().data_nonshared->program_pipelines[5].host_id = 50;
    fake_host::clear();
    target.run(target.make(in::gles31_use_program_stages).u32(5).u32(1 | 32).u32(id));
    EXPECT_EQ(fake_host::texts(quiet), (texts{"glUseProgramStages(50, 33, 41)"}));
    EXPECT_EQ(model().data_nonshared->program_pipelines[5].stage_programs,
              (std::array<uint32_t, 6>{id, 0, 0, 0, 0, id}));
    target.run(target.make(in::gles31_use_program_stages).u32(6).u32(1).u32(id));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    target.run(target.make(in::gles31_use_program_stages).u32(5).u32(1).u32(create())); // never linked
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    target.run(target.make(in::gles31_get_program_pipeline_info_log).u32(6).i32(9).u64(0).u64(result_at));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    fake_host::hook<&gles::glGetProgramPipelineiv>([](GLuint, GLenum, GLint* v) { *v = 41; });
    target.run(target.make(in::gles31_get_program_pipelineiv).u32(5).u32(GL_VERTEX_SHADER).u64(result_at));
    EXPECT_EQ(target.peek<uint32_t>(result_at), id);
    target.run(target.make(in::gles31_bind_program_pipeline).u32(5));
    EXPECT_EQ(model().bound_program_pipeline, 5u);
}

TEST_F(programs, UniformIndicesComeBackInOrder)
{
    host.uniforms = {{"b", 1, GL_FLOAT, 0}, {"a", 1, GL_FLOAT, 1}};
    const uint32_t id = linked();
    fake_host::hook<&gles::glGetUniformIndices>(
        [](GLuint, GLsizei count, const GLchar* const* names, GLuint* indices) {
            for (GLsizei i = 0; i < count; ++i)
                indices[i] = !strcmp(names[i], "a") ? 1 : !strcmp(names[i], "b") ? 0 : GL_INVALID_INDEX;
        });
    target.run(target.make(in::gles30_get_uniform_indices)
                   .u32(id)
                   .i32(3)
                   .u64(1)
                   .u64(result_at)
                   .text("a")
                   .text("none")
                   .text("b"));
    EXPECT_EQ(target.peek<uint32_t>(result_at), 1u);
    EXPECT_EQ(target.peek<uint32_t>(result_at + 4), uint32_t{GL_INVALID_INDEX});
    EXPECT_EQ(target.peek<uint32_t>(result_at + 8), 0u);
    target.run(
        target.make(in::gles30_get_active_uniformsiv).u32(id).i32(1).u64(1).u32(1).u64(result_at).u32(0));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
    target.run(target.make(in::gles30_get_active_uniformsiv)
                   .u32(id)
                   .i32(1)
                   .u64(1)
                   .u32(GL_UNIFORM_TYPE)
                   .u64(result_at)
                   .u32(2));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
}

TEST(glsl_types, SizesOfTypes)
{
    const struct
    {
        uint32_t type, element, components, columns;
    } cases[] = {
        {GL_FLOAT, 4, 1, 1},        {GL_BOOL_VEC3, 1, 3, 1},    {GL_FLOAT_MAT4x3, 4, 12, 4},
        {GL_FLOAT_MAT2x4, 4, 8, 2}, {GL_FLOAT_MAT3x2, 4, 6, 3}, {GL_SAMPLER_2D_ARRAY_SHADOW, 4, 1, 1},
        {GL_IMAGE_2D, 4, 1, 1},     {0x1234, 0, 1, 1},
    };
    sidechannel_set_log_level(2);
    library::begin_capture();
    for (const auto& c : cases) {
        EXPECT_EQ(zelvar_get_element_size_from_GLSL_type(c.type), c.element) << c.type;
        EXPECT_EQ(zelvar_get_n_components_from_GLSL_type(c.type), c.components) << c.type;
        EXPECT_EQ(zelvar_get_n_indice_from_GLSL_type(c.type), c.columns) << c.type;
    }
    EXPECT_EQ(library::occurrences(library::end_capture(), "was not recognized"), 3u);
}
} // namespace
