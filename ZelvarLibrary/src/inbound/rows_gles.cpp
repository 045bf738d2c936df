// OpenGL ES messages whose handlers are built, in the order of the message list.

#include "handlers/gles/gles_handlers.h"
#include "inbound/decoder.h"
#include "inbound/rows.h"
#include "wire/wire.h"

constinit const built_row gles_rows[] = {
    ROW(gles20_clear, gles20_glClear),
    ROW(gles20_clear_color, gles20_glClearColor),
    ROW(gles20_clear_depthf, gles20_glClearDepthf),
    ROW(gles20_clear_stencil, gles20_glClearStencil),
    ROW(gles20_color_mask, gles20_glColorMask),
    ROW(gles20_depth_mask, gles20_glDepthMask),
    ROW(gles20_depth_rangef, gles20_glDepthRangef),
    ROW(gles20_disable, gles20_glDisable),
    ROW(gles20_enable, gles20_glEnable),
    ROW(gles20_finish, gles20_glFinish),
    ROW(gles20_flush, gles20_glFlush),
    ROW(gles20_front_face, gles20_glFrontFace),
    ROW(gles20_get_booleanv, gles20_glGetBooleanv),
    ROW(gles20_get_error, gles20_glGetError),
    ROW(gles20_get_floatv, gles20_glGetFloatv),
    ROW(gles20_get_integerv, gles20_glGetIntegerv),
    ROW(gles20_get_string, gles20_glGetString),
    ROW(gles20_hint, gles20_glHint),
    ROW(gles20_is_enabled, gles20_glIsEnabled),
    ROW(gles20_line_width, gles20_glLineWidth),
    ROW(gles20_pixel_storei, gles20_glPixelStorei),
    ROW(gles20_polygon_offset, gles20_glPolygonOffset),
    ROW(gles20_read_pixels, gles20_glReadPixels),
    ROW(gles20_sample_coverage, gles20_glSampleCoverage),
    ROW(gles20_scissor, gles20_glScissor),
    ROW(gles20_stencil_mask, gles20_glStencilMask),
    ROW(gles20_stencil_mask_separate, gles20_glStencilMaskSeparate),
    ROW(gles20_viewport, gles20_glViewport),
    ROW(gles30_get_integeri_v, gles30_glGetIntegeri_v),
    ROW(gles30_get_stringi, gles30_glGetStringi),
    ROW(gles30_get_integer_6_4v, gles30_glGetInteger64v),
    ROW(gles30_get_integer_6_4i_v, gles30_glGetInteger64i_v),
    ROW(gles31_get_booleani_v, gles31_glGetBooleani_v),
};
constinit const size_t gles_row_count = sizeof(gles_rows) / sizeof(gles_rows[0]);
