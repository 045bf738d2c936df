#include "tpakutil/tpak_common.h"

#include <cstring>

namespace {

constexpr unsigned char magic[4] = {'T', 'P', 'A', 'K'};
constexpr int first_version = 3;
constexpr int version_with_split = 4;
constexpr int version_with_tiles = 5;

int load16(const unsigned char* bytes)
{
    return bytes[0] | bytes[1] << 8;
}

void store(unsigned char* bytes, int count, unsigned value)
{
    for (int i = 0; i < count; i++)
        bytes[i] = static_cast<unsigned char>(value >> 8 * i);
}

} // namespace

int tpak_parse_fileheader(const unsigned char* buffer, tpak_frame_info* info, unsigned long* frame_size)
{
    if (std::memcmp(buffer, magic, sizeof magic) != 0 || buffer[4] < tpak_fileheader_size)
        return -1;
    const int version = buffer[6];
    if (version < first_version || version > version_with_tiles)
        return version != 0 ? -version : -1; // its own negation would pass for success
    const int ncomponents = buffer[12];
    const int layout = buffer[13];
    const int yuv_transform = buffer[14];
    int bits[tpak_most_components] = {buffer[16], buffer[17], buffer[18], buffer[19]};
    if (!tpak_is_describable(ncomponents, layout, yuv_transform, bits))
        return -1;

    const int mbw = load16(buffer + 20);
    const int mbh = load16(buffer + 22);
    int width = load16(buffer + 24);
    int height = load16(buffer + 26);
    int left_crop = buffer[28];
    int top_crop = buffer[29];
    if (info->ignore_crop) {
        width = superblock_width[layout] * mbw;
        height = superblock_height[layout] * mbh;
        left_crop = top_crop = 0;
    }
    const int tiled = version >= version_with_tiles ? buffer[30] : 0;
    tpak_init_frame_info(info, width, height, ncomponents, layout, yuv_transform, tiled, bits);
    info->block_split = version >= version_with_split ? buffer[15] : 0;
    info->frame_size = static_cast<unsigned>(load16(buffer + 8)) | static_cast<unsigned>(load16(buffer + 10))
                                                                       << 16;
    info->version = version;
    info->left_crop = left_crop;
    info->top_crop = top_crop;
    info->mbw = mbw;
    info->mbh = mbh;
    info->fileheader_reserved = buffer[31];
    *frame_size = info->frame_size;
    return 0;
}

void tpak_write_fileheader(const tpak_frame_info* info, int frame_size, unsigned char* buffer)
{
    const auto put = [&](int offset, int count, int value) {
        store(buffer + offset, count, static_cast<unsigned>(value));
    };
    std::memcpy(buffer, magic, sizeof magic);
    put(4, 2, tpak_fileheader_size);
    put(6, 1, info->version);
    put(7, 1, 0);
    put(8, 4, frame_size);
    put(12, 1, info->ncomponents_of_type[0] + info->ncomponents_of_type[1]);
    put(13, 1, info->layout);
    put(14, 1, info->yuv_transform);
    put(15, 1, info->block_split);
    for (int i = 0; i < tpak_most_components; i++)
        put(16 + i, 1, info->component_bits[i]);
    put(20, 2, info->mbw);
    put(22, 2, info->mbh);
    put(24, 2, info->width);
    put(26, 2, info->height);
    put(28, 1, info->left_crop);
    put(29, 1, info->top_crop);
    put(30, 1, info->tiled);
    put(31, 1, info->fileheader_reserved);
}
