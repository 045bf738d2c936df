// Reference counts of share groups, programs and shaders. Programs and shaders outlive their deletion while
// they are in use.
#include "data_model/zelvar_data_model.h"
#include "sidechannel_log.h"

#include <utility>

namespace {
using programs = std::map<uint32_t, _zelvar_program_descriptor>;

bool has_group(const _zelvar_context_data* data)
{
    return data && data->data_shared;
}

void end_program(_zelvar_context_data* data, programs::iterator program)
{
    auto attached = std::move(program->second.attached_shaders);
    data->data_shared->programs.erase(program);
    for (uint32_t shader : attached)
        if (data->data_shared->shaders.contains(shader))
            zelvar_data_model_ref_counter_release_shader_object(data, shader);
}
} // namespace

void zelvar_data_model_ref_counter_retain_data_shared(_zelvar_context_data* data)
{
    if (!has_group(data)) {
        LOG_ERROR("Cannot retain shared data for NULL context data.");
        return;
    }
    data->data_shared->ref_counter++;
}

void zelvar_data_model_ref_counter_release_data_shared(_zelvar_context_data* data)
{
    if (!has_group(data)) {
        LOG_ERROR("Cannot release shared data for NULL context data.");
        return;
    }
    if (--data->data_shared->ref_counter > 0)
        return;
    zelvar_data_model_deinit_zelvar_data_shared(data);
    delete std::exchange(data->data_shared, nullptr);
}

void zelvar_data_model_ref_counter_drop_data_shared(_zelvar_context_data* data)
{
    auto* group = std::exchange(data->data_shared, nullptr);
    if (!group)
        return;
    critical_section__* lock = group->lock;
    bool last = false;
    {
        Autolock group_lock{lock};
        last = --group->ref_counter <= 0;
    }
    if (last) {
        delete group;
        critical_section_release(lock);
    }
}

void zelvar_data_model_ref_counter_retain_program_object(_zelvar_context_data* data, uint32_t id)
{
    if (!has_group(data)) {
        LOG_ERROR("Cannot retain program object descriptor for NULL context data.");
        return;
    }
    auto program = data->data_shared->programs.find(id);
    if (program == data->data_shared->programs.end()) {
        LOG_ERROR("Cannot retain program object descriptor: program [%d] is not recognized.", id);
        return;
    }
    ZELVAR_ASSERT_TEXT(program->second.ref_counter > 0, "(*po_iterator_ptr)->second.ref_counter > 0");
    program->second.ref_counter++;
}

void zelvar_data_model_ref_counter_release_program_object(_zelvar_context_data* data, uint32_t id)
{
    if (!has_group(data)) {
        LOG_ERROR("Cannot release program object descriptor for NULL context data.");
        return;
    }
    auto program = data->data_shared->programs.find(id);
    if (program == data->data_shared->programs.end())
        LOG_ERROR("Cannot release program object descriptor: program [%d] is not recognized.", id);
    else if (--program->second.ref_counter <= 0)
        end_program(data, program);
}

void zelvar_data_model_ref_counter_retain_shader_object(_zelvar_context_data* data, uint32_t id)
{
    if (!has_group(data)) {
        LOG_ERROR("Cannot retain shader object descriptor for NULL context data.");
        return;
    }
    auto shader = data->data_shared->shaders.find(id);
    if (shader == data->data_shared->shaders.end()) {
        LOG_ERROR("Cannot retain shader object descriptor: shader [%d] is not recognized.", id);
        return;
    }
    ZELVAR_ASSERT_TEXT(shader->second.ref_counter > 0, "(*so_iterator_ptr)->second.ref_counter > 0");
    shader->second.ref_counter++;
}

void zelvar_data_model_ref_counter_release_shader_object(_zelvar_context_data* data, uint32_t id)
{
    if (!has_group(data)) {
        LOG_ERROR("Cannot release shader object descriptor for NULL context data.");
        return;
    }
    auto shader = data->data_shared->shaders.find(id);
    if (shader == data->data_shared->shaders.end())
        LOG_ERROR("Cannot release shader object descriptor: shader [%d] is not recognized.", id);
    else if (--shader->second.ref_counter <= 0)
        data->data_shared->shaders.erase(shader);
}
