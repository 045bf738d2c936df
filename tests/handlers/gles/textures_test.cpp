// Names, bindings and parameters of textures and samplers.

#include "handlers/gles/buffers_fixture.h"

namespace {
enum extension_row
{
    texture_storage = 8,
    egl_image_external = 15,
    texture_3d = 23,
};

class textures : public buffers_fixture
{
protected:
    void report_extension(extension_row row)
    {
        target.run(target.make(in::gles20_get_integerv).u32(GL_NUM_EXTENSIONS).u64(memory));
        model().extensions.supported[row] = 1;
        fake_host::clear();
    }
    void bind_texture(uint32_t point, uint32_t id)
    {
        target.run(target.make(in::gles20_bind_texture).u32(point).u32(id));
    }
    bool is_texture(uint32_t id)
    {
        return target.run(target.make(in::gles20_is_texture).u32(id)).at(0).at<uint8_t>(1) == GL_TRUE;
    }
    uint32_t host_id(uint32_t id) { return model().data_shared->textures.at(id).host_id; }
};

TEST_F(textures, ANameIsATextureOnceItWasBound)
{
    auto ids = generate(in::gles20_gen_textures, 1);
    EXPECT_FALSE(is_texture(ids[0]));
    bind_texture(GL_TEXTURE_2D, ids[0]);
    EXPECT_TRUE(is_texture(ids[0]));
    bind_texture(GL_TEXTURE_2D, 70); // a name that nobody generated
    EXPECT_TRUE(is_texture(70));
    EXPECT_FALSE(is_texture(0));
    EXPECT_FALSE(is_texture(99));
    EXPECT_EQ(fake_host::count("glIsTexture"), 0u);
    EXPECT_EQ(fake_host::calls().at(fake_host::calls().size() - 2),
              fake_host::made("glBindTexture", GL_TEXTURE_2D, host_id(70)));
}

TEST_F(textures, EachUnitRemembersItsTextures)
{
    bind_texture(GL_TEXTURE_2D, 7);
    target.run(target.make(in::gles20_active_texture).u32(GL_TEXTURE3));
    bind_texture(GL_TEXTURE_CUBE_MAP, 8);
    auto& units = model().texture_bindings;
    EXPECT_EQ(units[GL_TEXTURE0][GL_TEXTURE_2D], 7u);
    EXPECT_EQ(units[GL_TEXTURE3][GL_TEXTURE_2D], 0u);
    EXPECT_EQ(units[GL_TEXTURE3][GL_TEXTURE_CUBE_MAP], 8u);

    // What the host refuses has not happened.
    fake_host::fails<&gles::glActiveTexture>(GL_INVALID_ENUM);
    target.run(target.make(in::gles20_active_texture).u32(GL_TEXTURE0 + 5000));
    EXPECT_EQ(model().active_texture, uint32_t{GL_TEXTURE3});
    fake_host::fails<&gles::glBindTexture>(GL_INVALID_OPERATION);
    bind_texture(GL_TEXTURE_2D, 8);
    EXPECT_EQ(units[GL_TEXTURE3][GL_TEXTURE_2D], 0u);
}

TEST_F(textures, ANameThatTheHostWontMakeIsNotBound)
{
    fake_host::fails<&gles::glGenTextures>(GL_OUT_OF_MEMORY);
    fake_host::clear();
    auto printed = library::printed_by([&] { bind_texture(GL_TEXTURE_2D, 7); });
    EXPECT_EQ(
        printed.find("ERROR [ZELVAR] Could not execute generate-upon-binding path for target-side texture "
                     "object id [7]! Host-side will NOT execute the call"),
        0u);
    EXPECT_EQ(fake_host::count("glBindTexture"), 0u);
    EXPECT_EQ(error_of_target(), uint32_t{GL_OUT_OF_MEMORY});
}

TEST_F(textures, ExternalOnesNeedTheirExtension)
{
    auto all = [&] {
        bind_texture(GL_TEXTURE_EXTERNAL_OES, 5);
        target.run(target.make(in::gles20_tex_parameteri).u32(GL_TEXTURE_EXTERNAL_OES).u32(1).i32(2));
        target.run(
            target.make(in::gles20_get_tex_parameterfv).u32(GL_TEXTURE_EXTERNAL_OES).u32(1).u64(memory));
    };
    fake_host::clear();
    auto printed = library::printed_by(all);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    EXPECT_EQ(fake_host::texts(quiet), texts{});
    EXPECT_EQ(library::occurrences(printed, "ERROR [ZELVAR] Cannot execute glGetTexParameterfv() as "
                                            "GL_OES_EGL_image_external extension is not supported on both: "
                                            "target and host"),
              1u);
    report_extension(egl_image_external);
    all();
    EXPECT_EQ(fake_host::texts(quiet).size(), 4u);
    EXPECT_EQ(error_of_target(), 0u);
}

TEST_F(textures, ParametersComeByValueAndFromMemory)
{
    std::vector<std::array<float, 4>> reals;
    fake_host::hook<&gles::glTexParameterfv>([&](GLenum, GLenum, const GLfloat* p) {
        reals.push_back({p[0], p[1], p[2], p[3]});
    });
    std::vector<std::array<int, 4>> wholes;
    fake_host::hook<&gles::glTexParameteriv>([&](GLenum, GLenum, const GLint* p) {
        wholes.push_back({p[0], p[1], p[2], p[3]});
    });
    target.poke<float>(memory, 2.5f);
    target.poke<uint32_t>(memory + 4, 0xdead);
    target.run(
        target.make(in::gles20_tex_parameterfv).u32(GL_TEXTURE_2D).u32(GL_TEXTURE_MAX_LOD).u64(memory));
    target.run(target.make(in::gles20_tex_parameteriv)
                   .u32(GL_TEXTURE_2D)
                   .u32(GL_TEXTURE_BASE_LEVEL)
                   .u64(memory + 4));
    target.run(target.make(in::gles20_tex_parameterf).u32(GL_TEXTURE_2D).u32(GL_TEXTURE_MIN_LOD).f32(1.5f));
    EXPECT_EQ(reals, (std::vector<std::array<float, 4>>{{2.5f}})) << "one value is the target's";
    EXPECT_EQ(wholes, (std::vector<std::array<int, 4>>{{0xdead}}));
    EXPECT_EQ(fake_host::texts(quiet).back(), "glTexParameterf(3553, 33082, 1.5)");
}

TEST_F(textures, QueriesAnswerOnlyWhereTheTargetHasNoDriver)
{
    fake_host::hook<&gles::glGetTexParameteriv>([](GLenum, GLenum, GLint* p) { *p = 9729; });
    fake_host::hook<&gles::glGetTexLevelParameterfv>(
        [](GLenum, GLint level, GLenum, GLfloat* p) { *p = static_cast<float>(level) + 0.5f; });
    auto query = [&] {
        target.poke<uint64_t>(memory, 0);
        target.run(target.make(in::gles20_get_tex_parameteriv)
                       .u32(GL_TEXTURE_2D)
                       .u32(GL_TEXTURE_MIN_FILTER)
                       .u64(memory));
        target.run(target.make(in::gles31_get_tex_level_parameterfv)
                       .u32(GL_TEXTURE_2D)
                       .i32(3)
                       .u32(GL_TEXTURE_WIDTH)
                       .u64(memory + 4));
    };
    query();
    EXPECT_EQ(target.peek<int32_t>(memory), 9729);
    EXPECT_EQ(target.peek<float>(memory + 4), 3.5f);
    fake_host::gl_errors({GL_INVALID_ENUM, GL_INVALID_ENUM});
    query();
    EXPECT_EQ(target.peek<uint64_t>(memory), 0u) << "nothing is written on failure";
    library::set_target_gpu(TARGET_GPU_DUMMY);
    query();
    EXPECT_EQ(target.peek<uint64_t>(memory), 0u) << "the target has its answer";
}

TEST_F(textures, OnlyTheValuesThatAFormatHasAreWritten)
{
    fake_host::hook<&gles::glGetInternalformativ>([](GLenum, GLenum, GLenum pname, GLsizei n, GLint* p) {
        if (pname == GL_NUM_SAMPLE_COUNTS)
            *p = 2;
        else
            for (GLsizei i = 0; i < std::min(n, 2); ++i)
                p[i] = 8 - 4 * i;
    });
    auto query = [&](uint32_t pname, int32_t room) {
        std::fill_n(target.memory.begin(), 16, 0xee);
        target.run(target.make(in::gles30_get_internalformativ)
                       .u32(GL_RENDERBUFFER)
                       .u32(GL_RGBA8)
                       .u32(pname)
                       .i32(room)
                       .u64(memory));
        return std::array{target.peek<uint32_t>(memory), target.peek<uint32_t>(memory + 4),
                          target.peek<uint32_t>(memory + 8)};
    };
    const uint32_t untouched = 0xeeeeeeee;
    EXPECT_EQ(query(GL_SAMPLES, 3), (std::array<uint32_t, 3>{8, 4, untouched}));
    EXPECT_EQ(query(GL_SAMPLES, 1), (std::array<uint32_t, 3>{8, untouched, untouched}));
    EXPECT_EQ(query(GL_SAMPLES, 0), (std::array<uint32_t, 3>{untouched, untouched, untouched}));
    EXPECT_EQ(query(GL_NUM_SAMPLE_COUNTS, INT32_MAX), (std::array<uint32_t, 3>{2, untouched, untouched}));
}

TEST_F(textures, EntryPointsOfExtensionsNeedThem)
{
    auto all = [&] {
        target.run(
            target.make(in::gles20_tex_storage_2dext).u32(GL_TEXTURE_2D).i32(1).u32(GL_RGBA8).i32(4).i32(5));
        target.run(target.make(in::gles20_tex_image_3does)
                       .u32(GL_TEXTURE_3D)
                       .i32(0)
                       .u32(GL_RGBA)
                       .i32(1)
                       .i32(1)
                       .i32(1)
                       .i32(0)
                       .u32(GL_RGBA)
                       .u32(GL_UNSIGNED_BYTE)
                       .u64(0));
    };
    fake_host::clear();
    auto printed = library::printed_by(all);
    EXPECT_EQ(fake_host::texts(quiet), texts{});
    EXPECT_EQ(
        library::occurrences(printed, "GLES_EXTENSION_GL_EXT_TEXTURE_STORAGE extensions not supported."), 1u);
    EXPECT_EQ(library::occurrences(printed, "ERROR [ZELVAR] OES_texture_3D extension not supported."), 1u);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    report_extension(texture_storage);
    report_extension(texture_3d);
    all();
    EXPECT_EQ(fake_host::texts(quiet),
              (texts{"glTexStorage2DEXT(3553, 1, 32856, 4, 5)",
                     "glTexImage3DOES(32879, 0, 6408, 1, 1, 1, 0, 6408, 5121, null)"}));
    fake_host::clear();
    target.run(
        target.make(in::gles30_tex_storage_3d).u32(GL_TEXTURE_3D).i32(1).u32(GL_RGBA8).i32(4).i32(5).i32(6));
    EXPECT_EQ(fake_host::texts(quiet), (texts{"glTexStorage3D(32879, 1, 32856, 4, 5, 6)"}));
}

TEST_F(textures, SamplersAreTheHostsOnes)
{
    std::vector<float> reals;
    fake_host::hook<&gles::glSamplerParameterfv>(
        [&](GLuint, GLenum, const GLfloat* p) { reals.assign(p, p + 4); });
    fake_host::hook<&gles::glGetSamplerParameteriv>([](GLuint, GLenum, GLint* p) { *p = 33071; });
    fake_host::returns<&gles::glIsSampler>(GL_TRUE);
    const uint32_t id = generate(in::gles30_gen_samplers, 1)[0];
    const auto host = std::to_string(model().data_shared->samplers.at(id).host_id);
    fake_host::clear();
    target.run(target.make(in::gles30_bind_sampler).u32(2).u32(id));
    target.run(target.make(in::gles30_bind_sampler).u32(2).u32(0));
    target.run(
        target.make(in::gles30_sampler_parameteriv).u32(id).u32(GL_TEXTURE_WRAP_S).u64(memory).i32(10497));
    target.run(
        target.make(in::gles30_sampler_parameterfv).u32(id).u32(GL_TEXTURE_MIN_LOD).u64(memory).f32(0.25f));
    target.run(
        target.make(in::gles30_sampler_parameterfv).u32(id).u32(GL_TEXTURE_MIN_LOD).u64(memory)); // no value
    target.run(
        target.make(in::gles30_get_sampler_parameteriv).u32(id).u32(GL_TEXTURE_WRAP_S).u64(memory + 8));
    EXPECT_EQ(fake_host::texts(quiet), (texts{"glBindSampler(2, " + host + ")", "glBindSampler(2, 0)",
                                              "glSamplerParameteriv(" + host + ", 10242, pointer)",
                                              "glSamplerParameterfv(" + host + ", 33082, pointer)",
                                              "glSamplerParameterfv(" + host + ", 33082, pointer)",
                                              "glGetSamplerParameteriv(" + host + ", 10242, pointer)"}));
    EXPECT_EQ(reals, (std::vector<float>{0, 0, 0, 0}));
    EXPECT_EQ(target.peek<int32_t>(memory + 8), 33071);
    auto is_sampler = [&](uint32_t name) {
        return target.run(target.make(in::gles30_is_sampler).u32(name)).at(0).at<uint8_t>(1);
    };
    EXPECT_EQ(is_sampler(id), GL_TRUE);
    EXPECT_EQ(is_sampler(id + 1), GL_FALSE);

    fake_host::clear();
    target.run(target.make(in::gles30_bind_sampler).u32(0).u32(id + 1));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    target.run(target.make(in::gles30_sampler_parameteri).u32(id + 1).u32(GL_TEXTURE_WRAP_S).i32(0));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    EXPECT_EQ(fake_host::texts(quiet), texts{});
}
} // namespace
