// Clearing single buffers of a framebuffer, and images for shaders.

#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/handler.h"

#include <algorithm>

using gles_table = sidechannel_gles_imports;

namespace {
/// The values come with the message: four for a colour buffer, else one.
template <auto Field, class T>
void gles30_shared_clear_buffer(gles_handler& call, const char* function, GLenum buffer, GLint drawbuffer,
                                inline_array<T> values)
{
    call.trace("buffer", buffer, "drawbuffer", drawbuffer);
    T value[4] = {};
    std::copy_n(values.data, std::min<size_t>(values.count, 4), value);
    if (call.lock(function))
        call.host<Field>(buffer, drawbuffer, static_cast<const T*>(value));
}
} // namespace

void gles30_glClearBufferiv(pid_t pid, tid_t tid, GLenum buffer, GLint drawbuffer, target_ptr,
                            inline_array<GLint> values, gles_target_error target_error)
{
    gles_handler call{"gles30_glClearBufferiv", pid, tid, target_error};
    gles30_shared_clear_buffer<&gles_table::glClearBufferiv>(call, "glClearBufferiv", buffer, drawbuffer,
                                                             values);
}

void gles30_glClearBufferuiv(pid_t pid, tid_t tid, GLenum buffer, GLint drawbuffer, target_ptr,
                             inline_array<GLuint> values, gles_target_error target_error)
{
    gles_handler call{"gles30_glClearBufferuiv", pid, tid, target_error};
    gles30_shared_clear_buffer<&gles_table::glClearBufferuiv>(call, "glClearBufferuiv", buffer, drawbuffer,
                                                              values);
}

void gles30_glClearBufferfv(pid_t pid, tid_t tid, GLenum buffer, GLint drawbuffer, target_ptr,
                            inline_array<GLfloat> values, gles_target_error target_error)
{
    gles_handler call{"gles30_glClearBufferfv", pid, tid, target_error};
    gles30_shared_clear_buffer<&gles_table::glClearBufferfv>(call, "glClearBufferfv", buffer, drawbuffer,
                                                             values);
}

void gles30_glClearBufferfi(pid_t pid, tid_t tid, GLenum buffer, GLint drawbuffer, GLfloat depth,
                            GLint stencil, gles_target_error target_error)
{
    gles_handler call{"gles30_glClearBufferfi", pid, tid, target_error};
    call.trace("buffer", buffer, "drawbuffer", drawbuffer, "depth", depth, "stencil", stencil);
    if (call.lock("glClearBufferfi"))
        call.host<&gles_table::glClearBufferfi>(buffer, drawbuffer, depth, stencil);
}

void gles31_glBindImageTexture(pid_t pid, tid_t tid, GLuint unit, GLuint texture, GLint level,
                               GLboolean layered, GLint layer, GLenum access, GLenum format,
                               gles_target_error target_error)
{
    gles_handler call{"gles31_glBindImageTexture", pid, tid, target_error};
    call.trace("unit", unit, "texture", texture, "level", level, "layered", layered, "layer", layer, "access",
               access, "format", format);
    _zelvar_context_data* context = call.lock("glBindImageTexture");
    if (!context)
        return;
    shared_guard group_lock{context};
    GLuint host_id = 0;
    if (texture) {
        auto found = context->data_shared->textures.find(texture);
        if (found == context->data_shared->textures.end()) {
            LOG_FATAL("Could not find host-side texture object for target-side texture object id [%d] for "
                      "process id "
                      "[%d], GL_INVALID_VALUE is generated.",
                      texture, pid);
            call.error = GL_INVALID_VALUE;
            return;
        }
        host_id = found->second.host_id;
    }
    call.host<&gles_table::glBindImageTexture>(unit, host_id, level, layered, layer, access, format);
}
