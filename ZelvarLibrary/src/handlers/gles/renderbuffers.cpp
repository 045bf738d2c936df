// Renderbuffers: names, storage, queries.

#include "handlers/gles/framebuffers_handlers.h"
#include "handlers/gles/object_kinds.h"
#include "handlers/gles/shared_guard.h"

using gles_table = sidechannel_gles_imports;

namespace {
_zelvar_renderbuffer_object_descriptor* find_renderbuffer(_zelvar_context_data* context, uint32_t id)
{
    auto found = context->data_shared->renderbuffers.find(id);
    return found == context->data_shared->renderbuffers.end() ? nullptr : &found->second;
}
} // namespace

void gles20_glBindRenderbuffer(pid_t pid, tid_t tid, GLenum target, GLuint renderbuffer,
                               gles_target_error target_error)
{
    gles_handler call{"gles20_glBindRenderbuffer", pid, tid, target_error};
    call.trace("target", target, "renderbuffer", renderbuffer);
    _zelvar_context_data* context = call.lock("glBindRenderbuffer");
    if (!context)
        return;
    shared_guard group_lock{context};
    auto* known = renderbuffer ? find_renderbuffer(context, renderbuffer) : nullptr;
    if (renderbuffer && !known) {
        if (generate_on_bind(call, context, shared_renderbuffers, renderbuffer))
            known = find_renderbuffer(context, renderbuffer);
        if (!known) {
            LOG_ERROR("Error while executing create-upon-binding path for target-side renderbuffer object id "
                      "[%d]. Host-side will NOT execute the call!",
                      renderbuffer);
            return;
        }
    }
    if (!call.host<&gles_table::glBindRenderbuffer>(target, known ? known->host_id : 0).ok())
        return;
    if (known)
        known->was_bound = true;
    context->bound_renderbuffer = renderbuffer;
}

void gles20_glIsRenderbuffer(pid_t pid, tid_t tid, GLuint renderbuffer, result_of<GLboolean>,
                             gles_target_error target_error)
{
    gles_handler call{"gles20_glIsRenderbuffer", pid, tid, target_error};
    call.trace("renderbuffer", renderbuffer);
    GLboolean known = GL_FALSE;
    if (_zelvar_context_data* context = call.lock("glIsRenderbuffer")) {
        shared_guard group_lock{context};
        auto* found = renderbuffer ? find_renderbuffer(context, renderbuffer) : nullptr;
        known = found && found->was_bound; // a name alone is no renderbuffer yet
    }
    call.reply(known);
}

void gles20_glRenderbufferStorage(pid_t pid, tid_t tid, GLenum target, GLenum format, GLsizei width,
                                  GLsizei height, gles_target_error target_error)
{
    gles_handler call{"gles20_glRenderbufferStorage", pid, tid, target_error};
    call.trace("target", target, "internalformat", format, "width", width, "height", height);
    if (call.lock("glRenderbufferStorage"))
        call.host<&gles_table::glRenderbufferStorage>(target, format, width, height);
}

void gles30_glRenderbufferStorageMultisample(pid_t pid, tid_t tid, GLenum target, GLsizei samples,
                                             GLenum format, GLsizei width, GLsizei height,
                                             gles_target_error target_error)
{
    gles_handler call{"gles30_glRenderbufferStorageMultisample", pid, tid, target_error};
    call.trace("target", target, "samples", samples, "internalformat", format, "width", width, "height",
               height);
    if (call.lock("glRenderbufferStorageMultisample"))
        call.host<&gles_table::glRenderbufferStorageMultisample>(target, samples, format, width, height);
}

void gles20_glRenderbufferStorageMultisampleEXT(pid_t pid, tid_t tid, GLenum target, GLsizei samples,
                                                GLenum format, GLsizei width, GLsizei height,
                                                gles_target_error target_error)
{
    gles_handler call{"gles20_glRenderbufferStorageMultisampleEXT", pid, tid, target_error};
    call.trace("target", target, "samples", samples, "internalformat", format, "width", width, "height",
               height);
    if (call.lock("glRenderbufferStorageMultisampleEXT"))
        call.host<&gles_table::glRenderbufferStorageMultisampleEXT>(target, samples, format, width, height);
}

void gles20_glGetRenderbufferParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                         gles_target_error target_error)
{
    gles_handler call{"gles20_glGetRenderbufferParameteriv", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "params", params);
    GLint value = 0;
    if (call.lock("glGetRenderbufferParameteriv") &&
        call.host<&gles_table::glGetRenderbufferParameteriv>(target, pname, &value).ok())
        call.write(params, value);
}
