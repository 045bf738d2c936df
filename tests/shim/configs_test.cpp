// What clients of a window server are told of configs, over a library that knows three of them.

#include "shim/fake_device.h"
#include "shim/target_names.h"
#include "shim/windows.h"

#include <array>

using namespace shim_test;

namespace {

/// A window server that has a visual, which is what makes the process a client.
class visual_server : public shim::window_server
{
public:
    bool size_of(uint64_t, shim::window_size&) override { return false; }
    bool show(uint64_t, const shim::frame_view&) override { return false; }
    uint32_t visual() override { return 0x21; }
};

struct config
{
    EGLint id, alpha, colour, depth, stencil, samples;
    EGLint attribute(EGLint name) const
    {
        switch (name) {
        case EGL_CONFIG_ID:
            return id;
        case EGL_ALPHA_SIZE:
            return alpha;
        case EGL_RED_SIZE:
            return colour;
        case EGL_DEPTH_SIZE:
            return depth;
        case EGL_STENCIL_SIZE:
            return stencil;
        default:
            return name == EGL_SAMPLES ? samples : 0;
        }
    }
};

/// By handle; 1 has it all.
constexpr config known[] = {{5, 0, 5, 24, 8, 0}, {9, 8, 8, 24, 8, 0}, {12, 8, 8, 24, 8, 4}};

class configs : public device_test
{
protected:
    void SetUp() override
    {
        static visual_server server;
        device_test::SetUp();
        shim::use_window_server(&server);
        device->on_message = [this](const std::vector<uint8_t>& sent) { answer(sent); };
    }

    template <class T>
    static T field(const std::vector<uint8_t>& sent, size_t offset)
    {
        T value;
        std::memcpy(&value, sent.data() + 20 + offset, sizeof value);
        return value;
    }

    void answer(const std::vector<uint8_t>& sent)
    {
        uint32_t type;
        std::memcpy(&type, sent.data() + 4, sizeof type);
        device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
        if (type == 15)
            *field<EGLint*>(sent, 20) = known[field<uint64_t>(sent, 8)].attribute(field<EGLint>(sent, 16));
        else if (type == 7)
            list(field<EGLConfig*>(sent, 16), field<EGLint>(sent, 24), field<EGLint*>(sent, 28));
        else if (type == 16)
            list(field<EGLConfig*>(sent, 8), field<EGLint>(sent, 16), field<EGLint*>(sent, 20));
        else
            device->replies = {value_and_release(bytes{}.u64(0x77))};
    }

    static void list(EGLConfig* into, EGLint size, EGLint* count)
    {
        *count = into ? std::min(size, 3) : 3;
        for (EGLint i = 0; into && i < *count; ++i)
            into[i] = reinterpret_cast<EGLConfig>(static_cast<uintptr_t>(i));
    }

    static EGLint attribute(EGLConfig config, EGLint name)
    {
        EGLint value = -1;
        EXPECT_TRUE(target_eglGetConfigAttrib(nullptr, config, name, &value));
        return value;
    }

    /// The lengths of the lists that a question for the count and one for the configs give, and the configs.
    std::vector<EGLConfig> choose(std::initializer_list<EGLint> wishes)
    {
        EGLint count = 0;
        EGLint again = 0;
        std::vector<EGLConfig> found(8);
        EXPECT_TRUE(target_eglChooseConfig(nullptr, wishes.begin(), nullptr, 0, &count));
        EXPECT_TRUE(target_eglChooseConfig(nullptr, wishes.begin(), found.data(), 8, &again));
        EXPECT_EQ(count, again);
        found.resize(static_cast<size_t>(again));
        return found;
    }
};

TEST_F(configs, one_without_stencil_stands_before_the_one_that_serves_for_it)
{
    const auto found = choose({EGL_DEPTH_SIZE, 1, EGL_STENCIL_SIZE, 0, EGL_NONE});
    ASSERT_EQ(found.size(), 4u);
    const EGLConfig twin = found[1];
    EXPECT_EQ(found[2], reinterpret_cast<EGLConfig>(1));
    EXPECT_EQ(attribute(twin, EGL_STENCIL_SIZE), 0);
    EXPECT_EQ(attribute(twin, EGL_DEPTH_SIZE), 24);
    EXPECT_NE(attribute(twin, EGL_CONFIG_ID), attribute(found[2], EGL_CONFIG_ID));
    EXPECT_EQ(attribute(twin, EGL_NATIVE_VISUAL_ID), 0x21);
    std::array<EGLConfig, 2> few{};
    EGLint count = 0;
    EXPECT_TRUE(target_eglGetConfigs(nullptr, few.data(), 2, &count));
    EXPECT_EQ(count, 2);
    EXPECT_EQ(few[1], twin);
}

TEST_F(configs, the_twin_is_not_offered_where_it_does_not_fit)
{
    EXPECT_EQ(choose({EGL_STENCIL_SIZE, 1, EGL_NONE}).size(), 3u);
    EXPECT_EQ(choose({EGL_CONFIG_ID, 9, EGL_NONE}).size(), 3u);
    EXPECT_EQ(choose({EGL_STENCIL_SIZE, EGL_DONT_CARE, EGL_CONFIG_ID, EGL_DONT_CARE, EGL_NONE}).size(), 4u);
}

TEST_F(configs, the_library_sees_the_original)
{
    const EGLConfig twin = choose({EGL_NONE})[1];
    const auto none = reinterpret_cast<EGLConfig>(~uintptr_t{0});
    for (const EGLConfig config : {twin, none}) {
        device->sent.clear();
        target_eglCreateContext(nullptr, config, nullptr, nullptr);
        target_eglCreatePbufferSurface(nullptr, config, nullptr);
        target_eglCreateWindowSurface(nullptr, config, EGLNativeWindowType{1}, nullptr);
        ASSERT_EQ(device->sent.size(), 3u);
        for (const auto& sent : device->sent)
            EXPECT_EQ(field<uint64_t>(sent, 8), config == twin ? 1u : ~uint64_t{0});
    }
}

/// Masks of glClear as the library gets them.
class clears : public configs
{
protected:
    void draw_to(EGLConfig config)
    {
        const EGLSurface surface = target_eglCreatePbufferSurface(nullptr, config, nullptr);
        const EGLContext context = target_eglCreateContext(nullptr, config, nullptr, nullptr);
        EXPECT_TRUE(target_eglMakeCurrent(nullptr, surface, surface, context));
    }

    GLbitfield sent_for(GLbitfield mask)
    {
        device->sent.clear();
        target_glClear(mask);
        EXPECT_EQ(device->sent.size(), 1u);
        return device->sent.empty() ? 0 : field<GLbitfield>(device->sent.front(), 0);
    }
};

constexpr GLbitfield depth_and_stencil = GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT;

TEST_F(clears, take_the_stencil_along_that_a_twin_does_not_have)
{
    draw_to(choose({EGL_NONE})[1]);
    EXPECT_EQ(sent_for(GL_DEPTH_BUFFER_BIT), depth_and_stencil);
    EXPECT_EQ(sent_for(GL_COLOR_BUFFER_BIT), GLbitfield{GL_COLOR_BUFFER_BIT});
    draw_to(choose({EGL_NONE})[2]);
    EXPECT_EQ(sent_for(GL_DEPTH_BUFFER_BIT), GLbitfield{GL_DEPTH_BUFFER_BIT}) << "it has a stencil";
}

TEST_F(clears, leave_the_stencil_of_other_framebuffers_alone)
{
    constexpr GLuint framebuffer = 3;
    draw_to(choose({EGL_NONE})[1]);
    target_glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    EXPECT_EQ(sent_for(GL_DEPTH_BUFFER_BIT), GLbitfield{GL_DEPTH_BUFFER_BIT});
    target_glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    EXPECT_EQ(sent_for(GL_DEPTH_BUFFER_BIT), GLbitfield{GL_DEPTH_BUFFER_BIT}) << "only read from";
    target_glDeleteFramebuffers(1, &framebuffer);
    EXPECT_EQ(sent_for(GL_DEPTH_BUFFER_BIT), depth_and_stencil);
    target_glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
    EXPECT_EQ(sent_for(GL_DEPTH_BUFFER_BIT), GLbitfield{GL_DEPTH_BUFFER_BIT});
    target_glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
    EXPECT_EQ(sent_for(GL_DEPTH_BUFFER_BIT), depth_and_stencil);
}

} // namespace
