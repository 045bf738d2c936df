#include "frame_encoder.h"

#include "tpakutil/tpak_main.h"

#include <algorithm>
#include <cstdlib>

namespace {

tpak_opts options_of(const frame_encoding& encoding)
{
    tpak_opts options;
    options.crop_top = static_cast<int32_t>(encoding.attributes.crop_top);
    options.crop_left = static_cast<int32_t>(encoding.attributes.crop_left);
    options.crop_height = static_cast<int32_t>(encoding.attributes.crop_height);
    options.crop_width = static_cast<int32_t>(encoding.attributes.crop_width);
    options.yuv_trans = static_cast<int32_t>(encoding.attributes.yuv_transform);
    options.sparse_alloc = static_cast<int32_t>(encoding.attributes.sparse_allocation);
    options.version = static_cast<int32_t>(encoding.version);
    options.block_split = encoding.block_split;
    options.tiled = encoding.tiled;
    return options;
}

/// Bytes of the pixels alone. Sides are limited by the codec, so that this can't overflow.
uint64_t size_of_pixels(const frame_encoding& encoding)
{
    return uint64_t{encoding.width} * encoding.height * (encoding.format_code + 1);
}

} // namespace

bool encode_frame(const frame_encoding& encoding, const uint8_t* pixels, uint64_t pixels_size,
                  uint64_t minimum_size, frame_block* out)
{
    const tpak_opts options = options_of(encoding);
    TpakEncoder encoder{encoding.format_code, encoding.width, encoding.height, &options};
    const uint64_t largest = encoder.getMaxFrameSize();
    if (largest == 0 || !TpakBase::is_within_31_bits(largest) || size_of_pixels(encoding) > pixels_size)
        return false;
    out->size = std::max(largest, minimum_size);
    out->pixels = static_cast<uint8_t*>(std::calloc(out->size, 1));
    if (!out->pixels)
        return true;
    encoder.encode(pixels, out->pixels, encoding.reverse_components);
    out->encoded_size = encoder.getEncodedFrameSize(out->pixels);
    return true;
}

bool decode_frame(const frame_encoding& encoding, const frame_block& encoded, uint64_t size, frame_block* out)
{
    const tpak_opts options = options_of(encoding);
    TpakDecoder decoder{encoding.format_code, encoding.width, encoding.height, &options};
    if (decoder.getMaxFrameSize() > encoded.size || size_of_pixels(encoding) > size)
        return false;
    auto* pixels = static_cast<uint8_t*>(std::calloc(std::max<uint64_t>(size, 1), 1));
    if (!pixels || !decoder.decode(encoded.pixels, pixels)) {
        std::free(pixels);
        return false;
    }
    *out = {pixels, size, size};
    return true;
}
