#include "handlers/gles/sizes.h"

#include "wire/api.h"

#include <cmath>

namespace {
struct pack_shape
{
    uint64_t alignment;
    uint64_t row_pixels;
    uint64_t skip_pixels;
    uint64_t skip_rows;
};

/// The driver has refused negative values and odd alignments; the model can't hold them, but costs nothing to
/// guard.
uint64_t natural(int32_t value)
{
    return value > 0 ? static_cast<uint64_t>(value) : 0;
}

pack_shape shape_of(const current_pack_params& pack, int32_t width)
{
    return {pack.alignment > 0 ? static_cast<uint64_t>(pack.alignment) : 1,
            pack.row_length > 0 ? natural(pack.row_length) : natural(width), natural(pack.skip_pixels),
            natural(pack.skip_rows)};
}

uint64_t round_up(uint64_t value, uint64_t multiple)
{
    return (value + multiple - 1) / multiple * multiple;
}

/// The product, or a number that is too large for anything: sizes of nonsense must stay so, and a few of them
/// still add up.
uint64_t saturating_product(uint64_t a, uint64_t b)
{
    constexpr uint64_t too_large = UINT64_MAX / 4;
    uint64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) || product > too_large ? too_large : product;
}
} // namespace

uint64_t read_pixels_size(const current_pack_params& pack, int32_t width, int32_t height,
                          uint64_t pixel_bytes)
{
    if (width <= 0 || height <= 0)
        return 0;
    pack_shape shape = shape_of(pack, width);
    uint64_t stride = round_up((shape.row_pixels + shape.skip_pixels) * pixel_bytes, shape.alignment);
    return saturating_product(static_cast<uint64_t>(height) + shape.skip_rows, stride);
}

uint64_t read_pixels_reach(const current_pack_params& pack, int32_t width, int32_t height,
                           uint64_t pixel_bytes)
{
    if (width <= 0 || height <= 0)
        return 0;
    pack_shape shape = shape_of(pack, width);
    uint64_t stride = round_up(shape.row_pixels * pixel_bytes, shape.alignment);
    uint64_t rows = static_cast<uint64_t>(height) + shape.skip_rows;
    return saturating_product(rows, stride) +
           (shape.skip_pixels + static_cast<uint64_t>(width)) * pixel_bytes;
}

uint64_t unpack_size(const current_pack_params& unpack, const image_extent& extent, uint64_t pixel_bytes)
{
    if (extent.width < 0 || extent.height < 0 || extent.depth < 0)
        return 0;
    const pack_shape shape = shape_of(unpack, extent.width);
    // Single precision, no skipped pixels, in three dimensions no skipped rows, and an image height in two:
    // how much a target is asked for stays as targets know it. What lacks of the reach is zero.
    const auto alignment = static_cast<float>(shape.alignment);
    const float row = static_cast<float>(shape.row_pixels) * static_cast<float>(pixel_bytes);
    const auto stride = static_cast<uint64_t>(std::ceil(row / alignment) * alignment);
    const uint64_t rows = unpack.image_height > 0 ? natural(unpack.image_height) : natural(extent.height);
    if (!extent.has_depth)
        return saturating_product(stride, rows + shape.skip_rows);
    return saturating_product(saturating_product(stride, rows),
                              natural(extent.depth) + natural(unpack.skip_images));
}

uint64_t unpack_reach(const current_pack_params& unpack, const image_extent& extent, uint64_t pixel_bytes)
{
    if (extent.width <= 0 || extent.height <= 0 || extent.depth <= 0)
        return 0;
    const pack_shape shape = shape_of(unpack, extent.width);
    const uint64_t stride = round_up(shape.row_pixels * pixel_bytes, shape.alignment);
    const uint64_t last_row = shape.skip_rows + natural(extent.height) - 1;
    uint64_t reach = saturating_product(stride, last_row);
    if (extent.has_depth) {
        const uint64_t rows = unpack.image_height > 0 ? natural(unpack.image_height) : natural(extent.height);
        const uint64_t last_image = natural(unpack.skip_images) + natural(extent.depth) - 1;
        reach += saturating_product(saturating_product(stride, rows), last_image);
    }
    return reach + (shape.skip_pixels + natural(extent.width)) * pixel_bytes;
}

void zelvar_helpers_get_targetside_gl_tex_image_pixels_array_size(uint32_t format, int32_t width,
                                                                  int32_t height, int32_t depth,
                                                                  uint32_t type, uint64_t* out)
{
    uint64_t components = 0, bytes = 0;
    if (format == GL_ALPHA || format == GL_LUMINANCE)
        components = 1;
    else if (format == GL_LUMINANCE_ALPHA)
        components = 2;
    else if (format == GL_RGB)
        components = 3;
    else if (format == GL_RGBA)
        components = 4;
    if (type == GL_UNSIGNED_BYTE)
        bytes = 1;
    else if (type == GL_UNSIGNED_SHORT_5_6_5 || type == GL_UNSIGNED_SHORT_4_4_4_4 ||
             type == GL_UNSIGNED_SHORT_5_5_5_1)
        bytes = 2;
    const uint64_t pixels = saturating_product(natural(width) * natural(height), natural(depth));
    *out = saturating_product(pixels, components * bytes);
}
