#pragma once
// What a target sees as its EGL configs while it has no EGL of its own: the list of a Kelvo 9 driver.

#include "wire/api.h"

#include <array>
#include <cstdint>

/// The handle of a row is its index, so 0 is a valid config.
struct kelvo9_config_row
{
    int32_t alpha, blue, config_id, caveat, depth, green, samples, red, stencil;
};

inline constexpr std::array<kelvo9_config_row, 26> kelvo9_supported_display_configs{{
    {0, 5, 5, EGL_NONE, 24, 6, 0, 5, 8},
    {0, 5, 3, EGL_NONE, 24, 6, 4, 5, 8},
    {0, 5, 4, EGL_NON_CONFORMANT_CONFIG, 24, 6, 16, 5, 8},
    {1, 5, 19, EGL_NON_CONFORMANT_CONFIG, 24, 5, 0, 5, 8},
    {1, 5, 18, EGL_NONE, 24, 5, 4, 5, 8},
    {1, 5, 20, EGL_NON_CONFORMANT_CONFIG, 24, 5, 16, 5, 8},
    {4, 4, 21, EGL_NON_CONFORMANT_CONFIG, 24, 4, 0, 4, 8},
    {4, 4, 22, EGL_NON_CONFORMANT_CONFIG, 24, 4, 4, 4, 8},
    {4, 4, 23, EGL_NON_CONFORMANT_CONFIG, 24, 4, 16, 4, 8},
    {8, 8, 9, EGL_NONE, 24, 8, 0, 8, 8},
    {0, 8, 38, EGL_NON_CONFORMANT_CONFIG, 24, 8, 0, 8, 8},
    {0, 8, 41, EGL_NON_CONFORMANT_CONFIG, 24, 8, 4, 8, 8},
    {0, 8, 42, EGL_NON_CONFORMANT_CONFIG, 24, 8, 16, 8, 8},
    {8, 8, 12, EGL_NONE, 24, 8, 4, 8, 8},
    {8, 8, 15, EGL_NON_CONFORMANT_CONFIG, 24, 8, 16, 8, 8},
    {0, 0, 13, EGL_NON_CONFORMANT_CONFIG, 0, 0, 0, 0, 0},
    {8, 0, 14, EGL_NON_CONFORMANT_CONFIG, 0, 0, 0, 0, 0},
    {0, 5, 29, EGL_NONE, 0, 6, 0, 5, 0},
    {8, 8, 30, EGL_NONE, 0, 8, 0, 8, 0},
    {0, 8, 31, EGL_NONE, 0, 8, 0, 8, 0},
    {0, 8, 32, EGL_NONE, 24, 8, 0, 8, 0},
    {8, 8, 33, EGL_NONE, 24, 8, 0, 8, 8},
    {8, 8, 44, EGL_NONE, 24, 8, 4, 8, 8},
    {0, 8, 45, EGL_NONE, 24, 8, 4, 8, 8},
    {8, 8, 40, EGL_SLOW_CONFIG, 24, 8, 0, 8, 8},
    {8, 8, 43, EGL_SLOW_CONFIG, 24, 8, 0, 8, 8},
}};
