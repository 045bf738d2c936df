// Rasterisation state: each call goes to the host and, once accepted, into the model's mirror.

#include "handlers/gles/gles_handlers.h"
#include "handlers/handler.h"

using gles_table = sidechannel_gles_imports;

void gles20_glScissor(pid_t pid, tid_t tid, GLint x, GLint y, GLsizei width, GLsizei height,
                      gles_target_error target_error)
{
    gles_handler call{"gles20_glScissor", pid, tid, target_error};
    call.trace("x", x, "y", y, "width", width, "height", height);
    _zelvar_context_data* context = call.lock("glScissor");
    if (context && call.host<&gles_table::glScissor>(x, y, width, height).ok())
        context->scissor_box = {x, y, width, height};
}

void gles20_glViewport(pid_t pid, tid_t tid, GLint x, GLint y, GLsizei width, GLsizei height,
                       gles_target_error target_error)
{
    gles_handler call{"gles20_glViewport", pid, tid, target_error};
    call.trace("x", x, "y", y, "width", width, "height", height);
    _zelvar_context_data* context = call.lock("glViewport");
    if (context && call.host<&gles_table::glViewport>(x, y, width, height).ok())
        context->viewport = {x, y, width, height};
}

void gles20_glDepthRangef(pid_t pid, tid_t tid, GLfloat near, GLfloat far, gles_target_error target_error)
{
    gles_handler call{"gles20_glDepthRangef", pid, tid, target_error};
    call.trace("n", near, "f", far);
    _zelvar_context_data* context = call.lock("glDepthRangef");
    if (context && call.host<&gles_table::glDepthRangef>(near, far).ok()) {
        context->depth_range_near = near;
        context->depth_range_far = far;
    }
}

void gles20_glFrontFace(pid_t pid, tid_t tid, GLenum mode, gles_target_error target_error)
{
    gles_handler call{"gles20_glFrontFace", pid, tid, target_error};
    call.trace("mode", mode);
    _zelvar_context_data* context = call.lock("glFrontFace");
    if (context && call.host<&gles_table::glFrontFace>(mode).ok())
        context->front_face = mode;
}

void gles20_glHint(pid_t pid, tid_t tid, GLenum target, GLenum mode, gles_target_error target_error)
{
    gles_handler call{"gles20_glHint", pid, tid, target_error};
    call.trace("target", target, "mode", mode);
    _zelvar_context_data* context = call.lock("glHint");
    if (context && call.host<&gles_table::glHint>(target, mode).ok() && target == GL_GENERATE_MIPMAP_HINT)
        context->generate_mipmap_hint = mode;
}

void gles20_glLineWidth(pid_t pid, tid_t tid, GLfloat width, gles_target_error target_error)
{
    gles_handler call{"gles20_glLineWidth", pid, tid, target_error};
    call.trace("width", width);
    _zelvar_context_data* context = call.lock("glLineWidth");
    if (context && call.host<&gles_table::glLineWidth>(width).ok())
        context->line_width = width;
}

void gles20_glPolygonOffset(pid_t pid, tid_t tid, GLfloat factor, GLfloat units,
                            gles_target_error target_error)
{
    gles_handler call{"gles20_glPolygonOffset", pid, tid, target_error};
    call.trace("factor", factor, "units", units);
    _zelvar_context_data* context = call.lock("glPolygonOffset");
    if (context && call.host<&gles_table::glPolygonOffset>(factor, units).ok()) {
        context->polygon_offset_factor = factor;
        context->polygon_offset_units = units;
    }
}

void gles20_glSampleCoverage(pid_t pid, tid_t tid, GLfloat value, GLboolean invert,
                             gles_target_error target_error)
{
    gles_handler call{"gles20_glSampleCoverage", pid, tid, target_error};
    call.trace("value", value, "invert", invert);
    _zelvar_context_data* context = call.lock("glSampleCoverage");
    if (context && call.host<&gles_table::glSampleCoverage>(value, invert).ok()) {
        context->sample_coverage_value = value;
        context->sample_coverage_invert = invert != GL_FALSE;
    }
}
