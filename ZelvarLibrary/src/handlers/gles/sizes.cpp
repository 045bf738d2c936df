#include "handlers/gles/sizes.h"

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
pack_shape shape_of(const current_pack_params& pack, int32_t width)
{
    auto natural = [](int32_t value) { return value > 0 ? static_cast<uint64_t>(value) : 0; };
    return {pack.alignment > 0 ? static_cast<uint64_t>(pack.alignment) : 1,
            pack.row_length > 0 ? natural(pack.row_length) : natural(width), natural(pack.skip_pixels),
            natural(pack.skip_rows)};
}

uint64_t round_up(uint64_t value, uint64_t multiple)
{
    return (value + multiple - 1) / multiple * multiple;
}

/// The product, or the largest number when it doesn't fit: sizes of nonsense must stay too large.
uint64_t saturating_product(uint64_t a, uint64_t b)
{
    uint64_t product = 0;
    return __builtin_mul_overflow(a, b, &product) ? UINT64_MAX / 2 : product;
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
