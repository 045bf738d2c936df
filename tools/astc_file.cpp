#include "astc_file.h"

namespace {
constexpr size_t header_size = 16;
constexpr uint8_t magic[] = {0x13, 0xab, 0xa1, 0x5c};

uint32_t number_at(const uint8_t* bytes)
{
    return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16;
}
} // namespace

std::string parse_astc_file(std::vector<uint8_t> bytes, astc_file& out)
{
    if (bytes.size() < header_size || !std::equal(std::begin(magic), std::end(magic), bytes.begin()))
        return "it is no ASTC file";
    astc_image& image = out.image;
    image.block_width = bytes[4];
    image.block_height = bytes[5];
    image.width = number_at(&bytes[7]);
    image.height = number_at(&bytes[10]);
    if (bytes[6] != 1 || number_at(&bytes[13]) != 1)
        return "it has more than one layer";
    if (!astc_decoder::has_block_size(image.block_width, image.block_height))
        return "there are no ASTC blocks of " + std::to_string(image.block_width) + "x" +
               std::to_string(image.block_height);
    if (image.width == 0 || image.height == 0)
        return "it is empty";
    const uint64_t wanted = header_size + astc_image_size(image);
    if (bytes.size() < wanted)
        return "it ends after " + std::to_string(bytes.size()) + " of " + std::to_string(wanted) + " bytes";
    out.bytes = std::move(bytes);
    image.blocks = out.bytes.data() + header_size;
    return {};
}
