// Texture names, bindings and parameters.

#include "handlers/gles/object_kinds.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/gles/textures_handlers.h"
#include "handlers/gles/winsys_buffers.h"
#include "handlers/handler.h"

#include <algorithm>
#include <array>
#include <vector>

using gles_table = sidechannel_gles_imports;

namespace {
/// Row of the known list of extensions.
constexpr uint32_t extension_egl_image_external = 15;

/// False, with the error set, for an external texture where nobody reports those.
bool is_texture_target_supported(gles_handler& call, _zelvar_context_data* context, const char* function,
                                 GLenum target)
{
    if (target != GL_TEXTURE_EXTERNAL_OES ||
        zelvar_data_is_gl_extension_supported(call.pid, call.tid, context, extension_egl_image_external))
        return true;
    LOG_ERROR("Cannot execute %s() as GL_OES_EGL_image_external extension is not supported on both: target "
              "and host",
              function);
    call.error = GL_INVALID_OPERATION;
    return false;
}

/// Context of a call on `target`, locked, where the target may be used.
_zelvar_context_data* enter(gles_handler& call, const char* function, GLenum target)
{
    _zelvar_context_data* context = call.lock(function);
    return context && is_texture_target_supported(call, context, function, target) ? context : nullptr;
}

_zelvar_texture_object_descriptor* find_texture(_zelvar_context_data* context, GLuint texture)
{
    auto found = context->data_shared->textures.find(texture);
    return found == context->data_shared->textures.end() ? nullptr : &found->second;
}

/// An external texture shows what its buffer holds at each bind. False when that can't be had.
bool refresh_external_texture(const gles_handler& call, const _zelvar_context_data& context, GLuint texture)
{
    uint64_t image = 0;
    _zelvar_object_manager_egl_image_data data;
    if (!zelvar_object_manager_get_egl_image(call.pid, texture, GL_TEXTURE, &image))
        return true;
    if (!zelvar_object_manager_get_egl_image_data(call.pid, image, &data)) {
        LOG_FATAL("Failed to get winsys_buffer_object_descriptor for EGLImage %lu\n", image);
        return false;
    }
    if (!data.service_texture) {
        LOG_FATAL("Failed to get egl image service texture");
        return false;
    }
    return refresh_service_texture(call.pid, call.tid, context, data);
}

enum class tex_parameter_variant
{
    f = 0,
    fv = 1,
    i = 2,
    iv = 3,
};

/// Room for the largest parameter, a colour: the host decides how much of it it looks at.
template <class T>
using parameter_values = std::array<T, 4>;

template <class T>
parameter_values<T> read_parameter(const gles_handler& call, target_ptr address)
{
    T value{};
    zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid, sizeof(T), address, &value);
    return {value};
}

/// One of `real` and `whole` is the value, by variant; the vector variants read it at `address`.
void gles20_shared_tex_parameter_handle(gles_handler& call, const char* function,
                                        tex_parameter_variant variant, GLenum target, GLenum pname,
                                        GLfloat real, GLint whole, target_ptr address)
{
    if (!enter(call, function, target))
        return;
    switch (variant) {
    case tex_parameter_variant::f:
        call.host<&gles_table::glTexParameterf>(target, pname, real);
        return;
    case tex_parameter_variant::fv:
        call.host<&gles_table::glTexParameterfv>(target, pname,
                                                 read_parameter<GLfloat>(call, address).data());
        return;
    case tex_parameter_variant::i:
        call.host<&gles_table::glTexParameteri>(target, pname, whole);
        return;
    case tex_parameter_variant::iv:
        call.host<&gles_table::glTexParameteriv>(target, pname, read_parameter<GLint>(call, address).data());
        return;
    }
}

enum class get_tex_parameter_variant
{
    fv = 0,
    level_fv = 1,
    iv = 2,
    level_iv = 3,
};

bool get_from_host(gles_handler& call, get_tex_parameter_variant variant, GLenum target, GLint level,
                   GLenum pname, GLfloat* reals, GLint* wholes)
{
    switch (variant) {
    case get_tex_parameter_variant::fv:
        return call.host<&gles_table::glGetTexParameterfv>(target, pname, reals).ok();
    case get_tex_parameter_variant::level_fv:
        return call.host<&gles_table::glGetTexLevelParameterfv>(target, level, pname, reals).ok();
    case get_tex_parameter_variant::iv:
        return call.host<&gles_table::glGetTexParameteriv>(target, pname, wholes).ok();
    case get_tex_parameter_variant::level_iv:
        break;
    }
    return call.host<&gles_table::glGetTexLevelParameteriv>(target, level, pname, wholes).ok();
}

void gles20_shared_get_tex_parameter_handle(gles_handler& call, const char* function,
                                            get_tex_parameter_variant variant, GLenum target, GLint level,
                                            GLenum pname, target_ptr params)
{
    call.trace("target", target, "level", level, "pname", pname, "params", params);
    if (!enter(call, function, target))
        return;
    parameter_values<GLfloat> reals{};
    parameter_values<GLint> wholes{};
    if (!get_from_host(call, variant, target, level, pname, reals.data(), wholes.data()))
        return;
    const bool is_real =
        variant == get_tex_parameter_variant::fv || variant == get_tex_parameter_variant::level_fv;
    if (is_real)
        call.write(params, reals[0]);
    else
        call.write(params, wholes[0]);
}
} // namespace

void gles20_glActiveTexture(pid_t pid, tid_t tid, GLenum unit, gles_target_error target_error)
{
    gles_handler call{"gles20_glActiveTexture", pid, tid, target_error};
    call.trace("texture", unit);
    _zelvar_context_data* context = call.lock("glActiveTexture");
    if (context && call.host<&gles_table::glActiveTexture>(unit).ok())
        context->active_texture = unit;
}

void gles20_glBindTexture(pid_t pid, tid_t tid, GLenum target, GLuint texture, gles_target_error target_error)
{
    gles_handler call{"gles20_glBindTexture", pid, tid, target_error};
    call.trace("target", target, "texture", texture);
    _zelvar_context_data* context = enter(call, "glBindTexture", target);
    if (!context)
        return;
    shared_guard group_lock{context};
    auto* known = texture ? find_texture(context, texture) : nullptr;
    if (texture && !known) {
        if (generate_on_bind(call, context, shared_textures, texture))
            known = find_texture(context, texture);
        if (!known) {
            LOG_ERROR("Could not execute generate-upon-binding path for target-side texture object id [%d]! "
                      "Host-side will NOT execute the call",
                      texture);
            return;
        }
    }
    if (target == GL_TEXTURE_EXTERNAL_OES && texture && !refresh_external_texture(call, *context, texture))
        return;
    if (!call.host<&gles_table::glBindTexture>(target, known ? known->host_id : 0).ok()) {
        LOG_ERROR("glBindTexture() failed, host side context data won't be updated.");
        return;
    }
    if (known)
        known->was_bound = true;
    context->texture_bindings[context->active_texture][target] = texture;
}

void gles20_glIsTexture(pid_t pid, tid_t tid, GLuint texture, result_of<GLboolean>,
                        gles_target_error target_error)
{
    gles_handler call{"gles20_glIsTexture", pid, tid, target_error};
    call.trace("texture", texture);
    GLboolean known = GL_FALSE;
    if (_zelvar_context_data* context = call.lock("glIsTexture")) {
        shared_guard group_lock{context};
        auto* found = texture ? find_texture(context, texture) : nullptr;
        known = found && found->was_bound;
    }
    call.reply(known);
}

void gles20_glGenerateMipmap(pid_t pid, tid_t tid, GLenum target, gles_target_error target_error)
{
    gles_handler call{"gles20_glGenerateMipmap", pid, tid, target_error};
    call.trace("target", target);
    if (enter(call, "glGenerateMipmap", target))
        call.host<&gles_table::glGenerateMipmap>(target);
}

void gles20_glTexParameterf(pid_t pid, tid_t tid, GLenum target, GLenum pname, GLfloat param,
                            gles_target_error target_error)
{
    gles_handler call{"gles20_glTexParameterf", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "param", param);
    gles20_shared_tex_parameter_handle(call, "glTexParameterf", tex_parameter_variant::f, target, pname,
                                       param, 0, {});
}

void gles20_glTexParameterfv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                             gles_target_error target_error)
{
    gles_handler call{"gles20_glTexParameterfv", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "params", params);
    gles20_shared_tex_parameter_handle(call, "glTexParameterfv", tex_parameter_variant::fv, target, pname, 0,
                                       0, params);
}

void gles20_glTexParameteri(pid_t pid, tid_t tid, GLenum target, GLenum pname, GLint param,
                            gles_target_error target_error)
{
    gles_handler call{"gles20_glTexParameteri", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "param", param);
    gles20_shared_tex_parameter_handle(call, "glTexParameteri", tex_parameter_variant::i, target, pname, 0,
                                       param, {});
}

void gles20_glTexParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                             gles_target_error target_error)
{
    gles_handler call{"gles20_glTexParameteriv", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "params", params);
    gles20_shared_tex_parameter_handle(call, "glTexParameteriv", tex_parameter_variant::iv, target, pname, 0,
                                       0, params);
}

void gles20_glGetTexParameterfv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                gles_target_error target_error)
{
    gles_handler call{"gles20_glGetTexParameterfv", pid, tid, target_error};
    gles20_shared_get_tex_parameter_handle(call, "glGetTexParameterfv", get_tex_parameter_variant::fv, target,
                                           0, pname, params);
}

void gles20_glGetTexParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                gles_target_error target_error)
{
    gles_handler call{"gles20_glGetTexParameteriv", pid, tid, target_error};
    gles20_shared_get_tex_parameter_handle(call, "glGetTexParameteriv", get_tex_parameter_variant::iv, target,
                                           0, pname, params);
}

void gles31_glGetTexLevelParameterfv(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum pname,
                                     target_ptr params, gles_target_error target_error)
{
    gles_handler call{"gles31_glGetTexLevelParameterfv", pid, tid, target_error};
    gles20_shared_get_tex_parameter_handle(call, "glGetTexLevelParameterfv",
                                           get_tex_parameter_variant::level_fv, target, level, pname, params);
}

void gles31_glGetTexLevelParameteriv(pid_t pid, tid_t tid, GLenum target, GLint level, GLenum pname,
                                     target_ptr params, gles_target_error target_error)
{
    gles_handler call{"gles31_glGetTexLevelParameteriv", pid, tid, target_error};
    gles20_shared_get_tex_parameter_handle(call, "glGetTexLevelParameteriv",
                                           get_tex_parameter_variant::level_iv, target, level, pname, params);
}

void gles30_glGetInternalformativ(pid_t pid, tid_t tid, GLenum target, GLenum internal_format, GLenum pname,
                                  GLsizei count, target_ptr params, gles_target_error target_error)
{
    gles_handler call{"gles30_glGetInternalformativ", pid, tid, target_error};
    call.trace("target", target, "internalformat", internal_format, "pname", pname, "bufSize", count,
               "params", params);
    if (!call.lock("glGetInternalformativ"))
        return;
    constexpr GLsizei most_values = 1024; // more than any format has sample counts
    const GLsizei asked = std::min(count, most_values);
    std::vector<GLint> values(static_cast<size_t>(std::max(asked, 1)));
    if (!call.host<&gles_table::glGetInternalformativ>(target, internal_format, pname, asked, values.data())
             .ok() ||
        !params || zelvar_call_on_target())
        return;
    // What the host has not filled is none of the target's business.
    GLint filled = 1;
    if (pname == GL_SAMPLES)
        host::gl<&gles_table::glGetInternalformativ>(target, internal_format, GLenum{GL_NUM_SAMPLE_COUNTS}, 1,
                                                     &filled);
    filled = std::clamp(filled, 0, std::max(asked, 0));
    if (filled > 0)
        zelvar_shim_dispatch_write_to_shim_address_space(
            pid, tid, static_cast<uint32_t>(filled) * sizeof(GLint), values.data(), params);
}

uint32_t bound_texture(const _zelvar_context_data& context, GLenum target)
{
    auto unit = context.texture_bindings.find(context.active_texture);
    if (unit == context.texture_bindings.end())
        return 0;
    auto bound = unit->second.find(target);
    return bound == unit->second.end() ? 0 : bound->second;
}
