// Blocks by AVX-512: what a block's bits choose is looked up or masked rather than branched on, so that
// little but the number of texels decides how long a block takes.

#include "avx512_endpoints.h"
#include "avx512_partitions.h"
#include "avx512_sequence.h"
#include "avx512_tables.h"
#include "avx512_texels.h"

#include <cstring>

namespace astc_avx512 {
namespace {

__extension__ typedef unsigned __int128 uint128;

/// `count` bits from `position` on.
inline uint32_t bits_at(uint128 bits, unsigned position, unsigned count)
{
    return static_cast<uint32_t>(_bzhi_u64(static_cast<uint64_t>(bits >> position), count));
}

/// What depends on the number of partitions, by that number less one.
struct partition_rule
{
    uint8_t modes_at;     // where the selector of endpoint modes and the modes stand
    uint8_t modes_mask;   // which bits there count: one partition has no selector, as if all were the same
    uint8_t further_bits; // how many bits of modes stand below the weights if they aren't all the same
    uint8_t colours_at;   // where endpoint values start
    uint32_t present;     // a byte for each partition
};
constexpr partition_rule partition_rules[4] = {{11, 0x3c, 0, 17, 0xff},
                                               {23, 0x3f, 2, 29, 0xffff},
                                               {23, 0x3f, 5, 29, 0xffffff},
                                               {23, 0x3f, 8, 29, 0xffffffff}};

/// A byte for each partition.
struct endpoint_modes
{
    uint32_t modes;
    unsigned below; // the lowest bit taken by weights and modes
};

inline endpoint_modes endpoint_modes_of(uint128 bits, unsigned partitions, unsigned below)
{
    const partition_rule& rule = partition_rules[partitions - 1];
    uint64_t packed = bits_at(bits, rule.modes_at, 6) & rule.modes_mask;
    const uint32_t selector = packed & 3;
    const unsigned further = selector ? rule.further_bits : 0;
    below -= further;
    packed = packed >> 2 | uint64_t{bits_at(bits, below, further)} << 4;
    const auto same = static_cast<uint32_t>(packed & 15) * 0x01010101;
    const auto mixed = static_cast<uint32_t>((selector - 1) * 0x04040404 + _pdep_u32(packed, 0x04040404) +
                                             _pdep_u32(packed >> partitions, 0x03030303));
    return {(selector ? mixed : same) & rule.present, below};
}

/// False for a block of one colour, void or illegal.
inline bool parse(block_tables& tables, const uint8_t* bytes, block_parts& block)
{
    const __m128i vector = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    uint128 bits;
    std::memcpy(&bits, bytes, sizeof(bits));
    const mode_entry& mode = tables.modes[bits_at(bits, 0, 11)];
    const unsigned partitions = bits_at(bits, 11, 2) + 1;
    const partition_rule& rule = partition_rules[partitions - 1];

    auto [modes, below] = endpoint_modes_of(bits, partitions, 128U - mode.weight_bits);
    below -= 2U * mode.dual_plane;
    block.second_plane = mode.dual_plane ? bits_at(bits, below, 2) : 4;

    // Pairs of values of each partition, and of those before it.
    const uint32_t pairs = ((modes >> 2 & 0x03030303) + 0x01010101) & rule.present;
    const uint32_t starts = pairs * 0x02020200;
    const uint32_t all = pairs * 0x01010101 >> 24;
    const sequence_tables::fit fit = tables.sequences->fits[all][(below - rule.colours_at) & 127];
    if (mode.grid == 0 || fit.method == 0 || (mode.dual_plane && partitions == 4))
        return false;

    block.weights = decode_weights(vector, mode, *tables.sequences);
    const uint128 colours = bits >> rule.colours_at;
    const __m512i values = decode_colours(static_cast<uint64_t>(colours),
                                          static_cast<uint64_t>(colours >> 64), fit, *tables.sequences);
    block.endpoints = decode_endpoints(values, modes, starts);

    if (!tables.infills[mode.grid])
        add_infill(tables, mode.grid);
    block.infill = tables.infills[mode.grid];
    const unsigned seed = bits_at(bits, 13, 10);
    const unsigned pattern = partitions == 1 ? one_partition : (partitions - 2) * 1024 + seed;
    if (!tables.has_partitions[pattern])
        add_partitions(tables, partitions, seed);
    block.partitions = tables.partitions + size_t{pattern} * tables.block.groups;
    return true;
}

template <unsigned lanes, bool srgb>
void decode_row_of(block_tables& tables, const uint8_t* blocks, uint32_t width, uint32_t height,
                   uint8_t* rgba, size_t row_bytes)
{
    const uint32_t block_width = tables.block.width;
    for (uint32_t x = 0; x < width; x += block_width, blocks += 16) {
        const uint32_t columns = width - x < block_width ? width - x : block_width;
        const rectangle to{rgba + size_t{x} * 4, row_bytes, height,
                           static_cast<__mmask16>((1U << columns) - 1)};
        block_parts block;
        if (!parse(tables, blocks, block))
            write_colour<lanes>(colour_of_whole(blocks), to);
        else if (block.second_plane < 4)
            write_texels<lanes, srgb, true>(block, to);
        else
            write_texels<lanes, srgb, false>(block, to);
    }
}

template <unsigned lanes>
void decode_row_of(block_tables& tables, const uint8_t* blocks, bool srgb, uint32_t width, uint32_t height,
                   uint8_t* rgba, size_t row_bytes)
{
    if (srgb)
        decode_row_of<lanes, true>(tables, blocks, width, height, rgba, row_bytes);
    else
        decode_row_of<lanes, false>(tables, blocks, width, height, rgba, row_bytes);
}

} // namespace

void decode_row(block_tables& tables, const uint8_t* blocks, bool srgb, uint32_t width, uint32_t height,
                uint8_t* rgba, size_t row_bytes)
{
    if (tables.block.lanes == 4)
        decode_row_of<4>(tables, blocks, srgb, width, height, rgba, row_bytes);
    else if (tables.block.lanes == 8)
        decode_row_of<8>(tables, blocks, srgb, width, height, rgba, row_bytes);
    else
        decode_row_of<16>(tables, blocks, srgb, width, height, rgba, row_bytes);
}

} // namespace astc_avx512
