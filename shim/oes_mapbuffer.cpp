#include "shim/oes_mapbuffer.h"

#include "shim/exports.h"
#include "shim/texts.h"
#include "shim/thread_state.h"
#include "shim/vertex_state.h"

#include <GLES2/gl2ext.h>
#include <GLES3/gl31.h>

namespace shim {

namespace {

GLsizeiptr size_of_buffer(GLenum target)
{
    const thread_state* self = this_thread();
    if (const auto known = self && self->vertices ? self->vertices->buffer_size(target) : std::nullopt)
        return *known;
    GLint size = 0;
    SHIM_NAME(glGetBufferParameteriv)(target, GL_BUFFER_SIZE, &size);
    return size;
}

void* map_buffer(GLenum target, GLenum access)
{
    const auto size = size_of_buffer(target);
    // The extension knows writing alone; another value is an error that the range's access shall give.
    const GLbitfield range_access = access == GL_WRITE_ONLY_OES ? GL_MAP_WRITE_BIT : 0u;
    return SHIM_NAME(glMapBufferRange)(target, 0, size, range_access);
}

GLboolean unmap_buffer(GLenum target)
{
    return SHIM_NAME(glUnmapBuffer)(target);
}

void get_buffer_pointer(GLenum target, GLenum name, void** pointer)
{
    SHIM_NAME(glGetBufferPointerv)(target, name, pointer);
}

} // namespace

const named_entry_point mapbuffer_entry_points[] = {
    {"glMapBufferOES", reinterpret_cast<entry_point>(&map_buffer)},
    {"glUnmapBufferOES", reinterpret_cast<entry_point>(&unmap_buffer)},
    {"glGetBufferPointervOES", reinterpret_cast<entry_point>(&get_buffer_pointer)},
    {nullptr, nullptr},
};

const GLubyte* with_mapbuffer_extension(const GLubyte* extensions)
{
    return reinterpret_cast<const GLubyte*>(
        text_with(reinterpret_cast<const char*>(extensions), mapbuffer_extension));
}

} // namespace shim
