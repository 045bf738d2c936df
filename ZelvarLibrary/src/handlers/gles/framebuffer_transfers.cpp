// Blits between framebuffers, and contents that an application gives up.

#include "handlers/gles/framebuffers_handlers.h"
#include "handlers/handler.h"

#include <algorithm>

using gles_table = sidechannel_gles_imports;

namespace {
bool is_complete(GLenum target)
{
    auto status = host::gl<&gles_table::glCheckFramebufferStatus>(target);
    return status.ok() && status.result == GL_FRAMEBUFFER_COMPLETE;
}

/// Whether the buffers of a default framebuffer stand in the list, and no others.
bool names_default_buffers(const GLenum* buffers, size_t count)
{
    return std::all_of(buffers, buffers + count, [](GLenum buffer) {
        return buffer == GL_COLOR || buffer == GL_DEPTH || buffer == GL_STENCIL;
    });
}

struct attachment_list
{
    GLsizei n;
    const GLenum* names;
};

/// The list as the host will see it, not longer than what the message holds.
attachment_list list_of(GLsizei n, inline_array<GLenum> names)
{
    return {static_cast<GLsizei>(std::min<int64_t>(n, static_cast<int64_t>(names.count))), names.data};
}

/// Locks the context; false when the call ends here.
bool may_invalidate(gles_handler& call, const char* function, GLenum target, const attachment_list& list)
{
    if (list.n < 0) {
        LOG_ERROR("numAttachments is less than zero, GL_INVALID_VALUE is generated.");
        call.error = GL_INVALID_VALUE;
        return false;
    }
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return false;
    uint32_t bound = target == GL_READ_FRAMEBUFFER ? context->read_framebuffer : context->draw_framebuffer;
    if (bound || names_default_buffers(list.names, static_cast<size_t>(list.n)))
        return true;
    LOG_ERROR("The default framebuffer has only GL_COLOR, GL_DEPTH and GL_STENCIL to give up, "
              "GL_INVALID_ENUM is generated.");
    call.error = GL_INVALID_ENUM;
    return false;
}
} // namespace

void gles30_glBlitFramebuffer(pid_t pid, tid_t tid, GLint source_x0, GLint source_y0, GLint source_x1,
                              GLint source_y1, GLint x0, GLint y0, GLint x1, GLint y1, GLbitfield mask,
                              GLenum filter, gles_target_error target_error)
{
    gles_handler call{"gles30_glBlitFramebuffer", pid, tid, target_error};
    call.trace("srcX0", source_x0, "srcY0", source_y0, "srcX1", source_x1, "srcY1", source_y1, "dstX0", x0,
               "dstY0", y0, "dstX1", x1, "dstY1", y1, "mask", mask, "filter", filter);
    if (!call.lock("glBlitFramebuffer"))
        return;
    bool can_read = is_complete(GL_READ_FRAMEBUFFER), can_draw = is_complete(GL_DRAW_FRAMEBUFFER);
    if (!can_read)
        LOG_ERROR("GL_READ_FRAMEBUFFER is not framebuffer complete.");
    if (!can_draw)
        LOG_ERROR("GL_DRAW_FRAMEBUFFER is not framebuffer complete.");
    if (!can_read || !can_draw) {
        call.error = GL_INVALID_FRAMEBUFFER_OPERATION;
        return;
    }
    call.host<&gles_table::glBlitFramebuffer>(source_x0, source_y0, source_x1, source_y1, x0, y0, x1, y1,
                                              mask, filter);
}

void gles30_glInvalidateFramebuffer(pid_t pid, tid_t tid, GLenum target, GLsizei n, target_ptr,
                                    inline_array<GLenum> attachments, gles_target_error target_error)
{
    gles_handler call{"gles30_glInvalidateFramebuffer", pid, tid, target_error};
    call.trace("target", target, "numAttachments", n);
    if (n < 0)
        LOG_ERROR("numAttachments[%d] is negative, glInvalidateFramebuffer() may go wrong", n);
    attachment_list list = list_of(n, attachments);
    if (may_invalidate(call, "glInvalidateFramebuffer", target, list))
        call.host<&gles_table::glInvalidateFramebuffer>(target, list.n, list.names);
}

void gles30_glInvalidateSubFramebuffer(pid_t pid, tid_t tid, GLenum target, GLsizei n, target_ptr, GLint x,
                                       GLint y, GLsizei width, GLsizei height,
                                       inline_array<GLenum> attachments, gles_target_error target_error)
{
    gles_handler call{"gles30_glInvalidateSubFramebuffer", pid, tid, target_error};
    call.trace("target", target, "numAttachments", n, "x", x, "y", y, "width", width, "height", height);
    attachment_list list = list_of(n, attachments);
    if (may_invalidate(call, "glInvalidateSubFramebuffer", target, list))
        call.host<&gles_table::glInvalidateSubFramebuffer>(target, list.n, list.names, x, y, width, height);
}

void gles20_glDiscardFramebufferEXT(pid_t pid, tid_t tid, GLenum target, GLsizei n, target_ptr,
                                    inline_array<GLenum> attachments, gles_target_error target_error)
{
    gles_handler call{"gles20_glDiscardFramebufferEXT", pid, tid, target_error};
    call.trace("target", target, "numAttachments", n);
    attachment_list list = list_of(n, attachments);
    if (may_invalidate(call, "glDiscardFramebufferEXT", target, list))
        call.host<&gles_table::glDiscardFramebufferEXT>(target, list.n, list.names);
}
