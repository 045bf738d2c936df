#pragma once
// Handlers of objects, buffers, vertex arrays, draws, queries, fences and per-fragment state; see
// gles_handlers.h for how a signature tells its message.

#include "inbound/payload_types.h"
#include "wire/api.h"
#include "zelvar_types.h"

// gen_handles.cpp. The ids of the target's driver stand inline while the target runs calls.
#define ZELVAR_OBJECT_KIND(group, gen, remove, kind)                                                         \
    void group##_##gen(pid_t pid, tid_t tid, GLsizei n, target_ptr ids,                                      \
                       inline_array<uint32_t> ids_of_target, gles_target_error target_error);                \
    void group##_##remove(pid_t pid, tid_t tid, GLsizei n, target_ptr ids_address,                           \
                          inline_array<uint32_t> ids, gles_target_error target_error);
#include "handlers/gles/object_kinds.inc"
#undef ZELVAR_OBJECT_KIND

// buffers.cpp
void gles20_glBindBuffer(pid_t pid, tid_t tid, GLenum target, GLuint buffer, gles_target_error target_error);
void gles30_glBindBufferBase(pid_t pid, tid_t tid, GLenum target, GLuint index, GLuint buffer,
                             gles_target_error target_error);
void gles30_glBindBufferRange(pid_t pid, tid_t tid, GLenum target, GLuint index, GLuint buffer,
                              GLintptr offset, GLsizeiptr size, gles_target_error target_error);
void gles20_glIsBuffer(pid_t pid, tid_t tid, GLuint buffer, result_of<GLboolean> target_result,
                       gles_target_error target_error);
void gles20_glBufferData(pid_t pid, tid_t tid, GLenum target, GLsizeiptr size, target_ptr data, GLenum usage,
                         gles_target_error target_error);
void gles20_glBufferSubData(pid_t pid, tid_t tid, GLenum target, GLintptr offset, GLsizeiptr size,
                            target_ptr data, gles_target_error target_error);
void gles30_glCopyBufferSubData(pid_t pid, tid_t tid, GLenum read_target, GLenum write_target,
                                GLintptr read_offset, GLintptr write_offset, GLsizeiptr size,
                                gles_target_error target_error);
void gles20_glGetBufferParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                   gles_target_error target_error);
void gles30_glGetBufferParameteri64v(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                     gles_target_error target_error);

// mapped_buffers.cpp
void gles30_glMapBufferRange(pid_t pid, tid_t tid, GLenum target, GLintptr offset, GLsizeiptr length,
                             GLbitfield access, result_of<uint64_t> target_pointer,
                             gles_target_error target_error);
void gles30_glFlushMappedBufferRange(pid_t pid, tid_t tid, GLenum target, GLintptr offset, GLsizeiptr length,
                                     gles_target_error target_error);
void gles30_glUnmapBuffer(pid_t pid, tid_t tid, GLenum target, GLuint stage,
                          result_of<GLboolean> target_result, gles_target_error target_error);
void gles30_glGetBufferPointerv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                gles_target_error target_error);

// vertex_arrays.cpp
void gles30_glBindVertexArray(pid_t pid, tid_t tid, GLuint array, gles_target_error target_error);
void gles20_glBindVertexArrayOES(pid_t pid, tid_t tid, GLuint array, gles_target_error target_error);
void gles30_glIsVertexArray(pid_t pid, tid_t tid, GLuint array, result_of<GLboolean> target_result,
                            gles_target_error target_error);
void gles20_glIsVertexArrayOES(pid_t pid, tid_t tid, GLuint array, result_of<GLboolean> target_result,
                               gles_target_error target_error);

// vertex_attributes.cpp
void gles20_glVertexAttribPointer(pid_t pid, tid_t tid, GLuint index, GLint size, GLenum type,
                                  GLboolean normalized, GLsizei stride, target_ptr pointer,
                                  gles_target_error target_error);
void gles30_glVertexAttribIPointer(pid_t pid, tid_t tid, GLuint index, GLint size, GLenum type,
                                   GLsizei stride, target_ptr pointer, gles_target_error target_error);
void gles20_glEnableVertexAttribArray(pid_t pid, tid_t tid, GLuint index, gles_target_error target_error);
void gles20_glDisableVertexAttribArray(pid_t pid, tid_t tid, GLuint index, gles_target_error target_error);
void gles30_glVertexAttribDivisor(pid_t pid, tid_t tid, GLuint index, GLuint divisor,
                                  gles_target_error target_error);
void gles31_glVertexAttribBinding(pid_t pid, tid_t tid, GLuint index, GLuint binding,
                                  gles_target_error target_error);
void gles31_glBindVertexBuffer(pid_t pid, tid_t tid, GLuint binding, GLuint buffer, GLintptr offset,
                               GLsizei stride, gles_target_error target_error);
void gles31_glVertexAttribFormat(pid_t pid, tid_t tid, GLuint index, GLint size, GLenum type,
                                 GLboolean normalized, GLuint offset, gles_target_error target_error);
void gles31_glVertexAttribIFormat(pid_t pid, tid_t tid, GLuint index, GLint size, GLenum type, GLuint offset,
                                  gles_target_error target_error);
void gles31_glVertexBindingDivisor(pid_t pid, tid_t tid, GLuint binding, GLuint divisor,
                                   gles_target_error target_error);
void gles20_glVertexAttrib1f(pid_t pid, tid_t tid, GLuint index, GLfloat x, gles_target_error target_error);
void gles20_glVertexAttrib2f(pid_t pid, tid_t tid, GLuint index, GLfloat x, GLfloat y,
                             gles_target_error target_error);
void gles20_glVertexAttrib3f(pid_t pid, tid_t tid, GLuint index, GLfloat x, GLfloat y, GLfloat z,
                             gles_target_error target_error);
void gles20_glVertexAttrib4f(pid_t pid, tid_t tid, GLuint index, GLfloat x, GLfloat y, GLfloat z, GLfloat w,
                             gles_target_error target_error);
void gles30_glVertexAttribI4i(pid_t pid, tid_t tid, GLuint index, GLint x, GLint y, GLint z, GLint w,
                              gles_target_error target_error);
void gles30_glVertexAttribI4ui(pid_t pid, tid_t tid, GLuint index, GLuint x, GLuint y, GLuint z, GLuint w,
                               gles_target_error target_error);
void gles20_glVertexAttrib1fv(pid_t pid, tid_t tid, GLuint index, target_ptr v,
                              gles_target_error target_error);
void gles20_glVertexAttrib2fv(pid_t pid, tid_t tid, GLuint index, target_ptr v,
                              gles_target_error target_error);
void gles20_glVertexAttrib3fv(pid_t pid, tid_t tid, GLuint index, target_ptr v,
                              gles_target_error target_error);
void gles20_glVertexAttrib4fv(pid_t pid, tid_t tid, GLuint index, target_ptr v,
                              gles_target_error target_error);
void gles30_glVertexAttribI4iv(pid_t pid, tid_t tid, GLuint index, target_ptr v,
                               gles_target_error target_error);
void gles30_glVertexAttribI4uiv(pid_t pid, tid_t tid, GLuint index, target_ptr v,
                                gles_target_error target_error);

// vertex_attribute_queries.cpp
void gles20_glGetVertexAttribfv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr params,
                                inline_array<uint8_t> target_value, gles_target_error target_error);
void gles20_glGetVertexAttribiv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr params,
                                inline_array<uint8_t> target_value, gles_target_error target_error);
void gles30_glGetVertexAttribIiv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr params,
                                 inline_array<uint8_t> target_value, gles_target_error target_error);
void gles30_glGetVertexAttribIuiv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr params,
                                  inline_array<uint8_t> target_value, gles_target_error target_error);
void gles20_glGetVertexAttribPointerv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr pointer,
                                      gles_target_error target_error);

// draws.cpp
void gles20_glDrawArrays(pid_t pid, tid_t tid, GLenum mode, GLint first, GLsizei count,
                         gles_target_error target_error);
void gles30_glDrawArraysInstanced(pid_t pid, tid_t tid, GLenum mode, GLint first, GLsizei count,
                                  GLsizei instances, gles_target_error target_error);
void gles31_glDrawArraysIndirect(pid_t pid, tid_t tid, GLenum mode, target_ptr indirect,
                                 gles_target_error target_error);
void gles20_glDrawElements(pid_t pid, tid_t tid, GLenum mode, GLsizei count, GLenum type, target_ptr indices,
                           gles_target_error target_error);
void gles30_glDrawRangeElements(pid_t pid, tid_t tid, GLenum mode, GLuint start, GLuint end, GLsizei count,
                                GLenum type, target_ptr indices, gles_target_error target_error);
void gles30_glDrawElementsInstanced(pid_t pid, tid_t tid, GLenum mode, GLsizei count, GLenum type,
                                    target_ptr indices, GLsizei instances, gles_target_error target_error);
void gles31_glDrawElementsIndirect(pid_t pid, tid_t tid, GLenum mode, GLenum type, target_ptr indirect,
                                   gles_target_error target_error);

// compute.cpp
void gles31_glDispatchCompute(pid_t pid, tid_t tid, GLuint x, GLuint y, GLuint z,
                              gles_target_error target_error);
void gles31_glDispatchComputeIndirect(pid_t pid, tid_t tid, GLintptr indirect,
                                      gles_target_error target_error);
void gles31_glMemoryBarrier(pid_t pid, tid_t tid, GLbitfield barriers, gles_target_error target_error);
void gles31_glMemoryBarrierByRegion(pid_t pid, tid_t tid, GLbitfield barriers,
                                    gles_target_error target_error);

// transform_feedback.cpp
void gles30_glBeginTransformFeedback(pid_t pid, tid_t tid, GLenum mode, gles_target_error target_error);
void gles30_glEndTransformFeedback(pid_t pid, tid_t tid, gles_target_error target_error);
void gles30_glPauseTransformFeedback(pid_t pid, tid_t tid, gles_target_error target_error);
void gles30_glResumeTransformFeedback(pid_t pid, tid_t tid, gles_target_error target_error);
void gles30_glBindTransformFeedback(pid_t pid, tid_t tid, GLenum target, GLuint id,
                                    gles_target_error target_error);
void gles30_glIsTransformFeedback(pid_t pid, tid_t tid, GLuint id, result_of<GLboolean> target_result,
                                  gles_target_error target_error);

// queries.cpp
void gles30_glBeginQuery(pid_t pid, tid_t tid, GLenum target, GLuint id, gles_target_error target_error);
void gles20_glBeginQueryEXT(pid_t pid, tid_t tid, GLenum target, GLuint id, gles_target_error target_error);
void gles30_glEndQuery(pid_t pid, tid_t tid, GLenum target, gles_target_error target_error);
void gles20_glEndQueryEXT(pid_t pid, tid_t tid, GLenum target, gles_target_error target_error);
void gles30_glGetQueryiv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                         gles_target_error target_error);
void gles20_glGetQueryivEXT(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                            gles_target_error target_error);
void gles30_glGetQueryObjectuiv(pid_t pid, tid_t tid, GLuint id, GLenum pname, target_ptr params,
                                gles_target_error target_error);
void gles20_glGetQueryObjectuivEXT(pid_t pid, tid_t tid, GLuint id, GLenum pname, target_ptr params,
                                   gles_target_error target_error);
void gles30_glIsQuery(pid_t pid, tid_t tid, GLuint id, result_of<GLboolean> target_result,
                      gles_target_error target_error);
void gles20_glIsQueryEXT(pid_t pid, tid_t tid, GLuint id, result_of<GLboolean> target_result,
                         gles_target_error target_error);

// fences.cpp
void gles30_glFenceSync(pid_t pid, tid_t tid, GLenum condition, GLbitfield flags,
                        result_of<uint64_t> target_result, gles_target_error target_error);
void gles30_glIsSync(pid_t pid, tid_t tid, uint64_t sync, result_of<GLboolean> target_result,
                     gles_target_error target_error);
void gles30_glDeleteSync(pid_t pid, tid_t tid, uint64_t sync, gles_target_error target_error);
void gles30_glClientWaitSync(pid_t pid, tid_t tid, uint64_t sync, GLbitfield flags, GLuint64 timeout,
                             result_of<GLenum> target_result, gles_target_error target_error);
void gles30_glWaitSync(pid_t pid, tid_t tid, uint64_t sync, GLbitfield flags, GLuint64 timeout,
                       gles_target_error target_error);
void gles30_glGetSynciv(pid_t pid, tid_t tid, uint64_t sync, GLenum pname, GLsizei count, target_ptr length,
                        target_ptr values, gles_target_error target_error);

// clear_buffers.cpp
void gles30_glClearBufferiv(pid_t pid, tid_t tid, GLenum buffer, GLint drawbuffer, target_ptr address,
                            inline_array<GLint> values, gles_target_error target_error);
void gles30_glClearBufferuiv(pid_t pid, tid_t tid, GLenum buffer, GLint drawbuffer, target_ptr address,
                             inline_array<GLuint> values, gles_target_error target_error);
void gles30_glClearBufferfv(pid_t pid, tid_t tid, GLenum buffer, GLint drawbuffer, target_ptr address,
                            inline_array<GLfloat> values, gles_target_error target_error);
void gles30_glClearBufferfi(pid_t pid, tid_t tid, GLenum buffer, GLint drawbuffer, GLfloat depth,
                            GLint stencil, gles_target_error target_error);
void gles31_glBindImageTexture(pid_t pid, tid_t tid, GLuint unit, GLuint texture, GLint level,
                               GLboolean layered, GLint layer, GLenum access, GLenum format,
                               gles_target_error target_error);

// blend_and_stencil.cpp
void gles20_glBlendColor(pid_t pid, tid_t tid, GLfloat red, GLfloat green, GLfloat blue, GLfloat alpha,
                         gles_target_error target_error);
void gles20_glBlendEquation(pid_t pid, tid_t tid, GLenum mode, gles_target_error target_error);
void gles20_glBlendEquationSeparate(pid_t pid, tid_t tid, GLenum rgb, GLenum alpha,
                                    gles_target_error target_error);
void gles20_glBlendFunc(pid_t pid, tid_t tid, GLenum source, GLenum destination,
                        gles_target_error target_error);
void gles20_glBlendFuncSeparate(pid_t pid, tid_t tid, GLenum source_rgb, GLenum destination_rgb,
                                GLenum source_alpha, GLenum destination_alpha,
                                gles_target_error target_error);
void gles20_glCullFace(pid_t pid, tid_t tid, GLenum mode, gles_target_error target_error);
void gles20_glDepthFunc(pid_t pid, tid_t tid, GLenum func, gles_target_error target_error);
void gles20_glStencilFunc(pid_t pid, tid_t tid, GLenum func, GLint ref, GLuint mask,
                          gles_target_error target_error);
void gles20_glStencilFuncSeparate(pid_t pid, tid_t tid, GLenum face, GLenum func, GLint ref, GLuint mask,
                                  gles_target_error target_error);
void gles20_glStencilOp(pid_t pid, tid_t tid, GLenum fail, GLenum depth_fail, GLenum pass,
                        gles_target_error target_error);
void gles20_glStencilOpSeparate(pid_t pid, tid_t tid, GLenum face, GLenum fail, GLenum depth_fail,
                                GLenum pass, gles_target_error target_error);
void gles31_glSampleMaski(pid_t pid, tid_t tid, GLuint index, GLbitfield mask,
                          gles_target_error target_error);
void gles31_glGetMultisamplefv(pid_t pid, tid_t tid, GLenum pname, GLuint index, target_ptr values,
                               gles_target_error target_error);
