#include "bits.h"
#include "tpakutil/tpak_common.h"

#include <cstdio>

using tpakutil::read_bits;

namespace {

void check_size_field(tpak_frame_info& info, int subblock, int type, int field)
{
    const int size = info.size_unit[type] * field;
    if (size >= info.uncompressed_block_size[type]) {
        info.conformance_error = 1;
        std::printf(
            "ERROR: This is not a legal TPAK buffer, the size of subblock %d is %d maximum allowed %d\n",
            subblock, size, info.uncompressed_block_size[type]);
    }
    if (field == 0 && info.subsampled_copy_rule && tpak_first_block_in_8x8(&info, subblock)) {
        info.conformance_error = 1;
        std::printf("ERROR: This is not a legal TPAK buffer, subblock %d not allowed to be a copy block\n",
                    subblock);
    }
}

void check_header(tpak_frame_info& info, unsigned payload_offset, unsigned total, bool solid)
{
    if ((payload_offset & 0x80000000) != 0 && static_cast<int>(payload_offset + total) >= 0) {
        info.conformance_error = 1;
        std::printf(
            "ERROR: This is not a legal TPAK buffer, all payload data needs to be within 2^32 bytes from the "
            "start of the header buffer. Some payload data straddles the end of the 2^32 byte region: "
            "payload "
            "data start: 0x%x, size: 0x%x\n",
            payload_offset, total);
    }
    if (!solid)
        return;
    if (payload_offset != 0) {
        info.conformance_error = 1;
        std::printf("ERROR: The header indicates a solid color block but the payload offset is not 0.\n");
    }
    if (sl_subsampling[info.layout] != 0) {
        info.conformance_error = 1;
        std::printf("ERROR: Solid color blocks is only allowed for non subsampled superblock layouts.\n");
    }
}

} // namespace

unsigned tpak_parse_header_block(tpak_frame_info* info, const unsigned char* header, unsigned* payload_offset,
                                 unsigned long* subblock_offsets, unsigned char* subblock_sizes,
                                 unsigned char* uncompressed)
{
    int bit = 0;
    const auto read = [&](int count) { return read_bits(header, tpak_header_block_size, &bit, count); };
    *payload_offset = read(info->payload_offset_bits);
    // A copy before any data of its type refers to itself; no type's first subblock is behind the third.
    for (int i = 0; i < 3; i++) {
        subblock_offsets[i] = 0;
        subblock_sizes[i] = 0;
        uncompressed[i] = 0;
    }
    int with_data[2] = {-1, -1};
    uint64_t position = 0;
    unsigned total = 0;
    bool solid = false;
    for (int i = 0; i < info->nsubblocks; i++) {
        const int type = info->subblock_order[3 * i];
        if (with_data[type] < 0)
            with_data[type] = i;
        const auto field = static_cast<int>(read(info->subblock_size_bits));
        if (i == 0 && field == 0 && info->zero_header_allowed)
            solid = true;
        if (info->conformance && !solid)
            check_size_field(*info, i, type, field);
        if (field != 0) {
            const int size = field == 1 ? info->uncompressed_block_size[type] : info->size_unit[type] * field;
            subblock_offsets[i] = *payload_offset + position;
            subblock_sizes[i] = static_cast<unsigned char>(size);
            uncompressed[i] = field == 1;
            with_data[type] = i;
            position += static_cast<unsigned>(size);
            total += static_cast<unsigned>(size);
        } else {
            subblock_offsets[i] = subblock_offsets[with_data[type]];
            subblock_sizes[i] = subblock_sizes[with_data[type]];
            uncompressed[i] = uncompressed[with_data[type]];
        }
        if (tpak_is_last_block_before_split(info, i)) {
            const uint64_t half = tpak_get_max_superblock_payloadsize(info) / 2;
            total += static_cast<unsigned>(half - position);
            position = half;
        }
    }
    if (solid)
        total = 0;
    if (info->conformance)
        check_header(*info, *payload_offset, total, subblock_sizes[0] == 0);
    return total;
}

unsigned long tpak_get_subblock_offset(tpak_frame_info* info, const unsigned char* header_block, int subblock,
                                       int* size, int* uncompressed)
{
    unsigned payload_offset;
    unsigned long offsets[tpak_most_subblocks];
    unsigned char sizes[tpak_most_subblocks];
    unsigned char forms[tpak_most_subblocks];
    tpak_parse_header_block(info, header_block, &payload_offset, offsets, sizes, forms);
    *size = sizes[subblock];
    *uncompressed = forms[subblock];
    return offsets[subblock];
}
