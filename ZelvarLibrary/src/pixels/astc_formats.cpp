#include "pixels/astc_formats.h"

#include "astc/astc.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"

#include <atomic>
#include <cstdio>
#include <memory>

namespace {
struct block_size
{
    unsigned char width;
    unsigned char height;
};
/// In the order of the formats, each for a UNORM and an SRGB member.
constexpr block_size block_sizes[] = {{4, 4}, {5, 4},  {5, 5},  {6, 5},  {6, 6},   {8, 5},   {8, 6},
                                      {8, 8}, {10, 5}, {10, 6}, {10, 8}, {10, 10}, {12, 10}, {12, 12}};
static_assert(VK_FORMAT_ASTC_12x12_SRGB_BLOCK - VK_FORMAT_ASTC_4x4_UNORM_BLOCK + 1 ==
              2 * std::size(block_sizes));

void report_unknown(VkFormat format)
{
    LOG_ERROR("Unkown ASTC format:%d", format);
}

/// A DirectDraw surface: a header of 128 bytes, then the texels.
bool write_dds(const char* path, uint32_t width, uint32_t height, const uint8_t* rgba)
{
    uint32_t header[32] = {};
    header[0] = 0x20534444; // "DDS "
    header[1] = 124;        // bytes that follow in the header
    header[2] = 0x100f;     // caps, height, width, pitch and pixel format are there
    header[3] = height;
    header[4] = width;
    header[5] = width * 4;
    header[19] = 32;   // bytes of the pixel format
    header[20] = 0x41; // RGB with alpha
    header[22] = 32;   // bits per pixel
    header[23] = 0x000000ff;
    header[24] = 0x0000ff00;
    header[25] = 0x00ff0000;
    header[26] = 0xff000000;
    header[27] = 0x1000; // a texture
    std::unique_ptr<FILE, int (*)(FILE*)> file{std::fopen(path, "wb"), std::fclose};
    const size_t size = size_t{width} * height * 4;
    return file && std::fwrite(header, sizeof(header), 1, file.get()) == 1 &&
           std::fwrite(rgba, 1, size, file.get()) == size;
}

void save_image(uint32_t width, uint32_t height, const uint8_t* rgba)
{
    static std::atomic<unsigned> next;
    char name[32];
    std::snprintf(name, sizeof(name), "%03u.dds", next.fetch_add(1));
    if (!write_dds(name, width, height, rgba))
        LOG_ERROR("Could not write the decoded ASTC image to %s", name);
}
} // namespace

bool is_astc_format(VkFormat format)
{
    return format >= VK_FORMAT_ASTC_4x4_UNORM_BLOCK && format <= VK_FORMAT_ASTC_12x12_SRGB_BLOCK;
}

void zelvar_helper_convert_format(VkFormat* format)
{
    if (is_astc_format(*format))
        *format = VK_FORMAT_R8G8B8A8_UNORM;
}

void get_astc_blockdim(VkFormat format, unsigned char* width, unsigned char* height)
{
    block_size size{0, 0};
    if (is_astc_format(format))
        size = block_sizes[(format - VK_FORMAT_ASTC_4x4_UNORM_BLOCK) / 2];
    else
        report_unknown(format);
    *width = size.width;
    *height = size.height;
}

int get_srgb_transform(VkFormat format)
{
    if (is_astc_format(format))
        return (format - VK_FORMAT_ASTC_4x4_UNORM_BLOCK) % 2;
    report_unknown(format);
    return -1;
}

void zelvar_helpers_decodeASTCtoRGBA8888(VkFormat format, int width, int height, void* source,
                                         void* destination)
{
    unsigned char block_width = 0;
    unsigned char block_height = 0;
    get_astc_blockdim(format, &block_width, &block_height);
    if (block_width == 0 || width <= 0 || height <= 0)
        return;
    astc_image image;
    image.block_width = block_width;
    image.block_height = block_height;
    image.srgb = get_srgb_transform(format) == 1;
    image.width = static_cast<uint32_t>(width);
    image.height = static_cast<uint32_t>(height);
    image.blocks = static_cast<const uint8_t*>(source);
    auto* rgba = static_cast<uint8_t*>(destination);
    if (!astc_decode_image(image, rgba)) {
        LOG_ERROR("Out of memory while decoding an ASTC image of %d x %d", width, height);
        return;
    }
    if (setting(zelvar_only_settings.astcSaveImage))
        save_image(image.width, image.height, rgba);
    // An image without colour is taken for one of red alone, or red and alpha.
    const uint64_t texels = uint64_t{image.width} * image.height;
    if (!astc_is_grey(rgba, texels))
        return;
    for (uint64_t i = 0; i < texels; ++i)
        rgba[4 * i + 1] = rgba[4 * i + 2] = 0;
}
