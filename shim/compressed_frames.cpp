#include "shim/compressed_frames.h"

#include "tpakutil/tpak_main.h"

#include <cstring>
#include <new>

namespace shim {

namespace {

constexpr unsigned four_bytes = 3; // the format of pixels of four bytes
constexpr int32_t version_1_2 = 5; // the newest of the codec

/// As for any frame buffer that names no attributes.
tpak_opts plain_options()
{
    tpak_opts options;
    options.yuv_trans = 1;
    options.version = version_1_2;
    return options;
}

} // namespace

std::unique_ptr<uint8_t[]> decompress_frame(const uint8_t* frame, window_size size)
{
    const tpak_opts options = plain_options();
    TpakDecoder decoder{four_bytes, size.width, size.height, &options};
    std::unique_ptr<uint8_t[]> pixels{new (std::nothrow) uint8_t[size_t{size.width} * size.height * 4]};
    if (!pixels || decoder.getMaxFrameSize() > frame_memory::length(size) ||
        !decoder.decode(frame, pixels.get()))
        return nullptr;
    return pixels;
}

bool compress_frame(const uint8_t* pixels, window_size size, uint8_t* frame)
{
    const tpak_opts options = plain_options();
    TpakEncoder encoder{four_bytes, size.width, size.height, &options};
    if (encoder.getMaxFrameSize() == 0 || encoder.getMaxFrameSize() > frame_memory::length(size))
        return false;
    std::memset(frame, 0, encoder.getMaxFrameSize());
    return encoder.encode(pixels, frame, false);
}

} // namespace shim
