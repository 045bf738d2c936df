#pragma once
// Frames that the library has compressed, as displays of the device take them. Windows of an X server, and
// frames that have to be cut to size, need their pixels.

#include "shim/windows.h"

#include <memory>

namespace shim {

/// The pixels of a compressed frame in memory of `frame_memory::length(size)` bytes, rows without gaps. Null
/// when there is no memory for them.
std::unique_ptr<uint8_t[]> decompress_frame(const uint8_t* frame, window_size size);

/// Compresses pixels into memory of that length. False when the frame doesn't fit there.
bool compress_frame(const uint8_t* pixels, window_size size, uint8_t* frame);

} // namespace shim
