#include "handlers/gles/buffer_lookup.h"

#include "wire/api.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

uint32_t* buffer_binding(_zelvar_buffer_bindings& bindings, uint32_t buffer_target)
{
    switch (buffer_target) {
    case GL_ARRAY_BUFFER:
        return &bindings.array_buffer;
    case GL_ELEMENT_ARRAY_BUFFER:
        return &bindings.element_array_buffer;
    case GL_PIXEL_PACK_BUFFER:
        return &bindings.pixel_pack_buffer;
    case GL_PIXEL_UNPACK_BUFFER:
        return &bindings.pixel_unpack_buffer;
    case GL_COPY_READ_BUFFER:
        return &bindings.copy_read_buffer;
    case GL_COPY_WRITE_BUFFER:
        return &bindings.copy_write_buffer;
    case GL_TRANSFORM_FEEDBACK_BUFFER:
        return &bindings.transform_feedback_buffer;
    case GL_UNIFORM_BUFFER:
        return &bindings.uniform_buffer;
    case GL_ATOMIC_COUNTER_BUFFER:
        return &bindings.atomic_counter_buffer;
    case GL_DISPATCH_INDIRECT_BUFFER:
        return &bindings.dispatch_indirect_buffer;
    case GL_DRAW_INDIRECT_BUFFER:
        return &bindings.draw_indirect_buffer;
    case GL_SHADER_STORAGE_BUFFER:
        return &bindings.shader_storage_buffer;
    case GL_TEXTURE_BUFFER:
        return &bindings.texture_buffer;
    default:
        return nullptr;
    }
}

bool is_buffer_target(uint32_t buffer_target)
{
    _zelvar_buffer_bindings any;
    return buffer_target != GL_TEXTURE_BUFFER && buffer_binding(any, buffer_target) != nullptr;
}

uint32_t bound_buffer(_zelvar_context_data* context, uint32_t buffer_target)
{
    if (buffer_target == GL_ELEMENT_ARRAY_BUFFER) {
        auto* vertex_array = bound_vertex_array(context);
        return vertex_array ? vertex_array->element_array_buffer : 0;
    }
    const uint32_t* binding = buffer_binding(context->host_bindings, buffer_target);
    return binding ? *binding : 0;
}

owned_block allocate_block(uint64_t size)
{
    owned_block block;
    block.bytes.reset(static_cast<uint8_t*>(std::malloc(std::max<uint64_t>(size, 1))));
    if (block.bytes)
        block.size = size;
    return block;
}

uint8_t* contents_of(_zelvar_buffer_object_descriptor& buffer)
{
    if (!buffer.contents.bytes && buffer.contents.size)
        buffer.contents.bytes.reset(static_cast<uint8_t*>(std::calloc(buffer.contents.size, 1)));
    return buffer.contents.bytes.get();
}

void update_contents(_zelvar_buffer_object_descriptor& buffer, uint64_t offset, const void* bytes,
                     uint64_t size)
{
    uint8_t* contents = contents_of(buffer);
    if (!contents || offset >= buffer.contents.size)
        return;
    std::memcpy(contents + offset, bytes, std::min(size, buffer.contents.size - offset));
}
