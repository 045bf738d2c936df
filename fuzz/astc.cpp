// Any blocks, of any size and in images of any small size: decoding stays inside its memory, and the ways to
// decode an image agree, by the instructions that the machine has and by those of any machine.

#include "astc/astc.h"
#include "block_road.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {
constexpr uint32_t sizes[][2] = {{4, 4}, {5, 4},  {5, 5},  {6, 5},  {6, 6},   {8, 5},   {8, 6},
                                 {8, 8}, {10, 5}, {10, 6}, {10, 8}, {10, 10}, {12, 10}, {12, 12}};
constexpr size_t header = 3;

/// For one block size; tables are what they are slow to make.
struct decoders
{
    decoders(uint32_t width, uint32_t height)
        : chosen(width, height), portable(make_portable_road(width, height))
    {
    }
    astc_decoder chosen;
    std::unique_ptr<block_road> portable;
};

decoders& decoders_of(size_t index)
{
    static auto* all = new std::vector<decoders>;
    if (all->empty())
        for (const auto& size : sizes)
            all->emplace_back(size[0], size[1]);
    return (*all)[index];
}

void expect(bool condition)
{
    if (!condition)
        std::abort();
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < header)
        return 0;
    const size_t index = data[0] % std::size(sizes);
    astc_image image;
    image.srgb = data[0] & 0x80;
    image.block_width = sizes[index][0];
    image.block_height = sizes[index][1];
    // Few blocks make many runs, as each stands by itself.
    image.width = data[1] < 240 ? data[1] % 16 : data[1] % 40;
    image.height = data[2] < 240 ? data[2] % 16 : data[2] % 40;
    // Blocks that the input lacks repeat those that it has.
    std::vector<uint8_t> blocks(astc_image_size(image));
    for (size_t i = 0; i < blocks.size() && size > header; ++i)
        blocks[i] = data[header + i % (size - header)];

    const size_t texels_size = size_t{image.width} * image.height * 4;
    std::vector<uint8_t> texels(texels_size);
    image.blocks = blocks.data();
    expect(astc_decode_image(image, texels.data()));

    std::vector<uint8_t> parts(texels_size);
    std::vector<uint8_t> portable(texels_size);
    const size_t row_bytes = size_t{image.width} * 4;
    const uint32_t across = (image.width + image.block_width - 1) / image.block_width;
    for (uint32_t y = 0, row = 0; y < image.height; y += image.block_height, ++row) {
        decoders_of(index).chosen.decode_rows(blocks.data(), image.srgb, image.width, image.height, row,
                                              row + 1, parts.data());
        decoders_of(index).portable->decode_row(blocks.data() + size_t{row} * across * 16, image.srgb,
                                                image.width, std::min(image.block_height, image.height - y),
                                                portable.data() + y * row_bytes, row_bytes);
    }
    expect(parts == texels);
    expect(portable == texels);

    std::vector<uint8_t> shared = blocks;
    shared.resize(std::max(blocks.size(), texels_size));
    image.blocks = shared.data();
    expect(astc_decode_image(image, shared.data()));
    expect(texels_size == 0 || std::memcmp(shared.data(), texels.data(), texels_size) == 0);
    return 0;
}
