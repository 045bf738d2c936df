#include "astc/astc.h"

#include <cstring>
#include <new>
#include <optional>

namespace {
uint64_t blocks_down(const astc_image& image)
{
    return (uint64_t{image.height} + image.block_height - 1) / image.block_height;
}

/// Tables cost more than a small image: each thread keeps those of the size it decoded last.
astc_decoder& decoder_for(const astc_image& image)
{
    struct kept
    {
        uint32_t width = 0;
        uint32_t height = 0;
        std::optional<astc_decoder> decoder;
    };
    static thread_local kept last;
    if (!last.decoder || last.width != image.block_width || last.height != image.block_height) {
        last.decoder.emplace(image.block_width, image.block_height);
        last.width = image.block_width;
        last.height = image.block_height;
    }
    return *last.decoder;
}
} // namespace

uint64_t astc_image_size(const astc_image& image)
{
    return (uint64_t{image.width} + image.block_width - 1) / image.block_width * blocks_down(image) * 16;
}

bool astc_decode_image(const astc_image& image, uint8_t* rgba)
{
    if (!astc_decoder::has_block_size(image.block_width, image.block_height))
        return false;
    const uint64_t size = uint64_t{image.width} * image.height * 4;
    if (size == 0)
        return true;
    const auto from = reinterpret_cast<uintptr_t>(image.blocks);
    const auto result = reinterpret_cast<uintptr_t>(rgba);
    const bool overlaps = from < result + size && result < from + astc_image_size(image);
    std::unique_ptr<uint8_t[]> apart;
    if (overlaps) {
        apart.reset(new (std::nothrow) uint8_t[size]);
        if (!apart)
            return false;
    }
    uint8_t* to = overlaps ? apart.get() : rgba;
    decoder_for(image).decode_rows(image.blocks, image.srgb, image.width, image.height, 0,
                                   static_cast<uint32_t>(blocks_down(image)), to);
    if (overlaps)
        std::memcpy(rgba, to, size);
    return true;
}

bool astc_is_grey(const uint8_t* rgba, uint64_t texels)
{
    for (uint64_t i = 0; i < texels; ++i)
        if (rgba[4 * i] != rgba[4 * i + 1] || rgba[4 * i] != rgba[4 * i + 2])
            return false;
    return true;
}
