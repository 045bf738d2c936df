#include "handlers/gles/image_read_back.h"

#include "handlers/gles/shared_guard.h"

#include <atomic>

using gles_table = sidechannel_gles_imports;

namespace {
GLint color_attachment(GLenum pname)
{
    GLint value = 0;
    auto asked = host::gl<&gles_table::glGetFramebufferAttachmentParameteriv>(
        GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, pname, &value);
    return asked.ok() ? value : 0;
}

/// The target's name of the first colour attachment; 0 when there is none or nobody knows it.
uint32_t attached_object(_zelvar_context_data* context, uint32_t type)
{
    auto host_id = static_cast<uint32_t>(color_attachment(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME));
    uint32_t id = 0;
    shared_guard group_lock{context};
    if (type == GL_TEXTURE)
        zelvar_data_model_get_target_texture_from_host_texture(host_id, context, &id);
    else if (type == GL_RENDERBUFFER)
        zelvar_data_model_get_target_renderbuffer_from_host_renderbuffer(host_id, context, &id);
    else
        LOG_ERROR("FBO %x has unknown color attachment of type %x", context->draw_framebuffer, type);
    return id;
}
} // namespace

void read_back_image(const gles_handler& call, _zelvar_context_data* context)
{
    auto type = static_cast<uint32_t>(color_attachment(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE));
    uint32_t object = type == GL_NONE ? 0 : attached_object(context, type);
    uint64_t image = 0, buffer = 0;
    wire::winsys_buffer_object_descriptor description{};
    if (object == 0 || !zelvar_object_manager_get_egl_image(call.pid, object, type, &image) ||
        !zelvar_object_manager_get_winsys_buffer_parameters(call.pid, image, &buffer, &description))
        return;
    static std::atomic<bool> said_once;
    if (!said_once.exchange(true, std::memory_order_relaxed))
        LOG_ERROR("Reading back what was rendered into an EGL image isn't built yet: the target's buffer "
                  "stays as it was.");
}
