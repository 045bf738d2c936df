// Framebuffers: names, bindings, which of their buffers are read and drawn, parameters.

#include "handlers/gles/framebuffers_handlers.h"
#include "handlers/gles/image_read_back.h"
#include "handlers/gles/object_kinds.h"
#include "handlers/gles/shared_guard.h"

#include <algorithm>

using gles_table = sidechannel_gles_imports;

namespace {
_zelvar_framebuffer_object_descriptor* find_framebuffer(_zelvar_context_data* context, uint32_t id)
{
    auto found = context->data_nonshared->framebuffers.find(id);
    return found == context->data_nonshared->framebuffers.end() ? nullptr : &found->second;
}

void note_binding(_zelvar_context_data* context, GLenum target, uint32_t framebuffer)
{
    if (target != GL_DRAW_FRAMEBUFFER && target != GL_READ_FRAMEBUFFER && target != GL_FRAMEBUFFER) {
        LOG_ERROR("Unkown frame buffer binding point [%d].", target);
        return;
    }
    if (target != GL_READ_FRAMEBUFFER)
        context->draw_framebuffer = framebuffer;
    if (target != GL_DRAW_FRAMEBUFFER)
        context->read_framebuffer = framebuffer;
}
} // namespace

void gles20_glBindFramebuffer(pid_t pid, tid_t tid, GLenum target, GLuint framebuffer,
                              gles_target_error target_error)
{
    gles_handler call{"gles20_glBindFramebuffer", pid, tid, target_error};
    call.trace("target", target, "framebuffer", framebuffer);
    _zelvar_context_data* context = call.lock("glBindFramebuffer");
    if (!context)
        return;
    auto* known = framebuffer ? find_framebuffer(context, framebuffer) : nullptr;
    if (framebuffer && !known) {
        if (generate_on_bind(call, context, shared_framebuffers, framebuffer))
            known = find_framebuffer(context, framebuffer);
        if (!known) {
            LOG_ERROR("Error while executing create-upon-binding path for target-side framebuffer object id "
                      "[%d]. Host-side will NOT execute the call!",
                      framebuffer);
            return;
        }
    }
    if (context->draw_framebuffer && context->draw_framebuffer != framebuffer)
        read_back_image(call, context);
    if (!call.host<&gles_table::glBindFramebuffer>(target, known ? known->host_id : 0).ok())
        return;
    if (known)
        known->was_bound = true;
    note_binding(context, target, framebuffer);
}

void gles20_glIsFramebuffer(pid_t pid, tid_t tid, GLuint framebuffer, result_of<GLboolean>,
                            gles_target_error target_error)
{
    gles_handler call{"gles20_glIsFramebuffer", pid, tid, target_error};
    call.trace("framebuffer", framebuffer);
    GLboolean known = GL_FALSE;
    if (_zelvar_context_data* context = call.lock("glIsFramebuffer")) {
        auto* found = framebuffer ? find_framebuffer(context, framebuffer) : nullptr;
        known = found && found->was_bound; // a name alone is no framebuffer yet
    }
    call.reply(known);
}

void gles20_glCheckFramebufferStatus(pid_t pid, tid_t tid, GLenum target, result_of<GLenum>,
                                     gles_target_error target_error)
{
    gles_handler call{"gles20_glCheckFramebufferStatus", pid, tid, target_error};
    call.trace("target", target);
    GLenum status = 0;
    if (call.lock("glCheckFramebufferStatus"))
        status = call.host<&gles_table::glCheckFramebufferStatus>(target).result;
    call.reply(status);
}

void gles30_glReadBuffer(pid_t pid, tid_t tid, GLenum source, gles_target_error target_error)
{
    gles_handler call{"gles30_glReadBuffer", pid, tid, target_error};
    call.trace("src", source);
    if (call.lock("glReadBuffer"))
        call.host<&gles_table::glReadBuffer>(source);
}

void gles30_glDrawBuffers(pid_t pid, tid_t tid, GLsizei n, target_ptr, inline_array<GLenum> buffers,
                          gles_target_error target_error)
{
    gles_handler call{"gles30_glDrawBuffers", pid, tid, target_error};
    call.trace("n", n);
    // A message may hold fewer than it tells: the host must not read behind them.
    if (call.lock("glDrawBuffers"))
        call.host<&gles_table::glDrawBuffers>(std::min<int64_t>(n, static_cast<int64_t>(buffers.count)),
                                              buffers.data);
}

void gles31_glFramebufferParameteri(pid_t pid, tid_t tid, GLenum target, GLenum pname, GLint param,
                                    gles_target_error target_error)
{
    gles_handler call{"gles31_glFramebufferParameteri", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "param", param);
    if (call.lock("glFramebufferParameteri"))
        call.host<&gles_table::glFramebufferParameteri>(target, pname, param);
}

void gles31_glGetFramebufferParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                        gles_target_error target_error)
{
    gles_handler call{"gles31_glGetFramebufferParameteriv", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "params", params);
    GLint value = 0;
    if (call.lock("glGetFramebufferParameteriv") &&
        call.host<&gles_table::glGetFramebufferParameteriv>(target, pname, &value).ok())
        call.write(params, value);
}
