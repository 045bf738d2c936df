// Clearing and write masks.

#include "handlers/gles/gles_handlers.h"
#include "handlers/handler.h"

using gles_table = sidechannel_gles_imports;

void gles20_glClear(pid_t pid, tid_t tid, GLbitfield mask, gles_target_error target_error)
{
    gles_handler call{"gles20_glClear", pid, tid, target_error};
    call.trace("mask", mask);
    if (call.lock("glClear"))
        call.host<&gles_table::glClear>(mask);
}

void gles20_glClearColor(pid_t pid, tid_t tid, GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha,
                         gles_target_error target_error)
{
    gles_handler call{"gles20_glClearColor", pid, tid, target_error};
    call.trace("red", red, "green", green, "blue", blue, "alpha", alpha);
    if (call.lock("glClearColor"))
        call.host<&gles_table::glClearColor>(red, green, blue, alpha);
}

void gles20_glClearDepthf(pid_t pid, tid_t tid, GLfloat depth, gles_target_error target_error)
{
    gles_handler call{"gles20_glClearDepthf", pid, tid, target_error};
    call.trace("depth", depth);
    _zelvar_context_data* context = call.lock("glClearDepthf");
    if (context && call.host<&gles_table::glClearDepthf>(depth).ok())
        context->clear_depth = depth;
}

void gles20_glClearStencil(pid_t pid, tid_t tid, GLint stencil, gles_target_error target_error)
{
    gles_handler call{"gles20_glClearStencil", pid, tid, target_error};
    call.trace("s", stencil);
    _zelvar_context_data* context = call.lock("glClearStencil");
    if (context && call.host<&gles_table::glClearStencil>(stencil).ok())
        context->clear_stencil = stencil;
}

void gles20_glColorMask(pid_t pid, tid_t tid, GLboolean red, GLboolean green, GLboolean blue, GLboolean alpha,
                        gles_target_error target_error)
{
    gles_handler call{"gles20_glColorMask", pid, tid, target_error};
    call.trace("red", red, "green", green, "blue", blue, "alpha", alpha);
    if (call.lock("glColorMask"))
        call.host<&gles_table::glColorMask>(red, green, blue, alpha);
}

void gles20_glDepthMask(pid_t pid, tid_t tid, GLboolean flag, gles_target_error target_error)
{
    gles_handler call{"gles20_glDepthMask", pid, tid, target_error};
    call.trace("flag", flag);
    _zelvar_context_data* context = call.lock("glDepthMask");
    if (context && call.host<&gles_table::glDepthMask>(flag).ok())
        context->depth_writemask = flag != GL_FALSE;
}

void gles20_glStencilMask(pid_t pid, tid_t tid, GLuint mask, gles_target_error target_error)
{
    gles_handler call{"gles20_glStencilMask", pid, tid, target_error};
    call.trace("mask", mask);
    if (call.lock("glStencilMask"))
        call.host<&gles_table::glStencilMask>(mask);
}

void gles20_glStencilMaskSeparate(pid_t pid, tid_t tid, GLenum face, GLuint mask,
                                  gles_target_error target_error)
{
    gles_handler call{"gles20_glStencilMaskSeparate", pid, tid, target_error};
    call.trace("face", face, "mask", mask);
    if (call.lock("glStencilMaskSeparate"))
        call.host<&gles_table::glStencilMaskSeparate>(face, mask);
}
