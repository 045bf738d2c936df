// Initialising object descriptors once the host has accepted the object. A descriptor that was just made
// holds its kind's start values already.
#include "data_model/zelvar_data_model.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {
owned_block zeroed_block(uint64_t size)
{
    owned_block block;
    if (size == 0)
        return block;
    block.bytes.reset(static_cast<uint8_t*>(std::calloc(size, 1)));
    if (block.bytes)
        block.size = size;
    else
        LOG_FATAL("Out of memory while copying a program binary of %lu bytes", size);
    return block;
}

owned_block copy_of(const void* source, uint64_t size, uint64_t copied)
{
    owned_block block = zeroed_block(size);
    copied = std::min(copied, block.size);
    if (source && copied)
        std::memcpy(block.bytes.get(), source, copied);
    return block;
}
} // namespace

void owned_block::free_deleter::operator()(uint8_t* p) const
{
    std::free(p);
}

void zelvar_data_model_init_vertex_array_object_descriptor(_zelvar_context_data* data, uint32_t host_id,
                                                           _zelvar_vertex_array_object_descriptor* descriptor)
{
    const uint32_t max_vertex_attribs = data->target_constants.max_vertex_attribs;
    ZELVAR_ASSERT(max_vertex_attribs >= 8);
    *descriptor = {};
    descriptor->host_id = host_id;
    for (uint32_t index = 0; index < max_vertex_attribs; index++)
        descriptor->attribute_arrays.try_emplace(index);
}

void zelvar_data_model_init_buffer_object_descriptor(_zelvar_context_data*, uint32_t, uint32_t host_id,
                                                     _zelvar_buffer_object_descriptor* descriptor)
{
    *descriptor = {};
    descriptor->host_id = host_id;
}

void zelvar_data_model_init_renderbuffer_object_descriptor(_zelvar_context_data*, uint32_t, uint32_t host_id,
                                                           _zelvar_renderbuffer_object_descriptor* descriptor)
{
    *descriptor = {};
    descriptor->host_id = host_id;
}

void zelvar_data_model_init_framebuffer_object_descriptor(_zelvar_context_data*, uint32_t, uint32_t host_id,
                                                          _zelvar_framebuffer_object_descriptor* descriptor)
{
    *descriptor = {};
    descriptor->host_id = host_id;
}

void zelvar_data_model_init_query_object_descriptor(_zelvar_context_data*, uint32_t target_id,
                                                    uint32_t host_id,
                                                    _zelvar_query_object_descriptor* descriptor)
{
    *descriptor = {};
    descriptor->host_id = host_id;
    descriptor->target_id = target_id;
}

void zelvar_data_model_init_program_pipeline_object_descriptor(
    _zelvar_context_data*, uint32_t target_id, uint32_t host_id,
    _zelvar_program_pipeline_object_descriptor* descriptor)
{
    *descriptor = {};
    descriptor->host_id = host_id;
    descriptor->target_id = target_id;
}

void zelvar_data_model_init_shader_object_descriptor(_zelvar_context_data*, uint32_t, uint32_t host_id,
                                                     _zelvar_shader_descriptor* descriptor)
{
    *descriptor = {};
    descriptor->host_id = host_id;
}

void zelvar_data_model_init_texture_object_descriptor(_zelvar_context_data*, uint32_t, uint32_t host_id,
                                                      _zelvar_texture_object_descriptor* descriptor)
{
    *descriptor = {};
    descriptor->host_id = host_id;
}

void zelvar_data_model_init_sampler_object_descriptor(_zelvar_context_data*, uint32_t, uint32_t host_id,
                                                      _zelvar_sampler_descriptor* descriptor)
{
    descriptor->host_id = host_id;
}

void zelvar_data_model_init_transform_feedback_descriptor(_zelvar_context_data*, uint32_t target_id,
                                                          uint32_t host_id,
                                                          _zelvar_transform_feedback_descriptor* descriptor)
{
    descriptor->host_id = host_id;
    descriptor->target_id = target_id;
}

void zelvar_data_model_init_gles_sync_object_descriptor(_zelvar_context_data*, uint64_t, uint64_t host_sync,
                                                        uint32_t value,
                                                        _zelvar_gles_sync_descriptor* descriptor)
{
    descriptor->host_sync = host_sync;
    descriptor->value = value;
}

void zelvar_data_model_init_program_binary_descriptor(_zelvar_context_data*, const void* host_binary,
                                                      const void* target_binary, uint32_t host_format,
                                                      uint32_t target_format, uint32_t host_length,
                                                      uint32_t target_length,
                                                      _zelvar_program_binary_descriptor* descriptor)
{
    descriptor->host_binary = copy_of(host_binary, host_length, host_length);
    // The host's length counts for both blocks; what is missing of the target's stays zero.
    descriptor->target_binary = copy_of(target_binary, target_length, host_length);
    descriptor->host_format = host_format;
    descriptor->target_format = target_format;
    descriptor->host_length = host_length;
    descriptor->target_length = target_length;
}
