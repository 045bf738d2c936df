#pragma once
// What handlers of buffers and vertex arrays ask of the model all the time. The context and its group are
// held by the caller.

#include "data_model/zelvar_data_model.h"

#include <cstdint>

/// The bound vertex array, null when the model is out of step.
inline _zelvar_vertex_array_object_descriptor* bound_vertex_array(_zelvar_context_data* context)
{
    auto& arrays = context->data_nonshared->vertex_arrays;
    auto found = arrays.find(context->bound_vertex_array);
    return found == arrays.end() ? nullptr : &found->second;
}

/// A buffer by the target's name; null when there is none.
inline _zelvar_buffer_object_descriptor* find_buffer(_zelvar_context_data* context, uint32_t id)
{
    auto found = context->data_shared->buffers.find(id);
    return found == context->data_shared->buffers.end() ? nullptr : &found->second;
}

/// An attribute of the bound vertex array; null for an index that it doesn't have.
inline _zelvar_vertex_attribute_array_descriptor* find_attribute(_zelvar_context_data* context,
                                                                 uint32_t index)
{
    auto* vertex_array = bound_vertex_array(context);
    if (!vertex_array)
        return nullptr;
    auto found = vertex_array->attribute_arrays.find(index);
    return found == vertex_array->attribute_arrays.end() ? nullptr : &found->second;
}

/// Where the buffer of a binding point is remembered; null for a target that has none.
uint32_t* buffer_binding(_zelvar_buffer_bindings& bindings, uint32_t buffer_target);

/// Whether glBufferData and its like accept the target: all binding points but GL_TEXTURE_BUFFER.
bool is_buffer_target(uint32_t buffer_target);

/// The target id of what calls with `buffer_target` act on; 0 when nothing is or the target is unknown.
uint32_t bound_buffer(_zelvar_context_data* context, uint32_t buffer_target);

/// The copy's bytes, made (zeroed) at the remembered size if there are none yet; null without a size or
/// memory.
uint8_t* contents_of(_zelvar_buffer_object_descriptor& buffer);
/// Puts bytes into the copy, only as far as it reaches.
void update_contents(_zelvar_buffer_object_descriptor& buffer, uint64_t offset, const void* bytes,
                     uint64_t size);
/// An uninitialised block of `size` bytes; without bytes when there is no memory for it.
owned_block allocate_block(uint64_t size);
