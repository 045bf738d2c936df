// Compressed images. Their bytes pass unchanged: no format is offered that the host can't decompress.

#include "handlers/gles/textures_handlers.h"
#include "handlers/gles/upload.h"

using gles_table = sidechannel_gles_imports;

namespace {
/// False when the host is not to be asked.
bool fetch(gles_handler& call, const char* function, GLsizei size, target_ptr data, upload& up)
{
    if (size < 0) {
        LOG_ERROR("Imagesize is less than zero, GL_INVALID_VALUE is generated.");
        call.error = GL_INVALID_VALUE;
        return false;
    }
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return false;
    if (!upload::is_in_target(context, data)) {
        up.pass_through(data);
        return true;
    }
    const auto bytes = static_cast<uint64_t>(size);
    if (up.read(call, context, data, bytes, bytes))
        return true;
    LOG_FATAL("Out of memory (%d bytes needed) while trying to allocate space for host-side data storage. "
              "Host-side will NOT execute the call",
              size);
    return false;
}

template <auto Field>
void image_3d(gles_handler& call, const char* function, GLenum target, GLint level, GLenum internal_format,
              GLsizei width, GLsizei height, GLsizei depth, GLint border, GLsizei size, target_ptr data)
{
    call.trace("target", target, "level", level, "internalformat", internal_format, "width", width, "height",
               height, "depth", depth, "border", border, "imageSize", size, "data", data);
    upload up;
    if (fetch(call, function, size, data, up))
        call.host<Field>(target, level, internal_format, width, height, depth, border, size, up.pixels());
}

template <auto Field>
void sub_image_3d(gles_handler& call, const char* function, GLenum target, GLint level, GLint x, GLint y,
                  GLint z, GLsizei width, GLsizei height, GLsizei depth, GLenum format, GLsizei size,
                  target_ptr data)
{
    call.trace("target", target, "level", level, "xoffset", x, "yoffset", y, "zoffset", z, "width", width,
               "height", height, "depth", depth, "format", format, "imageSize", size, "data", data);
    upload up;
    if (fetch(call, function, size, data, up))
        call.host<Field>(target, level, x, y, z, width, height, depth, format, size, up.pixels());
}
} // namespace

void gles20_glCompressedTexImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum internal_format,
                                   GLsizei width, GLsizei height, GLint border, GLsizei size, target_ptr data,
                                   gles_target_error target_error)
{
    gles_handler call{"gles20_glCompressedTexImage2D", pid, tid, target_error};
    call.trace("target", target, "level", level, "internalformat", internal_format, "width", width, "height",
               height, "border", border, "imageSize", size, "data", data);
    upload up;
    if (fetch(call, "glCompressedTexImage2D", size, data, up))
        call.host<&gles_table::glCompressedTexImage2D>(target, level, internal_format, width, height, border,
                                                       size, up.pixels());
}

void gles20_glCompressedTexSubImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y,
                                      GLsizei width, GLsizei height, GLenum format, GLsizei size,
                                      target_ptr data, gles_target_error target_error)
{
    gles_handler call{"gles20_glCompressedTexSubImage2D", pid, tid, target_error};
    call.trace("target", target, "level", level, "xoffset", x, "yoffset", y, "width", width, "height", height,
               "format", format, "imageSize", size, "data", data);
    upload up;
    if (fetch(call, "glCompressedTexSubImage2D", size, data, up))
        call.host<&gles_table::glCompressedTexSubImage2D>(target, level, x, y, width, height, format, size,
                                                          up.pixels());
}

void gles30_glCompressedTexImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum internal_format,
                                   GLsizei width, GLsizei height, GLsizei depth, GLint border, GLsizei size,
                                   target_ptr data, gles_target_error target_error)
{
    gles_handler call{"gles30_glCompressedTexImage3D", pid, tid, target_error};
    image_3d<&gles_table::glCompressedTexImage3D>(call, "glCompressedTexImage3D", target, level,
                                                  internal_format, width, height, depth, border, size, data);
}

void gles20_glCompressedTexImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level,
                                      GLenum internal_format, GLsizei width, GLsizei height, GLsizei depth,
                                      GLint border, GLsizei size, target_ptr data,
                                      gles_target_error target_error)
{
    gles_handler call{"gles20_glCompressedTexImage3DOES", pid, tid, target_error};
    image_3d<&gles_table::glCompressedTexImage3DOES>(call, "glCompressedTexImage3DOES", target, level,
                                                     internal_format, width, height, depth, border, size,
                                                     data);
}

void gles30_glCompressedTexSubImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y,
                                      GLint z, GLsizei width, GLsizei height, GLsizei depth, GLenum format,
                                      GLsizei size, target_ptr data, gles_target_error target_error)
{
    gles_handler call{"gles30_glCompressedTexSubImage3D", pid, tid, target_error};
    sub_image_3d<&gles_table::glCompressedTexSubImage3D>(call, "glCompressedTexSubImage3D", target, level, x,
                                                         y, z, width, height, depth, format, size, data);
}

void gles20_glCompressedTexSubImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y,
                                         GLint z, GLsizei width, GLsizei height, GLsizei depth, GLenum format,
                                         GLsizei size, target_ptr data, gles_target_error target_error)
{
    gles_handler call{"gles20_glCompressedTexSubImage3DOES", pid, tid, target_error};
    sub_image_3d<&gles_table::glCompressedTexSubImage3DOES>(call, "glCompressedTexSubImage3DOES", target,
                                                            level, x, y, z, width, height, depth, format,
                                                            size, data);
}
