#pragma once
// What the overlay counts.

#include <cstdint>

/// Frames of the screen counted by `calculateFps` so far.
uint32_t combiner_frame_number();
