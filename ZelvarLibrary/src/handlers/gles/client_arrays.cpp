#include "handlers/gles/client_arrays.h"

#include "handlers/gles/buffer_lookup.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using gles_table = sidechannel_gles_imports;

namespace {
/// No honest application draws from a client array beyond this.
constexpr uint64_t max_client_array = uint64_t{1} << 30;

/// The block that stays behind the host's pointer of this attribute; the last draw's is used again where it
/// is large enough.
uint8_t* block_for(_zelvar_context_data* context, uint32_t index, uint64_t size)
{
    auto& parked = context->parked_arrays[index];
    if (size > max_client_array)
        return nullptr;
    if (!parked.bytes || parked.size < size)
        parked = allocate_block(size);
    return parked.bytes.get();
}

bool bind_array_buffer(gles_handler& call, uint32_t host_id)
{
    return call.host<&gles_table::glBindBuffer>(GL_ARRAY_BUFFER, host_id).ok();
}

bool point_host_at(gles_handler& call, uint32_t index,
                   const _zelvar_vertex_attribute_array_descriptor& attribute, const void* bytes)
{
    auto size = static_cast<GLint>(attribute.size);
    if (attribute.integer)
        return call
            .host<&gles_table::glVertexAttribIPointer>(index, size, attribute.type, attribute.stride, bytes)
            .ok();
    return call
        .host<&gles_table::glVertexAttribPointer>(index, size, attribute.type,
                                                  static_cast<GLboolean>(attribute.normalized),
                                                  attribute.stride, bytes)
        .ok();
}

/// A host with an array buffer bound would take the pointer for an offset.
bool hand_over(gles_handler& call, _zelvar_context_data* context, const client_array_draw& draw,
               uint32_t index, const _zelvar_vertex_attribute_array_descriptor& attribute, const void* bytes)
{
    const uint32_t array_buffer = context->host_bindings.array_buffer;
    auto* bound = array_buffer ? find_buffer(context, array_buffer) : nullptr;
    if (bound && !bind_array_buffer(call, 0)) {
        LOG_ERROR("Could not unbind array buffer. The call will not be executed.");
        return false;
    }
    bool pointed = point_host_at(call, index, attribute, bytes);
    unsigned error = call.error;
    if (!pointed && draw.elements)
        LOG_ERROR("Could not configure vertex attribute array for index [%d]. The call will not be executed.",
                  index);
    else if (!pointed)
        LOG_FATAL("Could not configure vertex attribute array for index [%d]. The call will not be executed.",
                  index);
    if (bound && !bind_array_buffer(call, bound->host_id)) {
        LOG_ERROR("Could not bind array buffer back. The call will not be executed.");
        return false;
    }
    if (!pointed)
        call.error = error;
    return pointed;
}

/// Target memory at `offset` behind `from` to the same place behind `bytes`; zeros for what isn't there.
void fetch(const gles_handler& call, target_ptr from, uint64_t offset, uint64_t length, uint8_t* bytes)
{
    if (!zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid, static_cast<uint32_t>(length),
                                                           from + offset, bytes + offset))
        std::memset(bytes + offset, 0, length);
}

/// What `count` vertices from the first on take.
uint64_t size_of_vertices(const _zelvar_vertex_attribute_array_descriptor& attribute, uint64_t count)
{
    return count ? extent_of_array(attribute, {0, count, 0}).length : 0;
}

bool fetch_array(gles_handler& call, _zelvar_context_data* context,
                 _zelvar_vertex_array_object_descriptor& vertex_array, const client_array_draw& draw,
                 const vertex_range& range, uint32_t index)
{
    auto found = vertex_array.attribute_arrays.find(index);
    if (found == vertex_array.attribute_arrays.end()) {
        LOG_FATAL("Could not find descriptor for target-side vertex attrib array of index= [%d]", index);
        return false;
    }
    const auto& attribute = found->second;
    if (!attribute.reads_client_memory())
        return true;
    if (draw.indirect) {
        if (draw.elements)
            LOG_ERROR(
                "glDrawElementsIndirect() requires that all data sourced for the command, including the "
                "DrawElementsIndirectCommand structure, be in buffer objects. GL_INVALID_OPERATION is "
                "generated.");
        else
            LOG_ERROR("glDrawArraysIndirect() requires that all data sourced for the command, including the "
                      "DrawArraysIndirectCommand structure, be in buffer objects. GL_INVALID_OPERATION is "
                      "generated.");
        call.error = GL_INVALID_OPERATION;
        return false;
    }
    const array_extent extent = extent_of_array(attribute, range);
    const uint64_t size = std::max(extent.skip + extent.length, size_of_vertices(attribute, range.reach));
    uint8_t* bytes = nullptr;
    if (size) {
        bytes = block_for(context, index, size);
        if (!bytes) {
            LOG_FATAL(
                "Could not allocate %d bytes for host-side vaa data storage. The call will not be executed.",
                static_cast<int>(size));
            return false;
        }
    }
    if (extent.length)
        fetch(call, attribute.pointer, extent.skip, extent.length, bytes);
    if (size > extent.skip + extent.length)
        std::memset(bytes + extent.skip + extent.length, 0, size - extent.skip - extent.length);
    if (extent.length && extent.skip && extent.by_instance)
        fetch(call, attribute.pointer, 0, extent.length, bytes);
    return hand_over(call, context, draw, index, attribute, bytes);
}
} // namespace

array_extent extent_of_array(const _zelvar_vertex_attribute_array_descriptor& attribute,
                             const vertex_range& range)
{
    if (range.first < 0 || attribute.stride < 0)
        return {};
    const uint64_t element = zelvar_data_get_type_size(attribute.type, attribute.size);
    const uint64_t step = attribute.stride ? static_cast<uint64_t>(attribute.stride) : element;
    array_extent extent;
    // By the first vertex also where instances advance the array: more than is needed, never less.
    extent.skip = step * static_cast<uint64_t>(range.first);
    const bool by_instance = range.instances > 0 && attribute.divisor != 0;
    extent.by_instance = by_instance;
    if (by_instance && (range.count || !attribute.stride))
        extent.length = step * (static_cast<uint64_t>(range.instances - 1) / attribute.divisor) + element;
    else if (!by_instance && range.count)
        extent.length = step * (range.count - 1) + element;
    return extent;
}

bool get_target_program_object(_zelvar_context_data* context, uint32_t* state,
                               std::set<uint32_t>* seen_programs, _zelvar_program_descriptor** out_program,
                               bool* failed)
{
    *failed = false;
    auto& programs = context->data_shared->programs;
    auto yield = [&](uint32_t id) {
        auto found = programs.find(id);
        if (found == programs.end()) {
            LOG_FATAL("glDrawArray*(): Can't find mapped target program object [%d], desync ahead.", id);
            *failed = true;
            return false;
        }
        *out_program = &found->second;
        return true;
    };
    if (context->current_program)
        return (*state)++ == 0 && yield(context->current_program);
    auto pipeline = context->data_nonshared->program_pipelines.find(context->bound_program_pipeline);
    if (!context->bound_program_pipeline || pipeline == context->data_nonshared->program_pipelines.end())
        return false;
    const auto& stages = pipeline->second.stage_programs;
    while (*state < stages.size()) {
        uint32_t id = stages[(*state)++];
        if (id && seen_programs->insert(id).second)
            return yield(id);
    }
    return false;
}

bool fetch_client_arrays(gles_handler& call, _zelvar_context_data* context,
                         _zelvar_vertex_array_object_descriptor& vertex_array, const client_array_draw& draw,
                         const vertex_range& range)
{
    if (context->enabled_vertex_attrib_arrays == 0)
        return true;
    uint32_t state = 0;
    std::set<uint32_t> seen_programs;
    _zelvar_program_descriptor* program = nullptr;
    bool failed = false;
    while (get_target_program_object(context, &state, &seen_programs, &program, &failed))
        for (uint32_t index : program->used_attributes)
            if (!fetch_array(call, context, vertex_array, draw, range, index))
                return false;
    return !failed;
}
