// Messages of framebuffers and renderbuffers, in the order of the message list.

#include "handlers/gles/framebuffers_handlers.h"
#include "inbound/decoder.h"
#include "inbound/rows.h"
#include "wire/wire.h"

constinit const built_row framebuffers_rows[] = {
    ROW(gles20_bind_framebuffer, gles20_glBindFramebuffer),
    ROW(gles20_bind_renderbuffer, gles20_glBindRenderbuffer),
    ROW(gles20_check_framebuffer_status, gles20_glCheckFramebufferStatus),
    ROW(gles20_framebuffer_renderbuffer, gles20_glFramebufferRenderbuffer),
    ROW(gles20_framebuffer_texture_2d, gles20_glFramebufferTexture2D),
    ROW(gles20_get_framebuffer_attachment_parameteriv, gles20_glGetFramebufferAttachmentParameteriv),
    ROW(gles20_get_renderbuffer_parameteriv, gles20_glGetRenderbufferParameteriv),
    ROW(gles20_is_framebuffer, gles20_glIsFramebuffer),
    ROW(gles20_is_renderbuffer, gles20_glIsRenderbuffer),
    ROW(gles20_renderbuffer_storage, gles20_glRenderbufferStorage),
    ROW(gles30_read_buffer, gles30_glReadBuffer),
    ROW(gles30_draw_buffers, gles30_glDrawBuffers),
    ROW(gles30_blit_framebuffer, gles30_glBlitFramebuffer),
    ROW(gles30_renderbuffer_storage_multisample, gles30_glRenderbufferStorageMultisample),
    ROW(gles30_framebuffer_texture_layer, gles30_glFramebufferTextureLayer),
    ROW(gles30_invalidate_framebuffer, gles30_glInvalidateFramebuffer),
    ROW(gles30_invalidate_sub_framebuffer, gles30_glInvalidateSubFramebuffer),
    ROW(gles31_framebuffer_parameteri, gles31_glFramebufferParameteri),
    ROW(gles31_get_framebuffer_parameteriv, gles31_glGetFramebufferParameteriv),
    ROW(gles20_framebuffer_texture_3does, gles20_glFramebufferTexture3DOES),
    ROW(gles20_discard_framebuffer_ext, gles20_glDiscardFramebufferEXT),
    ROW(gles20_renderbuffer_storage_multisample_ext, gles20_glRenderbufferStorageMultisampleEXT),
    ROW(gles20_framebuffer_texture_2dmultisample_ext, gles20_glFramebufferTexture2DMultisampleEXT),
};
constinit const size_t framebuffers_row_count = sizeof(framebuffers_rows) / sizeof(framebuffers_rows[0]);
