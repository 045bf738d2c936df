// Framebuffers and renderbuffers: what is bound and attached, what the host is asked, what comes back.

#include "handlers/gles/buffers_fixture.h"

namespace {
class gles_framebuffers : public buffers_fixture
{
protected:
    void bind_framebuffer(uint32_t point, uint32_t id)
    {
        target.run(target.make(in::gles20_bind_framebuffer).u32(point).u32(id));
    }
    void bind_renderbuffer(uint32_t id)
    {
        target.run(target.make(in::gles20_bind_renderbuffer).u32(GL_RENDERBUFFER).u32(id));
    }
    void attach_renderbuffer(uint32_t point, uint32_t attachment, uint32_t id)
    {
        target.run(target.make(in::gles20_framebuffer_renderbuffer)
                       .u32(point)
                       .u32(attachment)
                       .u32(GL_RENDERBUFFER)
                       .u32(id));
    }
    void attach_texture(uint32_t attachment, uint32_t id)
    {
        target.run(target.make(in::gles20_framebuffer_texture_2d)
                       .u32(GL_FRAMEBUFFER)
                       .u32(attachment)
                       .u32(GL_TEXTURE_2D)
                       .u32(id)
                       .i32(3));
    }
    /// What the host says is attached.
    void let_host_have(uint32_t type, uint32_t host_name)
    {
        fake_host::hook<&gles::glGetFramebufferAttachmentParameteriv>(
            [=](GLenum, GLenum, GLenum pname, GLint* value) {
                *value = static_cast<GLint>(pname == GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE   ? type
                                            : pname == GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME ? host_name
                                                                                             : 4321);
            });
    }
    uint32_t attachment_parameter(uint32_t pname)
    {
        target.poke<uint32_t>(memory, 0xeeeeeeee);
        target.run(target.make(in::gles20_get_framebuffer_attachment_parameteriv)
                       .u32(GL_FRAMEBUFFER)
                       .u32(GL_COLOR_ATTACHMENT0)
                       .u32(pname)
                       .u64(memory));
        return target.peek<uint32_t>(memory);
    }
    uint32_t answer(const message& call) { return target.run(call).at(0).at<uint8_t>(1); }
    _zelvar_framebuffer_object_descriptor& framebuffer(uint32_t id)
    {
        return model().data_nonshared->framebuffers.at(id);
    }
    uint32_t host_renderbuffer(uint32_t id) { return model().data_shared->renderbuffers.at(id).host_id; }
    uint32_t host_texture(uint32_t id) { return model().data_shared->textures.at(id).host_id; }
};

TEST_F(gles_framebuffers, BindingMakesAnObjectOfAName)
{
    auto is = [&](uint32_t type, uint32_t id) { return answer(target.make(type).u32(id)); };
    for (auto [gen, query, bind] :
         {std::tuple{in::gles20_gen_framebuffers, in::gles20_is_framebuffer, in::gles20_bind_framebuffer},
          {in::gles20_gen_renderbuffers, in::gles20_is_renderbuffer, in::gles20_bind_renderbuffer}}) {
        uint32_t point = bind == in::gles20_bind_framebuffer ? GL_FRAMEBUFFER : GL_RENDERBUFFER;
        uint32_t id = generate(gen, 1).at(0);
        EXPECT_EQ(is(query, id), 0u) << "a name alone";
        fake_host::gl_errors({GL_INVALID_ENUM});
        target.run(target.make(bind).u32(point).u32(id));
        EXPECT_EQ(is(query, id), 0u) << "the host has refused it";
        target.run(target.make(bind).u32(point).u32(id));
        EXPECT_EQ(is(query, id), 1u);
        target.run(target.make(bind).u32(point).u32(70)); // nobody has generated this one
        EXPECT_EQ(is(query, 70), 1u);
        fake_host::gl_errors({GL_OUT_OF_MEMORY});
        fake_host::clear();
        target.run(target.make(bind).u32(point).u32(71));
        EXPECT_EQ(fake_host::texts(quiet).size(), 1u) << "no name, no bind";
        EXPECT_EQ(is(query, 0), 0u);
    }
    EXPECT_EQ(model().draw_framebuffer, 70u);
    EXPECT_EQ(model().bound_renderbuffer, 70u);
}

TEST_F(gles_framebuffers, DrawAndReadAreBoundApart)
{
    auto bound = [&] { return std::pair{model().draw_framebuffer, model().read_framebuffer}; };
    bind_framebuffer(GL_FRAMEBUFFER, 5);
    EXPECT_EQ(bound(), (std::pair{5u, 5u}));
    bind_framebuffer(GL_READ_FRAMEBUFFER, 6);
    bind_framebuffer(GL_DRAW_FRAMEBUFFER, 0);
    EXPECT_EQ(bound(), (std::pair{0u, 6u}));
    EXPECT_EQ(fake_host::texts(quiet).back(), "glBindFramebuffer(36009, 0)");
    auto printed = library::printed_by([&] { bind_framebuffer(GL_TEXTURE_2D, 5); });
    EXPECT_EQ(library::occurrences(printed, "ERROR [ZELVAR] Unkown frame buffer binding point [3553].\n"),
              1u);
    EXPECT_EQ(bound(), (std::pair{0u, 6u}));
}

TEST_F(gles_framebuffers, LeavingAFramebufferLooksForAnImage)
{
    bind_renderbuffer(3);
    generate(in::gles20_gen_textures, 3);
    bind_framebuffer(GL_FRAMEBUFFER, 5);
    auto queries_of = [&](auto code) {
        fake_host::clear();
        code();
        return fake_host::count("glGetFramebufferAttachmentParameteriv");
    };
    auto leave = [&] { bind_framebuffer(GL_FRAMEBUFFER, 0); };
    auto leave_and_return = [&] {
        leave();
        bind_framebuffer(GL_FRAMEBUFFER, 5);
    };
    EXPECT_EQ(queries_of([&] { bind_framebuffer(GL_FRAMEBUFFER, 5); }), 0u) << "the same again";
    EXPECT_EQ(queries_of(leave_and_return), 1u) << "nothing is attached";

    // The texture and the renderbuffer have one number on the target; only the texture is an image.
    ASSERT_TRUE(zelvar_object_manager_add_egl_image(raw_target::pid, nullptr, 0x1a));
    zelvar_object_manager_set_egl_image_target_sibling(raw_target::pid, 0x1a, 3, GL_TEXTURE);
    zelvar_object_manager_set_egl_image_android_native_window_buffer_parameters(raw_target::pid, 0x1a, 0xb0b,
                                                                                {});
    let_host_have(GL_RENDERBUFFER, host_renderbuffer(3));
    auto printed = library::printed_by(leave_and_return);
    EXPECT_EQ(library::occurrences(printed, "ERROR"), 0u);
    EXPECT_EQ(fake_host::count("glReadPixels"), 0u);
    let_host_have(GL_TEXTURE, host_texture(3));
    zelvar_object_manager_set_egl_image_service_texture(raw_target::pid, 0x1a, 800);
    printed = library::printed_by(leave_and_return);
    EXPECT_EQ(library::occurrences(printed, "What was rendered into buffer [2827] is not written back."), 1u);
    let_host_have(0x1234, 1);
    printed = library::printed_by(leave_and_return);
    EXPECT_EQ(
        library::occurrences(printed, "ERROR [ZELVAR] FBO 5 has unknown color attachment of type 1234\n"),
        1u);

    // What goes wrong here is no error of the application's call.
    fake_host::gl_errors({GL_INVALID_OPERATION});
    leave();
    EXPECT_EQ(error_of_target(), 0u);
    EXPECT_EQ(model().draw_framebuffer, 0u);
}

TEST_F(gles_framebuffers, AttachmentsGoToTheHostAndAreRecorded)
{
    bind_renderbuffer(3);
    auto textures = generate(in::gles20_gen_textures, 2);
    bind_framebuffer(GL_FRAMEBUFFER, 5);
    bind_framebuffer(GL_READ_FRAMEBUFFER, 6);

    attach_renderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT31, 3);
    EXPECT_EQ(fake_host::calls().at(fake_host::calls().size() - 2),
              fake_host::made("glFramebufferRenderbuffer", GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT31,
                              GL_RENDERBUFFER, host_renderbuffer(3)));
    EXPECT_EQ(framebuffer(5).color[31].type, attachment_renderbuffer);
    EXPECT_EQ(framebuffer(5).color[31].renderbuffer, 3u);
    attach_renderbuffer(GL_READ_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, 3);
    EXPECT_EQ(framebuffer(6).depth_stencil.renderbuffer, 3u);
    EXPECT_EQ(framebuffer(5).depth_stencil.type, attachment_none);

    attach_texture(GL_DEPTH_ATTACHMENT, textures[1]);
    EXPECT_EQ(fake_host::calls().at(fake_host::calls().size() - 2),
              fake_host::made("glFramebufferTexture2D", GL_FRAMEBUFFER, GL_DEPTH_ATTACHMENT, GL_TEXTURE_2D,
                              host_texture(textures[1]), 3));
    EXPECT_EQ(framebuffer(5).depth.texture.texture, textures[1]);
    EXPECT_EQ(framebuffer(5).depth.texture.level, 3u);
    EXPECT_EQ(framebuffer(5).depth.texture.target, uint32_t{GL_TEXTURE_2D});
    attach_texture(GL_STENCIL_ATTACHMENT, 0);
    EXPECT_EQ(framebuffer(5).stencil.type, attachment_texture);
    target.run(target.make(in::gles30_framebuffer_texture_layer)
                   .u32(GL_DRAW_FRAMEBUFFER)
                   .u32(GL_COLOR_ATTACHMENT0)
                   .u32(textures[0])
                   .i32(1)
                   .i32(7));
    EXPECT_EQ(framebuffer(5).color[0].texture.layer, 7u);
    EXPECT_EQ(fake_host::calls().at(fake_host::calls().size() - 2),
              fake_host::made("glFramebufferTextureLayer", GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0,
                              host_texture(textures[0]), 1, 7));
    EXPECT_EQ(error_of_target(), 0u);
}

TEST_F(gles_framebuffers, WrongAttachmentsLeaveTheRecordAsItIs)
{
    bind_renderbuffer(3);
    bind_framebuffer(GL_FRAMEBUFFER, 5);
    fake_host::clear();
    attach_renderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, 99);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    attach_texture(GL_COLOR_ATTACHMENT0, 3); // a renderbuffer's name
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    // The target is not told of these extensions.
    auto with_texture = [&](uint32_t type) {
        return target.make(type)
            .u32(GL_FRAMEBUFFER)
            .u32(GL_COLOR_ATTACHMENT0)
            .u32(GL_TEXTURE_2D)
            .u32(0)
            .i32(0)
            .i32(4);
    };
    for (uint32_t type :
         {in::gles20_framebuffer_texture_2dmultisample_ext, in::gles20_framebuffer_texture_3does}) {
        target.run(with_texture(type));
        EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    }
    EXPECT_EQ(fake_host::texts(quiet), texts{});

    fake_host::gl_errors({GL_INVALID_ENUM});
    attach_renderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, 3);
    EXPECT_EQ(framebuffer(5).color[0].type, attachment_none);
    auto printed = library::printed_by(
        [&] { attach_renderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT31 + 2, 3); }); // the one after is depth
    EXPECT_EQ(library::occurrences(printed, "FATAL [ZELVAR] Unrecognized attachment type [36097]\n"), 1u);
    EXPECT_EQ(fake_host::count("glFramebufferRenderbuffer"), 2u) << "the host was asked first";
    bind_framebuffer(GL_FRAMEBUFFER, 0);
    printed = library::printed_by([&] { attach_renderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, 3); });
    EXPECT_EQ(library::occurrences(printed, "lack info on FBO with target-side id [0] ! Desync ahead."), 1u);
}

TEST_F(gles_framebuffers, AnExtensionsTexturesAreAttachedWhereItIsReported)
{
    auto texture = generate(in::gles20_gen_textures, 1).at(0);
    bind_framebuffer(GL_FRAMEBUFFER, 5);
    model().extensions.supported[3] = model().extensions.supported[23] = 1;
    auto attach = [&](uint32_t type, uint32_t attachment, int32_t last) {
        target.run(target.make(type)
                       .u32(GL_FRAMEBUFFER)
                       .u32(attachment)
                       .u32(GL_TEXTURE_2D)
                       .u32(texture)
                       .i32(0)
                       .i32(last));
    };
    attach(in::gles20_framebuffer_texture_2dmultisample_ext, GL_COLOR_ATTACHMENT0, 4);
    attach(in::gles20_framebuffer_texture_3does, GL_COLOR_ATTACHMENT1, 9);
    EXPECT_EQ(framebuffer(5).color[0].texture.samples, 4u);
    EXPECT_EQ(framebuffer(5).color[0].texture.layer, 0u);
    EXPECT_EQ(framebuffer(5).color[1].texture.layer, 9u);
    EXPECT_EQ(fake_host::count("glFramebufferTexture2DMultisampleEXT"), 1u);
    EXPECT_EQ(fake_host::count("glFramebufferTexture3DOES"), 1u);
}

TEST_F(gles_framebuffers, AttachedObjectsHaveTheTargetsNames)
{
    auto texture = generate(in::gles20_gen_textures, 2).at(1);
    bind_renderbuffer(30);
    model().data_shared->renderbuffers.at(30).host_id = host_texture(texture); // two name spaces
    let_host_have(GL_TEXTURE, host_texture(texture));
    EXPECT_EQ(attachment_parameter(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME), texture);
    EXPECT_EQ(attachment_parameter(GL_FRAMEBUFFER_ATTACHMENT_RED_SIZE), 4321u);
    let_host_have(GL_RENDERBUFFER, host_renderbuffer(30));
    EXPECT_EQ(attachment_parameter(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME), 30u);
    remove(in::gles20_delete_renderbuffers, {30}); // a framebuffer that isn't bound keeps it
    EXPECT_EQ(attachment_parameter(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME), 30u);
    let_host_have(GL_RENDERBUFFER, 987654);
    EXPECT_EQ(attachment_parameter(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME), 0u) << "never the host's own";
    fake_host::gl_errors({GL_INVALID_ENUM});
    EXPECT_EQ(attachment_parameter(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE), 0xeeeeeeeeu);
    library::set_target_gpu(TARGET_GPU_DUMMY);
    EXPECT_EQ(attachment_parameter(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE), 0xeeeeeeeeu);
}

TEST_F(gles_framebuffers, BlitsWantCompleteFramebuffers)
{
    GLenum incomplete = 0;
    fake_host::hook<&gles::glCheckFramebufferStatus>([&](GLenum point) -> GLenum {
        return point == incomplete ? GL_FRAMEBUFFER_UNSUPPORTED : GL_FRAMEBUFFER_COMPLETE;
    });
    auto blit = [&] {
        auto call = target.make(in::gles30_blit_framebuffer);
        for (int32_t edge = 1; edge <= 8; ++edge)
            call.i32(edge);
        return library::printed_by([&] { target.run(call.u32(GL_COLOR_BUFFER_BIT).u32(GL_NEAREST)); });
    };
    for (auto [point, line] :
         {std::pair{GL_READ_FRAMEBUFFER, "GL_READ_FRAMEBUFFER is not framebuffer complete."},
          {GL_DRAW_FRAMEBUFFER, "GL_DRAW_FRAMEBUFFER is not framebuffer complete."}}) {
        incomplete = static_cast<GLenum>(point);
        EXPECT_EQ(library::occurrences(blit(), std::string("ERROR [ZELVAR] ") + line + "\n"), 1u);
        EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_FRAMEBUFFER_OPERATION});
        EXPECT_EQ(target.run(target.make(in::gles20_check_framebuffer_status).u32(incomplete))
                      .at(0)
                      .at<uint32_t>(1),
                  uint32_t{GL_FRAMEBUFFER_UNSUPPORTED});
    }
    EXPECT_EQ(fake_host::count("glBlitFramebuffer"), 0u);
    incomplete = 0;
    blit();
    EXPECT_EQ(fake_host::texts(quiet).back(), "glBlitFramebuffer(1, 2, 3, 4, 5, 6, 7, 8, 16384, 9728)");
}

TEST_F(gles_framebuffers, ListsOfBuffersStandInTheMessage)
{
    std::vector<uint32_t> host_got;
    auto keep = [&](GLsizei n, const GLenum* list) { host_got.assign(list, list + n); };
    fake_host::hook<&gles::glDrawBuffers>(keep);
    fake_host::hook<&gles::glInvalidateFramebuffer>([=](GLenum, GLsizei n, const GLenum* p) { keep(n, p); });
    fake_host::hook<&gles::glDiscardFramebufferEXT>([=](GLenum, GLsizei n, const GLenum* p) { keep(n, p); });
    fake_host::hook<&gles::glInvalidateSubFramebuffer>(
        [=](GLenum, GLsizei n, const GLenum* p, GLint x, GLint y, GLsizei w, GLsizei h) {
            keep(n, p);
            EXPECT_EQ((std::vector{x, y, w, h}), (std::vector{1, 2, 3, 4}));
        });
    auto send = [&](uint32_t type, uint32_t point, int32_t n, const std::vector<uint32_t>& list) {
        host_got = {7};
        auto call = target.make(type);
        if (type != in::gles30_draw_buffers)
            call.u32(point);
        call.i32(n).u64(memory);
        if (type == in::gles30_invalidate_sub_framebuffer)
            call.i32(1).i32(2).i32(3).i32(4);
        target.run(call.raw(list.data(), list.size() * 4));
        return host_got;
    };
    const std::vector<uint32_t> attachments{GL_COLOR_ATTACHMENT0, GL_NONE, GL_COLOR_ATTACHMENT2};
    EXPECT_EQ(send(in::gles30_draw_buffers, 0, 3, attachments), attachments);
    EXPECT_EQ(send(in::gles30_draw_buffers, 0, 1000, attachments), attachments) << "no byte behind the list";
    const std::vector<uint32_t> untouched{7}, defaults{GL_DEPTH, GL_STENCIL, GL_COLOR};
    for (uint32_t type : {in::gles30_invalidate_framebuffer, in::gles30_invalidate_sub_framebuffer,
                          in::gles20_discard_framebuffer_ext}) {
        bind_framebuffer(GL_FRAMEBUFFER, 0);
        EXPECT_EQ(send(type, GL_FRAMEBUFFER, 3, defaults), defaults);
        EXPECT_EQ(send(type, GL_FRAMEBUFFER, 3, attachments), untouched);
        EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
        EXPECT_EQ(send(type, GL_FRAMEBUFFER, -1, {}), untouched);
        EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
        bind_framebuffer(GL_READ_FRAMEBUFFER, 5);
        EXPECT_EQ(send(type, GL_DRAW_FRAMEBUFFER, 3, attachments), untouched);
        EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
        EXPECT_EQ(send(type, GL_READ_FRAMEBUFFER, 3, attachments), attachments);
        EXPECT_EQ(error_of_target(), 0u);
    }
}

TEST_F(gles_framebuffers, NothingIsReadFromNoBuffer)
{
    GLint buffer = GL_BACK;
    fake_host::hook<&gles::glGetIntegerv>([&](GLenum, GLint* value) { *value = buffer; });
    auto read = [&](size_t reads, uint32_t error) {
        fake_host::clear();
        auto call = target.make(in::gles20_read_pixels).i32(0).i32(0).i32(1).i32(1);
        target.run(call.u32(GL_RGBA).u32(GL_UNSIGNED_BYTE).u64(memory));
        EXPECT_EQ(fake_host::count("glReadPixels"), reads);
        EXPECT_EQ(error_of_target(), error);
    };
    read(1, 0);
    EXPECT_EQ(fake_host::count("glGetIntegerv"), 0u) << "nobody has set one, so nobody is asked";
    buffer = GL_NONE;
    fake_host::gl_errors({GL_INVALID_ENUM});
    target.run(target.make(in::gles30_read_buffer).u32(GL_NONE));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
    read(1, 0);
    target.run(target.make(in::gles30_read_buffer).u32(GL_NONE));
    read(0, GL_INVALID_OPERATION);
    auto copy = target.make(in::gles20_copy_tex_image_2d).u32(GL_TEXTURE_2D).i32(0).u32(GL_RGBA);
    target.run(copy.i32(0).i32(0).i32(1).i32(1).i32(0));
    EXPECT_EQ(fake_host::count("glCopyTexImage2D"), 0u);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    buffer = GL_COLOR_ATTACHMENT0;
    read(1, 0);
}

TEST_F(gles_framebuffers, RenderbuffersAnswerForThemselves)
{
    bind_renderbuffer(3);
    target.run(target.make(in::gles30_renderbuffer_storage_multisample)
                   .u32(GL_RENDERBUFFER)
                   .i32(4)
                   .u32(GL_RGBA8)
                   .i32(16)
                   .i32(8));
    EXPECT_EQ(fake_host::texts(quiet).back(), "glRenderbufferStorageMultisample(36161, 4, 32856, 16, 8)");
    fake_host::hook<&gles::glGetRenderbufferParameteriv>(
        [](GLenum, GLenum pname, GLint* value) { *value = pname == GL_RENDERBUFFER_WIDTH ? 16 : 0; });
    target.run(target.make(in::gles20_get_renderbuffer_parameteriv)
                   .u32(GL_RENDERBUFFER)
                   .u32(GL_RENDERBUFFER_WIDTH)
                   .u64(memory));
    EXPECT_EQ(target.peek<uint32_t>(memory), 16u);
}
} // namespace
