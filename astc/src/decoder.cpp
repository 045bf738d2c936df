#include "astc/astc.h"

#include "block_road.h"

#include <algorithm>

struct astc_decoder::tables
{
    uint32_t width;
    uint32_t height;
    std::unique_ptr<block_road> road;
};

astc_decoder::astc_decoder(uint32_t block_width, uint32_t block_height)
    : _tables(std::make_unique<tables>(
          tables{block_width, block_height, make_avx512_road(block_width, block_height)}))
{
    if (!_tables->road)
        _tables->road = make_portable_road(block_width, block_height);
}
astc_decoder::~astc_decoder() = default;
astc_decoder::astc_decoder(astc_decoder&&) noexcept = default;
astc_decoder& astc_decoder::operator=(astc_decoder&&) noexcept = default;

bool astc_decoder::has_block_size(uint32_t width, uint32_t height)
{
    constexpr uint32_t sizes[][2] = {{4, 4}, {5, 4},  {5, 5},  {6, 5},  {6, 6},   {8, 5},   {8, 6},
                                     {8, 8}, {10, 5}, {10, 6}, {10, 8}, {10, 10}, {12, 10}, {12, 12}};
    return std::any_of(std::begin(sizes), std::end(sizes),
                       [&](const auto& size) { return size[0] == width && size[1] == height; });
}

void astc_decoder::decode_block(const uint8_t* block, bool srgb, uint8_t* rgba, size_t row_bytes)
{
    _tables->road->decode_row(block, srgb, _tables->width, _tables->height, rgba, row_bytes);
}

void astc_decoder::decode_rows(const uint8_t* blocks, bool srgb, uint32_t width, uint32_t height,
                               uint32_t first, uint32_t last, uint8_t* rgba)
{
    const size_t across = (size_t{width} + _tables->width - 1) / _tables->width;
    const size_t row_bytes = size_t{width} * 4;
    for (uint32_t row = first; row < last; ++row) {
        const uint32_t y = row * _tables->height;
        _tables->road->decode_row(blocks + row * across * 16, srgb, width,
                                  std::min(_tables->height, height - y), rgba + y * row_bytes, row_bytes);
    }
}
