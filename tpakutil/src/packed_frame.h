#pragma once
// Frames of packed pixels in layout 0, as the classes have them, by one of several coders.

#include "tpakutil/tpak_main.h"

namespace tpakutil {

/// A way to do the work of the classes. `encode` returns the position behind the last payload.
struct packed_coder
{
    int (*encode)(tpak_frame_info& info, const uint8_t* pixels, uint8_t* buffer, int buffer_size,
                  bool reverse_components, tpak_threads* threads);
    void (*decode)(tpak_frame_info& info, const uint8_t* buffer, int buffer_size, uint8_t* pixels);
};

extern const packed_coder reference_coder;
extern const packed_coder portable_coder;
extern const packed_coder avx2_coder;
extern const packed_coder avx512_coder;
/// Whether this machine runs them.
bool has_avx2();
bool has_avx512();

} // namespace tpakutil
