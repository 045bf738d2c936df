#pragma once
// Handlers of OpenGL ES entry points. A signature is the layout of its message: arguments in API order, then
// the target's result where the call returns one, then the target's error. All run on the worker of the
// calling target thread and release nothing: the decoder does.

#include "inbound/payload_types.h"
#include "wire/api.h"
#include "zelvar_types.h"

// clear.cpp
void gles20_glClear(pid_t pid, tid_t tid, GLbitfield mask, gles_target_error target_error);
void gles20_glClearColor(pid_t pid, tid_t tid, GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha,
                         gles_target_error target_error);
void gles20_glClearDepthf(pid_t pid, tid_t tid, GLfloat depth, gles_target_error target_error);
void gles20_glClearStencil(pid_t pid, tid_t tid, GLint stencil, gles_target_error target_error);
void gles20_glColorMask(pid_t pid, tid_t tid, GLboolean red, GLboolean green, GLboolean blue, GLboolean alpha,
                        gles_target_error target_error);
void gles20_glDepthMask(pid_t pid, tid_t tid, GLboolean flag, gles_target_error target_error);
void gles20_glStencilMask(pid_t pid, tid_t tid, GLuint mask, gles_target_error target_error);
void gles20_glStencilMaskSeparate(pid_t pid, tid_t tid, GLenum face, GLuint mask,
                                  gles_target_error target_error);

// raster_state.cpp
void gles20_glScissor(pid_t pid, tid_t tid, GLint x, GLint y, GLsizei width, GLsizei height,
                      gles_target_error target_error);
void gles20_glViewport(pid_t pid, tid_t tid, GLint x, GLint y, GLsizei width, GLsizei height,
                       gles_target_error target_error);
void gles20_glDepthRangef(pid_t pid, tid_t tid, GLfloat near, GLfloat far, gles_target_error target_error);
void gles20_glFrontFace(pid_t pid, tid_t tid, GLenum mode, gles_target_error target_error);
void gles20_glHint(pid_t pid, tid_t tid, GLenum target, GLenum mode, gles_target_error target_error);
void gles20_glLineWidth(pid_t pid, tid_t tid, GLfloat width, gles_target_error target_error);
void gles20_glPolygonOffset(pid_t pid, tid_t tid, GLfloat factor, GLfloat units,
                            gles_target_error target_error);
void gles20_glSampleCoverage(pid_t pid, tid_t tid, GLfloat value, GLboolean invert,
                             gles_target_error target_error);

// capabilities.cpp
void gles20_glEnable(pid_t pid, tid_t tid, GLenum cap, gles_target_error target_error);
void gles20_glDisable(pid_t pid, tid_t tid, GLenum cap, gles_target_error target_error);
void gles20_glIsEnabled(pid_t pid, tid_t tid, GLenum cap, result_of<GLboolean> target_result,
                        gles_target_error target_error);

// pixel_transfer.cpp
void gles20_glPixelStorei(pid_t pid, tid_t tid, GLenum pname, GLint param, gles_target_error target_error);
void gles20_glReadPixels(pid_t pid, tid_t tid, GLint x, GLint y, GLsizei width, GLsizei height, GLenum format,
                         GLenum type, target_ptr pixels, gles_target_error target_error);

// errors_and_strings.cpp
void gles20_glGetError(pid_t pid, tid_t tid, result_of<GLenum> target_result);
void gles20_glGetString(pid_t pid, tid_t tid, GLenum name, result_of<uint64_t> target_result,
                        gles_target_error target_error);
void gles30_glGetStringi(pid_t pid, tid_t tid, GLenum name, GLuint index, result_of<uint64_t> target_result,
                         gles_target_error target_error);

// sync_points.cpp
void gles20_glFinish(pid_t pid, tid_t tid, gles_target_error target_error);
void gles20_glFlush(pid_t pid, tid_t tid, gles_target_error target_error);

// get.cpp. `target_value` is what the target's driver answered, inline while the target runs calls.
void gles20_glGetBooleanv(pid_t pid, tid_t tid, GLenum pname, target_ptr params,
                          inline_array<uint8_t> target_value, gles_target_error target_error);
void gles31_glGetBooleani_v(pid_t pid, tid_t tid, GLenum pname, GLuint index, target_ptr params,
                            inline_array<uint8_t> target_value, gles_target_error target_error);
void gles20_glGetFloatv(pid_t pid, tid_t tid, GLenum pname, target_ptr params,
                        inline_array<uint8_t> target_value, gles_target_error target_error);
void gles20_glGetIntegerv(pid_t pid, tid_t tid, GLenum pname, target_ptr params,
                          inline_array<uint8_t> target_value, gles_target_error target_error);
void gles30_glGetInteger64v(pid_t pid, tid_t tid, GLenum pname, target_ptr params,
                            inline_array<uint8_t> target_value, gles_target_error target_error);
void gles30_glGetIntegeri_v(pid_t pid, tid_t tid, GLenum pname, GLuint index, target_ptr params,
                            inline_array<uint8_t> target_value, gles_target_error target_error);
void gles30_glGetInteger64i_v(pid_t pid, tid_t tid, GLenum pname, GLuint index, target_ptr params,
                              inline_array<uint8_t> target_value, gles_target_error target_error);
