#include "assertion.h"
#include "packed_frame.h"

#include <cstddef>

namespace {

int bits_per_pixel(const tpak_frame_info& info)
{
    return info.component_bits[0] + info.component_bits[1] + info.component_bits[2] + info.component_bits[3];
}

size_t pixel_count(const tpak_frame_info& info)
{
    return static_cast<size_t>(info.width) * static_cast<size_t>(info.height);
}

int encode(tpak_frame_info& info, const uint8_t* pixels, uint8_t* buffer, int buffer_size,
           bool reverse_components, tpak_threads*)
{
    TPAK_ASSERT(bits_per_pixel(info) % 8 == 0, "bpp % 8 == 0");
    const int bytes = bits_per_pixel(info) / 8;
    const int count = info.ncomponents_of_type[0];
    uint32_t* planes[tpak_most_components];
    alloc_planes(planes, count, info.width, info.height, 0, 0);
    for (size_t i = 0; i < pixel_count(info); i++) {
        uint64_t packed = 0;
        for (int byte = 0; byte < bytes; byte++)
            packed |= uint64_t{*pixels++} << 8 * byte;
        for (int c = 0; c < count; c++) {
            const int bits = info.component_bits[c];
            planes[reverse_components ? count - 1 - c : c][i] =
                static_cast<uint32_t>(packed & ((1u << bits) - 1));
            packed >>= bits;
        }
    }
    const int end = encode_frame(info, planes, buffer, buffer_size);
    free_planes(planes);
    return end;
}

void decode(tpak_frame_info& info, const uint8_t* buffer, int buffer_size, uint8_t* pixels)
{
    uint32_t* planes[tpak_most_components];
    alloc_frame_planes(planes, info);
    decode_frame(info, buffer, buffer_size, planes);
    const int bytes = (bits_per_pixel(info) + 7) / 8;
    for (size_t i = 0; i < pixel_count(info); i++) {
        // A plane's value may be wider than its component, and is not cut.
        uint64_t packed = 0;
        for (int c = 0, bit = 0; c < info.ncomponents_of_type[0]; bit += info.component_bits[c++])
            packed |= uint64_t{planes[c][i]} << bit;
        for (int byte = 0; byte < bytes; byte++)
            *pixels++ = static_cast<uint8_t>(packed >> 8 * byte);
    }
    free_planes(planes);
}

} // namespace

const tpakutil::packed_coder tpakutil::reference_coder{encode, decode};
