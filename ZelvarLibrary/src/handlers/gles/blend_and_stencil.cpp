// Per-fragment state: each call goes to the host and, once accepted, into the model's mirror.

#include "handlers/gles/buffers_handlers.h"
#include "handlers/handler.h"

using gles_table = sidechannel_gles_imports;

namespace {
/// Runs `change` on the front face, the back face or both, as `face` says.
template <class Change>
void for_faces(_zelvar_context_data* context, GLenum face, Change change)
{
    if (face != GL_BACK)
        change(context->stencil_front, 0);
    if (face != GL_FRONT)
        change(context->stencil_back, 3);
}

void note_stencil_func(_zelvar_context_data* context, GLenum face, GLenum func, GLint ref, GLuint mask)
{
    for_faces(context, face, [&](stencil_face& side, size_t) {
        side.func = func;
        side.reference = ref;
        side.value_mask = mask;
    });
}

void note_stencil_op(_zelvar_context_data* context, GLenum face, GLenum fail, GLenum depth_fail, GLenum pass)
{
    for_faces(context, face, [&](stencil_face&, size_t first) {
        context->stencil_ops[first] = fail;
        context->stencil_ops[first + 1] = depth_fail;
        context->stencil_ops[first + 2] = pass;
    });
}
} // namespace

void gles20_glBlendColor(pid_t pid, tid_t tid, GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha,
                         gles_target_error target_error)
{
    gles_handler call{"gles20_glBlendColor", pid, tid, target_error};
    call.trace("red", red, "green", green, "blue", blue, "alpha", alpha);
    _zelvar_context_data* context = call.lock("glBlendColor");
    if (context && call.host<&gles_table::glBlendColor>(red, green, blue, alpha).ok())
        context->blend_color = {red, green, blue, alpha};
}

void gles20_glBlendEquation(pid_t pid, tid_t tid, GLenum mode, gles_target_error target_error)
{
    gles_handler call{"gles20_glBlendEquation", pid, tid, target_error};
    call.trace("mode", mode);
    _zelvar_context_data* context = call.lock("glBlendEquation");
    if (context && call.host<&gles_table::glBlendEquation>(mode).ok())
        context->blend_equation_rgb = context->blend_equation_alpha = mode;
}

void gles20_glBlendEquationSeparate(pid_t pid, tid_t tid, GLenum rgb, GLenum alpha,
                                    gles_target_error target_error)
{
    gles_handler call{"gles20_glBlendEquationSeparate", pid, tid, target_error};
    call.trace("modeRGB", rgb, "modeAlpha", alpha);
    _zelvar_context_data* context = call.lock("glBlendEquationSeparate");
    if (context && call.host<&gles_table::glBlendEquationSeparate>(rgb, alpha).ok()) {
        context->blend_equation_rgb = rgb;
        context->blend_equation_alpha = alpha;
    }
}

void gles20_glBlendFunc(pid_t pid, tid_t tid, GLenum source, GLenum destination,
                        gles_target_error target_error)
{
    gles_handler call{"gles20_glBlendFunc", pid, tid, target_error};
    call.trace("sfactor", source, "dfactor", destination);
    _zelvar_context_data* context = call.lock("glBlendFunc");
    if (context && call.host<&gles_table::glBlendFunc>(source, destination).ok()) {
        context->blend_src_rgb = context->blend_src_alpha = source;
        context->blend_dst_rgb = context->blend_dst_alpha = destination;
    }
}

void gles20_glBlendFuncSeparate(pid_t pid, tid_t tid, GLenum source_rgb, GLenum destination_rgb,
                                GLenum source_alpha, GLenum destination_alpha, gles_target_error target_error)
{
    gles_handler call{"gles20_glBlendFuncSeparate", pid, tid, target_error};
    call.trace("sfactorRGB", source_rgb, "dfactorRGB", destination_rgb, "sfactorAlpha", source_alpha,
               "dfactorAlpha", destination_alpha);
    _zelvar_context_data* context = call.lock("glBlendFuncSeparate");
    if (context && call.host<&gles_table::glBlendFuncSeparate>(source_rgb, destination_rgb, source_alpha,
                                                               destination_alpha)
                       .ok()) {
        context->blend_src_rgb = source_rgb;
        context->blend_dst_rgb = destination_rgb;
        context->blend_src_alpha = source_alpha;
        context->blend_dst_alpha = destination_alpha;
    }
}

void gles20_glCullFace(pid_t pid, tid_t tid, GLenum mode, gles_target_error target_error)
{
    gles_handler call{"gles20_glCullFace", pid, tid, target_error};
    call.trace("mode", mode);
    _zelvar_context_data* context = call.lock("glCullFace");
    if (context && call.host<&gles_table::glCullFace>(mode).ok())
        context->cull_face_mode = mode;
}

void gles20_glDepthFunc(pid_t pid, tid_t tid, GLenum func, gles_target_error target_error)
{
    gles_handler call{"gles20_glDepthFunc", pid, tid, target_error};
    call.trace("func", func);
    _zelvar_context_data* context = call.lock("glDepthFunc");
    if (context && call.host<&gles_table::glDepthFunc>(func).ok())
        context->depth_func = func;
}

void gles20_glStencilFunc(pid_t pid, tid_t tid, GLenum func, GLint ref, GLuint mask,
                          gles_target_error target_error)
{
    gles_handler call{"gles20_glStencilFunc", pid, tid, target_error};
    call.trace("func", func, "ref", ref, "mask", mask);
    _zelvar_context_data* context = call.lock("glStencilFunc");
    if (context && call.host<&gles_table::glStencilFunc>(func, ref, mask).ok())
        note_stencil_func(context, GL_FRONT_AND_BACK, func, ref, mask);
}

void gles20_glStencilFuncSeparate(pid_t pid, tid_t tid, GLenum face, GLenum func, GLint ref, GLuint mask,
                                  gles_target_error target_error)
{
    gles_handler call{"gles20_glStencilFuncSeparate", pid, tid, target_error};
    call.trace("face", face, "func", func, "ref", ref, "mask", mask);
    _zelvar_context_data* context = call.lock("glStencilFuncSeparate");
    if (context && call.host<&gles_table::glStencilFuncSeparate>(face, func, ref, mask).ok())
        note_stencil_func(context, face, func, ref, mask);
}

void gles20_glStencilOp(pid_t pid, tid_t tid, GLenum fail, GLenum depth_fail, GLenum pass,
                        gles_target_error target_error)
{
    gles_handler call{"gles20_glStencilOp", pid, tid, target_error};
    call.trace("fail", fail, "zfail", depth_fail, "zpass", pass);
    _zelvar_context_data* context = call.lock("glStencilOp");
    if (context && call.host<&gles_table::glStencilOp>(fail, depth_fail, pass).ok())
        note_stencil_op(context, GL_FRONT_AND_BACK, fail, depth_fail, pass);
}

void gles20_glStencilOpSeparate(pid_t pid, tid_t tid, GLenum face, GLenum fail, GLenum depth_fail,
                                GLenum pass, gles_target_error target_error)
{
    gles_handler call{"gles20_glStencilOpSeparate", pid, tid, target_error};
    call.trace("face", face, "sfail", fail, "dpfail", depth_fail, "dppass", pass);
    _zelvar_context_data* context = call.lock("glStencilOpSeparate");
    if (context && call.host<&gles_table::glStencilOpSeparate>(face, fail, depth_fail, pass).ok())
        note_stencil_op(context, face, fail, depth_fail, pass);
}

void gles31_glSampleMaski(pid_t pid, tid_t tid, GLuint index, GLbitfield mask, gles_target_error target_error)
{
    gles_handler call{"gles31_glSampleMaski", pid, tid, target_error};
    call.trace("maskNumber", index, "mask", mask);
    if (call.lock("glSampleMaski"))
        call.host<&gles_table::glSampleMaski>(index, mask);
}

void gles31_glGetMultisamplefv(pid_t pid, tid_t tid, GLenum pname, GLuint index, target_ptr values,
                               gles_target_error target_error)
{
    gles_handler call{"gles31_glGetMultisamplefv", pid, tid, target_error};
    call.trace("pname", pname, "index", index, "val", values);
    GLfloat position[2] = {};
    if (!call.lock("glGetMultisamplefv") ||
        !call.host<&gles_table::glGetMultisamplefv>(pname, index, position).ok() || !values)
        return;
    zelvar_shim_dispatch_write_to_shim_address_space(pid, tid, sizeof(position), position, values);
}
