#pragma once
// Handlers of textures and samplers, under the rules of gles_handlers.h.

#include "inbound/payload_types.h"
#include "wire/api.h"
#include "zelvar_types.h"

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
