// EGL images: what they may be made of, what the host is asked for them, and what is left when they go.

#include "egl_fixture.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

namespace in = wire::inbound;
namespace out = wire::outbound;

namespace {
using egl = sidechannel_egl_imports;
using gles = sidechannel_gles_imports;
using list = std::vector<EGLint>;
using descriptor = wire::winsys_buffer_object_descriptor;

constexpr const char* all_extensions =
    "EGL_KHR_image_base EGL_KHR_gl_renderbuffer_image EGL_KHR_gl_texture_2D_image "
    "EGL_KHR_gl_texture_cubemap_image EGL_EXT_image_dma_buf_import EGL_KHR_create_context";

/// What eglCreateImageKHR of the host was given.
struct host_image_call
{
    EGLContext context;
    EGLenum kind;
    uintptr_t object;
    list attributes;
    EGLContext current; // at that moment
};

template <class Base>
class image_fixture : public Base
{
protected:
    using Base::call;
    using Base::call32;
    using Base::call64;
    using Base::put_list;
    using Base::send;
    using Base::target;

    static constexpr uint64_t memory = raw_target::memory_base;
    uint64_t display = 0;
    uint64_t context = 0;
    const char* extensions = all_extensions;
    descriptor shape{};
    uint32_t ended = 1; // what the target answers to the end of a use
    std::vector<uint64_t> begun;
    std::vector<host_image_call> made;

    void start()
    {
        fake_host::hook<&egl::eglQueryString>(
            [this](EGLDisplay, EGLint name) { return name == EGL_EXTENSIONS ? extensions : "1.5"; });
        fake_host::hook<&egl::eglCreateImageKHR>(
            [this](EGLDisplay, EGLContext used, EGLenum kind, EGLClientBuffer buffer, const EGLint* given) {
                host_image_call seen{used, kind, reinterpret_cast<uintptr_t>(buffer), {}, current_on_host};
                for (; given && *given != EGL_NONE; given += 2)
                    seen.attributes.insert(seen.attributes.end(), {given[0], given[1]});
                made.push_back(seen);
                return reinterpret_cast<EGLImageKHR>(0xdd0000 + made.size());
            });
        fake_host::hook<&egl::eglMakeCurrent>([this](EGLDisplay, EGLSurface, EGLSurface, EGLContext now) {
            current_on_host = now;
            return EGL_TRUE;
        });
        fake_host::hook<&egl::eglGetCurrentContext>([this] { return current_on_host; });
        auto answer = target.on_request;
        target.on_request = [this, answer](const outbound_message& request) {
            if (request.type == out::winsys_buffer_object_begin_use) {
                begun.push_back(request.at<uint64_t>(0));
                return confirm_with(shape);
            }
            return request.type == out::winsys_buffer_object_end_use ? confirm_with(ended) : answer(request);
        };
        sidechannel_set_log_level(6566); // DEBUG
    }
    void open_with_context()
    {
        start();
        display = this->open_display();
        context = this->create_context(display, 9);
        const uint64_t surface = this->create_window_surface(display, 9);
        send(call(in::egl_make_current).u64(display).u64(surface).u64(surface).u64(context));
        current_before = current_on_host;
    }
    message create(uint32_t kind, uint64_t buffer, std::initializer_list<int32_t> attributes = {EGL_NONE})
    {
        put_list(attributes);
        return create_by(call(in::egl_create_image_khr), kind, buffer, Base::list_address);
    }
    message create_by(message begin, uint32_t kind, uint64_t buffer, uint64_t attributes)
    {
        return begin.u64(display).u64(is_native(kind) ? 0 : context).u32(kind).u64(buffer).u64(attributes);
    }
    static bool is_native(uint32_t kind)
    {
        return kind == EGL_NATIVE_BUFFER_ANDROID || kind == EGL_WAYLAND_BUFFER_WL ||
               kind == EGL_LINUX_DMA_BUF_EXT;
    }
    message destroy(uint64_t image) { return call(in::egl_destroy_image_khr).u64(display).u64(image); }
    uint32_t texture()
    {
        send(call(in::gles20_gen_textures).i32(1).u64(memory));
        return target.template peek<uint32_t>(memory);
    }
    auto& process() { return pid_to_process_data_map.at(raw_target::pid); }
    /// The target is a phone, which is asked for only once.
    void use_android()
    {
        this->os_version = 2;
        shape = {EGL_NATIVE_BUFFER_ANDROID, GL_RGBA, 4, GL_UNSIGNED_BYTE, 8, 40, 0, 32, {}, 0, 0, 0};
    }

    EGLContext current_on_host = nullptr;
    EGLContext current_before = nullptr;
};

class egl_images : public image_fixture<egl_test>
{
protected:
    egl_images() { open_with_context(); }
};

class egl_images_of_phones : public image_fixture<egl_test>
{
protected:
    egl_images_of_phones()
    {
        use_android();
        open_with_context();
    }
};

TEST_F(egl_images, AreMadeOfTheHostsObjects)
{
    const uint32_t id = texture();
    auto& shared = *process().contexts.at(context)->data.data_shared;
    auto seen = send(create(EGL_GL_TEXTURE_2D_KHR, id, {EGL_GL_TEXTURE_LEVEL_KHR, 2, EGL_NONE}));
    EXPECT_EQ(seen.value, 1u); // the first id
    EXPECT_EQ(seen.width, 8u);
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(made[0].kind, EGLenum{EGL_GL_TEXTURE_2D_KHR});
    EXPECT_EQ(made[0].object, shared.textures.at(id).host_id);
    EXPECT_EQ(made[0].context, process().contexts.at(context)->host_context);
    EXPECT_EQ(made[0].attributes, (list{EGL_GL_TEXTURE_LEVEL_KHR, 2}));
    EXPECT_EQ(seen.host, strings{"eglCreateImageKHR(pointer, pointer, 12465, pointer, pointer)"})
        << "the service context isn't needed";

    send(call(in::gles20_bind_renderbuffer).u32(GL_RENDERBUFFER).u32(id));
    EXPECT_EQ(send(create_by(call(in::egl_create_image_khr), EGL_GL_RENDERBUFFER_KHR, id, 0)).value, 2u);
    EXPECT_EQ(made[1].object, shared.renderbuffers.at(id).host_id);
    EXPECT_EQ(send(create(EGL_GL_TEXTURE_CUBE_MAP_NEGATIVE_Z_KHR, id)).value, 3u);

    for (uint64_t unknown : {uint64_t{99}, uint64_t{id} | uint64_t{1} << 32}) {
        seen = send(create(EGL_GL_TEXTURE_2D_KHR, unknown));
        EXPECT_EQ(seen.value, 0u);
        EXPECT_TRUE(prints(seen.printed, "ERROR [ZELVAR] Cannot find texture object descriptor for id="));
    }
    seen = send(create(EGL_GL_RENDERBUFFER_KHR, 99));
    EXPECT_TRUE(prints(seen.printed, "ERROR [ZELVAR] Cannot find renderbuffer object descriptor for id=99. "
                                     "Host-side will not execute glCreateImageKHR().\n"));
    EXPECT_EQ(made.size(), 3u);
    EXPECT_EQ(pending_error(), uint32_t{EGL_SUCCESS});
    claimed_list_length = 0x7fffffff;
    seen = send(create(EGL_GL_TEXTURE_2D_KHR, id));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(
        prints(seen.printed, "FATAL [ZELVAR] Could not retrieve host-side attribute list from address"));
}

TEST_F(egl_images, ObjectsAreThoseOfTheNamedContext)
{
    const uint32_t id = texture();
    const uint64_t other = create_context(display, 9);
    auto& objects = *process().contexts.at(other)->data.data_shared;
    objects.textures[id].host_id = 4321;
    const int32_t references = objects.ref_counter;
    put_list({EGL_NONE});
    auto create_for = [&](uint64_t named) {
        return send(call(in::egl_create_image_khr)
                        .u64(display)
                        .u64(named)
                        .u32(EGL_GL_TEXTURE_2D_KHR)
                        .u64(id)
                        .u64(list_address));
    };
    EXPECT_EQ(create_for(other).value, 1u);
    EXPECT_EQ(made.at(0).object, 4321u);
    EXPECT_EQ(made.at(0).context, process().contexts.at(other)->host_context);
    EXPECT_EQ(objects.ref_counter, references);
    send(call(in::egl_make_current).u64(display).u64(0).u64(0).u64(0));
    EXPECT_EQ(create_for(context).value, 2u) << "none is current";
    EXPECT_NE(made.at(1).object, 4321u);
}

TEST_F(egl_images, KindsNeedWhatTheyNeed)
{
    const std::pair<uint32_t, bool> cases[] = {
        {EGL_NATIVE_PIXMAP_KHR, false},
        {EGL_GL_TEXTURE_3D_KHR, false},
        {0, false},
        {EGL_NATIVE_BUFFER_ANDROID, false}, // no phone
    };
    for (auto [kind, accepted] : cases) {
        auto seen = send(create(kind, 1));
        EXPECT_EQ(seen.value, 0u) << kind;
        EXPECT_TRUE(prints(seen.printed, "ERROR [ZELVAR] The target argument [" + std::to_string(kind) +
                                             "] is invalid or there is no EGL extension support for such "
                                             "target.\n"));
        EXPECT_EQ(pending_error(), uint32_t{EGL_BAD_PARAMETER}) << kind;
    }
    EXPECT_TRUE(prints(send(create(EGL_NATIVE_PIXMAP_KHR, 1)).printed,
                       "FATAL [ZELVAR] eglCreateImageKHR doesn't support EGL_NATIVE_PIXMAP_KHR on host.\n"));
    auto seen = send(call(in::egl_create_image_khr)
                         .u64(display)
                         .u64(0xbad)
                         .u32(EGL_GL_TEXTURE_2D_KHR)
                         .u64(texture())
                         .u64(0));
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] Could not retrieve host-side context instance"));
    EXPECT_EQ(send(call(in::egl_create_image_khr).u64(0xbad).u64(0).u32(1).u64(1).u64(0)).value, 0u);
    EXPECT_EQ(pending_error(), uint32_t{EGL_BAD_DISPLAY});
    EXPECT_TRUE(made.empty());
}

TEST_F(egl_images_of_phones, ANativeBufferBecomesATextureOfTheServiceContext)
{
    auto seen = send(create(EGL_NATIVE_BUFFER_ANDROID, 0xb0b, {EGL_IMAGE_PRESERVED_KHR, 1, EGL_NONE}));
    EXPECT_EQ(seen.value, 1u);
    EXPECT_EQ(begun, std::vector<uint64_t>{0xb0b});
    ASSERT_EQ(made.size(), 1u);
    const EGLContext service = process().service_context;
    EXPECT_EQ(made[0].kind, EGLenum{EGL_GL_TEXTURE_2D_KHR});
    EXPECT_EQ(made[0].context, service);
    EXPECT_EQ(made[0].current, service);
    EXPECT_EQ(made[0].attributes, (list{EGL_IMAGE_PRESERVED_KHR, 1}));
    EXPECT_EQ(current_on_host, current_before);
    EXPECT_FALSE(process().service_checked_out);

    const auto& record = process().images.at(1);
    EXPECT_EQ(record.service_texture, made[0].object);
    EXPECT_EQ(record.native_buffer, 0xb0bu);
    EXPECT_EQ(record.native_parameters.stride, 40u);
    EXPECT_TRUE(zelvar_object_manager_is_image_sibling(pid, record.service_texture));
    const auto texture_name = std::to_string(record.service_texture);
    const auto specified =
        std::find(seen.host.begin(), seen.host.end(), "glBindTexture(3553, " + texture_name + ")");
    ASSERT_LT(specified + 2, seen.host.end());
    EXPECT_EQ(specified[1], "glTexImage2D(3553, 0, 6408, 8, 4, 0, 6408, 5121, null)");
    EXPECT_EQ(specified[2], "glBindTexture(3553, 0)");

    // Its end: the host's image and texture go while the service context is current, the target hears of it.
    EGLContext current_at_delete = nullptr;
    fake_host::hook<&gles::glDeleteTextures>(
        [&](GLsizei, const GLuint*) { current_at_delete = current_on_host; });
    fake_host::returns<&egl::eglDestroyImageKHR>(EGL_TRUE);
    seen = send(destroy(1));
    EXPECT_EQ(seen.value, EGL_TRUE);
    EXPECT_EQ(seen.asked, strings{"winsys_buffer_object_end_use"});
    EXPECT_EQ(current_at_delete, service);
    EXPECT_EQ(current_on_host, current_before);
    EXPECT_FALSE(zelvar_object_manager_is_image_sibling(pid, std::stoul(texture_name)));
    seen = send(destroy(1));
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(seen.asked.empty()) << "ended twice";
    EXPECT_TRUE(process().images.empty());
}

TEST_F(egl_images_of_phones, BuffersThatCantBeTexturesAreGivenBack)
{
    const descriptor good = shape;
    auto refused = [&](const std::string& line) {
        auto seen = send(create(EGL_NATIVE_BUFFER_ANDROID, 0xb0b));
        EXPECT_EQ(seen.value, 0u);
        EXPECT_EQ(seen.asked.back(), "winsys_buffer_object_end_use");
        EXPECT_TRUE(prints(seen.printed, line));
        EXPECT_EQ(current_on_host, current_before);
        EXPECT_FALSE(process().service_checked_out);
        EXPECT_TRUE(process().images.empty());
        EXPECT_EQ(std::count_if(seen.host.begin(), seen.host.end(),
                                [](auto& made_call) { return made_call.starts_with("glGenTextures"); }),
                  std::count_if(seen.host.begin(), seen.host.end(),
                                [](auto& made_call) { return made_call.starts_with("glDeleteTextures"); }));
    };
    const std::string cant_map = "ERROR [ZELVAR] Cannot map target-side native window buffer. Reported "
                                 "target-side buffer parameters: format=[";
    shape = {};
    refused(cant_map);
    shape = good;
    shape.width = 0xffffffff;
    refused(cant_map);
    shape = good;
    shape.format = GL_RED;
    refused("ERROR [ZELVAR] Unsupported OpenGL ES type reported by target side [0x1903]\n");
    shape = good;
    fake_host::fails<&gles::glTexImage2D>(GL_INVALID_ENUM);
    refused("FATAL [ZELVAR] Received error code 500 while specifying service texture for new EGLImage\n");
    fake_host::hook<&gles::glTexImage2D>([](auto...) {});
    fake_host::fails<&egl::eglCreateImageKHR>(EGL_BAD_MATCH);
    refused("ERROR [ZELVAR] An error ocurred during host-side glCreateImageKHR() call. Error code =[12297]");
    EXPECT_EQ(pending_error(), uint32_t{EGL_BAD_MATCH});
    ended = 0;
    refused("ERROR [ZELVAR] Target side has failed to finish buffer [2827] usage.\n");
}

TEST_F(egl_images, OtherBuffersLoseTheirLists)
{
    shape = {EGL_WAYLAND_BUFFER_WL, GL_RGBA, 4, GL_UNSIGNED_BYTE, 8, 32, 0, 32, {}, 0, 0, 0};
    auto seen = send(create(EGL_WAYLAND_BUFFER_WL, 0xaa, {0x31D6, 0, EGL_NONE}));
    EXPECT_EQ(seen.value, 1u);
    EXPECT_EQ(made.at(0).attributes, list{});
    EXPECT_EQ(begun, std::vector<uint64_t>{0xaa});

    auto dma_buf = [&](int32_t offset) {
        return send(create(EGL_LINUX_DMA_BUF_EXT, 0,
                           {EGL_LINUX_DRM_FOURCC_EXT, 0x34325241, EGL_HEIGHT, 4, EGL_WIDTH, 8,
                            EGL_DMA_BUF_PLANE0_FD_EXT, 17, EGL_DMA_BUF_PLANE0_PITCH_EXT, 64,
                            EGL_DMA_BUF_PLANE0_OFFSET_EXT, offset, EGL_DMA_BUF_PLANE1_FD_EXT, 3, EGL_NONE}));
    };
    seen = dma_buf(0);
    EXPECT_EQ(seen.value, 2u);
    EXPECT_TRUE(prints(seen.printed, "WARN [ZELVAR] Multiplane attributes are not supported for "
                                     "EXT_image_dma_buf_import. Attributes will be ignored."));
    EXPECT_EQ(made.at(1).attributes, list{});
    const auto& record = process().images.at(2);
    EXPECT_EQ(record.native_buffer, 17u);
    const auto& parameters = record.native_parameters;
    EXPECT_EQ(parameters.source_kind, uint32_t{EGL_LINUX_DMA_BUF_EXT});
    EXPECT_EQ(parameters.format, uint32_t{GL_BGRA_EXT});
    EXPECT_EQ((std::tuple{parameters.width, parameters.height, parameters.stride, parameters.bits_per_pixel}),
              (std::tuple{8u, 4u, 64u, uint8_t{32}}));
    // Bytes in another order are kept as they are.
    EXPECT_NE(std::find(seen.host.begin(), seen.host.end(),
                        "glTexImage2D(3553, 0, 6408, 8, 4, 0, 6408, 5121, null)"),
              seen.host.end());
    EXPECT_EQ(begun.size(), 1u) << "the list tells all";

    seen = dma_buf(16);
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(prints(seen.printed, "ERROR [ZELVAR] Trying to create an EGLImage from a dma_buf with a "
                                     "non-zero offset. Currently Unsupported"));
    EXPECT_EQ(send(create(EGL_LINUX_DMA_BUF_EXT, 0)).value, 0u) << "nothing is told";
    EXPECT_TRUE(send(destroy(1)).asked.empty()) << "only a phone's buffers are given back";
}

TEST_F(egl_images_of_phones, ServiceTexturesTakeNoNameOfASibling)
{
    GLuint next = 500;
    std::vector<GLuint> deleted;
    fake_host::hook<&gles::glGenTextures>([&](GLsizei, GLuint* name) { *name = next++; });
    fake_host::hook<&gles::glDeleteTextures>(
        [&](GLsizei n, const GLuint* names) { deleted.insert(deleted.end(), names, names + n); });
    for (uint32_t taken : {500u, 501u})
        zelvar_object_manager_set_image_sibling(pid, taken);
    EXPECT_EQ(send(create(EGL_NATIVE_BUFFER_ANDROID, 0xb0b)).value, 1u);
    EXPECT_EQ(made.at(0).object, 502u);
    EXPECT_EQ(deleted, (std::vector<GLuint>{500, 501}));
}

TEST_F(egl_images_of_phones, AServiceContextThatCantBeHadMakesNoImage)
{
    fake_host::fails<&egl::eglMakeCurrent>(EGL_BAD_ACCESS);
    auto seen = send(create(EGL_NATIVE_BUFFER_ANDROID, 0xb0b));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] Failed to switch to service context containing "
                                     "intermediate texture.\n"));
    EXPECT_FALSE(process().service_checked_out);
    EXPECT_TRUE(begun.empty());
}

class egl_images_without_extension : public image_fixture<egl_test>
{
protected:
    egl_images_without_extension()
    {
        extensions = "EGL_KHR_gl_texture_2D_image";
        open_with_context();
    }
};

TEST_F(egl_images_without_extension, NothingIsMadeOrDestroyed)
{
    auto seen = send(create(EGL_GL_TEXTURE_2D_KHR, texture()));
    EXPECT_EQ(seen.value, 0u);
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] Cannot execute eglCreateImageKHR() call as neither "
                                     "EGL_KHR_image nor EGL_KHR_image_base extensions are supported on both "
                                     "target and host."));
    EXPECT_EQ(pending_error(), uint32_t{EGL_BAD_ACCESS});
    zelvar_object_manager_add_egl_image(pid, nullptr, 1);
    seen = send(destroy(1));
    EXPECT_EQ(seen.value, EGL_FALSE);
    EXPECT_TRUE(prints(seen.printed, "FATAL [ZELVAR] Cannot execute eglDestroyImageKHR() call - either "
                                     "EGL_KHR_image or EGL_KHR_image_base must be supported on both the host "
                                     "and target\n"));
    EXPECT_EQ(pending_error(), uint32_t{EGL_BAD_ACCESS});
}

/// The target has an EGL of its own, whose ids and results come with the calls.
class egl_images_on_dummy : public image_fixture<egl_test_on_dummy>
{
protected:
    egl_images_on_dummy()
    {
        start();
        target_string = all_extensions;
        display = 0xd1;
        library::make_current(pid, tid, {.display = display});
        context = 0xc0;
        send(call32(in::egl_initialize, EGL_TRUE).u64(display).u64(0).u64(0));
    }
};

TEST_F(egl_images_on_dummy, TheTargetsIdIsTaken)
{
    use_android();
    auto create_as = [&](uint64_t id) {
        put_list({EGL_NONE});
        return send(
            create_by(call64(in::egl_create_image_khr, id), EGL_NATIVE_BUFFER_ANDROID, 0xb0b, list_address));
    };
    auto seen = create_as(0x1234);
    EXPECT_FALSE(seen.value) << "the target has it already";
    ASSERT_EQ(process().images.count(0x1234), 1u) << seen.printed;
    seen = create_as(0);
    EXPECT_TRUE(
        prints(seen.printed, "ERROR [ZELVAR] Target-side eglCreateImageKHR() call failed: image reported=["));
    EXPECT_EQ(made.size(), 1u);
    EXPECT_FALSE(process().service_checked_out);
    fake_host::returns<&egl::eglDestroyImageKHR>(EGL_TRUE);
    seen = send(call32(in::egl_destroy_image_khr, EGL_TRUE).u64(display).u64(0x1234));
    EXPECT_FALSE(seen.value);
    EXPECT_TRUE(process().images.empty());
    EXPECT_EQ(seen.asked, strings{"winsys_buffer_object_end_use"});
}
} // namespace
