// The capabilities that glEnable switches and the model remembers.
#include "data_model/zelvar_data_model.h"
#include "sidechannel_log.h"
#include "wire/api.h"

#include <algorithm>
#include <optional>

namespace {
/// The position is the index in `rendering_modes`.
constexpr uint32_t capabilities[rendering_mode_count] = {
    GL_BLEND,
    GL_CULL_FACE,
    GL_DEPTH_TEST,
    GL_DITHER,
    GL_POLYGON_OFFSET_FILL,
    GL_PRIMITIVE_RESTART_FIXED_INDEX,
    GL_RASTERIZER_DISCARD,
    GL_SAMPLE_ALPHA_TO_COVERAGE,
    GL_SAMPLE_COVERAGE,
    GL_SCISSOR_TEST,
    GL_STENCIL_TEST,
    GL_SAMPLE_MASK,
    GL_DEBUG_OUTPUT,
    GL_DEBUG_OUTPUT_SYNCHRONOUS,
};

std::optional<size_t> index_of(uint32_t cap)
{
    const auto* found = std::find(std::begin(capabilities), std::end(capabilities), cap);
    if (found == std::end(capabilities))
        return std::nullopt;
    return found - capabilities;
}

std::optional<size_t> index_or_warn(uint32_t cap)
{
    auto index = index_of(cap);
    if (!index)
        LOG_WARN("Unrecognized \"mode\" argument");
    return index;
}
} // namespace

bool zelvar_data_model_is_cap_valid(uint32_t cap)
{
    return index_of(cap).has_value();
}

bool zelvar_data_model_is_rendering_mode_enabled(const _zelvar_context_data* data, uint32_t cap)
{
    auto index = index_or_warn(cap);
    return index && data->rendering_modes[*index] != 0;
}

bool zelvar_data_model_update_rendering_mode_status(_zelvar_context_data* data, uint32_t cap, bool enabled)
{
    auto index = index_or_warn(cap);
    if (!index)
        return false;
    data->rendering_modes[*index] = enabled;
    return true;
}
