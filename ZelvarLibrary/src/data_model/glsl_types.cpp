// Sizes of GLSL types.
#include "data_model/program_interface.h"

#include "sidechannel_log.h"
#include "wire/api.h"

namespace {
struct glsl_type
{
    uint32_t type;
    uint8_t element_size;
    uint8_t components;
    uint8_t columns;
};

constexpr glsl_type types[] = {
    {GL_FLOAT, 4, 1, 1},
    {GL_FLOAT_VEC2, 4, 2, 1},
    {GL_FLOAT_VEC3, 4, 3, 1},
    {GL_FLOAT_VEC4, 4, 4, 1},
    {GL_INT, 4, 1, 1},
    {GL_INT_VEC2, 4, 2, 1},
    {GL_INT_VEC3, 4, 3, 1},
    {GL_INT_VEC4, 4, 4, 1},
    {GL_UNSIGNED_INT, 4, 1, 1},
    {GL_UNSIGNED_INT_VEC2, 4, 2, 1},
    {GL_UNSIGNED_INT_VEC3, 4, 3, 1},
    {GL_UNSIGNED_INT_VEC4, 4, 4, 1},
    {GL_BOOL, 1, 1, 1},
    {GL_BOOL_VEC2, 1, 2, 1},
    {GL_BOOL_VEC3, 1, 3, 1},
    {GL_BOOL_VEC4, 1, 4, 1},
    {GL_FLOAT_MAT2, 4, 4, 2},
    {GL_FLOAT_MAT3, 4, 9, 3},
    {GL_FLOAT_MAT4, 4, 16, 4},
    {GL_FLOAT_MAT2x3, 4, 6, 2},
    {GL_FLOAT_MAT2x4, 4, 8, 2},
    {GL_FLOAT_MAT3x2, 4, 6, 3},
    {GL_FLOAT_MAT3x4, 4, 12, 3},
    {GL_FLOAT_MAT4x2, 4, 8, 4},
    {GL_FLOAT_MAT4x3, 4, 12, 4},
    {GL_UNSIGNED_INT_ATOMIC_COUNTER, 4, 1, 1},
};

/// Samplers and images: one unit number each.
constexpr uint32_t units[] = {
    GL_SAMPLER_2D,
    GL_SAMPLER_3D,
    GL_SAMPLER_CUBE,
    GL_SAMPLER_2D_SHADOW,
    GL_SAMPLER_2D_ARRAY,
    GL_SAMPLER_2D_ARRAY_SHADOW,
    GL_SAMPLER_CUBE_SHADOW,
    GL_INT_SAMPLER_2D,
    GL_INT_SAMPLER_3D,
    GL_INT_SAMPLER_CUBE,
    GL_INT_SAMPLER_2D_ARRAY,
    GL_UNSIGNED_INT_SAMPLER_2D,
    GL_UNSIGNED_INT_SAMPLER_3D,
    GL_UNSIGNED_INT_SAMPLER_CUBE,
    GL_UNSIGNED_INT_SAMPLER_2D_ARRAY,
    GL_SAMPLER_2D_MULTISAMPLE,
    GL_INT_SAMPLER_2D_MULTISAMPLE,
    GL_UNSIGNED_INT_SAMPLER_2D_MULTISAMPLE,
    GL_SAMPLER_2D_MULTISAMPLE_ARRAY,
    GL_INT_SAMPLER_2D_MULTISAMPLE_ARRAY,
    GL_UNSIGNED_INT_SAMPLER_2D_MULTISAMPLE_ARRAY,
    GL_SAMPLER_BUFFER,
    GL_INT_SAMPLER_BUFFER,
    GL_UNSIGNED_INT_SAMPLER_BUFFER,
    GL_SAMPLER_CUBE_MAP_ARRAY,
    GL_SAMPLER_CUBE_MAP_ARRAY_SHADOW,
    GL_INT_SAMPLER_CUBE_MAP_ARRAY,
    GL_UNSIGNED_INT_SAMPLER_CUBE_MAP_ARRAY,
    GL_SAMPLER_EXTERNAL_OES,
    GL_IMAGE_2D,
    GL_IMAGE_3D,
    GL_IMAGE_CUBE,
    GL_IMAGE_BUFFER,
    GL_IMAGE_2D_ARRAY,
    GL_IMAGE_CUBE_MAP_ARRAY,
    GL_INT_IMAGE_2D,
    GL_INT_IMAGE_3D,
    GL_INT_IMAGE_CUBE,
    GL_INT_IMAGE_BUFFER,
    GL_INT_IMAGE_2D_ARRAY,
    GL_INT_IMAGE_CUBE_MAP_ARRAY,
    GL_UNSIGNED_INT_IMAGE_2D,
    GL_UNSIGNED_INT_IMAGE_3D,
    GL_UNSIGNED_INT_IMAGE_CUBE,
    GL_UNSIGNED_INT_IMAGE_BUFFER,
    GL_UNSIGNED_INT_IMAGE_2D_ARRAY,
    GL_UNSIGNED_INT_IMAGE_CUBE_MAP_ARRAY,
};

const glsl_type* find(uint32_t type)
{
    for (const auto& row : types)
        if (row.type == type)
            return &row;
    static constexpr glsl_type unit{0, 4, 1, 1};
    for (uint32_t row : units)
        if (row == type)
            return &unit;
    return nullptr;
}
} // namespace

uint32_t zelvar_get_element_size_from_GLSL_type(uint32_t type)
{
    if (const auto* row = find(type))
        return row->element_size;
    LOG_ERROR(
        "GLSL type [%d] was not recognized - returning 0 for the \"GLSL type size\" query but that could "
        "be wrong!",
        type);
    return 0;
}

uint32_t zelvar_get_n_components_from_GLSL_type(uint32_t type)
{
    if (const auto* row = find(type))
        return row->components;
    LOG_ERROR("GLSL type [0x%X] was not recognized - returning 1 for the \"number of components\" query but "
              "that could be wrong!",
              type);
    return 1;
}

uint32_t zelvar_get_n_indice_from_GLSL_type(uint32_t type)
{
    if (const auto* row = find(type))
        return row->columns;
    LOG_ERROR(
        "GLSL type [0x%X] was not recognized - returning 1 for the \"number of indices\" query but that "
        "could be wrong!",
        type);
    return 1;
}
