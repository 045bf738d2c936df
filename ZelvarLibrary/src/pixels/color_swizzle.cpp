#include "pixels/color_swizzle.h"

namespace {
constexpr uint32_t UINT_8888 = 0x8035; // GL_UNSIGNED_INT_8_8_8_8, which OpenGL ES has no name for

struct swizzle_row
{
    uint32_t format;
    uint32_t type;
    color_swizzle swizzle;
};
constexpr swizzle_row rows[] = {
    {GL_RGBA, UINT_8888, {GL_ALPHA, GL_BLUE, GL_GREEN, GL_RED}},
    {GL_BGRA_EXT, UINT_8888, {GL_GREEN, GL_BLUE, GL_ALPHA, GL_RED}},
    {GL_BGRA_EXT, GL_UNSIGNED_BYTE, {GL_BLUE, GL_GREEN, GL_RED, GL_ALPHA}},
};
} // namespace

bool zelvar_helpers_get_color_swizzle(const wire::winsys_buffer_object_descriptor& buffer,
                                      color_swizzle* swizzle)
{
    if (buffer.bits_per_pixel != 32)
        return false;
    for (const swizzle_row& row : rows) {
        if (row.format != buffer.format || row.type != buffer.type)
            continue;
        *swizzle = row.swizzle;
        return true;
    }
    return false;
}

pixel_layout host_layout_of(const wire::winsys_buffer_object_descriptor& buffer)
{
    color_swizzle swizzle;
    if (zelvar_helpers_get_color_swizzle(buffer, &swizzle))
        return {GL_RGBA, GL_UNSIGNED_BYTE};
    return {buffer.format, buffer.type};
}
