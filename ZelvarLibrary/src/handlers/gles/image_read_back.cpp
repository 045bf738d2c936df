#include "handlers/gles/image_read_back.h"

#include "handlers/gles/shared_guard.h"
#include "handlers/gles/winsys_buffers.h"
#include "object_manager/images.h"
#include "pixels/color_swizzle.h"
#include "pixels/pack_buffer.h"
#include "pixels/read_host_pixels.h"

using gles_table = sidechannel_gles_imports;
using descriptor_type = wire::winsys_buffer_object_descriptor;
using image_data = _zelvar_object_manager_egl_image_data;

namespace {
constexpr uint32_t framebuffer_label = 4;

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

/// The image that the framebuffer being left has rendered into; false when there is none.
bool find_image(const gles_handler& call, _zelvar_context_data* context, image_data* image)
{
    auto type = static_cast<uint32_t>(color_attachment(GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE));
    const uint32_t object = type == GL_NONE ? 0 : attached_object(context, type);
    uint64_t target_image = 0;
    return object != 0 && zelvar_object_manager_get_egl_image(call.pid, object, type, &target_image) &&
           zelvar_object_manager_get_egl_image_data(call.pid, target_image, image) &&
           image->service_texture != 0;
}

/// Has reads come from the first colour attachment of the framebuffer being left. What was so before comes
/// back.
class read_from_first_attachment
{
public:
    explicit read_from_first_attachment(const _zelvar_context_data& context) : _context(context)
    {
        if (context.host_major_version < 3)
            return;
        if (context.read_framebuffer != context.draw_framebuffer)
            bind(context.draw_framebuffer);
        host::gl<&gles_table::glGetIntegerv>(GLenum{GL_READ_BUFFER}, &_buffer);
        if (_buffer != GL_COLOR_ATTACHMENT0)
            host::gl<&gles_table::glReadBuffer>(GLenum{GL_COLOR_ATTACHMENT0});
    }
    ~read_from_first_attachment()
    {
        if (_buffer != GL_COLOR_ATTACHMENT0)
            host::gl<&gles_table::glReadBuffer>(static_cast<GLenum>(_buffer));
        if (_context.host_major_version >= 3 && _context.read_framebuffer != _context.draw_framebuffer)
            bind(_context.read_framebuffer);
    }
    read_from_first_attachment(const read_from_first_attachment&) = delete;
    read_from_first_attachment& operator=(const read_from_first_attachment&) = delete;

private:
    void bind(uint32_t framebuffer) const
    {
        auto& framebuffers = _context.data_nonshared->framebuffers;
        auto found = framebuffers.find(framebuffer);
        host::gl<&gles_table::glBindFramebuffer>(GLenum{GL_READ_FRAMEBUFFER},
                                                 found == framebuffers.end() ? 0u : found->second.host_id);
    }

    const _zelvar_context_data& _context;
    GLint _buffer = GL_COLOR_ATTACHMENT0;
};

uint32_t bytes_of(const descriptor_type& description)
{
    return (description.bits_per_pixel + 7u) / 8;
}

/// Reads a picture as `description` tells it, `width` pixels a row; null when that can't be.
malloc_block read_picture(const _zelvar_context_data& context, const descriptor_type& description,
                          uint32_t width)
{
    const uint32_t bytes = bytes_of(description);
    const auto [format, type] = host_layout_of(description);
    // The host writes pixels of its own idea of their size into a block that is made for the told depth.
    if (bytes == 0 || zelvar_data_get_pixel_reach(format, type) > bytes ||
        uint64_t{width} * description.height > largest_winsys_buffer / bytes) {
        LOG_ERROR("A picture of %u x %u pixels of %u bits, format [%#x] and type [%#x] can't be read back.",
                  width, description.height, description.bits_per_pixel, description.format,
                  description.type);
        return nullptr;
    }
    const pack_buffer_off pack_buffer{context, context.host_bindings.pixel_pack_buffer};
    const read_from_first_attachment reading{context};
    uint8_t* pixels = nullptr;
    zelvar_helpers_read_pixels_from_host_GPU(&pixels, width, description.height, bytes,
                                             context.host_major_version, context.pack_params,
                                             description.format, description.type);
    return malloc_block{pixels};
}

/// Writes what was rendered to the target's buffer.
void write_back(const gles_handler& call, const _zelvar_context_data& context, const image_data& image)
{
    const descriptor_type& buffer = image.native_parameters;
    const uint32_t bytes = bytes_of(buffer);
    // Rows of four pixels are whole words: the host then packs them without gaps, whatever their depth.
    const uint32_t width = bytes == 4 ? buffer.width : (buffer.width + 3) / 4 * 4;
    const malloc_block pixels = read_picture(context, buffer, width);
    if (!pixels ||
        !write_winsys_buffer_pixels(call.pid, call.tid, image.native_buffer, buffer, pixels.get(),
                                    uint64_t{width} * bytes, uint64_t{buffer.width} * bytes, buffer.height))
        LOG_ERROR("What was rendered into buffer [%ld] is not written back.",
                  static_cast<long>(image.native_buffer));
}

uint64_t current_target_context(const gles_handler& call)
{
    EGLContext host_context = EGL_NO_CONTEXT;
    uint64_t context = 0;
    if (zelvar_object_manager_get_bound_host_context(call.pid, call.tid, &host_context))
        zelvar_object_manager_get_target_context(call.pid, host_context, &context);
    return context;
}

/// Parks what was rendered for the GPU model.
void park(const gles_handler& call, const _zelvar_context_data& context, const image_data& image)
{
    zelvar_host_pixel_container* container = zelvar_object_manager_get_host_pixel_container(
        call.pid & model_pid_mask, framebuffer_label, context.draw_framebuffer, current_target_context(call),
        true);
    if (!container) {
        LOG_FATAL("Failed to retrieve or allocate host_pixel_container for framebuffer [%d] in process [%d]",
                  context.draw_framebuffer, call.pid);
        return;
    }
    descriptor_type description = image.native_parameters;
    if (container->description.format != 0)
        description = container->description;
    else
        zelvar_object_manager_set_host_pixel_container_data(container, nullptr, 0);
    malloc_block pixels = read_picture(context, description, description.width);
    if (!pixels)
        return;
    description.stride = description.width * bytes_of(description);
    const uint64_t size = description.get_buffer_size();
    zelvar_object_manager_set_host_pixel_container_description(container, description);
    zelvar_object_manager_set_host_pixel_container_data(container, pixels.release(), size);
}
} // namespace

void read_back_image(const gles_handler& call, _zelvar_context_data* context)
{
    image_data image;
    if (!find_image(call, context, &image))
        return;
    if (zelvar_target_gpu() == TARGET_GPU_REAL)
        park(call, *context, image);
    else
        write_back(call, *context, image);
}

void drop_parked_framebuffers(const gles_handler& call, const std::vector<uint32_t>& framebuffers)
{
    const uint64_t context = current_target_context(call);
    for (uint32_t framebuffer : framebuffers) {
        const pid_t pid = call.pid & model_pid_mask;
        const auto* container = zelvar_object_manager_get_host_pixel_container(pid, framebuffer_label,
                                                                               framebuffer, context, false);
        if (container && container->pixels)
            LOG_WARN("Framebuffer [%u] of process [%d] is deleted with pixels that nobody has fetched.",
                     framebuffer, call.pid);
        zelvar_object_manager_delete_host_pixel_container_data(pid, framebuffer_label, framebuffer, context);
    }
}
