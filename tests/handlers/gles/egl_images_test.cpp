// What textures, renderbuffers and framebuffers do with EGL images: pixels of native buffers come in from
// target memory, and go back there when rendering into them has ended.

#include "combiner.h"
#include "handlers/gles/buffers_fixture.h"
#include "sidechannel_log.h"

namespace {
using egl = sidechannel_egl_imports;
using bytes = std::vector<uint8_t>;
using descriptor = wire::winsys_buffer_object_descriptor;
constexpr int32_t pid = raw_target::pid;
constexpr uint64_t pixels_at = memory + 0x2000;
constexpr uint32_t service_texture = 800;

struct upload_call
{
    uint32_t texture; // bound at that moment
    GLenum format;
    EGLContext current;
    bytes pixels;
};

class egl_image_targets : public buffers_fixture
{
protected:
    // How the target answers, and what it was told.
    uint64_t mapped_at = pixels_at;
    uint64_t mapped_flag = 0x77;
    uint32_t mapped_stride = 0; // of the answer; 0: as asked
    uint32_t unmap_answer = 1;
    texts asked;
    std::vector<uint64_t> ended;
    // What the host was told.
    std::vector<upload_call> uploads;
    size_t upload_bytes = 4; // that are looked at; no more than the host would read
    uint32_t bound_on_host = 0;
    EGLContext current_on_host = reinterpret_cast<EGLContext>(0xa99);
    std::vector<std::array<uint32_t, 2>> parameters; // glTexParameteri

    void SetUp() override
    {
        buffers_fixture::SetUp();
        zelvar_object_manager_initialize_service_host_egl_context(pid);
        fake_host::hook<&gles::glBindTexture>([this](GLenum point, GLuint name) {
            if (point == GL_TEXTURE_2D)
                bound_on_host = name;
        });
        fake_host::hook<&gles::glTexParameteri>([this](GLenum, GLenum name, GLint value) {
            parameters.push_back({name, static_cast<uint32_t>(value)});
        });
        fake_host::hook<&gles::glTexSubImage2D>(
            [this](GLenum, GLint, GLint, GLint, GLsizei, GLsizei, GLenum format, GLenum, const void* from) {
                const auto* p = static_cast<const uint8_t*>(from);
                uploads.push_back({bound_on_host, format, current_on_host, bytes(p, p + upload_bytes)});
            });
        fake_host::hook<&egl::eglMakeCurrent>([this](EGLDisplay, EGLSurface, EGLSurface, EGLContext now) {
            current_on_host = now;
            return EGL_TRUE;
        });
        fake_host::hook<&egl::eglGetCurrentContext>([this] { return current_on_host; });
        fake_host::returns<&egl::eglDestroyImageKHR>(EGL_TRUE);
        target.on_request = [this](const outbound_message& request) { return answer(request); };
        for (uint8_t i = 0; i < 64; ++i)
            target.poke<uint8_t>(pixels_at + i, static_cast<uint8_t>(i + 1));
        target.run(target.make(in::gles20_get_integerv).u32(GL_NUM_EXTENSIONS).u64(memory));
        model().extensions.supported[15] = 1; // external textures
        fake_host::clear();
    }
    confirmation answer(const outbound_message& request)
    {
        switch (request.type) {
        case out::winsys_map_buffer_object: {
            auto mapped = request.at<descriptor>(8);
            asked.push_back("map " + std::to_string(request.at<uint64_t>(0)));
            mapped.pixels = mapped_at;
            mapped.mapped = mapped_flag;
            if (mapped_stride)
                mapped.stride = mapped_stride;
            return confirm_with(mapped);
        }
        case out::winsys_unmap_buffer_object:
            asked.push_back("unmap " + std::to_string(request.at<uint32_t>(8)));
            return confirm_with(unmap_answer);
        case out::winsys_buffer_object_end_use:
            ended.push_back(request.at<uint64_t>(0));
            return confirm_with(uint32_t{1});
        }
        return target.default_answer(request);
    }
    static EGLImageKHR host_image(uint64_t id) { return reinterpret_cast<EGLImageKHR>(0xdd0000 + id); }
    /// 2 x 2 pixels in rows of 12 bytes.
    static descriptor small(uint32_t format = GL_RGBA, uint32_t type = GL_UNSIGNED_BYTE, uint8_t bits = 32)
    {
        return {EGL_NATIVE_BUFFER_ANDROID, format, 2, type, 2, 12, 0, bits, {}, 0, 0, 0};
    }
    void add_image(uint64_t id, const descriptor& shape, uint32_t texture = service_texture)
    {
        zelvar_object_manager_add_egl_image(pid, host_image(id), id);
        zelvar_object_manager_set_egl_image_target(pid, id, EGL_NATIVE_BUFFER_ANDROID);
        zelvar_object_manager_set_egl_image_target_display(pid, id, 0xd0);
        zelvar_object_manager_set_egl_image_service_texture(pid, id, texture);
        zelvar_object_manager_set_egl_image_android_native_window_buffer_parameters(pid, id, 0xb0b + id,
                                                                                    shape);
    }
    void bind(uint32_t point, uint32_t id)
    {
        target.run(target.make(in::gles20_bind_texture).u32(point).u32(id));
    }
    std::string show(uint64_t image, uint32_t point = GL_TEXTURE_2D)
    {
        return library::printed_by([&] {
            target.run(target.make(in::gles20_egl_image_target_texture_2does).u32(point).u64(image));
        });
    }
    void destroy(uint64_t image)
    {
        library::aside(
            [&] { zelvar_object_manager_set_egl_image_delete_postponed(pid, raw_target::tid, 0xd0, image); });
    }
    auto& images() { return pid_to_process_data_map.at(pid).images; }
    static bytes counted(uint8_t first, size_t count)
    {
        bytes all(count);
        for (auto& each : all)
            each = first++;
        return all;
    }
};

TEST_F(egl_image_targets, ObjectsOfTheApplicationNeedNoPixels)
{
    zelvar_object_manager_add_egl_image(pid, host_image(1), 1);
    bind(GL_TEXTURE_2D, 7);
    fake_host::clear();
    show(1);
    EXPECT_EQ(fake_host::calls().at(0),
              fake_host::made("glEGLImageTargetTexture2DOES", GL_TEXTURE_2D, host_image(1)));
    EXPECT_EQ(fake_host::calls().size(), 2u) << "and the error behind it";
    target.run(target.make(in::gles20_egl_image_target_renderbuffer_storage_oes).u32(GL_RENDERBUFFER).u64(1));
    EXPECT_EQ(fake_host::calls().at(2),
              fake_host::made("glEGLImageTargetRenderbufferStorageOES", GL_RENDERBUFFER, host_image(1)));
    EXPECT_TRUE(asked.empty());
    destroy(1);
    EXPECT_TRUE(images().empty()) << "the host's objects keep the picture by themselves";

    EXPECT_NE(show(1).find("ERROR [ZELVAR] Cannot find target<=>host image mapping. Host-side will not "
                           "execute glEGLImageTargetTexture2DOES() call."),
              std::string::npos);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    auto printed = library::printed_by([&] {
        target.run(
            target.make(in::gles20_egl_image_target_renderbuffer_storage_oes).u32(GL_RENDERBUFFER).u64(1));
    });
    EXPECT_NE(printed.find("Cannot find target<=>host egl image mapping. Host-side will not execute "
                           "glEGLImageTargetRenderbufferStorageOES() call."),
              std::string::npos);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
}

TEST_F(egl_image_targets, PixelsOfABufferGoThroughTheServiceContext)
{
    add_image(1, small());
    bind(GL_TEXTURE_2D, 7);
    upload_bytes = 20; // two rows, 12 apart
    const EGLContext before = current_on_host;
    show(1);
    ASSERT_EQ(uploads.size(), 1u);
    EXPECT_EQ(uploads[0].texture, service_texture);
    EXPECT_EQ(uploads[0].pixels, counted(1, 20));
    EXPECT_EQ(uploads[0].current, pid_to_process_data_map.at(pid).service_context);
    EXPECT_EQ(current_on_host, before);
    EXPECT_FALSE(pid_to_process_data_map.at(pid).service_checked_out);
    EXPECT_EQ(asked, (texts{"map " + std::to_string(0xb0c), "unmap 24"}));
    EXPECT_TRUE(parameters.empty());
    EXPECT_EQ(fake_host::count("glEGLImageTargetTexture2DOES"), 1u);

    // It stays for its texture, and goes when the texture shows another one.
    add_image(2, small(), 801);
    destroy(1);
    EXPECT_EQ(images().size(), 2u);
    show(2);
    EXPECT_EQ(images().size(), 1u);
    EXPECT_EQ(ended, std::vector<uint64_t>{0xb0c});
    // A new picture of the texture's own cuts the link as well.
    destroy(2);
    EXPECT_EQ(images().size(), 1u);
    target.run(target.make(in::gles20_tex_image_2d)
                   .u32(GL_TEXTURE_2D)
                   .i32(0)
                   .i32(GL_RGBA)
                   .i32(2)
                   .i32(2)
                   .i32(0)
                   .u32(GL_RGBA)
                   .u32(GL_UNSIGNED_BYTE)
                   .u64(0));
    EXPECT_TRUE(images().empty());
    EXPECT_EQ(ended.size(), 2u);
}

TEST_F(egl_image_targets, AHostThatRefusesLeavesNoLink)
{
    add_image(1, small());
    bind(GL_TEXTURE_2D, 7);
    fake_host::fails<&gles::glEGLImageTargetTexture2DOES>(GL_INVALID_OPERATION);
    show(1);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    EXPECT_TRUE(images().at(1).siblings.empty());
}

TEST_F(egl_image_targets, OtherOrdersOfBytesAreSwizzled)
{
    add_image(1, small(GL_BGRA_EXT));
    bind(GL_TEXTURE_2D, 7);
    const std::string printed = show(1);
    EXPECT_EQ(uploads.at(0).format, GLenum{GL_RGBA});
    EXPECT_EQ(parameters, (std::vector<std::array<uint32_t, 2>>{{GL_TEXTURE_SWIZZLE_R, GL_BLUE},
                                                                {GL_TEXTURE_SWIZZLE_G, GL_GREEN},
                                                                {GL_TEXTURE_SWIZZLE_B, GL_RED},
                                                                {GL_TEXTURE_SWIZZLE_A, GL_ALPHA}}));
    add_image(2, small(), 801);
    parameters.clear();
    show(2);
    EXPECT_EQ(parameters, (std::vector<std::array<uint32_t, 2>>{{GL_TEXTURE_SWIZZLE_R, GL_RED},
                                                                {GL_TEXTURE_SWIZZLE_G, GL_GREEN},
                                                                {GL_TEXTURE_SWIZZLE_B, GL_BLUE},
                                                                {GL_TEXTURE_SWIZZLE_A, GL_ALPHA}}))
        << "the order of the image before";
    parameters.clear();
    show(2);
    EXPECT_TRUE(parameters.empty());
}

TEST_F(egl_image_targets, ExternalTexturesAreReadAnewAtEachBind)
{
    descriptor shape = small();
    shape.remove_alpha = 1;
    add_image(1, shape);
    bind(GL_TEXTURE_EXTERNAL_OES, 7);
    show(1, GL_TEXTURE_EXTERNAL_OES);
    target.poke<uint8_t>(pixels_at, 99);
    upload_bytes = 8;
    const EGLContext application = current_on_host;
    fake_host::clear();
    bind(GL_TEXTURE_EXTERNAL_OES, 7);
    ASSERT_EQ(uploads.size(), 2u);
    EXPECT_EQ(uploads[1].pixels, (bytes{99, 2, 3, 255, 5, 6, 7, 255})) << "opaque";
    EXPECT_EQ(uploads[1].current, application);
    EXPECT_EQ(uploads[1].texture, service_texture);
    EXPECT_EQ(fake_host::texts(quiet).back(),
              "glBindTexture(36197, " + std::to_string(model().data_shared->textures.at(7).host_id) + ")");

    // What can't be had leaves the binding alone.
    const struct
    {
        uint64_t address;
        uint32_t stride;
    } wrong[] = {{0, 0}, {pixels_at, 1}};
    for (const auto& each : wrong) {
        mapped_at = each.address;
        mapped_stride = each.stride;
        asked.clear();
        fake_host::clear();
        auto printed = library::printed_by([&] { bind(GL_TEXTURE_EXTERNAL_OES, 7); });
        EXPECT_NE(printed.find("FATAL [ZELVAR] Invalid Android native window buffer parameters target data"),
                  std::string::npos);
        EXPECT_NE(printed.find("FATAL [ZELVAR] Failed to read pixels data from target side."),
                  std::string::npos);
        EXPECT_EQ(fake_host::count("glBindTexture"), 0u);
        EXPECT_EQ(asked.back(), "unmap 24");
    }
    mapped_stride = 0;
    mapped_at = 0x10; // memory that the target doesn't have
    unmap_answer = 0;
    auto printed = library::printed_by([&] { bind(GL_TEXTURE_EXTERNAL_OES, 7); });
    EXPECT_EQ(uploads.back().pixels, (bytes{0, 0, 0, 255, 0, 0, 0, 255}));
    EXPECT_NE(printed.find("ERROR [ZELVAR] Target side has failed to unmap buffer [2828].\n"),
              std::string::npos);
    mapped_flag = 0;
    asked.clear();
    bind(GL_TEXTURE_EXTERNAL_OES, 7);
    EXPECT_EQ(asked.size(), 1u) << "nothing to unmap";
    bind(GL_TEXTURE_2D, 7);
    EXPECT_EQ(asked.size(), 1u);
}

TEST_F(egl_image_targets, AGpuOnTheTargetKeepsItsAlpha)
{
    descriptor shape = small();
    shape.remove_alpha = 1;
    add_image(1, shape);
    upload_bytes = 4;
    library::set_target_gpu(TARGET_GPU_REAL);
    bind(GL_TEXTURE_2D, 7);
    show(1);
    EXPECT_EQ(uploads.at(0).pixels, counted(1, 4));
}

TEST_F(egl_image_targets, WildDescriptionsStayInTheirBlocks)
{
    upload_bytes = 32;
    struct
    {
        uint32_t height, width, stride;
        uint8_t bits;
        const char* line;
    } cases[] = {
        {0, 2, 12, 32, "FATAL [ZELVAR] Invalide target buffer size requested [0]"},
        {2, 2, 0, 32, "FATAL [ZELVAR] winsys_buffer stride (in Bpp) reported as 0."},
        {0xffffffff, 2, 0xffffffff, 32, "FATAL [ZELVAR] Invalide target buffer size requested"},
        {1 << 15, 0xffffffff, 4, 32, "ERROR [ZELVAR] A buffer of 4294967295 x 32768 pixels is too large"},
    };
    bind(GL_TEXTURE_2D, 7);
    uint64_t id = 1;
    for (const auto& each : cases) {
        add_image(id, {EGL_NATIVE_BUFFER_ANDROID,
                       GL_RGBA,
                       each.height,
                       GL_UNSIGNED_BYTE,
                       each.width,
                       each.stride,
                       0,
                       each.bits,
                       {},
                       0,
                       0,
                       0});
        EXPECT_NE(show(id++).find(each.line), std::string::npos) << each.line;
        EXPECT_TRUE(uploads.empty()) << each.line;
    }
    // Rows shorter than the picture's, and a depth that isn't the format's: what lacks is zero.
    add_image(id, {EGL_NATIVE_BUFFER_ANDROID, GL_RGBA, 2, GL_UNSIGNED_BYTE, 4, 4, 0, 8, {}, 0, 0, 0});
    show(id);
    ASSERT_EQ(uploads.size(), 1u);
    EXPECT_EQ(uploads[0].pixels, (bytes{1, 2, 3, 4, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                        5, 6, 7, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST_F(egl_image_targets, KeptFramesStandInForTheTargets)
{
    zelvar_only_settings.cacheAndroidNativeBuffer = true;
    sidechannel_set_log_level(6566); // DEBUG
    add_image(1, small());
    bind(GL_TEXTURE_2D, 7);
    upload_bytes = 4;
    auto* kept = static_cast<uint8_t*>(std::malloc(24));
    std::fill_n(kept, 24, uint8_t{200});
    keep_native_buffer({2, 2, 32}, kept, 24);
    for (int use = 1; use < 10; ++use)
        EXPECT_NE(show(1).find("DEBUG [ZELVAR] Use cached texture on 32bpp 2 * 2\n"), std::string::npos);
    EXPECT_TRUE(asked.empty());
    EXPECT_EQ(uploads.back().pixels, bytes(4, 200));
    EXPECT_NE(show(1).find("DEBUG [ZELVAR] Read texture on 32bpp 2 * 2\n"), std::string::npos)
        << "every tenth time";
    EXPECT_EQ(asked.size(), 2u);
    EXPECT_EQ(uploads.back().pixels, counted(1, 4));
    target.poke<uint8_t>(pixels_at, 99);
    show(1);
    EXPECT_EQ(uploads.back().pixels, counted(1, 4)) << "what was read is kept in its turn";

    // A frame that is smaller than the buffer doesn't do.
    keep_native_buffer({2, 2, 32}, static_cast<uint8_t*>(std::calloc(20, 1)), 20);
    show(1);
    EXPECT_EQ(uploads.back().pixels[0], 99);
}

class egl_image_read_back : public egl_image_targets
{
protected:
    uint32_t asked_width = 0;
    GLint read_buffer = GL_COLOR_ATTACHMENT0;

    void SetUp() override
    {
        egl_image_targets::SetUp();
        fake_host::hook<&gles::glReadPixels>(
            [this](GLint, GLint, GLsizei width, GLsizei height, GLenum, GLenum type, void* to) {
                asked_width = static_cast<uint32_t>(width);
                const int size = type == GL_UNSIGNED_BYTE ? 4 : 2;
                for (int i = 0; i < width * height * size; ++i)
                    static_cast<uint8_t*>(to)[i] = static_cast<uint8_t>(100 + i);
            });
        fake_host::hook<&gles::glGetIntegerv>(
            [this](GLenum name, GLint* value) { *value = name == GL_READ_BUFFER ? read_buffer : 0; });
    }
    /// Framebuffer 5 shows the image in texture 7.
    void render_into(const descriptor& shape)
    {
        add_image(1, shape);
        bind(GL_TEXTURE_2D, 7);
        show(1);
        const auto host_name = static_cast<GLint>(model().data_shared->textures.at(7).host_id);
        fake_host::hook<&gles::glGetFramebufferAttachmentParameteriv>(
            [host_name](GLenum, GLenum, GLenum name, GLint* value) {
                *value = name == GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE ? GL_TEXTURE : host_name;
            });
        bind_framebuffer(GL_FRAMEBUFFER, 5);
        asked.clear();
        fake_host::clear();
    }
    void bind_framebuffer(uint32_t point, uint32_t id)
    {
        target.run(target.make(in::gles20_bind_framebuffer).u32(point).u32(id));
    }
    bytes buffer(size_t count) const
    {
        const auto from = target.memory.begin() + (pixels_at - memory);
        return {from, from + static_cast<ptrdiff_t>(count)};
    }
};

TEST_F(egl_image_read_back, WhatWasRenderedGoesIntoTheTargetsRows)
{
    for (target_gpu gpu : {TARGET_GPU_NONE, TARGET_GPU_DUMMY}) {
        library::set_target_gpu(TARGET_GPU_NONE);
        for (uint8_t i = 0; i < 64; ++i)
            target.poke<uint8_t>(pixels_at + i, static_cast<uint8_t>(i + 1));
        images().clear();
        render_into(small());
        library::set_target_gpu(gpu);
        bind_framebuffer(GL_FRAMEBUFFER, 0);
        library::set_target_gpu(TARGET_GPU_NONE);
        bytes wanted = counted(100, 8), second = counted(108, 8);
        wanted.insert(wanted.end(), {9, 10, 11, 12}); // between the rows
        wanted.insert(wanted.end(), second.begin(), second.end());
        wanted.insert(wanted.end(), {21, 22, 23, 24});
        EXPECT_EQ(buffer(24), wanted);
        EXPECT_EQ(asked, (texts{"map " + std::to_string(0xb0c), "unmap 24"}));
        EXPECT_EQ(error_of_target(), 0u);
    }
}

TEST_F(egl_image_read_back, NarrowPixelsComeWithoutGaps)
{
    descriptor shape = small(GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 16);
    shape.width = 3;
    shape.stride = 6;
    render_into(shape);
    bind_framebuffer(GL_FRAMEBUFFER, 0);
    EXPECT_EQ(asked_width, 4u) << "rows of whole words";
    EXPECT_EQ(buffer(12), (bytes{100, 101, 102, 103, 104, 105, 108, 109, 110, 111, 112, 113}));
}

TEST_F(egl_image_read_back, TheFramebufferThatIsLeftIsRead)
{
    render_into(small());
    bind_framebuffer(GL_READ_FRAMEBUFFER, 6);
    target.run(target.make(in::gles20_bind_buffer).u32(GL_PIXEL_PACK_BUFFER).u32(3));
    read_buffer = GL_COLOR_ATTACHMENT1;
    fake_host::clear();
    bind_framebuffer(GL_DRAW_FRAMEBUFFER, 6);
    const auto name = [&](uint32_t id) {
        return std::to_string(model().data_nonshared->framebuffers.at(id).host_id);
    };
    const auto pack = std::to_string(model().data_shared->buffers.at(3).host_id);
    const texts all = fake_host::texts(quiet);
    const auto read = std::find_if(all.begin(), all.end(),
                                   [](const auto& each) { return each.starts_with("glReadPixels"); });
    ASSERT_NE(read, all.end());
    const auto is_before = [&](const std::string& call) {
        return std::find(all.begin(), read, call) != read;
    };
    const auto is_after = [&](const std::string& call) {
        return std::find(read, all.end(), call) != all.end();
    };
    EXPECT_TRUE(is_before("glBindBuffer(35051, 0)"));
    EXPECT_TRUE(is_before("glBindFramebuffer(36008, " + name(5) + ")"));
    EXPECT_TRUE(is_before("glReadBuffer(36064)"));
    EXPECT_TRUE(is_after("glReadBuffer(36065)"));
    EXPECT_TRUE(is_after("glBindFramebuffer(36008, " + name(6) + ")"));
    EXPECT_TRUE(is_after("glBindBuffer(35051, " + pack + ")"));
}

TEST_F(egl_image_read_back, WildDescriptionsAreNotRead)
{
    descriptor shape = small();
    const auto refused = [&](const descriptor& wild) {
        images().clear();
        render_into(wild);
        auto printed = library::printed_by([&] { bind_framebuffer(GL_FRAMEBUFFER, 0); });
        EXPECT_NE(printed.find("ERROR [ZELVAR] What was rendered into buffer [2828] is not written back."),
                  std::string::npos);
        EXPECT_EQ(buffer(24), counted(1, 24));
    };
    shape.bits_per_pixel = 16; // the host would write twice as much
    refused(shape);
    shape = small();
    shape.stride = 4; // less than a row
    refused(shape);
    shape = small();
    shape.width = 0x80000000;
    refused(shape);
    shape = small();
    mapped_at = 0;
    refused(shape);
}

TEST_F(egl_image_read_back, AGpuOnTheTargetFindsItParked)
{
    render_into(small());
    library::set_target_gpu(TARGET_GPU_REAL);
    bind_framebuffer(GL_FRAMEBUFFER, 0);
    EXPECT_TRUE(asked.empty());
    const auto* parked = zelvar_object_manager_get_host_pixel_container(pid, 4, 5, 0xc0, false);
    ASSERT_TRUE(parked);
    EXPECT_EQ((bytes{parked->pixels, parked->pixels + 16}), counted(100, 16));
    EXPECT_EQ((std::tuple{parked->description.width, parked->description.height, parked->description.stride}),
              (std::tuple{2u, 2u, 8u}));
    const uint32_t id = 5;
    sidechannel_set_log_level(3); // WARN
    auto call = target.make(in::gles20_delete_framebuffers).u32(1).u64(memory);
    auto printed = library::printed_by([&] { target.run(call.raw(&id, 4)); });
    EXPECT_EQ(library::occurrences(printed, "WARN [ZELVAR] Framebuffer [5] of process [77] is deleted"), 1u);
    EXPECT_FALSE(zelvar_object_manager_get_host_pixel_container(pid, 4, 5, 0xc0, false));
}
} // namespace
