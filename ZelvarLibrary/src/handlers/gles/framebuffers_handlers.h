#pragma once
// Handlers of framebuffers and renderbuffers; see gles_handlers.h for how a signature tells its message.

#include "inbound/payload_types.h"
#include "wire/api.h"
#include "zelvar_types.h"

// framebuffers.cpp
void gles20_glBindFramebuffer(pid_t pid, tid_t tid, GLenum target, GLuint framebuffer,
                              gles_target_error target_error);
void gles20_glIsFramebuffer(pid_t pid, tid_t tid, GLuint framebuffer, result_of<GLboolean> target_result,
                            gles_target_error target_error);
void gles20_glCheckFramebufferStatus(pid_t pid, tid_t tid, GLenum target, result_of<GLenum> target_result,
                                     gles_target_error target_error);
void gles30_glReadBuffer(pid_t pid, tid_t tid, GLenum source, gles_target_error target_error);
void gles30_glDrawBuffers(pid_t pid, tid_t tid, GLsizei n, target_ptr buffers_address,
                          inline_array<GLenum> buffers, gles_target_error target_error);
void gles31_glFramebufferParameteri(pid_t pid, tid_t tid, GLenum target, GLenum pname, GLint param,
                                    gles_target_error target_error);
void gles31_glGetFramebufferParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                        gles_target_error target_error);

// framebuffer_attachments.cpp
void gles20_glFramebufferRenderbuffer(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                      GLenum renderbuffer_target, GLuint renderbuffer,
                                      gles_target_error target_error);
void gles20_glFramebufferTexture2D(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                   GLenum texture_target, GLuint texture, GLint level,
                                   gles_target_error target_error);
void gles20_glFramebufferTexture2DMultisampleEXT(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                                 GLenum texture_target, GLuint texture, GLint level,
                                                 GLsizei samples, gles_target_error target_error);
void gles20_glFramebufferTexture3DOES(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                      GLenum texture_target, GLuint texture, GLint level, GLint zoffset,
                                      gles_target_error target_error);
void gles30_glFramebufferTextureLayer(pid_t pid, tid_t tid, GLenum target, GLenum attachment, GLuint texture,
                                      GLint level, GLint layer, gles_target_error target_error);
void gles20_glGetFramebufferAttachmentParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                                  GLenum pname, target_ptr params,
                                                  gles_target_error target_error);

// framebuffer_transfers.cpp
void gles30_glBlitFramebuffer(pid_t pid, tid_t tid, GLint source_x0, GLint source_y0, GLint source_x1,
                              GLint source_y1, GLint x0, GLint y0, GLint x1, GLint y1, GLbitfield mask,
                              GLenum filter, gles_target_error target_error);
void gles30_glInvalidateFramebuffer(pid_t pid, tid_t tid, GLenum target, GLsizei n,
                                    target_ptr attachments_address, inline_array<GLenum> attachments,
                                    gles_target_error target_error);
void gles30_glInvalidateSubFramebuffer(pid_t pid, tid_t tid, GLenum target, GLsizei n,
                                       target_ptr attachments_address, GLint x, GLint y, GLsizei width,
                                       GLsizei height, inline_array<GLenum> attachments,
                                       gles_target_error target_error);
void gles20_glDiscardFramebufferEXT(pid_t pid, tid_t tid, GLenum target, GLsizei n,
                                    target_ptr attachments_address, inline_array<GLenum> attachments,
                                    gles_target_error target_error);

// renderbuffers.cpp
void gles20_glBindRenderbuffer(pid_t pid, tid_t tid, GLenum target, GLuint renderbuffer,
                               gles_target_error target_error);
void gles20_glIsRenderbuffer(pid_t pid, tid_t tid, GLuint renderbuffer, result_of<GLboolean> target_result,
                             gles_target_error target_error);
void gles20_glRenderbufferStorage(pid_t pid, tid_t tid, GLenum target, GLenum format, GLsizei width,
                                  GLsizei height, gles_target_error target_error);
void gles30_glRenderbufferStorageMultisample(pid_t pid, tid_t tid, GLenum target, GLsizei samples,
                                             GLenum format, GLsizei width, GLsizei height,
                                             gles_target_error target_error);
void gles20_glRenderbufferStorageMultisampleEXT(pid_t pid, tid_t tid, GLenum target, GLsizei samples,
                                                GLenum format, GLsizei width, GLsizei height,
                                                gles_target_error target_error);
void gles20_glGetRenderbufferParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                         gles_target_error target_error);
