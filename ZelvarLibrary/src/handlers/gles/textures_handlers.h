#pragma once
// Handlers of textures and samplers, under the rules of gles_handlers.h.

#include "inbound/payload_types.h"
#include "wire/api.h"
#include "zelvar_types.h"

struct _zelvar_context_data;

// textures.cpp
void gles20_glActiveTexture(pid_t pid, tid_t tid, GLenum unit, gles_target_error target_error);
void gles20_glBindTexture(pid_t pid, tid_t tid, GLenum target, GLuint texture,
                          gles_target_error target_error);
void gles20_glIsTexture(pid_t pid, tid_t tid, GLuint texture, result_of<GLboolean> target_result,
                        gles_target_error target_error);
void gles20_glGenerateMipmap(pid_t pid, tid_t tid, GLenum target, gles_target_error target_error);
void gles20_glTexParameterf(pid_t pid, tid_t tid, GLenum target, GLenum pname, GLfloat param,
                            gles_target_error target_error);
void gles20_glTexParameterfv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                             gles_target_error target_error);
void gles20_glTexParameteri(pid_t pid, tid_t tid, GLenum target, GLenum pname, GLint param,
                            gles_target_error target_error);
void gles20_glTexParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                             gles_target_error target_error);
void gles20_glGetTexParameterfv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                gles_target_error target_error);
void gles20_glGetTexParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                gles_target_error target_error);
void gles31_glGetTexLevelParameterfv(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum pname,
                                     target_ptr params, gles_target_error target_error);
void gles31_glGetTexLevelParameteriv(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum pname,
                                     target_ptr params, gles_target_error target_error);
void gles30_glGetInternalformativ(pid_t pid, tid_t tid, GLenum target, GLenum internal_format, GLenum pname,
                                  GLsizei count, target_ptr params, gles_target_error target_error);

// egl_image_targets.cpp
void gles20_glEGLImageTargetTexture2DOES(pid_t pid, tid_t tid, GLenum target, uint64_t image,
                                         gles_target_error target_error);
void gles20_glEGLImageTargetRenderbufferStorageOES(pid_t pid, tid_t tid, GLenum target, uint64_t image,
                                                   gles_target_error target_error);

// texture_images.cpp
void gles20_glTexImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint internal_format,
                         GLsizei width, GLsizei height, GLint border, GLenum format, GLenum type,
                         target_ptr pixels, gles_target_error target_error);
void gles30_glTexImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint internal_format,
                         GLsizei width, GLsizei height, GLsizei depth, GLint border, GLenum format,
                         GLenum type, target_ptr pixels, gles_target_error target_error);
void gles20_glTexImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum internal_format,
                            GLsizei width, GLsizei height, GLsizei depth, GLint border, GLenum format,
                            GLenum type, target_ptr pixels, gles_target_error target_error);
void gles20_glTexSubImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y, GLsizei width,
                            GLsizei height, GLenum format, GLenum type, target_ptr pixels,
                            gles_target_error target_error);
void gles30_glTexSubImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y, GLint z,
                            GLsizei width, GLsizei height, GLsizei depth, GLenum format, GLenum type,
                            target_ptr pixels, gles_target_error target_error);
void gles20_glTexSubImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y, GLint z,
                               GLsizei width, GLsizei height, GLsizei depth, GLenum format, GLenum type,
                               target_ptr pixels, gles_target_error target_error);

// texture_compressed.cpp
void gles20_glCompressedTexImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum internal_format,
                                   GLsizei width, GLsizei height, GLint border, GLsizei size, target_ptr data,
                                   gles_target_error target_error);
void gles20_glCompressedTexSubImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y,
                                      GLsizei width, GLsizei height, GLenum format, GLsizei size,
                                      target_ptr data, gles_target_error target_error);
void gles30_glCompressedTexImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum internal_format,
                                   GLsizei width, GLsizei height, GLsizei depth, GLint border, GLsizei size,
                                   target_ptr data, gles_target_error target_error);
void gles20_glCompressedTexImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level,
                                      GLenum internal_format, GLsizei width, GLsizei height, GLsizei depth,
                                      GLint border, GLsizei size, target_ptr data,
                                      gles_target_error target_error);
void gles30_glCompressedTexSubImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y,
                                      GLint z, GLsizei width, GLsizei height, GLsizei depth, GLenum format,
                                      GLsizei size, target_ptr data, gles_target_error target_error);
void gles20_glCompressedTexSubImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y,
                                         GLint z, GLsizei width, GLsizei height, GLsizei depth, GLenum format,
                                         GLsizei size, target_ptr data, gles_target_error target_error);

// texture_storage.cpp
void gles20_glTexStorage1DEXT(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                              GLsizei width, gles_target_error target_error);
void gles30_glTexStorage2D(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                           GLsizei width, GLsizei height, gles_target_error target_error);
void gles20_glTexStorage2DEXT(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                              GLsizei width, GLsizei height, gles_target_error target_error);
void gles30_glTexStorage3D(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                           GLsizei width, GLsizei height, GLsizei depth, gles_target_error target_error);
void gles20_glTexStorage3DEXT(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                              GLsizei width, GLsizei height, GLsizei depth, gles_target_error target_error);
void gles31_glTexStorage2DMultisample(pid_t pid, tid_t tid, GLenum target, GLsizei samples,
                                      GLenum internal_format, GLsizei width, GLsizei height,
                                      GLboolean fixed_locations, gles_target_error target_error);
void gles20_glCopyTexImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum internal_format,
                             GLint x, GLint y, GLsizei width, GLsizei height, GLint border,
                             gles_target_error target_error);
void gles20_glCopyTexSubImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x_offset,
                                GLint y_offset, GLint x, GLint y, GLsizei width, GLsizei height,
                                gles_target_error target_error);
void gles30_glCopyTexSubImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x_offset,
                                GLint y_offset, GLint z_offset, GLint x, GLint y, GLsizei width,
                                GLsizei height, gles_target_error target_error);
void gles20_glCopyTexSubImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x_offset,
                                   GLint y_offset, GLint z_offset, GLint x, GLint y, GLsizei width,
                                   GLsizei height, gles_target_error target_error);

/// The target's texture at a binding point of the active unit; 0 for none, and for points that there aren't.
uint32_t bound_texture(const _zelvar_context_data& context, GLenum target);

// samplers.cpp
void gles30_glIsSampler(pid_t pid, tid_t tid, GLuint sampler, result_of<GLboolean> target_result,
                        gles_target_error target_error);
void gles30_glBindSampler(pid_t pid, tid_t tid, GLuint unit, GLuint sampler, gles_target_error target_error);
void gles30_glSamplerParameterf(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, GLfloat param,
                                gles_target_error target_error);
void gles30_glSamplerParameterfv(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, target_ptr params,
                                 inline_array<GLfloat> values, gles_target_error target_error);
void gles30_glSamplerParameteri(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, GLint param,
                                gles_target_error target_error);
void gles30_glSamplerParameteriv(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, target_ptr params,
                                 inline_array<GLint> values, gles_target_error target_error);
void gles30_glGetSamplerParameterfv(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, target_ptr params,
                                    gles_target_error target_error);
void gles30_glGetSamplerParameteriv(pid_t pid, tid_t tid, GLuint sampler, GLenum pname, target_ptr params,
                                    gles_target_error target_error);
