#include "bits.h"
#include "tpakutil/tpak_common.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using tpakutil::read_bits;

namespace {

using plane = unsigned[tpak_superblock_pixels];

/// A superblock's parsed header block.
struct superblock
{
    int mbx;
    int mby;
    uint64_t index;
    unsigned char header[tpak_header_block_size];
    unsigned payload_offset;
    unsigned long offsets[tpak_most_subblocks];
    unsigned char sizes[tpak_most_subblocks];
    unsigned char forms[tpak_most_subblocks]; // 1: uncompressed
};

/// Bytes behind the end of the buffer read as zeros.
void load_header(const unsigned char* buffer, int buffer_size, superblock& found)
{
    std::memset(found.header, 0, sizeof found.header);
    const uint64_t at = found.index * tpak_header_block_size;
    if (buffer_size > 0 && at < static_cast<unsigned>(buffer_size))
        std::memcpy(found.header, buffer + at,
                    std::min<uint64_t>(sizeof found.header, static_cast<unsigned>(buffer_size) - at));
}

void decode_solid(const tpak_frame_info& info, const unsigned char* header, plane* planes)
{
    int bit = 64;
    for (int type = 0; type < info.nblocktypes; type++) {
        for (int c = 0; c < info.ncomponents_of_type[type]; c++) {
            const int component = info.first_component_of_type[type] + c;
            const uint32_t value =
                read_bits(header, tpak_header_block_size, &bit, info.component_bits[component]);
            std::fill_n(planes[component], info.superblock_width * info.superblock_height, value);
        }
    }
}

void check_paging_tile(tpak_frame_info& info, const superblock& block)
{
    const uint64_t tile_size = static_cast<uint64_t>(tpak_get_tile_size_x(&info)) *
                               static_cast<uint64_t>(tpak_get_tile_size_y(&info));
    const uint64_t largest = tpak_get_max_superblock_payloadsize(&info);
    const uint64_t begin = tpak_get_header_area_size(&info) + block.index / tile_size * (tile_size * largest);
    const uint64_t end = begin + tile_size * largest;
    const uint64_t offset = block.payload_offset;
    if (offset < begin || offset + largest > end)
        std::printf("ERROR: Superblock %d, %d is outside its paging tile. Valid range of the paging tile is "
                    "%llu-%llu, but superblock spans %llu-%llu.\n",
                    block.mbx, block.mby, static_cast<unsigned long long>(begin),
                    static_cast<unsigned long long>(end), static_cast<unsigned long long>(offset),
                    static_cast<unsigned long long>(offset + largest));
    if (!info.conformance || !info.paging_tile_start_check || block.index % tile_size != 0 || offset == begin)
        return;
    info.conformance_error = 1;
    std::printf(
        "ERROR: Superblock %d, %d is the first superblock in a paging tile, but its payload data isn't at "
        "the beginning of the paging tile.\n",
        block.mbx, block.mby);
    std::printf("ERROR: Paging tile start is %llu, but superblock start is %llu.\n",
                static_cast<unsigned long long>(begin), static_cast<unsigned long long>(offset));
}

bool is_aligned(uint64_t offset, const tpak_frame_info& info)
{
    const auto from_base = static_cast<unsigned>(offset) - static_cast<unsigned>(info.payload_base);
    return from_base % static_cast<unsigned>(info.payload_alignment) == 0;
}

void check_payload_start(tpak_frame_info& info, const superblock& block)
{
    if (!info.payload_alignment || info.stripe_height || block.mbx != 0 || block.mby != 0 ||
        is_aligned(block.payload_offset, info))
        return;
    info.conformance_error = 1;
    std::printf("ERROR: The payload buffer is not aligned to %d bytes. It starts at byte %d.\n",
                info.payload_alignment, static_cast<int>(block.payload_offset));
}

void check_spacing(tpak_frame_info& info, const superblock& block)
{
    if (!info.sparse_alloc)
        return;
    const unsigned offset = block.payload_offset - static_cast<unsigned>(info.payload_base);
    info.lowest_payload_offset = std::min(info.lowest_payload_offset, offset);
    const unsigned long largest = tpak_get_max_superblock_payloadsize(&info);
    if ((offset - info.lowest_payload_offset) % largest == 0)
        return;
    info.conformance_error = 1;
    std::printf(
        "ERROR: Superblock %d in the payload buffer not spaced a multiple of %llu bytes vs another block.\n",
        info.mbw * block.mby + block.mbx, static_cast<unsigned long long>(largest));
}

void check_stripe(tpak_frame_info& info, const superblock& block)
{
    const int rows = info.stripe_height / info.superblock_height;
    if (rows <= 0 || !info.stripe_table)
        return;
    const uint64_t largest = tpak_get_max_superblock_payloadsize(&info);
    const uint64_t end = block.payload_offset + largest;
    const int number = block.mby / rows;
    tpak_stripe& stripe = info.stripe_table[number];
    stripe.lowest_payload_offset = std::min<uint64_t>(stripe.lowest_payload_offset, block.payload_offset);
    if (stripe.highest_end_offset == ~uint64_t{0} || stripe.highest_end_offset < end)
        stripe.highest_end_offset = end;
    if (--stripe.superblocks_left != 0)
        return;
    if (info.payload_alignment && !is_aligned(stripe.lowest_payload_offset, info)) {
        info.conformance_error = 1;
        std::printf("ERROR: Stripe %d in the payload buffer is not aligned to expected %d bytes.\n", number,
                    info.payload_alignment);
    }
    const uint64_t covered = stripe.highest_end_offset - stripe.lowest_payload_offset;
    const uint64_t expected = static_cast<uint64_t>(rows) * static_cast<uint64_t>(info.mbw) * largest;
    if (covered > expected) {
        info.conformance_error = 1;
        std::printf("ERROR: Stripe %d covers %llu bytes, which is larger than expected %llu bytes\n", number,
                    static_cast<unsigned long long>(covered), static_cast<unsigned long long>(expected));
    }
}

struct subblock_place
{
    int type;
    int x;
    int y;
};

void store_block(const tpak_frame_info& info, const subblock_place& place, unsigned (*block)[4][4],
                 plane* planes)
{
    for (int c = 0; c < info.ncomponents_of_type[place.type]; c++) {
        unsigned* out = planes[info.first_component_of_type[place.type] + c];
        for (int y = 0; y < info.block_height; y++) {
            for (int x = 0; x < info.block_width; x++)
                out[(place.y + y) * info.superblock_width + place.x + x] = block[c][y][x];
        }
    }
}

/// What a subblock took, against what its header says.
void check_decoded_size(tpak_frame_info& info, const superblock& block, int i, int type, int decoded)
{
    if (decoded >= 0)
        decoded = std::max(decoded, 2 * info.size_unit[type]);
    const int unit = block.forms[i] ? 1 : info.size_unit[type];
    if (decoded >= 0 && (decoded + unit - 1) / unit * unit == block.sizes[i])
        return;
    if (info.conformance) {
        info.conformance_error = 1;
        std::printf("ERROR: This buffer does not pass conformance!\n");
    }
    std::printf("ERROR: Subblock size mismatch mbx=%d mby=%d i=%d subblock_offset=%llu subblock_size=%d "
                "ucompressed=%d decoded size=%d\n",
                block.mbx, block.mby, i, static_cast<unsigned long long>(block.offsets[i]), block.sizes[i],
                block.forms[i], decoded);
}

void decode_subblock(tpak_frame_info& info, const unsigned char* buffer, int buffer_size,
                     const superblock& block, int i, plane* planes)
{
    const unsigned char* order = info.subblock_order + 3 * i;
    const subblock_place place{order[0], order[1], order[2]};
    unsigned pixels[tpak_most_components][4][4] = {};
    const uint64_t offset = block.offsets[i];
    if (offset + block.sizes[i] > info.frame_size) {
        std::printf(
            "ERROR: Subblock outside the frame mbx=%d mby=%d i=%d subblock_offset=%llu subblock_size=%d "
            "ucompressed=%d frame_size=%llu\n",
            block.mbx, block.mby, i, static_cast<unsigned long long>(offset), block.sizes[i], block.forms[i],
            static_cast<unsigned long long>(info.frame_size));
        store_block(info, place, pixels, planes);
        return;
    }
    // A stream that the buffer cuts off ends there.
    const uint64_t end = buffer_size > 0 ? static_cast<uint64_t>(buffer_size) : 0;
    const bool outside = offset >= end;
    const int available = outside ? 0 : static_cast<int>(std::min<uint64_t>(block.sizes[i], end - offset));
    const int decoded = tpak_decode_block4x4(&info, place.type, outside ? buffer : buffer + offset, available,
                                             block.forms[i], pixels, i);
    if (outside)
        std::printf("ERROR: Buffer size is %d but current subblock offset is %llu.", buffer_size,
                    static_cast<unsigned long long>(offset));
    check_decoded_size(info, block, i, place.type, decoded);
    store_block(info, place, pixels, planes);
}

} // namespace

int tpak_decode_superblock(tpak_frame_info* info, const unsigned char* buffer, int buffer_size, int mbx,
                           int mby, unsigned (*planes)[tpak_superblock_pixels])
{
    superblock block;
    block.mbx = mbx;
    block.mby = mby;
    block.index = tpak_get_superblock_index(info, mbx, mby);
    load_header(buffer, buffer_size, block);
    tpak_parse_header_block(info, block.header, &block.payload_offset, block.offsets, block.sizes,
                            block.forms);
    if (block.sizes[0] == 0) {
        if (!info->zero_header_allowed)
            std::printf(
                "ERROR: Header block for superblock mbx=%d mby=%d is all zeroes; not a valid header in TPAK "
                "version < 1.2.\n",
                mbx, mby);
        decode_solid(*info, block.header, planes);
        return 0;
    }
    if (info->tiled)
        check_paging_tile(*info, block);
    if (info->conformance) {
        check_payload_start(*info, block);
        check_spacing(*info, block);
        check_stripe(*info, block);
    }
    for (int i = 0; i < info->nsubblocks; i++)
        decode_subblock(*info, buffer, buffer_size, block, i, planes);
    return 1;
}
