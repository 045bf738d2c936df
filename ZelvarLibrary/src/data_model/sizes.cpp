// Sizes of values and pixels in client memory.
#include "data_model/zelvar_data_model.h"
#include "sidechannel_log.h"
#include "wire/api.h"

namespace {
struct type_shape
{
    uint64_t bytes = 0; // 0: unknown
    bool packed = false;
};

type_shape shape_of(uint32_t type)
{
    switch (type) {
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
        return {1, false};
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_HALF_FLOAT:
    case GL_HALF_FLOAT_OES:
        return {2, false};
    case GL_INT:
    case GL_UNSIGNED_INT:
    case GL_FLOAT:
    case GL_FIXED:
        return {4, false};
    case GL_UNSIGNED_SHORT_4_4_4_4:
    case GL_UNSIGNED_SHORT_5_5_5_1:
    case GL_UNSIGNED_SHORT_5_6_5:
        return {2, true};
    case GL_UNSIGNED_INT_2_10_10_10_REV:
    case GL_UNSIGNED_INT_24_8:
    case GL_UNSIGNED_INT_10F_11F_11F_REV:
    case GL_UNSIGNED_INT_5_9_9_9_REV:
    case GL_INT_2_10_10_10_REV:
    case GL_FLOAT_32_UNSIGNED_INT_24_8_REV: // half of what the API has, and relied upon as it is
        return {4, true};
    default:
        return {};
    }
}

/// 0 for a format that isn't known.
uint64_t components_of(uint32_t format)
{
    switch (format) {
    case GL_DEPTH_COMPONENT:
    case GL_RED:
    case GL_ALPHA:
    case GL_LUMINANCE:
    case GL_RED_INTEGER:
        return 1;
    case GL_LUMINANCE_ALPHA:
    case GL_RG:
    case GL_RG_INTEGER:
    case GL_DEPTH_STENCIL:
        return 2;
    case GL_RGB:
    case GL_RGB_INTEGER:
        return 3;
    case GL_RGBA:
    case GL_BGRA_EXT:
    case GL_RGBA_INTEGER:
        return 4;
    default:
        return 0;
    }
}
} // namespace

uint64_t zelvar_data_get_type_size(uint32_t type, uint64_t count)
{
    const type_shape shape = shape_of(type);
    if (shape.bytes == 0) {
        LOG_FATAL("Unrecognized type [%d] - may cause a crash on Zelvar end!", type);
        return count;
    }
    return shape.packed ? shape.bytes : shape.bytes * count;
}

uint64_t zelvar_data_get_pixel_size(uint32_t format, uint32_t type)
{
    uint64_t components = components_of(format);
    if (components == 0) {
        LOG_FATAL("Unrecognized format [%d] - may cause a crash on Zelvar end!", format);
        components = 1;
    }
    return zelvar_data_get_type_size(type, components);
}

uint64_t zelvar_data_get_pixel_reach(uint32_t format, uint32_t type)
{
    constexpr uint64_t most_components = 4, widest_component = 4;
    const uint64_t components = components_of(format);
    const type_shape shape = shape_of(type);
    if (type == GL_FLOAT_32_UNSIGNED_INT_24_8_REV)
        return 8;
    if (shape.packed)
        return shape.bytes;
    return (components ? components : most_components) * (shape.bytes ? shape.bytes : widest_component);
}
