#include "handlers/gles/buffer_lookup.h"

#include "wire/api.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

uint32_t* buffer_binding(_zelvar_vertex_array_object_descriptor& vertex_array, uint32_t buffer_target)
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

bool is_buffer_target(uint32_t buffer_target)
{
    _zelvar_vertex_array_object_descriptor any;
    return buffer_target != GL_TEXTURE_BUFFER && buffer_binding(any, buffer_target) != nullptr;
}

uint32_t bound_buffer(_zelvar_context_data* context, uint32_t buffer_target)
{
    auto* vertex_array = bound_vertex_array(context);
    uint32_t* binding = vertex_array ? buffer_binding(*vertex_array, buffer_target) : nullptr;
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
