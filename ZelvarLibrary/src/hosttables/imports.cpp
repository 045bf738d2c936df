// The three process-wide tables, the libraries behind them, and the function map.

#include "host_tables.h"
#include "sidechannel_log.h"
#include "table_slots.h"

sidechannel_egl_imports zelvar_imports_egl_ptrs;
sidechannel_gles_imports zelvar_imports_gles_ptrs;
sidechannel_vk_imports zelvar_imports_vk_ptrs;

namespace {
sidechannel_egl_imports test_only_egl_ptrs;

void* egl_library;
void* gles_library;
void* vk_library;

// Never destroyed: workers may ask until the process ends.
zelvar_api_map_type& zelvar_api_map()
{
    static auto& map = *new zelvar_api_map_type;
    return map;
}

/// What `sidechannel_set_imports_init` promises: slot by slot, the order of the list.
template <class Table>
void copy_slots(Table* to, const Table* from)
{
    for (size_t slot = 0; slot < sizeof(Table) / sizeof(void*); slot++)
        set_table_slot(to, slot, table_slot(*from, slot));
}
} // namespace

void zelvar_imports_init()
{
    zelvar_imports_egl_init(&zelvar_imports_egl_ptrs);
    zelvar_imports_gles_init(&zelvar_imports_gles_ptrs, zelvar_imports_egl_ptrs.eglGetProcAddress);
    zelvar_imports_vk_init(&zelvar_imports_vk_ptrs);
    zelvar_api_map_init(&zelvar_imports_egl_ptrs, &zelvar_imports_gles_ptrs, &zelvar_api_map());
}

void zelvar_imports_deinit()
{
    zelvar_imports_egl_deinit(&zelvar_imports_egl_ptrs);
    zelvar_imports_gles_deinit(&zelvar_imports_gles_ptrs);
    zelvar_imports_vk_deinit(&zelvar_imports_vk_ptrs);
    zelvar_api_map_deinit(&zelvar_api_map());
}

void zelvar_imports_egl_init(sidechannel_egl_imports* table)
{
    if (egl_library) {
        LOG_ERROR("EGL library is already loaded!");
        return;
    }
    egl_library = imports_egl_init("libEGL.so", table);
}

void zelvar_imports_gles_init(sidechannel_gles_imports* table, host_get_proc_address get_proc_address)
{
    if (gles_library) {
        LOG_ERROR("OpenGL ES library is already loaded!");
        return;
    }
    gles_library = imports_gles_init("libGLESv2.so", table, get_proc_address);
}

void zelvar_imports_vk_init(sidechannel_vk_imports* table)
{
    if (vk_library) {
        LOG_ERROR("Vulkan library is already loaded!");
        return;
    }
    vk_library = imports_vk_init("libvulkan.so", table);
}

void zelvar_imports_egl_deinit(sidechannel_egl_imports* table)
{
    if (!egl_library)
        LOG_WARN("EGL library is not loaded!");
    imports_egl_deinit(table, egl_library);
    egl_library = nullptr;
}

void zelvar_imports_gles_deinit(sidechannel_gles_imports* table)
{
    imports_gles_deinit(table, gles_library);
    gles_library = nullptr;
}

void zelvar_imports_vk_deinit(sidechannel_vk_imports* table)
{
    imports_vk_deinit(table, vk_library);
    vk_library = nullptr;
}

const sidechannel_egl_imports* zelvar_imports_get_egl_ptrs()
{
    return &zelvar_imports_egl_ptrs;
}

const sidechannel_gles_imports* zelvar_imports_get_gles_ptrs()
{
    return &zelvar_imports_gles_ptrs;
}

const sidechannel_vk_imports* zelvar_imports_get_vk_ptrs()
{
    return &zelvar_imports_vk_ptrs;
}

sidechannel_egl_imports* TEST_ONLY_zelvar_imports_get_egl_ptrs()
{
    return &test_only_egl_ptrs;
}

void sidechannel_set_imports_init(const sidechannel_egl_imports* egl, const sidechannel_gles_imports* gles)
{
    if (egl)
        copy_slots(&zelvar_imports_egl_ptrs, egl);
    if (gles)
        copy_slots(&zelvar_imports_gles_ptrs, gles);
    zelvar_api_map_init(&zelvar_imports_egl_ptrs, &zelvar_imports_gles_ptrs, &zelvar_api_map());
}

bool sidechannel_api_support(const char* name)
{
    if (!name)
        return false;
    auto found = zelvar_api_map().find(name);
    return found != zelvar_api_map().end() && found->second;
}

bool str_cmp::operator()(const char* a, const char* b) const
{
    return std::strcmp(a, b) < 0;
}

void zelvar_api_map_init(const sidechannel_egl_imports* egl, const sidechannel_gles_imports* gles,
                         zelvar_api_map_type* map)
{
    for (size_t slot = 0; slot < host_egl_count; slot++)
        map->insert_or_assign(host_egl_names[slot], table_slot(*egl, slot));
    for (size_t slot = host_gles_optional_count; slot < host_gles_count; slot++)
        map->insert_or_assign(host_gles_names[slot], table_slot(*gles, slot));
}

void zelvar_api_map_deinit(zelvar_api_map_type* map)
{
    map->clear();
}
