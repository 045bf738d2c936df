// Storage without data, and copies of what the framebuffer holds.

#include "handlers/gles/textures_handlers.h"
#include "handlers/handler.h"

using gles_table = sidechannel_gles_imports;

namespace {
/// Row of the known list of extensions.
constexpr uint32_t extension_texture_storage = 8;

enum class tex_storage_variant
{
    one_d_ext = 0,
    two_d = 1,
    two_d_ext = 2,
    three_d = 3,
    three_d_ext = 4,
};

struct tex_storage_request
{
    tex_storage_variant variant;
    GLenum target;
    GLsizei levels;
    GLenum internal_format;
    GLsizei width;
    GLsizei height;
    GLsizei depth;
};

bool is_variant_supported(gles_handler& call, _zelvar_context_data* context, tex_storage_variant variant)
{
    if (variant == tex_storage_variant::two_d || variant == tex_storage_variant::three_d ||
        zelvar_data_is_gl_extension_supported(call.pid, call.tid, context, extension_texture_storage))
        return true;
    LOG_ERROR("GLES_EXTENSION_GL_EXT_TEXTURE_STORAGE extensions not supported.");
    call.error = GL_INVALID_OPERATION;
    return false;
}

void gles20_shared_tex_storage_ext_handle(gles_handler& call, const char* function,
                                          const tex_storage_request& tex)
{
    call.trace("target", tex.target, "levels", tex.levels, "internalformat", tex.internal_format, "width",
               tex.width, "height", tex.height, "depth", tex.depth);
    _zelvar_context_data* context = call.lock(function);
    if (!context || !is_variant_supported(call, context, tex.variant))
        return;
    switch (tex.variant) {
    case tex_storage_variant::one_d_ext:
        call.host<&gles_table::glTexStorage1DEXT>(tex.target, tex.levels, tex.internal_format, tex.width);
        return;
    case tex_storage_variant::two_d:
        call.host<&gles_table::glTexStorage2D>(tex.target, tex.levels, tex.internal_format, tex.width,
                                               tex.height);
        return;
    case tex_storage_variant::two_d_ext:
        call.host<&gles_table::glTexStorage2DEXT>(tex.target, tex.levels, tex.internal_format, tex.width,
                                                  tex.height);
        return;
    case tex_storage_variant::three_d:
        call.host<&gles_table::glTexStorage3D>(tex.target, tex.levels, tex.internal_format, tex.width,
                                               tex.height, tex.depth);
        return;
    case tex_storage_variant::three_d_ext:
        call.host<&gles_table::glTexStorage3DEXT>(tex.target, tex.levels, tex.internal_format, tex.width,
                                                  tex.height, tex.depth);
        return;
    }
}

template <auto Field>
void copy_sub_image_3d(gles_handler& call, const char* function, GLenum target, GLint level, GLint x_offset,
                       GLint y_offset, GLint z_offset, GLint x, GLint y, GLsizei width, GLsizei height)
{
    call.trace("target", target, "level", level, "xoffset", x_offset, "yoffset", y_offset, "zoffset",
               z_offset, "x", x, "y", y, "width", width, "height", height);
    if (call.lock(function))
        call.host<Field>(target, level, x_offset, y_offset, z_offset, x, y, width, height);
}
} // namespace

void gles20_glTexStorage1DEXT(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                              GLsizei width, gles_target_error target_error)
{
    gles_handler call{"gles20_glTexStorage1DEXT", pid, tid, target_error};
    gles20_shared_tex_storage_ext_handle(
        call, "glTexStorage1DEXT",
        {tex_storage_variant::one_d_ext, target, levels, internal_format, width, 1, 1});
}

void gles30_glTexStorage2D(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                           GLsizei width, GLsizei height, gles_target_error target_error)
{
    gles_handler call{"gles30_glTexStorage2D", pid, tid, target_error};
    gles20_shared_tex_storage_ext_handle(
        call, "glTexStorage2D",
        {tex_storage_variant::two_d, target, levels, internal_format, width, height, 1});
}

void gles20_glTexStorage2DEXT(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                              GLsizei width, GLsizei height, gles_target_error target_error)
{
    gles_handler call{"gles20_glTexStorage2DEXT", pid, tid, target_error};
    gles20_shared_tex_storage_ext_handle(
        call, "glTexStorage2DEXT",
        {tex_storage_variant::two_d_ext, target, levels, internal_format, width, height, 1});
}

void gles30_glTexStorage3D(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                           GLsizei width, GLsizei height, GLsizei depth, gles_target_error target_error)
{
    gles_handler call{"gles30_glTexStorage3D", pid, tid, target_error};
    gles20_shared_tex_storage_ext_handle(
        call, "glTexStorage3D",
        {tex_storage_variant::three_d, target, levels, internal_format, width, height, depth});
}

void gles20_glTexStorage3DEXT(pid_t pid, tid_t tid, GLenum target, GLsizei levels, GLenum internal_format,
                              GLsizei width, GLsizei height, GLsizei depth, gles_target_error target_error)
{
    gles_handler call{"gles20_glTexStorage3DEXT", pid, tid, target_error};
    gles20_shared_tex_storage_ext_handle(
        call, "glTexStorage3DEXT",
        {tex_storage_variant::three_d_ext, target, levels, internal_format, width, height, depth});
}

void gles31_glTexStorage2DMultisample(pid_t pid, tid_t tid, GLenum target, GLsizei samples,
                                      GLenum internal_format, GLsizei width, GLsizei height,
                                      GLboolean fixed_locations, gles_target_error target_error)
{
    gles_handler call{"gles31_glTexStorage2DMultisample", pid, tid, target_error};
    call.trace("target", target, "samples", samples, "internalformat", internal_format, "width", width,
               "height", height, "fixedsamplelocations", fixed_locations);
    if (call.lock("glTexStorage2DMultisample"))
        call.host<&gles_table::glTexStorage2DMultisample>(target, samples, internal_format, width, height,
                                                          fixed_locations);
}

void gles20_glCopyTexImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum internal_format,
                             GLint x, GLint y, GLsizei width, GLsizei height, GLint border,
                             gles_target_error target_error)
{
    gles_handler call{"gles20_glCopyTexImage2D", pid, tid, target_error};
    call.trace("target", target, "level", level, "internalformat", internal_format, "x", x, "y", y, "width",
               width, "height", height, "border", border);
    if (call.lock("glCopyTexImage2D"))
        call.host<&gles_table::glCopyTexImage2D>(target, level, internal_format, x, y, width, height, border);
}

void gles20_glCopyTexSubImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x_offset,
                                GLint y_offset, GLint x, GLint y, GLsizei width, GLsizei height,
                                gles_target_error target_error)
{
    gles_handler call{"gles20_glCopyTexSubImage2D", pid, tid, target_error};
    call.trace("target", target, "level", level, "xoffset", x_offset, "yoffset", y_offset, "x", x, "y", y,
               "width", width, "height", height);
    if (call.lock("glCopyTexSubImage2D"))
        call.host<&gles_table::glCopyTexSubImage2D>(target, level, x_offset, y_offset, x, y, width, height);
}

void gles30_glCopyTexSubImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x_offset,
                                GLint y_offset, GLint z_offset, GLint x, GLint y, GLsizei width,
                                GLsizei height, gles_target_error target_error)
{
    gles_handler call{"gles30_glCopyTexSubImage3D", pid, tid, target_error};
    copy_sub_image_3d<&gles_table::glCopyTexSubImage3D>(call, "glCopyTexSubImage3D", target, level, x_offset,
                                                        y_offset, z_offset, x, y, width, height);
}

void gles20_glCopyTexSubImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x_offset,
                                   GLint y_offset, GLint z_offset, GLint x, GLint y, GLsizei width,
                                   GLsizei height, gles_target_error target_error)
{
    gles_handler call{"gles20_glCopyTexSubImage3DOES", pid, tid, target_error};
    copy_sub_image_3d<&gles_table::glCopyTexSubImage3DOES>(call, "glCopyTexSubImage3DOES", target, level,
                                                           x_offset, y_offset, z_offset, x, y, width, height);
}
