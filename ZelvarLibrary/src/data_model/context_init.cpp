// Filling a context's model when it first becomes current. Values that the target believes in come from the
// target when it runs calls, and are bounded before anything is sized by them.
#include "data_model/zelvar_data_model.h"
#include "registration/host_call.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_calls.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <iterator>

namespace {
using four_values = std::array<int32_t, 4>;
using formats = std::vector<uint32_t>;

constexpr uint32_t most_texture_units = 4096;
constexpr uint32_t most_vertex_attribs = 4096;
constexpr uint32_t most_compressed_formats = 0x10000;

struct constant
{
    uint32_t pname;
    uint32_t bytes;
};
constexpr constant constants[] = {
    {GL_SCISSOR_BOX, 16},
    {GL_VIEWPORT, 16},
    {GL_NUM_COMPRESSED_TEXTURE_FORMATS, 4},
    {GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS, 4},
    {GL_MAX_VERTEX_ATTRIBS, 4},
};

#define LOG_HOST_FAILURE(name)                                                                               \
    case name:                                                                                               \
        LOG_ERROR("Failed to retrieve " #name " pname value on host side");                                  \
        break
void log_host_failure(uint32_t pname)
{
    switch (pname) {
        LOG_HOST_FAILURE(GL_SCISSOR_BOX);
        LOG_HOST_FAILURE(GL_VIEWPORT);
        LOG_HOST_FAILURE(GL_NUM_COMPRESSED_TEXTURE_FORMATS);
        LOG_HOST_FAILURE(GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS);
        LOG_HOST_FAILURE(GL_MAX_VERTEX_ATTRIBS);
    }
}
#undef LOG_HOST_FAILURE

/// Stores one answer. Returns the count of compressed formats through `format_count`.
void store_constant(_zelvar_context_data* data, uint32_t pname, const four_values& values,
                    uint32_t* format_count)
{
    auto first = static_cast<uint32_t>(values[0]);
    switch (pname) {
    case GL_SCISSOR_BOX:
        data->scissor_box = values;
        break;
    case GL_VIEWPORT:
        data->viewport = values;
        break;
    case GL_NUM_COMPRESSED_TEXTURE_FORMATS:
        *format_count = first;
        break;
    case GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS:
        data->target_constants.max_combined_texture_image_units = std::min(first, most_texture_units);
        break;
    case GL_MAX_VERTEX_ATTRIBS:
        data->target_constants.max_vertex_attribs = std::min(first, most_vertex_attribs);
        break;
    }
}

void read_constants_of_host(_zelvar_context_data* data, uint32_t* format_count)
{
    for (const auto& asked : constants) {
        four_values values{};
        if (host::gl<&sidechannel_gles_imports::glGetIntegerv>(asked.pname, values.data()).ok())
            store_constant(data, asked.pname, values, format_count);
        else
            log_host_failure(asked.pname);
    }
}

/// What the target doesn't answer keeps its start value.
void read_constants_of_target(pid_t pid, tid_t tid, _zelvar_context_data* data, uint32_t* format_count)
{
    target_ptr block;
    zelvar_shim_dispatch_allocate_memory_block(pid, tid, sizeof(four_values), &block);
    if (!block) {
        LOG_ERROR("Not enough memory on target side. Constants of the context are not retrieved.");
        return;
    }
    for (const auto& asked : constants) {
        four_values values{};
        unsigned error = GL_NO_ERROR;
        zelvar_shim_dispatch_gles20_get_integerv_call(pid, tid, asked.pname, block, nullptr, 0, &error);
        if (zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, asked.bytes, block, values.data()) &&
            error == GL_NO_ERROR)
            store_constant(data, asked.pname, values, format_count);
    }
    zelvar_shim_dispatch_deallocate_memory_block(pid, tid, block);
}

void clear_texture_bindings(_zelvar_context_data* data)
{
    const uint32_t max_combined_texture_image_units = data->target_constants.max_combined_texture_image_units;
    LOG_INFO("Initializing %d texture image unit bindings..", max_combined_texture_image_units);
    ZELVAR_ASSERT(max_combined_texture_image_units >= 8);
    for (uint32_t unit = 0; unit < max_combined_texture_image_units; unit++) {
        auto& bindings = data->texture_bindings[GL_TEXTURE0 + unit];
        for (uint32_t target : {GL_TEXTURE_2D, GL_TEXTURE_2D_ARRAY, GL_TEXTURE_3D, GL_TEXTURE_CUBE_MAP})
            bindings[target] = 0;
    }
}

bool host_formats(formats* list)
{
    int32_t count = 0;
    auto counted =
        host::gl<&sidechannel_gles_imports::glGetIntegerv>(GL_NUM_COMPRESSED_TEXTURE_FORMATS, &count);
    if (!counted.ok()) {
        LOG_ERROR(
            "glGetIntegerv(GL_NUM_COMPRESSED_TEXTURE_FORMATS) failed on host with error [%d]. Supported "
            "texture compression formats set to none.",
            counted.error);
        return false;
    }
    // One more than needed, so that the driver gets an address even for an empty list.
    list->resize(static_cast<size_t>(std::max(count, 0)) + 1);
    auto listed = host::gl<&sidechannel_gles_imports::glGetIntegerv>(
        GL_COMPRESSED_TEXTURE_FORMATS, reinterpret_cast<int32_t*>(list->data()));
    list->pop_back();
    if (!listed.ok()) {
        LOG_ERROR("glGetIntegerv(GL_COMPRESSED_TEXTURE_FORMATS) failed on host with error [%d]. Supported "
                  "texture compression formats set to none.",
                  listed.error);
        return false;
    }
    return true;
}

bool target_formats(pid_t pid, tid_t tid, uint32_t count, formats* list)
{
    list->clear();
    if (count == 0)
        return true;
    target_ptr block;
    if (count <= most_compressed_formats)
        zelvar_shim_dispatch_allocate_memory_block(pid, tid, count * 4, &block);
    if (!block) {
        LOG_ERROR("Not enough memory on target side. Supported texture compression formats set to none.");
        return false;
    }
    unsigned error = GL_NO_ERROR;
    zelvar_shim_dispatch_gles20_get_integerv_call(pid, tid, GL_COMPRESSED_TEXTURE_FORMATS, block, nullptr, 0,
                                                  &error);
    if (error == GL_NO_ERROR) {
        list->resize(count);
        zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, count * 4, block, list->data());
    } else {
        LOG_ERROR("glGetIntegerv(GL_COMPRESSED_TEXTURE_FORMATS) failed on target with error [%d]. Supported "
                  "texture compression formats set to none.",
                  error);
    }
    zelvar_shim_dispatch_deallocate_memory_block(pid, tid, block);
    return error == GL_NO_ERROR;
}

/// What both sides can decompress, sorted.
formats common_formats(pid_t pid, tid_t tid, uint32_t target_count)
{
    formats of_host;
    if (!host_formats(&of_host))
        return {};
    formats of_target = of_host;
    if (zelvar_call_on_target() && !target_formats(pid, tid, target_count, &of_target))
        return {};
    std::sort(of_host.begin(), of_host.end());
    std::sort(of_target.begin(), of_target.end());
    formats common;
    std::set_intersection(of_host.begin(), of_host.end(), of_target.begin(), of_target.end(),
                          std::back_inserter(common));
    return common;
}

void refuse_deferred_state()
{
    static std::atomic_flag refused;
    if (setting(zelvar_settings.deferCommands) && !refused.test_and_set())
        LOG_WARN("deferCommands is not built yet: state calls go to the host at once.");
}
} // namespace

void zelvar_data_model_init_zelvar_context_data(pid_t pid, tid_t tid, _zelvar_context_data* data)
{
    refuse_deferred_state();
    {
        // Another context of the group may have made it already, or be at work.
        Autolock objects_lock{data->data_shared->objects.section};
        data->data_shared->textures.try_emplace(0);
    }
    uint32_t format_count = 0;
    if (zelvar_call_on_target())
        read_constants_of_target(pid, tid, data, &format_count);
    else
        read_constants_of_host(data, &format_count);
    if (!data->extensions.supported)
        zelvar_data_model_init_gl_extensions_data(pid, tid, &data->extensions);
    clear_texture_bindings(data);
    zelvar_data_model_init_vertex_array_object_descriptor(data, 0, &data->data_nonshared->vertex_arrays[0]);
    data->target_constants.compressed_texture_formats = common_formats(pid, tid, format_count);
}
