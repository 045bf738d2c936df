// Comparing, finding and printing rows of the config lists.

#include "object_manager/configs.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <cstring>

namespace {
bool has_colour(const _zelvar_object_manager_config& row, int32_t red, int32_t green, int32_t blue,
                int32_t alpha)
{
    return row.red_size == red && row.green_size == green && row.blue_size == blue && row.alpha_size == alpha;
}

template <class Predicate>
const _zelvar_object_manager_config* find_host_row(Predicate predicate)
{
    if (!host_display_configs)
        return nullptr;
    auto found = std::find_if(host_display_configs->begin(), host_display_configs->end(), predicate);
    return found == host_display_configs->end() ? nullptr : &*found;
}

const char* caveat_name(int32_t caveat)
{
    switch (caveat) {
    case EGL_NONE:
        return "EGL_NONE";
    case EGL_SLOW_CONFIG:
        return "EGL_SLOW_CONFIG";
    case EGL_NON_CONFORMANT_CONFIG:
        return "EGL_NON_CONFORMANT_CONFIG";
    }
    return "unknown";
}
} // namespace

config_colour_class colour_class_of(const _zelvar_object_manager_config& row)
{
    if (has_colour(row, 8, 8, 8, 8))
        return colour_class_rgba8888;
    if (has_colour(row, 8, 8, 8, 0))
        return colour_class_rgb888;
    if (has_colour(row, 5, 6, 5, 0))
        return colour_class_rgb565;
    if (has_colour(row, 5, 5, 5, 1))
        return colour_class_rgba5551;
    if (has_colour(row, 4, 4, 4, 4))
        return colour_class_rgba4444;
    return colour_class_other;
}

bool same_colour(const _zelvar_object_manager_config& a, const _zelvar_object_manager_config& b)
{
    return has_colour(a, b.red_size, b.green_size, b.blue_size, b.alpha_size);
}

bool same_buffers(const _zelvar_object_manager_config& a, const _zelvar_object_manager_config& b)
{
    return a.depth_size == b.depth_size && a.stencil_size == b.stencil_size && a.samples == b.samples;
}

bool buffers_reach(const _zelvar_object_manager_config& a, const _zelvar_object_manager_config& b)
{
    return a.depth_size >= b.depth_size && a.stencil_size >= b.stencil_size && a.samples >= b.samples;
}

bool is_plain_rgb888(const _zelvar_object_manager_config& row)
{
    return colour_class_of(row) == colour_class_rgb888 && row.depth_size == 24 && row.stencil_size == 8 &&
           row.samples == 0;
}

const _zelvar_object_manager_config* host_row_by_id(int32_t config_id)
{
    return find_host_row([&](const auto& row) { return row.config_id == config_id; });
}

const _zelvar_object_manager_config* host_row_by_handle(EGLConfig config)
{
    return find_host_row([&](const auto& row) { return row.host_config == config; });
}

void _dump_egl_config_informations(const config_list& rows, const char* side, uint64_t display)
{
    bool is_host = std::strcmp(side, "host") == 0;
    LOG_DEBUG("Begin dump %s_display_configs for %s display [%#lx]:", side, side, display);
    int index = 0;
    for (const auto& row : rows) {
        uint64_t handle = is_host ? reinterpret_cast<uint64_t>(row.host_config) : row.target_config;
        LOG_DEBUG("%3d. %s_config=%#lx config_id=[%3d] RGBA=[%d/%d/%d/%d] depth=[%2d] stencil=[%2d] "
                  "samples=[%2d] caveat=[%d,%s]",
                  index++, side, handle, row.config_id, row.red_size, row.green_size, row.blue_size,
                  row.alpha_size, row.depth_size, row.stencil_size, row.samples, row.caveat,
                  caveat_name(row.caveat));
    }
    LOG_DEBUG("End dump for %s_display_configs configs", side);
}

void dump_host_config_ids()
{
    int index = 0;
    if (host_display_configs)
        for (const auto& row : *host_display_configs)
            LOG_DEBUG("%3d. host_config=%#lx with configID: %d", index++,
                      reinterpret_cast<uint64_t>(row.host_config), row.config_id);
}
