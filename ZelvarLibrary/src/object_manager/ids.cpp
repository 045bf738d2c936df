// Ids that the host makes up while the target has no EGL and OpenGL ES of its own.
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"

#include <cstring>

namespace {
// Guarded by pid_to_process_data_map_cs; one sequence for all processes.
uint64_t last_target_context = 0;
uint64_t last_target_surface = 0;
uint64_t last_target_egl_image = 0;

uint64_t next(uint64_t& last)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    return ++last;
}

/// True while ids are ours to make: with calls on the target its driver makes them and they come with the
/// call.
bool may_generate(const char* function)
{
    if (!zelvar_call_on_target()) [[likely]]
        return true;
    LOG_FATAL("%s should not be called when OpenGL ES target side present.", function);
    return false;
}

/// The first id behind `last` that is not 0 and not in use; remembers it in `last`. 0 when all are in use.
template <class Id, class IsUsed>
Id next_free(const char* function, Id& last, IsUsed is_used)
{
    if (!may_generate(function))
        return 0;
    const Id start = last;
    Id id = start;
    do {
        id++;
        if (id != 0 && !is_used(id)) {
            last = id;
            return id;
        }
    } while (id != start);
    LOG_FATAL("%s: no avaliable identifiers left.", function);
    return 0;
}

template <class Id, class Map>
Id next_free_key(const char* function, Id& last, const Map& map)
{
    return next_free(function, last, [&map](Id id) { return map.contains(id); });
}

/// Programs and shaders are in one name space.
uint32_t next_program_or_shader(const char* function, _zelvar_context_data_shared& shared)
{
    return next_free(function, shared.last_program_or_shader, [&shared](uint32_t id) {
        return shared.programs.contains(id) || shared.shaders.contains(id);
    });
}

bool same_binary(const _zelvar_program_binary_descriptor& known, const void* binary, uint32_t format,
                 uint32_t length)
{
    if (known.target_length != length || known.target_format != format)
        return false;
    return length == 0 || (known.target_binary.bytes && known.target_binary.size >= length &&
                           std::memcmp(known.target_binary.bytes.get(), binary, length) == 0);
}
} // namespace

uint64_t zelvar_object_manager_generate_target_context()
{
    return next(last_target_context);
}

uint64_t zelvar_object_manager_generate_target_surface()
{
    return next(last_target_surface);
}

uint64_t zelvar_object_manager_generate_target_egl_image()
{
    return next(last_target_egl_image);
}

uint64_t zelvar_object_manager_generate_fence_sync(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_shared->last_sync, data->data_shared->gles_syncs);
}

uint32_t zelvar_object_manager_generate_target_buffer(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_shared->last_buffer, data->data_shared->buffers);
}

uint32_t zelvar_object_manager_generate_target_framebuffer(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_nonshared->last_framebuffer,
                         data->data_nonshared->framebuffers);
}

uint32_t zelvar_object_manager_generate_target_query(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_nonshared->last_query, data->data_nonshared->queries);
}

uint32_t zelvar_object_manager_generate_target_renderbuffer(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_shared->last_renderbuffer, data->data_shared->renderbuffers);
}

uint32_t zelvar_object_manager_generate_target_texture(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_shared->last_texture, data->data_shared->textures);
}

uint32_t zelvar_object_manager_generate_target_vertex_array(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_nonshared->last_vertex_array,
                         data->data_nonshared->vertex_arrays);
}

uint32_t zelvar_object_manager_generate_target_sampler(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_shared->last_sampler, data->data_shared->samplers);
}

uint32_t zelvar_object_manager_generate_target_program_pipeline(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_nonshared->last_program_pipeline,
                         data->data_nonshared->program_pipelines);
}

uint32_t zelvar_object_manager_generate_transform_feedback(_zelvar_context_data* data)
{
    return next_free_key(__func__, data->data_shared->last_transform_feedback,
                         data->data_shared->transform_feedbacks);
}

uint32_t zelvar_object_manager_generate_target_program_binary_id(_zelvar_context_data* data,
                                                                 const void* target_binary,
                                                                 uint32_t target_format,
                                                                 uint32_t target_length)
{
    if (!may_generate(__func__))
        return 0;
    for (const auto& [id, known] : data->data_shared->program_binaries)
        if (same_binary(known, target_binary, target_format, target_length))
            return id;
    return next_free_key(__func__, data->data_shared->last_program_binary,
                         data->data_shared->program_binaries);
}

uint32_t zelvar_object_manager_create_target_program(_zelvar_context_data* data)
{
    return next_program_or_shader(__func__, *data->data_shared);
}

uint32_t zelvar_object_manager_create_target_shader(_zelvar_context_data* data)
{
    return next_program_or_shader(__func__, *data->data_shared);
}
