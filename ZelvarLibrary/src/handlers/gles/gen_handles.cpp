// glGen*: one worker for all kinds of objects.

#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/object_kinds.h"
#include "handlers/gles/shared_guard.h"

#include <algorithm>
#include <utility>
#include <vector>

using gles_table = sidechannel_gles_imports;

namespace {
bool generate_on_host(gles_handler& call, _shared_gen_handler_type kind, std::vector<uint32_t>& ids)
{
    auto n = static_cast<GLsizei>(ids.size());
    switch (kind) {
    case shared_buffers:
        return call.host<&gles_table::glGenBuffers>(n, ids.data()).ok();
    case shared_framebuffers:
        return call.host<&gles_table::glGenFramebuffers>(n, ids.data()).ok();
    case shared_queries:
        return call.host<&gles_table::glGenQueries>(n, ids.data()).ok();
    case shared_queries_ext:
        return call.host<&gles_table::glGenQueriesEXT>(n, ids.data()).ok();
    case shared_renderbuffers:
        return call.host<&gles_table::glGenRenderbuffers>(n, ids.data()).ok();
    case shared_textures:
        return call.host<&gles_table::glGenTextures>(n, ids.data()).ok();
    case shared_vertex_arrays_oes:
        return call.host<&gles_table::glGenVertexArraysOES>(n, ids.data()).ok();
    case shared_vertex_arrays:
        return call.host<&gles_table::glGenVertexArrays>(n, ids.data()).ok();
    case shared_transform_feedbacks:
        return call.host<&gles_table::glGenTransformFeedbacks>(n, ids.data()).ok();
    case shared_samplers:
        return call.host<&gles_table::glGenSamplers>(n, ids.data()).ok();
    case shared_program_pipelines:
        return call.host<&gles_table::glGenProgramPipelines>(n, ids.data()).ok();
    }
    return false;
}

/// The ids that the target will know the objects by: its own driver's, or ours.
std::vector<uint32_t> target_ids_for(_zelvar_context_data* context, _shared_gen_handler_type kind, size_t n,
                                     inline_array<uint32_t> ids_of_target)
{
    std::vector<uint32_t> ids(n);
    if (zelvar_call_on_target()) {
        std::copy_n(ids_of_target.data, std::min(n, ids_of_target.count), ids.begin());
        return ids;
    }
    with_objects(context, kind, [&](auto&, auto, auto generate) {
        for (uint32_t& id : ids)
            id = generate(context);
    });
    return ids;
}

/// One walk over the map finds all host ids that it already holds.
template <class Map>
std::vector<std::pair<uint32_t, uint32_t>> known_host_ids(const Map& objects, std::vector<uint32_t> host_ids)
{
    std::sort(host_ids.begin(), host_ids.end());
    std::vector<std::pair<uint32_t, uint32_t>> known; // host id, target id
    for (const auto& [target_id, descriptor] : objects)
        if (std::binary_search(host_ids.begin(), host_ids.end(), descriptor.host_id))
            known.emplace_back(descriptor.host_id, target_id);
    std::sort(known.begin(), known.end());
    return known;
}

void map_new_objects(_zelvar_context_data* context, _shared_gen_handler_type kind,
                     const std::vector<uint32_t>& host_ids, const std::vector<uint32_t>& target_ids)
{
    with_objects(context, kind, [&](auto& objects, auto initialise, auto) {
        const auto known = known_host_ids(objects, host_ids);
        for (size_t i = 0; i < host_ids.size(); ++i) {
            auto clash = std::lower_bound(known.begin(), known.end(), std::pair{host_ids[i], 0u});
            if (clash != known.end() && clash->first == host_ids[i])
                LOG_FATAL(
                    "Object mapping in handler [%d] for host-side object id [%d] already exists [%d]. This "
                    "indicates a desynchronisation!",
                    kind, host_ids[i], clash->second);
            else if (target_ids[i] != 0)
                initialise(context, target_ids[i], host_ids[i], &objects[target_ids[i]]);
        }
    });
}

bool is_count_valid(gles_handler& call, int32_t n)
{
    if (n < 0) {
        LOG_ERROR("Negative number of objects specified [%d].", n);
        call.error = GL_INVALID_VALUE;
        return false;
    }
    if (n > max_objects_per_call) {
        LOG_FATAL("Not enough memory for current <%d, %ld> pid/tid pair.", call.pid,
                  static_cast<long>(call.tid));
        return false;
    }
    return true;
}
} // namespace

bool is_kind_supported(gles_handler& call, _zelvar_context_data* context, _shared_gen_handler_type kind)
{
    uint32_t extension = extension_occlusion_query_boolean;
    if (kind == shared_vertex_arrays_oes)
        extension = extension_vertex_array_object;
    else if (kind != shared_queries_ext)
        return true;
    if (zelvar_data_is_gl_extension_supported(call.pid, call.tid, context, extension))
        return true;
    LOG_ERROR("GL_EXT_occlusion_query_boolean or GL_OES_vertex_array_object extensions not supported.");
    call.error = GL_INVALID_OPERATION;
    return false;
}

bool generate_on_bind(gles_handler& call, _zelvar_context_data* context, _shared_gen_handler_type kind,
                      uint32_t target_id)
{
    std::vector<uint32_t> host_ids(1);
    if (!generate_on_host(call, kind, host_ids) || host_ids[0] == 0)
        return false;
    map_new_objects(context, kind, host_ids, {target_id});
    return true;
}

void gles20_shared_gen_handle(gles_handler& call, const char* function, _shared_gen_handler_type kind,
                              int32_t n, target_ptr target_ids, inline_array<uint32_t> ids_of_target)
{
    call.trace("n", n, "ids", target_ids);
    if (!is_count_valid(call, n))
        return;
    _zelvar_context_data* context = call.lock(function);
    if (!context || !is_kind_supported(call, context, kind))
        return;
    shared_guard group_lock{context};
    std::vector<uint32_t> host_ids(static_cast<size_t>(n));
    if (!generate_on_host(call, kind, host_ids)) {
        LOG_ERROR("%s() failed, host side context data won't be updated.", function);
        return;
    }
    auto ids = target_ids_for(context, kind, host_ids.size(), ids_of_target);
    if (target_ids && n > 0)
        zelvar_shim_dispatch_write_to_shim_address_space(call.pid, call.tid, static_cast<uint32_t>(n) * 4,
                                                         ids.data(), target_ids);
    map_new_objects(context, kind, host_ids, ids);
}

void gles20_shared_delete_handle(gles_handler& call, const char* function, _shared_gen_handler_type kind,
                                 int32_t n, inline_array<uint32_t> target_ids)
{
    call.trace("n", n);
    if (!is_count_valid(call, n))
        return;
    _zelvar_context_data* context = call.lock(function);
    if (!context || !is_kind_supported(call, context, kind))
        return;
    shared_guard group_lock{context};
    delete_objects(call, context, kind, target_ids.data,
                   std::min<size_t>(target_ids.count, static_cast<size_t>(n)));
}

// Entry points.

#define ZELVAR_GEN(handler, function, kind)                                                                  \
    void handler(pid_t pid, tid_t tid, GLsizei n, target_ptr ids, inline_array<uint32_t> ids_of_target,      \
                 gles_target_error target_error)                                                             \
    {                                                                                                        \
        gles_handler call{#handler, pid, tid, target_error};                                                 \
        gles20_shared_gen_handle(call, #function, kind, n, ids, ids_of_target);                              \
    }
#define ZELVAR_DELETE(handler, function, kind)                                                               \
    void handler(pid_t pid, tid_t tid, GLsizei n, target_ptr, inline_array<uint32_t> ids,                    \
                 gles_target_error target_error)                                                             \
    {                                                                                                        \
        gles_handler call{#handler, pid, tid, target_error};                                                 \
        gles20_shared_delete_handle(call, #function, kind, n, ids);                                          \
    }
#define ZELVAR_OBJECT_KIND(group, gen, remove, kind)                                                         \
    ZELVAR_GEN(group##_##gen, gen, kind)                                                                     \
    ZELVAR_DELETE(group##_##remove, remove, kind)
#include "handlers/gles/object_kinds.inc"
#undef ZELVAR_OBJECT_KIND
#undef ZELVAR_DELETE
#undef ZELVAR_GEN
