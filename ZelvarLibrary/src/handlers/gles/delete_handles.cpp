// glDelete*: ids are looked up, the host deletes, and only then the model forgets the objects and all
// bindings that named them.

#include "handlers/gles/image_read_back.h"
#include "handlers/gles/object_kinds.h"

#include <algorithm>
#include <utility>
#include <vector>

using gles_table = sidechannel_gles_imports;

namespace {
/// The kind's word in log lines.
const char* word_of(_shared_gen_handler_type kind)
{
    static constexpr const char* words[] = {"Buffer",       "Framebuffer",     "Query",
                                            "Query",        "Renderbuffer",    "Texture",
                                            "Vertex array", "Vertex array",    "Transform feedback",
                                            "Sampler",      "Program pipeline"};
    return words[kind];
}

struct doomed_objects
{
    std::vector<uint32_t> target_ids;
    std::vector<uint32_t> host_ids;
};

doomed_objects known_of(const gles_handler& call, _zelvar_context_data* context,
                        _shared_gen_handler_type kind, const uint32_t* ids, size_t count)
{
    doomed_objects doomed;
    with_objects(context, kind, [&](auto& objects, auto, auto) {
        for (size_t i = 0; i < count; ++i) {
            if (ids[i] == 0)
                continue;
            auto found = objects.find(ids[i]);
            if (found == objects.end()) {
                LOG_WARN("%s object id [%d] is not recognized for pid/tid pair (%d, %ld)! Desync ahead",
                         word_of(kind), ids[i], call.pid, static_cast<long>(call.tid));
                continue;
            }
            doomed.target_ids.push_back(ids[i]);
            doomed.host_ids.push_back(found->second.host_id);
        }
    });
    return doomed;
}

bool delete_on_host(gles_handler& call, _shared_gen_handler_type kind, const std::vector<uint32_t>& ids)
{
    auto n = static_cast<GLsizei>(ids.size());
    switch (kind) {
    case shared_buffers:
        return call.host<&gles_table::glDeleteBuffers>(n, ids.data()).ok();
    case shared_framebuffers:
        return call.host<&gles_table::glDeleteFramebuffers>(n, ids.data()).ok();
    case shared_queries:
        return call.host<&gles_table::glDeleteQueries>(n, ids.data()).ok();
    case shared_queries_ext:
        return call.host<&gles_table::glDeleteQueriesEXT>(n, ids.data()).ok();
    case shared_renderbuffers:
        return call.host<&gles_table::glDeleteRenderbuffers>(n, ids.data()).ok();
    case shared_textures:
        return call.host<&gles_table::glDeleteTextures>(n, ids.data()).ok();
    case shared_vertex_arrays_oes:
        return call.host<&gles_table::glDeleteVertexArraysOES>(n, ids.data()).ok();
    case shared_vertex_arrays:
        return call.host<&gles_table::glDeleteVertexArrays>(n, ids.data()).ok();
    case shared_transform_feedbacks:
        return call.host<&gles_table::glDeleteTransformFeedbacks>(n, ids.data()).ok();
    case shared_samplers:
        return call.host<&gles_table::glDeleteSamplers>(n, ids.data()).ok();
    case shared_program_pipelines:
        return call.host<&gles_table::glDeleteProgramPipelines>(n, ids.data()).ok();
    }
    return false;
}

void clear_if(uint32_t& binding, uint32_t id)
{
    if (binding == id)
        binding = 0;
}

void unbind_buffer(_zelvar_buffer_bindings& bindings, uint32_t id)
{
    for (uint32_t* binding :
         {&bindings.array_buffer, &bindings.element_array_buffer, &bindings.pixel_pack_buffer,
          &bindings.pixel_unpack_buffer, &bindings.copy_read_buffer, &bindings.copy_write_buffer,
          &bindings.transform_feedback_buffer, &bindings.uniform_buffer, &bindings.atomic_counter_buffer,
          &bindings.dispatch_indirect_buffer, &bindings.draw_indirect_buffer, &bindings.shader_storage_buffer,
          &bindings.texture_buffer})
        if (*binding == id)
            *binding = 0;
    bindings.indexed_shader_storage.erase(id);
}

void forget_buffer(_zelvar_context_data* context, uint32_t id)
{
    auto& buffers = context->data_shared->buffers;
    auto buffer = buffers.find(id);
    if (buffer == buffers.end())
        return; // named twice in one call
    auto& vertex_arrays = context->data_nonshared->vertex_arrays;
    auto bound = vertex_arrays.find(context->bound_vertex_array);
    if (bound != vertex_arrays.end() && bound->second.element_array_buffer == id)
        bound->second.host_has_element_buffer = false;
    for (auto& [array_id, vertex_array] : vertex_arrays)
        unbind_buffer(vertex_array, id);
    unbind_buffer(context->host_bindings, id);
    if (bound != vertex_arrays.end()) {
        auto& attributes = bound->second.attribute_arrays;
        for (auto& [index, attribute] : attributes)
            attribute.buffer_is_gone |= attribute.buffer == id;
        for (uint32_t index : buffer->second.attributes)
            if (auto attribute = attributes.find(index); attribute != attributes.end())
                attribute->second.buffer = 0;
        for (auto& [binding, bound_here] : bound->second.buffers_of_bindings)
            clear_if(bound_here, id);
    }
    context->data_shared->deleted_buffers[buffer->second.host_id] = id;
    buffers.erase(buffer);
}

void forget_texture(_zelvar_context_data* context, uint32_t id)
{
    auto texture = context->data_shared->textures.find(id);
    if (texture == context->data_shared->textures.end())
        return;
    context->data_shared->deleted_textures[texture->second.host_id] = id;
    context->data_shared->textures.erase(texture);
    for (auto& [unit, targets] : context->texture_bindings)
        for (auto& [target, bound] : targets)
            if (bound == id)
                bound = 0;
}

void forget_renderbuffer(_zelvar_context_data* context, uint32_t id)
{
    auto renderbuffer = context->data_shared->renderbuffers.find(id);
    if (renderbuffer == context->data_shared->renderbuffers.end())
        return;
    context->data_shared->deleted_renderbuffers[renderbuffer->second.host_id] = id;
    context->data_shared->renderbuffers.erase(renderbuffer);
    if (context->bound_renderbuffer == id)
        context->bound_renderbuffer = 0;
}

void forget_object(_zelvar_context_data* context, _shared_gen_handler_type kind, uint32_t id)
{
    auto& own = *context->data_nonshared;
    switch (kind) {
    case shared_buffers:
        return forget_buffer(context, id);
    case shared_textures:
        return forget_texture(context, id);
    case shared_renderbuffers:
        return forget_renderbuffer(context, id);
    case shared_framebuffers:
        clear_if(context->draw_framebuffer, id);
        clear_if(context->read_framebuffer, id);
        own.framebuffers.erase(id);
        return;
    case shared_vertex_arrays_oes:
    case shared_vertex_arrays:
        clear_if(context->bound_vertex_array, id);
        own.vertex_arrays.erase(id);
        return;
    case shared_program_pipelines:
        clear_if(context->bound_program_pipeline, id);
        own.program_pipelines.erase(id);
        return;
    case shared_queries:
    case shared_queries_ext:
        own.queries.erase(id);
        return;
    case shared_transform_feedbacks:
        context->data_shared->transform_feedbacks.erase(id);
        return;
    case shared_samplers:
        context->data_shared->samplers.erase(id);
        return;
    }
}

/// Images that the target made of these objects lose them.
void cut_images(const gles_handler& call, _shared_gen_handler_type kind, const std::vector<uint32_t>& ids)
{
    if (kind == shared_textures || kind == shared_renderbuffers)
        zelvar_object_manager_set_egl_image_sibling_orphaned(
            call.pid, call.tid, ids.data(),
            kind == shared_textures ? 0x1702u /* GL_TEXTURE */ : GL_RENDERBUFFER,
            static_cast<uint32_t>(ids.size()));
}
} // namespace

void gles20_shared_remove_mapped_area_mapping(const gles_handler& call, _zelvar_context_data* context,
                                              uint32_t target_buffer)
{
    auto& areas = context->data_shared->mapped_areas;
    auto area = areas.find(target_buffer);
    if (area == areas.end())
        return;
    target_ptr block = area->second.target_pointer;
    areas.erase(area);
    if (block && !zelvar_call_on_target())
        zelvar_shim_dispatch_deallocate_memory_block(call.pid, call.tid, block);
}

void recount_enabled_arrays(_zelvar_context_data* context)
{
    context->enabled_vertex_attrib_arrays = 0;
    auto bound = context->data_nonshared->vertex_arrays.find(context->bound_vertex_array);
    if (bound == context->data_nonshared->vertex_arrays.end())
        return;
    context->enabled_vertex_attrib_arrays = static_cast<uint32_t>(
        std::count_if(bound->second.attribute_arrays.begin(), bound->second.attribute_arrays.end(),
                      [](const auto& attribute) { return attribute.second.enabled; }));
}

void delete_objects(gles_handler& call, _zelvar_context_data* context, _shared_gen_handler_type kind,
                    const uint32_t* target_ids, size_t count)
{
    if (kind == shared_transform_feedbacks && context->transform_feedback_active) {
        LOG_ERROR(
            "Transform feedback is active, the underlying object is not deleted for pid/tid pair (%d, %ld)!",
            call.pid, static_cast<long>(call.tid));
        call.error = GL_INVALID_OPERATION;
        return;
    }
    const doomed_objects doomed = known_of(call, context, kind, target_ids, count);
    if (doomed.target_ids.empty())
        return;
    if (kind == shared_buffers)
        for (uint32_t id : doomed.target_ids)
            gles20_shared_remove_mapped_area_mapping(call, context, id);
    if (!delete_on_host(call, kind, doomed.host_ids)) {
        LOG_ERROR("Host side did not delete %s objects, host side context data won't be updated.",
                  word_of(kind));
        return;
    }
    for (uint32_t id : doomed.target_ids)
        forget_object(context, kind, id);
    if (kind == shared_vertex_arrays || kind == shared_vertex_arrays_oes)
        recount_enabled_arrays(context);
    if (kind == shared_framebuffers && zelvar_target_gpu() == TARGET_GPU_REAL)
        drop_parked_framebuffers(call, doomed.target_ids);
    cut_images(call, kind, doomed.target_ids);
}
