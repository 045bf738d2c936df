#pragma once
// The seam between a frame on its way and the codec. Pure computation: no lock, no target memory.

#include <cstdint>

/// Bits of a gralloc format.
inline constexpr uint64_t gralloc_tpak_mask = 0xb00000000;
inline constexpr uint64_t gralloc_tpak_split_block = uint64_t{1} << 33;
inline constexpr uint64_t gralloc_tpak_wide_block = uint64_t{1} << 35;

/// The record that a compressed frame buffer carries in target memory.
struct tpak_attributes
{
    uint32_t crop_top = 0;
    uint32_t crop_left = 0;
    uint32_t crop_height = 0;
    uint32_t crop_width = 0;
    uint32_t yuv_transform = 1;
    uint32_t sparse_allocation = 0;
};
static_assert(sizeof(tpak_attributes) == 24);

/// How a frame is to be compressed.
struct frame_encoding
{
    uint32_t format_code = 0; // 3 for 4 bytes per pixel, 2 for 3, 1 for 2
    uint32_t width = 0;       // pixels
    uint32_t height = 0;      // pixels
    tpak_attributes attributes;
    uint32_t version = 0; // tpak_version_t
    bool block_split = false;
    bool tiled = false;
    bool reverse_components = false;
};

/// A block from malloc that the caller owns.
struct frame_block
{
    uint8_t* pixels = nullptr;
    uint64_t size = 0;         // bytes of the block
    uint64_t encoded_size = 0; // bytes that the frame takes inside the block
};

/// Compresses `pixels` (`pixels_size` bytes, rows without gaps) into a new zeroed block of at least
/// `minimum_size` bytes. False when the format can't hold such a frame. True without a block when there is no
/// memory for one.
bool encode_frame(const frame_encoding& encoding, const uint8_t* pixels, uint64_t pixels_size,
                  uint64_t minimum_size, frame_block* out);
/// The reverse: turns a block of `encode_frame` into a new zeroed block of `size` bytes, which must hold the
/// pixels. There is no reversal of components here: those of a frame that was encoded with it come back
/// exchanged.
bool decode_frame(const frame_encoding& encoding, const frame_block& encoded, uint64_t size,
                  frame_block* out);
