// What is attached to framebuffers.

#include "handlers/gles/framebuffers_handlers.h"
#include "handlers/gles/object_kinds.h"
#include "handlers/gles/shared_guard.h"

#include <optional>

using gles_table = sidechannel_gles_imports;

namespace {
enum class attach_variant
{
    renderbuffer = 0,
    texture_2d_multisample = 1,
    texture_2d = 2,
    texture_3d = 3,
    texture_layer = 4,
};

struct attach_request
{
    attach_variant variant;
    GLenum target;
    GLenum attachment;
    GLenum object_target; // of the renderbuffer or texture
    GLuint object;        // target id
    GLint level;
    GLint layer;
    GLsizei samples;
};

// Rows of the known list of extensions.
constexpr uint32_t extension_multisampled_render_to_texture = 3;
constexpr uint32_t extension_texture_3d = 23;

bool is_variant_supported(gles_handler& call, _zelvar_context_data* context, attach_variant variant)
{
    uint32_t extension = extension_texture_3d;
    if (variant == attach_variant::texture_2d_multisample)
        extension = extension_multisampled_render_to_texture;
    else if (variant != attach_variant::texture_3d)
        return true;
    if (zelvar_data_is_gl_extension_supported(call.pid, call.tid, context, extension))
        return true;
    if (extension == extension_texture_3d)
        LOG_ERROR("GLES_EXTENSION_GL_OES_TEXTURE_3D extension not supported.");
    else
        LOG_ERROR("GLES_EXTENSION_GL_EXT_MULTISAMPLED_RENDER_TO_TEXTURE extension not supported.");
    call.error = GL_INVALID_OPERATION;
    return false;
}

std::optional<uint32_t> host_id_of(_zelvar_context_data* context, const attach_request& attach)
{
    auto look_up = [&](const auto& objects) -> std::optional<uint32_t> {
        auto found = objects.find(attach.object);
        return found == objects.end() ? std::nullopt : std::optional{found->second.host_id};
    };
    if (attach.object == 0)
        return 0;
    return attach.variant == attach_variant::renderbuffer ? look_up(context->data_shared->renderbuffers)
                                                          : look_up(context->data_shared->textures);
}

bool attach_on_host(gles_handler& call, const attach_request& attach, uint32_t host_id)
{
    const auto& a = attach;
    switch (a.variant) {
    case attach_variant::renderbuffer:
        return call
            .host<&gles_table::glFramebufferRenderbuffer>(a.target, a.attachment, a.object_target, host_id)
            .ok();
    case attach_variant::texture_2d_multisample:
        return call
            .host<&gles_table::glFramebufferTexture2DMultisampleEXT>(a.target, a.attachment, a.object_target,
                                                                     host_id, a.level, a.samples)
            .ok();
    case attach_variant::texture_2d:
        return call
            .host<&gles_table::glFramebufferTexture2D>(a.target, a.attachment, a.object_target, host_id,
                                                       a.level)
            .ok();
    case attach_variant::texture_3d:
        return call
            .host<&gles_table::glFramebufferTexture3DOES>(a.target, a.attachment, a.object_target, host_id,
                                                          a.level, a.layer)
            .ok();
    case attach_variant::texture_layer:
        break;
    }
    return call
        .host<&gles_table::glFramebufferTextureLayer>(a.target, a.attachment, host_id, a.level, a.layer)
        .ok();
}

/// Null for what is no attachment point.
framebuffer_attachment* attachment_point(_zelvar_framebuffer_object_descriptor& framebuffer,
                                         GLenum attachment)
{
    switch (attachment) {
    case GL_DEPTH_ATTACHMENT:
        return &framebuffer.depth;
    case GL_STENCIL_ATTACHMENT:
        return &framebuffer.stencil;
    case GL_DEPTH_STENCIL_ATTACHMENT:
        return &framebuffer.depth_stencil;
    default:
        break;
    }
    if (attachment >= GL_COLOR_ATTACHMENT0 && attachment <= GL_COLOR_ATTACHMENT31)
        return &framebuffer.color[attachment - GL_COLOR_ATTACHMENT0];
    LOG_FATAL("Unrecognized attachment type [%d]", attachment);
    return nullptr;
}

void note_attachment(_zelvar_context_data* context, const attach_request& attach)
{
    uint32_t id =
        attach.target == GL_READ_FRAMEBUFFER ? context->read_framebuffer : context->draw_framebuffer;
    auto framebuffer = context->data_nonshared->framebuffers.find(id);
    if (framebuffer == context->data_nonshared->framebuffers.end()) {
        LOG_FATAL("Zelvar context data appears to lack info on FBO with target-side id [%d] ! Desync ahead.",
                  id);
        return;
    }
    framebuffer_attachment* point = attachment_point(framebuffer->second, attach.attachment);
    if (!point) {
        LOG_FATAL("Cannot update context data with updated FBO information - could not retrieve attachment "
                  "pointers. Desync ahead.");
        return;
    }
    if (attach.variant == attach_variant::renderbuffer) {
        point->type = attachment_renderbuffer;
        point->renderbuffer = attach.object;
        return;
    }
    point->type = attachment_texture;
    point->texture = {attach.object, static_cast<uint32_t>(attach.level), attach.object_target,
                      static_cast<uint32_t>(attach.layer), static_cast<uint32_t>(attach.samples)};
}

void gles20_shared_framebuffer_handle(gles_handler& call, const char* function, const attach_request& attach)
{
    _zelvar_context_data* context = call.lock(function);
    if (!context || !is_variant_supported(call, context, attach.variant))
        return;
    shared_guard group_lock{context};
    std::optional<uint32_t> host_id = host_id_of(context, attach);
    if (!host_id) {
        LOG_ERROR("RBO/TO iterator not found. Host-side will NOT execute the call. GL_INVALID_OPERATION is "
                  "generated.");
        call.error = GL_INVALID_OPERATION;
        return;
    }
    if (attach_on_host(call, attach, *host_id))
        note_attachment(context, attach);
}

/// The target's name of an attached object. One that the target has deleted stays attached to framebuffers
/// that weren't bound, and its name may still be asked for.
uint32_t attached_name(_zelvar_context_data* context, uint32_t type, uint32_t host_id)
{
    uint32_t id = 0;
    const std::map<uint32_t, uint32_t>* deleted = nullptr;
    shared_guard group_lock{context};
    if (type == GL_TEXTURE) {
        if (zelvar_data_model_get_target_texture_from_host_texture(host_id, context, &id))
            return id;
        deleted = &context->data_shared->deleted_textures;
    } else if (type == GL_RENDERBUFFER) {
        if (zelvar_data_model_get_target_renderbuffer_from_host_renderbuffer(host_id, context, &id))
            return id;
        deleted = &context->data_shared->deleted_renderbuffers;
    }
    if (deleted)
        if (auto found = deleted->find(host_id); found != deleted->end())
            return found->second;
    return 0;
}
} // namespace

void gles20_glFramebufferRenderbuffer(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                      GLenum renderbuffer_target, GLuint renderbuffer,
                                      gles_target_error target_error)
{
    gles_handler call{"gles20_glFramebufferRenderbuffer", pid, tid, target_error};
    call.trace("target", target, "attachment", attachment, "renderbuffertarget", renderbuffer_target,
               "renderbuffer", renderbuffer);
    gles20_shared_framebuffer_handle(
        call, "glFramebufferRenderbuffer",
        {attach_variant::renderbuffer, target, attachment, renderbuffer_target, renderbuffer, 0, 0, 0});
}

void gles20_glFramebufferTexture2D(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                   GLenum texture_target, GLuint texture, GLint level,
                                   gles_target_error target_error)
{
    gles_handler call{"gles20_glFramebufferTexture2D", pid, tid, target_error};
    call.trace("target", target, "attachment", attachment, "textarget", texture_target, "texture", texture,
               "level", level);
    gles20_shared_framebuffer_handle(
        call, "glFramebufferTexture2D",
        {attach_variant::texture_2d, target, attachment, texture_target, texture, level, 0, 0});
}

void gles20_glFramebufferTexture2DMultisampleEXT(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                                 GLenum texture_target, GLuint texture, GLint level,
                                                 GLsizei samples, gles_target_error target_error)
{
    gles_handler call{"gles20_glFramebufferTexture2DMultisampleEXT", pid, tid, target_error};
    call.trace("target", target, "attachment", attachment, "textarget", texture_target, "texture", texture,
               "level", level, "samples", samples);
    gles20_shared_framebuffer_handle(call, "glFramebufferTexture2DMultisampleEXT",
                                     {attach_variant::texture_2d_multisample, target, attachment,
                                      texture_target, texture, level, 0, samples});
}

void gles20_glFramebufferTexture3DOES(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                      GLenum texture_target, GLuint texture, GLint level, GLint zoffset,
                                      gles_target_error target_error)
{
    gles_handler call{"gles20_glFramebufferTexture3DOES", pid, tid, target_error};
    call.trace("target", target, "attachment", attachment, "textarget", texture_target, "texture", texture,
               "level", level, "zoffset", zoffset);
    gles20_shared_framebuffer_handle(
        call, "glFramebufferTexture3DOES",
        {attach_variant::texture_3d, target, attachment, texture_target, texture, level, zoffset, 0});
}

void gles30_glFramebufferTextureLayer(pid_t pid, tid_t tid, GLenum target, GLenum attachment, GLuint texture,
                                      GLint level, GLint layer, gles_target_error target_error)
{
    gles_handler call{"gles30_glFramebufferTextureLayer", pid, tid, target_error};
    call.trace("target", target, "attachment", attachment, "texture", texture, "level", level, "layer",
               layer);
    gles20_shared_framebuffer_handle(
        call, "glFramebufferTextureLayer",
        {attach_variant::texture_layer, target, attachment, 0, texture, level, layer, 0});
}

void gles20_glGetFramebufferAttachmentParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum attachment,
                                                  GLenum pname, target_ptr params,
                                                  gles_target_error target_error)
{
    gles_handler call{"gles20_glGetFramebufferAttachmentParameteriv", pid, tid, target_error};
    call.trace("target", target, "attachment", attachment, "pname", pname, "params", params);
    _zelvar_context_data* context = call.lock("glGetFramebufferAttachmentParameteriv");
    if (!context)
        return;
    GLint value = 0;
    if (!call.host<&gles_table::glGetFramebufferAttachmentParameteriv>(target, attachment, pname, &value)
             .ok())
        return;
    if (pname == GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME && value) {
        // Textures and renderbuffers have name spaces of their own.
        GLint type = GL_NONE;
        call.host<&gles_table::glGetFramebufferAttachmentParameteriv>(
            target, attachment, GLenum{GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE}, &type);
        value = static_cast<GLint>(
            attached_name(context, static_cast<uint32_t>(type), static_cast<uint32_t>(value)));
    }
    call.write(params, value);
}
