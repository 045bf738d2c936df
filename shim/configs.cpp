#include "shim/configs.h"

#include <algorithm>
#include <cstdint>

namespace shim {

namespace {

/// Far above the handles that the library counts up from 0, and inside a pointer of 32 bits.
constexpr uintptr_t twin_bit = uintptr_t{1} << 30;
constexpr EGLint twin_id_offset = 1 << 16;

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

} // namespace shim
