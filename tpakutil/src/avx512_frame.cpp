// Frames with AVX-512, byte permutes and bit matrices.
#include "avx512_pairs.h"
#include "avx512_rows.h"

using namespace tpakutil;

namespace {

struct avx512_kernel
{
    static constexpr unsigned read_ahead = 64; // bytes

    static bool is_solid(const uint8_t* words, int64_t stride) { return tpakutil::is_solid(words, stride); }

    static bool decode(const fast_format& format, const coded_block* blocks, int count, int64_t stride,
                       decoded_bits& sums)
    {
        node_sums nodes;
        for (int i = 0; i < count; i += 2) {
            // An odd one out is decoded twice, and counted once.
            const bool has_second = i + 1 < count;
            coded_block second = blocks[has_second ? i + 1 : i];
            if (!has_second)
                second.times = 0;
            block_pair pair{format, blocks[i], second};
            if (!pair.decode(stride, nodes))
                return false;
            count_head(format, pair.head(0), blocks[i].times, sums);
            count_head(format, pair.head(1), second.times, sums);
        }
        const auto sum = [](__m512i lanes) { return static_cast<uint32_t>(_mm512_reduce_add_epi32(lanes)); };
        sums.m3 = sum(nodes.roots);
        sums.m4 = sum(nodes.quads);
        sums.used = sum(nodes.used);
        sums.needed = sum(nodes.needed);
        return true;
    }

    void begin_superblock() { _built = 0; }

    fast_block encode(const fast_format& format, const block_place& place, uint64_t key_before,
                      bool may_spill, uint8_t* out)
    {
        const block_rows rows = load_rows(place.words(), place.stride);
        const uint32_t word = load32(place.words());
        if (is_flat(rows, word))
            return _flat.encode(format, word, key_before, out);
        const unsigned number = place.y / 4;
        block_row& row = _rows[number];
        if (!(_built >> number & 1)) {
            _built |= 1u << number;
            row.build(format, place.superblock + place.y * place.stride, place.stride);
        }
        const unsigned block = place.x / 4;
        const head_stream head = head_of(format, row.root_counts(block), row.bases(block), row.deltas(block));
        const int size = head.size_with(row.tree_bits(block));
        if (size >= format.block_size)
            return {format.block_size, true, no_flat_key};
        uint8_t stream[most_block_bytes + 16];
        bit_writer writer{may_spill ? out : stream};
        head.put(writer);
        row.put_trees(writer, block);
        if (!may_spill)
            copy_block(out, stream, size);
        return {size, false, no_flat_key};
    }

private:
    block_row _rows[superblock_side / 4];
    unsigned _built = 0; // a bit for each row
    flat_blocks _flat;
};

} // namespace

const packed_coder tpakutil::avx512_coder{fast_encode<avx512_kernel>, fast_decode<avx512_kernel>};
