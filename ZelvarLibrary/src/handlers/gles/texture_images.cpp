// Images of textures: whole and in part, from target memory or from a bound buffer.

#include "handlers/gles/sizes.h"
#include "handlers/gles/textures_handlers.h"
#include "handlers/gles/upload.h"

#include <algorithm>

using gles_table = sidechannel_gles_imports;

namespace {
/// Row of the known list of extensions.
constexpr uint32_t extension_texture_3d = 23;

enum class tex_variant
{
    image_2d = 0,
    image_3d = 1,
    image_3d_oes = 2,
    sub_image_2d = 3,
    sub_image_3d = 4,
    sub_image_3d_oes = 5,
};

struct tex_request
{
    tex_variant variant;
    GLenum target;
    GLint level;
    GLint internal_format = 0; // whole images
    GLint border = 0;
    GLint x = 0; // parts of images
    GLint y = 0;
    GLint z = 0;
    image_extent extent;
    GLenum format;
    GLenum type;
};

tex_request whole_image(tex_variant variant, GLenum target, GLint level, GLint internal_format, GLint border,
                        image_extent extent, GLenum format, GLenum type)
{
    return {.variant = variant,
            .target = target,
            .level = level,
            .internal_format = internal_format,
            .border = border,
            .extent = extent,
            .format = format,
            .type = type};
}

tex_request part_of_image(tex_variant variant, GLenum target, GLint level, GLint x, GLint y, GLint z,
                          image_extent extent, GLenum format, GLenum type)
{
    return {.variant = variant,
            .target = target,
            .level = level,
            .x = x,
            .y = y,
            .z = z,
            .extent = extent,
            .format = format,
            .type = type};
}

void tex_on_host(gles_handler& call, const tex_request& tex, const void* pixels)
{
    const auto& [width, height, depth, has_depth] = tex.extent;
    switch (tex.variant) {
    case tex_variant::image_2d:
        call.host<&gles_table::glTexImage2D>(tex.target, tex.level, tex.internal_format, width, height,
                                             tex.border, tex.format, tex.type, pixels);
        return;
    case tex_variant::image_3d:
        call.host<&gles_table::glTexImage3D>(tex.target, tex.level, tex.internal_format, width, height, depth,
                                             tex.border, tex.format, tex.type, pixels);
        return;
    case tex_variant::image_3d_oes:
        call.host<&gles_table::glTexImage3DOES>(tex.target, tex.level, tex.internal_format, width, height,
                                                depth, tex.border, tex.format, tex.type, pixels);
        return;
    case tex_variant::sub_image_2d:
        call.host<&gles_table::glTexSubImage2D>(tex.target, tex.level, tex.x, tex.y, width, height,
                                                tex.format, tex.type, pixels);
        return;
    case tex_variant::sub_image_3d:
        call.host<&gles_table::glTexSubImage3D>(tex.target, tex.level, tex.x, tex.y, tex.z, width, height,
                                                depth, tex.format, tex.type, pixels);
        return;
    case tex_variant::sub_image_3d_oes:
        call.host<&gles_table::glTexSubImage3DOES>(tex.target, tex.level, tex.x, tex.y, tex.z, width, height,
                                                   depth, tex.format, tex.type, pixels);
        return;
    }
}

bool is_variant_supported(gles_handler& call, _zelvar_context_data* context, tex_variant variant)
{
    if ((variant != tex_variant::image_3d_oes && variant != tex_variant::sub_image_3d_oes) ||
        zelvar_data_is_gl_extension_supported(call.pid, call.tid, context, extension_texture_3d))
        return true;
    LOG_ERROR("OES_texture_3D extension not supported.");
    call.error = GL_INVALID_OPERATION;
    return false;
}

/// False when the pixels can't be had, which leaves the host with none.
bool read_pixels(const gles_handler& call, _zelvar_context_data* context, const tex_request& tex,
                 target_ptr address, upload& up)
{
    const auto& [width, height, depth, has_depth] = tex.extent;
    if (width < 0 || height < 0 || depth < 0)
        return true; // the host refuses it
    const auto& unpack = context->unpack_params;
    const uint64_t told = unpack_size(unpack, tex.extent, zelvar_data_get_pixel_size(tex.format, tex.type));
    const uint64_t reach =
        unpack_reach(unpack, tex.extent, zelvar_data_get_pixel_reach(tex.format, tex.type));
    if (up.read(call, context, address, told, reach))
        return true;
    LOG_ERROR("Could not allocate [%d] bytes for pixel storage. Host-side will initialize the TO but will "
              "not use the data.",
              static_cast<int>(std::min<uint64_t>(std::max(told, reach), INT32_MAX)));
    return false;
}

/// A texture that gets an image of its own shows no EGL image any more.
void cut_from_image(const gles_handler& call, const _zelvar_context_data& context, GLenum target)
{
    const bool is_face = target >= GL_TEXTURE_CUBE_MAP_POSITIVE_X && target <= GL_TEXTURE_CUBE_MAP_NEGATIVE_Z;
    const uint32_t texture = bound_texture(context, is_face ? GLenum{GL_TEXTURE_CUBE_MAP} : target);
    if (texture)
        zelvar_object_manager_set_egl_image_sibling_orphaned(call.pid, call.tid, &texture, GL_TEXTURE, 1);
}

void gles20_shared_tex_handle(gles_handler& call, const char* function, const tex_request& tex,
                              target_ptr address)
{
    _zelvar_context_data* context = call.lock(function);
    if (!context || !is_variant_supported(call, context, tex.variant))
        return;
    upload up;
    bool failed = false;
    if (upload::is_in_target(context, address))
        failed = !read_pixels(call, context, tex, address, up);
    else
        up.pass_through(address);
    tex_on_host(call, tex, up.pixels());
    if (tex.variant == tex_variant::image_2d && call.error == GL_NO_ERROR)
        cut_from_image(call, *context, tex.target);
    if (failed)
        call.error = GL_OUT_OF_MEMORY;
}
} // namespace

void gles20_glTexImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint internal_format,
                         GLsizei width, GLsizei height, GLint border, GLenum format, GLenum type,
                         target_ptr pixels, gles_target_error target_error)
{
    gles_handler call{"gles20_glTexImage2D", pid, tid, target_error};
    call.trace("target", target, "level", level, "internalformat", internal_format, "width", width, "height",
               height, "border", border, "format", format, "type", type, "pixels", pixels);
    gles20_shared_tex_handle(call, "glTexImage2D",
                             whole_image(tex_variant::image_2d, target, level, internal_format, border,
                                         {width, height, 1, false}, format, type),
                             pixels);
}

void gles30_glTexImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint internal_format,
                         GLsizei width, GLsizei height, GLsizei depth, GLint border, GLenum format,
                         GLenum type, target_ptr pixels, gles_target_error target_error)
{
    gles_handler call{"gles30_glTexImage3D", pid, tid, target_error};
    call.trace("target", target, "level", level, "internalformat", internal_format, "width", width, "height",
               height, "depth", depth, "border", border, "format", format, "type", type, "pixels", pixels);
    gles20_shared_tex_handle(call, "glTexImage3D",
                             whole_image(tex_variant::image_3d, target, level, internal_format, border,
                                         {width, height, depth, true}, format, type),
                             pixels);
}

void gles20_glTexImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum internal_format,
                            GLsizei width, GLsizei height, GLsizei depth, GLint border, GLenum format,
                            GLenum type, target_ptr pixels, gles_target_error target_error)
{
    gles_handler call{"gles20_glTexImage3DOES", pid, tid, target_error};
    call.trace("target", target, "level", level, "internalformat", internal_format, "width", width, "height",
               height, "depth", depth, "border", border, "format", format, "type", type, "pixels", pixels);
    gles20_shared_tex_handle(call, "glTexImage3DOES",
                             whole_image(tex_variant::image_3d_oes, target, level,
                                         static_cast<GLint>(internal_format), border,
                                         {width, height, depth, true}, format, type),
                             pixels);
}

void gles20_glTexSubImage2D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y, GLsizei width,
                            GLsizei height, GLenum format, GLenum type, target_ptr pixels,
                            gles_target_error target_error)
{
    gles_handler call{"gles20_glTexSubImage2D", pid, tid, target_error};
    call.trace("target", target, "level", level, "xoffset", x, "yoffset", y, "width", width, "height", height,
               "format", format, "type", type, "pixels", pixels);
    gles20_shared_tex_handle(call, "glTexSubImage2D",
                             part_of_image(tex_variant::sub_image_2d, target, level, x, y, 0,
                                           {width, height, 1, false}, format, type),
                             pixels);
}

void gles30_glTexSubImage3D(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y, GLint z,
                            GLsizei width, GLsizei height, GLsizei depth, GLenum format, GLenum type,
                            target_ptr pixels, gles_target_error target_error)
{
    gles_handler call{"gles30_glTexSubImage3D", pid, tid, target_error};
    call.trace("target", target, "level", level, "xoffset", x, "yoffset", y, "zoffset", z, "width", width,
               "height", height, "depth", depth, "format", format, "type", type, "pixels", pixels);
    gles20_shared_tex_handle(call, "glTexSubImage3D",
                             part_of_image(tex_variant::sub_image_3d, target, level, x, y, z,
                                           {width, height, depth, true}, format, type),
                             pixels);
}

void gles20_glTexSubImage3DOES(pid_t pid, tid_t tid, GLenum target, GLint level, GLint x, GLint y, GLint z,
                               GLsizei width, GLsizei height, GLsizei depth, GLenum format, GLenum type,
                               target_ptr pixels, gles_target_error target_error)
{
    gles_handler call{"gles20_glTexSubImage3DOES", pid, tid, target_error};
    call.trace("target", target, "level", level, "xoffset", x, "yoffset", y, "zoffset", z, "width", width,
               "height", height, "depth", depth, "format", format, "type", type, "pixels", pixels);
    gles20_shared_tex_handle(call, "glTexSubImage3DOES",
                             part_of_image(tex_variant::sub_image_3d_oes, target, level, x, y, z,
                                           {width, height, depth, true}, format, type),
                             pixels);
}
