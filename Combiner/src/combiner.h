#pragma once
// A frame's way from the host GPU into the target's frame buffer: flip, stamp, encode or keep aside, write.

#include "sidechannel_primitives.h"
#include "zelvar_types.h"

#include <compare>
#include <cstdint>
#include <map>

/// The target's frame buffer as a swap message describes it.
struct buffer_info
{
    uint64_t buffer = 0;            // target address
    uint64_t format = 0;            // gralloc format flags
    uint64_t attributes = 0;        // target address of the compression attributes, 0 if none
    uint32_t frameBufferLength = 0; // bytes
    uint32_t bits_per_pixel = 0;
    uint32_t height = 0; // pixels
    uint32_t width = 0;  // pixels
    uint32_t stride = 0; // pixels
};

/// One frame on its way. Blocks are from malloc and owned by this record until `release_inter_frame_data`.
struct _inter_frame_data
{
    uint8_t* pCurrentFrame = nullptr;
    uint64_t current_size = 0; // bytes of the block behind pCurrentFrame
    uint8_t* previous_frame = nullptr;
    uint64_t previous_size = 0;       // bytes of the block behind previous_frame
    uint64_t framebuffer_address = 0; // where the previous frame went
    bool reversed = false;            // rows are bottom-up
    bool blue_first = false;          // the current frame's pixels are B, G, R, A; the target gets R first
};

/// Delivers one frame into target memory. Runs on the swapping worker with the context locked; takes the
/// channel lock for the write. `reset` forgets the previous frame.
void combiner(pid_t pid, tid_t tid, buffer_info* info, _inter_frame_data* frame, bool reset);
/// The same for a whole frame whose block isn't from malloc and stays the caller's, as a driver's mapping. It
/// is delivered without a copy where nothing replaces it or keeps it; stamps are drawn into it. False when
/// there is no memory for the copy, and nothing was done.
bool combiner_of_lent_frame(pid_t pid, tid_t tid, buffer_info* info, uint8_t* pixels, uint64_t size);
/// Frees both frames and clears the record.
void release_inter_frame_data(_inter_frame_data* frame);
/// Turns bottom-up rows of `width` into top-down rows of `stride` pixels. Row sizes are rounded down to whole
/// 32-bit words; spare columns are undefined to the target (zeros, so that no host memory leaks). The record
/// is left alone when there is no memory for the new block.
void flip_reversed_image_data_and_handle_stride(_inter_frame_data* frame, uint32_t width, uint32_t height,
                                                uint32_t stride, uint32_t bytes_per_pixel);
/// Frames per second since the last call; 0 and uncounted unless showFPS or performanceProfile is on.
double calculateFps(uint32_t width, uint32_t height);
/// Stamps "%.2f" of `value` in 4x6 glyphs at (x, y); pixels outside the block of `frame_size` bytes are left
/// out. `stride` in pixels; `height` is not looked at.
void displayNumberDirectly(uint8_t* frame, uint64_t frame_size, uint32_t stride, uint32_t height,
                           uint32_t bytes_per_pixel, uint32_t x, uint32_t y, double value);

/// Whether a frame of this size is the screen.
bool _zelvar_is_framebuffer_size(uint32_t width, uint32_t height);

/// A frame kept aside by the native buffer cache.
struct kept_frame
{
    uint8_t* pixels = nullptr; // malloc
    uint64_t size = 0;         // bytes
    uint32_t use_count = 0;
};

struct kept_frame_key
{
    uint32_t width = 0;  // pixels
    uint32_t height = 0; // pixels
    uint32_t bits_per_pixel = 0;
    auto operator<=>(const kept_frame_key&) const = default; // NOLINT: its 0 is no pointer
};

/// A leaf.
extern critical_section__* andorid_native_buffer_data_map_cs;
/// The kept frames; the map owns the blocks.
extern std::map<kept_frame_key, kept_frame>&
    andorid_native_buffer_data_map ZELVAR_TSA(guarded_by(andorid_native_buffer_data_map_cs));
/// Moves a block from malloc into the map and frees the one that was kept under the same key.
void keep_native_buffer(const kept_frame_key& key, uint8_t* pixels, uint64_t size);
/// Takes the frame that is kept under a key out of the map, for whoever reads it without the lock; no pixels
/// when there is none. The block is the caller's, who gives it back with its count.
kept_frame take_native_buffer(const kept_frame_key& key);
/// Another frame that has come meanwhile stays, and this one is freed.
void give_native_buffer_back(const kept_frame_key& key, const kept_frame& frame);
