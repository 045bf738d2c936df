#pragma once
// The ways to decode blocks, which differ in speed only.

#include <cstddef>
#include <cstdint>
#include <memory>

/// Decodes blocks of one size. Fills tables as the blocks need them, so it serves one thread at a time.
class block_road
{
public:
    block_road() = default;
    block_road(const block_road&) = delete;
    block_road& operator=(const block_road&) = delete;
    virtual ~block_road();
    /// Decodes blocks that stand side by side to `width` x `height` texels, rows `row_bytes` apart. `height`
    /// is at most that of a block; what lies past the edges is dropped.
    virtual void decode_row(const uint8_t* blocks, bool srgb, uint32_t width, uint32_t height, uint8_t* rgba,
                            size_t row_bytes) = 0;
};

/// Runs on every machine.
std::unique_ptr<block_road> make_portable_road(uint32_t block_width, uint32_t block_height);
/// Null on machines that lack the instructions.
std::unique_ptr<block_road> make_avx512_road(uint32_t block_width, uint32_t block_height);
