// Small questions to the model.
#include "data_model/zelvar_data_model.h"
#include "sidechannel_log.h"
#include "wire/api.h"

namespace {
/// Null for an unknown binding point.
const uint32_t* binding_of(const _zelvar_vertex_array_object_descriptor& vertex_array, uint32_t buffer_target)
{
    switch (buffer_target) {
    case GL_ARRAY_BUFFER:
        return &vertex_array.array_buffer;
    case GL_ELEMENT_ARRAY_BUFFER:
        return &vertex_array.element_array_buffer;
    case GL_PIXEL_PACK_BUFFER:
        return &vertex_array.pixel_pack_buffer;
    case GL_PIXEL_UNPACK_BUFFER:
        return &vertex_array.pixel_unpack_buffer;
    case GL_COPY_READ_BUFFER:
        return &vertex_array.copy_read_buffer;
    case GL_COPY_WRITE_BUFFER:
        return &vertex_array.copy_write_buffer;
    case GL_TRANSFORM_FEEDBACK_BUFFER:
        return &vertex_array.transform_feedback_buffer;
    case GL_UNIFORM_BUFFER:
        return &vertex_array.uniform_buffer;
    case GL_ATOMIC_COUNTER_BUFFER:
        return &vertex_array.atomic_counter_buffer;
    case GL_DISPATCH_INDIRECT_BUFFER:
        return &vertex_array.dispatch_indirect_buffer;
    case GL_DRAW_INDIRECT_BUFFER:
        return &vertex_array.draw_indirect_buffer;
    case GL_SHADER_STORAGE_BUFFER:
        return &vertex_array.shader_storage_buffer;
    case GL_TEXTURE_BUFFER:
        return &vertex_array.texture_buffer;
    default:
        return nullptr;
    }
}

/// No reverse map is kept: the first entry that matches wins.
template <class Map>
bool find_target_id(const Map& objects, uint32_t host_id, uint32_t* out)
{
    for (const auto& [target_id, object] : objects) {
        if (object.host_id == host_id) {
            *out = target_id;
            return true;
        }
    }
    return false;
}
} // namespace

bool zelvar_data_get_target_bind_buffer(const _zelvar_vertex_array_object_descriptor& vertex_array,
                                        uint32_t buffer_target, uint32_t* out_target_id)
{
    const uint32_t* binding = binding_of(vertex_array, buffer_target);
    if (!binding) {
        LOG_ERROR("Unrecognized buffer binding point [%d]", buffer_target);
        return false;
    }
    *out_target_id = *binding;
    return true;
}

bool zelvar_data_model_get_target_texture_from_host_texture(uint32_t host_id,
                                                            const _zelvar_context_data* data, uint32_t* out)
{
    return find_target_id(data->data_shared->textures, host_id, out);
}

bool zelvar_data_model_get_target_renderbuffer_from_host_renderbuffer(uint32_t host_id,
                                                                      const _zelvar_context_data* data,
                                                                      uint32_t* out)
{
    return find_target_id(data->data_shared->renderbuffers, host_id, out);
}
