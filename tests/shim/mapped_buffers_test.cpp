// Buffers that are mapped: what the shim knows of them without asking, and what it doesn't.

#include "shim/fake_device.h"
#include "shim/target_names.h"
#include "wire/wire.h"

#include <GLES2/gl2ext.h>

using namespace shim_test;

namespace {
namespace in = wire::inbound;

const EGLContext first = reinterpret_cast<EGLContext>(9);
const EGLContext second = reinterpret_cast<EGLContext>(10);
void* const place = reinterpret_cast<void*>(0x7f0000001000);

class mapped_buffer : public device_test
{
protected:
    void SetUp() override
    {
        device_test::SetUp();
        use_batching();
        create(first, EGL_NO_CONTEXT);
        use(first);
    }

    void create(EGLContext context, EGLContext share)
    {
        device->replies = {value_and_release(bytes{}.address(context))};
        EXPECT_EQ(target_eglCreateContext(nullptr, nullptr, share, nullptr), context);
    }

    void use(EGLContext context)
    {
        device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
        target_eglMakeCurrent(nullptr, nullptr, nullptr, context);
        device->sent.clear();
    }

    /// A buffer of so many bytes, bound to the target.
    void make(GLuint buffer, GLsizeiptr size, GLenum target = GL_ARRAY_BUFFER)
    {
        target_glBindBuffer(target, buffer);
        target_glBufferData(target, size, nullptr, GL_STATIC_DRAW);
    }

    /// Maps the whole buffer; the length in the message, or -1 when its size was asked before.
    int64_t map_whole(GLenum target = GL_ARRAY_BUFFER)
    {
        const auto map = reinterpret_cast<PFNGLMAPBUFFEROESPROC>(target_eglGetProcAddress("glMapBufferOES"));
        target_glFinish();
        device->sent.clear();
        device->replies = {value_and_release(bytes{}.address(place))};
        map(target, GL_WRITE_ONLY_OES);
        const bool asked = device->sent.size() == 2;
        int64_t length = 0;
        std::memcpy(&length, device->sent.back().data() + device->sent.back().size() - 12, sizeof length);
        return asked ? -1 : length;
    }

    GLboolean unmap(GLenum target = GL_ARRAY_BUFFER)
    {
        device->sent.clear();
        device->replies = {value_and_release(bytes{}.u8(GL_FALSE))};
        const GLboolean result = target_glUnmapBuffer(target);
        unmap_was_sent = !device->sent.empty();
        device->replies.clear();
        return result;
    }

    bool unmap_was_sent = false;
};

TEST_F(mapped_buffer, of_a_known_size_is_mapped_whole_without_a_question)
{
    make(1, 100);
    EXPECT_EQ(map_whole(), 100);
    make(2, 60, GL_ELEMENT_ARRAY_BUFFER);
    EXPECT_EQ(map_whole(GL_ELEMENT_ARRAY_BUFFER), 60);
    target_glBindBuffer(GL_ARRAY_BUFFER, 2);
    EXPECT_EQ(map_whole(), 60) << "the same buffer elsewhere";
    target_glBindBuffer(GL_ARRAY_BUFFER, 3);
    EXPECT_EQ(map_whole(), -1) << "nothing is known of it";
    target_glBindBuffer(GL_ARRAY_BUFFER, 1);
    target_glBufferData(GL_COPY_WRITE_BUFFER, 7, nullptr, GL_STATIC_DRAW);
    EXPECT_EQ(map_whole(), -1) << "it may have been this one";
    make(1, 100);
    const GLuint gone = 1;
    target_glDeleteBuffers(1, &gone);
    target_glBindBuffer(GL_ARRAY_BUFFER, 1);
    EXPECT_EQ(map_whole(), -1);
}

TEST_F(mapped_buffer, is_unmapped_in_the_batch)
{
    make(1, 100);
    map_whole();
    EXPECT_EQ(unmap(), GL_TRUE);
    EXPECT_FALSE(unmap_was_sent);
    // The value that comes for it isn't that of the call behind it.
    device->replies = {
        message(436, bytes{}.u8(1).u8(GL_TRUE)).add(message(436, bytes{}.u8(4).u32(0x502))).add(release())};
    EXPECT_EQ(target_glGetError(), 0x502u);
    device->replies = {message(436, bytes{}.u8(4).u32(7)).add(release())};
    EXPECT_EQ(target_glGetError(), 7u) << "nothing is left to count off";
    EXPECT_EQ(unmap(), GL_FALSE) << "a second time it isn't mapped";
    EXPECT_TRUE(unmap_was_sent);
}

TEST_F(mapped_buffer, that_may_have_been_unmapped_otherwise_waits_for_the_answer)
{
    make(1, 100);
    map_whole();
    target_glBufferData(GL_ARRAY_BUFFER, 100, nullptr, GL_STATIC_DRAW);
    EXPECT_EQ(unmap(), GL_FALSE) << "new contents end a mapping";
    map_whole();
    unmap(GL_COPY_READ_BUFFER);
    unmap();
    EXPECT_TRUE(unmap_was_sent);
    make(1, 100);
    device->replies = {value_and_release(bytes{}.u64(0))};
    EXPECT_EQ(target_glMapBufferRange(GL_ARRAY_BUFFER, 0, 10, GL_MAP_WRITE_BIT), nullptr);
    EXPECT_EQ(unmap(), GL_FALSE) << "the mapping failed";
}

TEST_F(mapped_buffer, is_known_to_contexts_that_share_and_to_no_other)
{
    make(1, 100);
    target_glFinish();
    create(second, first);
    use(second);
    target_glBindBuffer(GL_ARRAY_BUFFER, 1);
    EXPECT_EQ(map_whole(), 100);
    const EGLContext stranger = reinterpret_cast<EGLContext>(11);
    create(stranger, EGL_NO_CONTEXT);
    use(stranger);
    target_glBindBuffer(GL_ARRAY_BUFFER, 1);
    EXPECT_EQ(map_whole(), -1);
}

TEST_F(mapped_buffer, has_its_memory_offered_with_the_call)
{
    device->takes_blocks = true;
    make(1, 100);
    map_whole();
    ASSERT_EQ(device->offers.size(), 1u) << "for the mapping alone";
    EXPECT_EQ(device->offers[0].second, 100u);
    EXPECT_NE(device->offers[0].first, nullptr);
    target_glMapBufferRange(GL_ARRAY_BUFFER, 0, -1, GL_MAP_WRITE_BIT);
    target_glMapBufferRange(GL_ARRAY_BUFFER, 0, 0, GL_MAP_WRITE_BIT);
    EXPECT_EQ(device->offers.size(), 1u) << "no memory is needed for what fails";
    // One that was taken is the library's to free, one that wasn't has been freed already.
    device->takes_the_offer = true;
    target_glMapBufferRange(GL_ARRAY_BUFFER, 0, 50, GL_MAP_WRITE_BIT);
    ASSERT_EQ(device->offers.size(), 2u);
    for (const bool taken : {false, true}) {
        device->replies = {
            message(wire::outbound::deallocate_memory_block, bytes{}.address(device->offers[taken].first))
                .add(release())};
        capture();
        target_glFinish();
        EXPECT_EQ(captured().empty(), taken);
    }
}

} // namespace
