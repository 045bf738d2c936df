#pragma once
// The kinds of objects that have a glGen* and a glDelete*: where the model keeps them, how an entry begins,
// who makes up ids for the target, and what the host is asked.

#include "data_model/zelvar_data_model.h"
#include "handlers/handler.h"

#include <cstdint>

/// Order and numbers stand in log lines.
enum _shared_gen_handler_type : uint32_t
{
    shared_buffers = 0,
    shared_framebuffers = 1,
    shared_queries = 2,
    shared_queries_ext = 3,
    shared_renderbuffers = 4,
    shared_textures = 5,
    shared_vertex_arrays_oes = 6,
    shared_vertex_arrays = 7,
    shared_transform_feedbacks = 8,
    shared_samplers = 9,
    shared_program_pipelines = 10,
};

/// Rows of the known list of extensions.
inline constexpr uint32_t extension_occlusion_query_boolean = 4;
inline constexpr uint32_t extension_vertex_array_object = 25;

/// More names than any application asks for at once; the bound keeps a wrong count from eating the host's
/// memory.
inline constexpr int32_t max_objects_per_call = 1 << 20;

/// Calls `visit(map, initialiser, id generator)` for the objects of a kind.
template <class Visit>
decltype(auto) with_objects(_zelvar_context_data* context, _shared_gen_handler_type kind, Visit visit)
{
    auto& shared = *context->data_shared;
    auto& own = *context->data_nonshared;
    auto init_vertex_array = [](_zelvar_context_data* data, uint32_t, uint32_t host_id,
                                _zelvar_vertex_array_object_descriptor* descriptor) {
        zelvar_data_model_init_vertex_array_object_descriptor(data, host_id, descriptor);
    };
    switch (kind) {
    case shared_buffers:
        return visit(shared.buffers, zelvar_data_model_init_buffer_object_descriptor,
                     zelvar_object_manager_generate_target_buffer);
    case shared_framebuffers:
        return visit(own.framebuffers, zelvar_data_model_init_framebuffer_object_descriptor,
                     zelvar_object_manager_generate_target_framebuffer);
    case shared_queries:
    case shared_queries_ext:
        return visit(own.queries, zelvar_data_model_init_query_object_descriptor,
                     zelvar_object_manager_generate_target_query);
    case shared_renderbuffers:
        return visit(shared.renderbuffers, zelvar_data_model_init_renderbuffer_object_descriptor,
                     zelvar_object_manager_generate_target_renderbuffer);
    case shared_textures:
        return visit(shared.textures, zelvar_data_model_init_texture_object_descriptor,
                     zelvar_object_manager_generate_target_texture);
    case shared_vertex_arrays_oes:
    case shared_vertex_arrays:
        return visit(own.vertex_arrays, init_vertex_array,
                     zelvar_object_manager_generate_target_vertex_array);
    case shared_transform_feedbacks:
        return visit(shared.transform_feedbacks, zelvar_data_model_init_transform_feedback_descriptor,
                     zelvar_object_manager_generate_transform_feedback);
    case shared_samplers:
        return visit(shared.samplers, zelvar_data_model_init_sampler_object_descriptor,
                     zelvar_object_manager_generate_target_sampler);
    case shared_program_pipelines:
        break;
    }
    return visit(own.program_pipelines, zelvar_data_model_init_program_pipeline_object_descriptor,
                 zelvar_object_manager_generate_target_program_pipeline);
}

/// False, with the error set, when the kind belongs to an extension that is not reported.
bool is_kind_supported(gles_handler& call, _zelvar_context_data* context, _shared_gen_handler_type kind);

/// Makes a name on the host and an entry for `target_id`, which nobody has generated; false when the host
/// refuses.
bool generate_on_bind(gles_handler& call, _zelvar_context_data* context, _shared_gen_handler_type kind,
                      uint32_t target_id);

/// glGen*: names on the host and, unless they came with the call, on the target, and an entry for each.
void gles20_shared_gen_handle(gles_handler& call, const char* function, _shared_gen_handler_type kind,
                              int32_t n, target_ptr target_ids, inline_array<uint32_t> ids_of_target);
/// glDelete*: the host first, then the model.
void gles20_shared_delete_handle(gles_handler& call, const char* function, _shared_gen_handler_type kind,
                                 int32_t n, inline_array<uint32_t> target_ids);

/// The deletion itself: ids that are 0 or unknown are left out, the host deletes the rest in one call.
void delete_objects(gles_handler& call, _zelvar_context_data* context, _shared_gen_handler_type kind,
                    const uint32_t* target_ids, size_t count);

/// Forgets where a buffer is mapped and frees the memory that the target was given for it.
void gles20_shared_remove_mapped_area_mapping(const gles_handler& call, _zelvar_context_data* context,
                                              uint32_t target_buffer);
/// Counts the enabled arrays of the bound vertex array anew.
void recount_enabled_arrays(_zelvar_context_data* context);
