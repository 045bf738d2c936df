#pragma once
// Decoding of ASTC textures to 8 bits a channel: 2D blocks, LDR profile, as KHR_texture_compression_astc_ldr
// and the Khronos data format define them. Pure computation: no log, no file, nothing shared between
// decoders.

#include <cstddef>
#include <cstdint>
#include <memory>

/// Decodes blocks of one size. Keeps tables that fill as the blocks need them, so a decoder serves one thread
/// at a time and is worth keeping.
class astc_decoder
{
public:
    /// The sides of a block, in texels; whether the format has such blocks.
    static bool has_block_size(uint32_t width, uint32_t height);
    /// Of a size that the format has.
    astc_decoder(uint32_t block_width, uint32_t block_height);
    ~astc_decoder();
    astc_decoder(astc_decoder&&) noexcept;
    astc_decoder& operator=(astc_decoder&&) noexcept;

    /// Decodes the 16 bytes of a block into a rectangle of its size: R, G, B, A bytes, rows `row_bytes`
    /// apart. An illegal block comes out opaque magenta, and so do texels of HDR endpoints.
    void decode_block(const uint8_t* block, bool srgb, uint8_t* rgba, size_t row_bytes);

    /// Decodes rows of blocks, `first` up to but without `last`, of an image of width x height texels;
    /// `blocks` and `rgba` are those of the whole image. What lies past the right and the bottom edge is
    /// dropped.
    void decode_rows(const uint8_t* blocks, bool srgb, uint32_t width, uint32_t height, uint32_t first,
                     uint32_t last, uint8_t* rgba);

private:
    struct tables;
    std::unique_ptr<tables> _tables;
};

/// An image of whole blocks in raster order.
struct astc_image
{
    uint32_t block_width = 0;  // texels
    uint32_t block_height = 0; // texels
    bool srgb = false;         // expands endpoints as sRGB formats do; applies no transfer curve
    uint32_t width = 0;        // texels
    uint32_t height = 0;       // texels
    const uint8_t* blocks = nullptr;
};

/// Bytes of the image's blocks.
uint64_t astc_image_size(const astc_image& image);

/// Decodes a whole image to `width` x `height` x 4 bytes, rows without gaps. `rgba` may overlap the blocks,
/// which are then read to their end first. False, with nothing written, for a block size that doesn't exist
/// or when memory is short.
bool astc_decode_image(const astc_image& image, uint8_t* rgba);

/// Whether R, G and B are equal in all texels; none at all count as grey.
bool astc_is_grey(const uint8_t* rgba, uint64_t texels);
