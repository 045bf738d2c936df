#pragma once
// What the AVX-512 road looks up. Plain data, filled by code for every machine: a file for newer instructions
// must not share inline functions with others, as the linker keeps only one of them.

#include <cstddef>
#include <cstdint>

namespace astc_avx512 {

/// How the values of a method lie in their bits. Eight values are taken out of eight bytes, by byte shuffles
/// followed by shifts of each byte's own: `..._from` are indices of bytes, `..._at` bits in the eight bytes.
struct alignas(64) sequence_layout
{
    uint8_t bits_from[64]; // of the stream
    uint8_t bits_at[64];
    uint8_t digits_from[64]; // of the unpacked trits or quints; those of the upper half from 64 on
    uint8_t digits_at[64];   // so that the digit comes out above the bits
    uint8_t packed_from[32]; // of the packed trits or quints of both halves; four groups in eight bytes
    uint8_t packed_at[32];
    uint64_t packed_bits[2]; // where they lie in the halves of the stream
    uint64_t packed_shift;   // brings those of the lower half up to those of the upper one
    const uint8_t* unpacked; // 256 lower halves of what a packed group stands for, and 256 upper ones
    uint8_t bit_mask;
};
/// The same, and what the values stand for, repeated: bits above the value don't matter.
struct weight_layout : sequence_layout
{
    alignas(64) uint8_t meanings[64];
};
struct colour_layout : sequence_layout
{
    alignas(64) uint8_t meanings[256];
};

inline constexpr unsigned colour_methods = 21;
inline constexpr unsigned most_pairs = 16; // of endpoint values; more than nine are illegal

/// The same for blocks of all sizes.
struct sequence_tables
{
    alignas(64) uint8_t unpacked_trits[512];
    alignas(64) uint8_t unpacked_quints[512];
    weight_layout weights[12];
    colour_layout colours[colour_methods]; // those with too few levels are empty
    /// For pairs of values and bits that are free: the method, and the bits that it takes. Bits below 0 may
    /// stand at the end, as a byte's do; method 0 where none fits.
    struct fit
    {
        uint8_t method;
        uint8_t bits;
    } fits[most_pairs + 1][128];
    uint64_t low_bits[129][2];
};
const sequence_tables& tables_of_sequences();

/// What the low 11 bits of a block say.
struct mode_entry
{
    uint8_t grid; // its width + 13 * its height; 0 for an illegal mode
    uint8_t method;
    uint8_t weight_bits; // 24 to 96, of illegal modes too
    uint8_t dual_plane;
};
inline constexpr unsigned grid_stride = 13;
inline constexpr unsigned mode_count = 2048;

/// Texels are worked on in groups of sixteen, which hold one row of a block, two or four.
struct block_geometry
{
    uint32_t width;
    uint32_t height;
    uint32_t lanes;  // of a group for each row
    uint32_t rows;   // of a group
    uint32_t groups; // of a block
};

/// For each texel of a group four neighbouring points of the grid, and how much each counts.
struct alignas(64) infill_group
{
    uint8_t points[64];
    uint8_t parts[64];
};

/// The tables of one block size. Some are made when a block first needs them.
struct block_tables
{
    block_geometry block;
    const sequence_tables* sequences;
    mode_entry modes[mode_count];
    const infill_group* infills[grid_stride * grid_stride]; // by grid; null until needed
    /// By seed and count of partitions, for each group of texels two bits a texel.
    uint32_t* partitions;
    uint8_t has_partitions[3 * 1024 + 1];
};
/// All texels in the first partition: always there.
inline constexpr unsigned one_partition = 3 * 1024;

void set_up(block_tables& tables, uint32_t block_width, uint32_t block_height);
void clean_up(block_tables& tables);
void add_infill(block_tables& tables, unsigned grid);
/// Of a block whose mode is illegal for blocks with weights; R is the lowest byte.
uint32_t colour_of_whole(const uint8_t* block);

/// What block_road::decode_row does.
void decode_row(block_tables& tables, const uint8_t* blocks, bool srgb, uint32_t width, uint32_t height,
                uint8_t* rgba, size_t row_bytes);

} // namespace astc_avx512
