#pragma once
// The host's EGL, OpenGL ES and Vulkan as tables of function pointers, filled at start-up, only read
// afterwards. Every field is named as its function and may be null: calls go through host_call.h, which
// tests the slot.

#include "wire/api.h"

#include <cstddef>
#include <map>
#include <string>

extern "C" {
// Entry points that only an emulator's EGL has; silent when missing.
void* __eglKelvoGetBuffer(EGLDisplay display, EGLSurface surface);
void __eglKelvoUngetBuffer(EGLDisplay display, EGLSurface surface);
}

struct sidechannel_egl_imports
{
#define ZELVAR_HOST_EGL(name) decltype(&::name) name;
#include "egl.inc"
#undef ZELVAR_HOST_EGL
};

struct sidechannel_gles_imports
{
    /// Optional entries of an emulator's OpenGL ES library, resolved silently.
    unsigned (*GLES2_GetSetRequestEnumForName)(const char* name);
    void (*GLES2_Set)(unsigned request, int value);
#define ZELVAR_MESSAGE(id, name, group, function) decltype(&::function) function;
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
};

struct sidechannel_vk_imports
{
#define ZELVAR_MESSAGE(id, name, group, function) decltype(&::function) function;
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
};

inline constexpr size_t host_egl_count = sizeof(sidechannel_egl_imports) / sizeof(void*);
inline constexpr size_t host_gles_count = sizeof(sidechannel_gles_imports) / sizeof(void*);
inline constexpr size_t host_vk_count = sizeof(sidechannel_vk_imports) / sizeof(void*);

/// The leading OpenGL ES slots that are no entry points of the API: not in the function map, never missed.
inline constexpr size_t host_gles_optional_count = 2;

/// Names of the table fields in table order; `host_gles_names` includes the two leading optional slots.
extern const char* const host_egl_names[host_egl_count];
extern const char* const host_gles_names[host_gles_count];
extern const char* const host_vk_names[host_vk_count];

extern sidechannel_egl_imports zelvar_imports_egl_ptrs;
extern sidechannel_gles_imports zelvar_imports_gles_ptrs;
extern sidechannel_vk_imports zelvar_imports_vk_ptrs;

/// strcmp less-than, so that the map finds a name by its text.
struct str_cmp
{
    bool operator()(const char* a, const char* b) const;
};
using zelvar_api_map_type = std::map<const char*, void*, str_cmp>;

// Loader.
void* ldrOpen(const std::string& name);
void* ldrSym(void* handle, const char* name);
bool ldrClose(void* handle);

using host_get_proc_address = decltype(&::eglGetProcAddress);

/// Opens the three host libraries and fills tables and function map; a missing library is reported and never
/// stops the start.
void zelvar_imports_init();
void zelvar_imports_deinit();

void zelvar_imports_egl_init(sidechannel_egl_imports* table);
void zelvar_imports_gles_init(sidechannel_gles_imports* table, host_get_proc_address get_proc_address);
void zelvar_imports_vk_init(sidechannel_vk_imports* table);
void zelvar_imports_egl_deinit(sidechannel_egl_imports* table);
void zelvar_imports_gles_deinit(sidechannel_gles_imports* table);
void zelvar_imports_vk_deinit(sidechannel_vk_imports* table);

/// Fill a table from a library by name; return the library handle, null when it can't be opened.
void* imports_egl_init(const char* name, sidechannel_egl_imports* table);
void* imports_gles_init(const char* name, sidechannel_gles_imports* table,
                        host_get_proc_address get_proc_address);
void* imports_vk_init(const char* name, sidechannel_vk_imports* table);
/// Close the library and zero the table.
void imports_egl_deinit(sidechannel_egl_imports* table, void* handle);
void imports_gles_deinit(sidechannel_gles_imports* table, void* handle);
void imports_vk_deinit(sidechannel_vk_imports* table, void* handle);

const sidechannel_egl_imports* zelvar_imports_get_egl_ptrs();
const sidechannel_gles_imports* zelvar_imports_get_gles_ptrs();
const sidechannel_vk_imports* zelvar_imports_get_vk_ptrs();
sidechannel_egl_imports* TEST_ONLY_zelvar_imports_get_egl_ptrs();

/// Overwrites the EGL and OpenGL ES tables slot by slot: how tests put fakes in. A null argument leaves its
/// table alone. The function map follows.
void sidechannel_set_imports_init(const sidechannel_egl_imports* egl, const sidechannel_gles_imports* gles);

/// True when `name` is an EGL or OpenGL ES entry point that the host has.
bool sidechannel_api_support(const char* name);

void zelvar_api_map_init(const sidechannel_egl_imports* egl, const sidechannel_gles_imports* gles,
                         zelvar_api_map_type* map);
void zelvar_api_map_deinit(zelvar_api_map_type* map);
