// The end of a context's model and of a share group: reports what the application left behind, then frees it.
#include "data_model/zelvar_data_model.h"
#include "sidechannel_log.h"

#include <vector>

namespace {
template <class Map>
std::vector<uint32_t> keys_of(const Map& map)
{
    std::vector<uint32_t> keys;
    for (const auto& [key, value] : map)
        keys.push_back(key);
    return keys;
}

/// An entry under id 0 alone was made by the library itself.
template <class Map>
bool is_only_id_0(const Map& map)
{
    return map.size() == 1 && map.begin()->first == 0;
}

template <class Map>
void warn_of_leftovers(const Map& map, const char* kind)
{
    int number = 0;
    for (const auto& [id, object] : map)
        LOG_WARN("%d. %s Object with id: [%d]", number++, kind, id);
}

/// Each once: what is still in use elsewhere stays and is reported later.
void release_programs_and_shaders(_zelvar_context_data* data)
{
    auto& shared = *data->data_shared;
    for (uint32_t program : keys_of(shared.programs))
        zelvar_data_model_ref_counter_release_program_object(data, program);
    for (uint32_t shader : keys_of(shared.shaders))
        if (shared.shaders.contains(shader))
            zelvar_data_model_ref_counter_release_shader_object(data, shader);
}

void clear_program_binaries(_zelvar_context_data_shared& shared)
{
    int number = 0;
    for (const auto& [id, binary] : shared.program_binaries)
        LOG_WARN("%d. Program Object with id: [%d]", number++, id);
    shared.program_binaries.clear();
}

void clear_buffers(_zelvar_context_data_shared& shared)
{
    if (!shared.buffers.empty())
        LOG_WARN("There were unreleased buffer objects at the time of context deletion:");
    warn_of_leftovers(shared.buffers, "Buffer");
    shared.buffers.clear();
    shared.deleted_buffers.clear();
}

void clear_programs_and_shaders(_zelvar_context_data_shared& shared)
{
    if (!shared.programs.empty() && !is_only_id_0(shared.programs)) {
        LOG_WARN("There were unreleased program objects at the time of shared data deletion:");
        warn_of_leftovers(shared.programs, "Program");
    }
    if (!shared.shaders.empty() && !is_only_id_0(shared.shaders)) {
        LOG_WARN("There were unreleased shader objects at the time of shared data deletion:");
        warn_of_leftovers(shared.shaders, "Shader");
    }
    shared.programs.clear();
    shared.shaders.clear();
}

void clear_renderbuffers_and_textures(_zelvar_context_data_shared& shared)
{
    if (!shared.renderbuffers.empty())
        LOG_WARN("There were unreleased renderbuffer objects at the time of shared data deletion:");
    warn_of_leftovers(shared.renderbuffers, "Renderbuffer");
    shared.renderbuffers.clear();
    if (!shared.textures.empty() && !is_only_id_0(shared.textures)) {
        LOG_WARN("There were unreleased texture objects at the time of shared data deletion:");
        warn_of_leftovers(shared.textures, "Texture");
    }
    shared.textures.clear();
}
} // namespace

void zelvar_data_model_deinit_zelvar_context_data(_zelvar_context_data* data)
{
    if (!data->data_nonshared)
        return;
    int number = 0;
    for (const auto& [id, framebuffer] : data->data_nonshared->framebuffers) {
        if (id == 0)
            continue;
        if (number == 0)
            LOG_WARN("There were unreleased framebuffer objects at the time of context deletion:");
        LOG_WARN("%d. Framebuffer Object with GLES id: [%d]", number++, id);
    }
    data->data_nonshared.reset();
}

void zelvar_data_model_deinit_zelvar_data_shared(_zelvar_context_data* data)
{
    release_programs_and_shaders(data);
    auto& shared = *data->data_shared;
    clear_program_binaries(shared);
    clear_buffers(shared);
    clear_programs_and_shaders(shared);
    clear_renderbuffers_and_textures(shared);
}
