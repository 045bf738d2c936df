#include "shim/configs.h"

#include "shim/process_lock.h"

#include <algorithm>
#include <cstdint>
#include <set>

namespace shim {

namespace {

/// Far above the handles that the library counts up from 0, and inside a pointer of 32 bits.
constexpr uintptr_t twin_bit = uintptr_t{1} << 30;
constexpr EGLint twin_id_offset = 1 << 16;

// Guarded by surfaces_lock; never destroyed.
process_lock& surfaces_lock = *new process_lock;
std::set<void*>& twin_surfaces = *new std::set<void*>;

/// The original of the twin: the plain one with all three, as others are better asked for by name.
bool has_twin(EGLConfig config, const std::function<EGLint(EGLConfig, EGLint)>& attribute_of)
{
    return attribute_of(config, EGL_ALPHA_SIZE) == 8 && attribute_of(config, EGL_RED_SIZE) == 8 &&
           attribute_of(config, EGL_DEPTH_SIZE) > 0 && attribute_of(config, EGL_STENCIL_SIZE) > 0 &&
           attribute_of(config, EGL_SAMPLES) == 0;
}

} // namespace

bool is_twin_config(EGLConfig config)
{
    // Bits all over stand for no config at all.
    return reinterpret_cast<uintptr_t>(config) >> 30 == 1;
}

EGLConfig known_config(EGLConfig config)
{
    return is_twin_config(config)
               ? reinterpret_cast<EGLConfig>(reinterpret_cast<uintptr_t>(config) & ~twin_bit)
               : config;
}

EGLint twin_attribute(EGLint attribute, EGLint of_original)
{
    if (attribute == EGL_STENCIL_SIZE)
        return 0;
    return attribute == EGL_CONFIG_ID ? of_original + twin_id_offset : of_original;
}

void add_twin_config(std::vector<EGLConfig>& configs,
                     const std::function<EGLint(EGLConfig, EGLint)>& attribute_of)
{
    const auto original = std::find_if(configs.begin(), configs.end(),
                                       [&](EGLConfig config) { return has_twin(config, attribute_of); });
    // Fewer bits of stencil come first in the order of EGL.
    if (original != configs.end())
        configs.insert(original,
                       reinterpret_cast<EGLConfig>(reinterpret_cast<uintptr_t>(*original) | twin_bit));
}

bool twin_may_serve(const EGLint* wishes)
{
    for (; wishes && *wishes != EGL_NONE; wishes += 2) {
        if (wishes[0] == EGL_CONFIG_ID && wishes[1] != EGL_DONT_CARE)
            return false;
        if (wishes[0] == EGL_STENCIL_SIZE && wishes[1] > 0)
            return false;
    }
    return true;
}

void note_surface_config(void* surface, EGLConfig config)
{
    const std::lock_guard<process_lock> guard{surfaces_lock};
    if (surface && is_twin_config(config))
        twin_surfaces.insert(surface);
    else
        twin_surfaces.erase(surface);
}

void forget_surface_config(void* surface)
{
    const std::lock_guard<process_lock> guard{surfaces_lock};
    twin_surfaces.erase(surface);
}

bool is_twin_surface(void* surface)
{
    const std::lock_guard<process_lock> guard{surfaces_lock};
    return twin_surfaces.contains(surface);
}

void forget_surface_configs()
{
    surfaces_lock.revive();
    twin_surfaces.clear();
}

GLbitfield twin_clear_mask(GLbitfield mask)
{
    return mask & GL_DEPTH_BUFFER_BIT ? mask | GL_STENCIL_BUFFER_BIT : mask;
}

} // namespace shim
