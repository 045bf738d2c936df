#include "bits.h"
#include "tpakutil/tpak_common.h"

#include <algorithm>
#include <cstring>

using tpakutil::write_bits;

namespace {

using plane = unsigned[tpak_superblock_pixels];

constexpr int solid_value_bit = 64; // of a header block
constexpr int burst_size = 64;      // bytes
constexpr long long no_key = -1;

/// A header block that is being written; position -1 when it has no room.
struct header_writer
{
    uint8_t* data;
    int position;

    void write(uint32_t value, int count)
    {
        position = write_bits(data, tpak_header_block_size, position, value, count);
    }
};

header_writer header_at(unsigned char* buffer, int buffer_size, int index)
{
    const int64_t at = int64_t{index} * tpak_header_block_size;
    const bool fits = at >= 0 && at + tpak_header_block_size <= buffer_size;
    return {fits ? buffer + at : nullptr, fits ? 0 : -1};
}

void write_solid(const tpak_frame_info& info, const plane* planes, header_writer& header)
{
    header.write(0, 32);
    header.write(0, 32);
    int sum = 0;
    for (int c = 0; c < tpak_most_components; c++) {
        if (info.component_bits[c] > 0)
            header.write(planes[c][0], info.component_bits[c]);
        sum += info.component_bits[c];
    }
    for (int left = 8 * tpak_header_block_size - solid_value_bit - sum; left > 0; left -= 32)
        header.write(0, std::min(left, 32));
}

/// The block of a type that came last.
struct previous_block
{
    bool seen = false;
    unsigned pixels[tpak_most_components][16];
    long long flat_key = no_key;
};

/// Encodes the subblocks of a superblock one after the other.
class subblock_encoder
{
public:
    subblock_encoder(tpak_frame_info& info, const plane* planes, unsigned char* buffer, int buffer_size,
                     int wrap_minval, int default_all_components)
        : _info{info}, _planes{planes}, _buffer{buffer}, _buffer_size{buffer_size}, _wrap_minval{wrap_minval},
          _default_all{default_all_components}
    {
    }

    /// Returns the raw size, -1 when the block doesn't fit.
    int encode(int i, int position, header_writer& header, int* taken)
    {
        const int type = _info.subblock_order[3 * i];
        unsigned block[tpak_most_components][16] = {};
        gather(i, block);
        previous_block& before = _previous[type];
        const bool repeats = _info.copy_identical_blocks && before.seen && equals(type, block, before);
        std::memcpy(before.pixels, block, sizeof block);
        before.seen = true;

        unsigned char* out = _buffer + position;
        const int room = _buffer_size - position;
        long long key;
        int uncompressed;
        const int raw = tpak_encode_block4x4(&_info, type, block, out, room, &key, &uncompressed,
                                             _wrap_minval, _default_all);
        if (raw < 0)
            return -1;
        const int unit = _info.size_unit[type];
        const int size = std::max(raw, 2 * unit);
        const bool same = repeats || (key == before.flat_key && key != no_key);
        before.flat_key = key;
        if (same && may_copy(i)) {
            std::memset(out, 0, static_cast<size_t>(std::min(size, room)));
            header.write(0, _info.subblock_size_bits);
            *taken = 0;
        } else {
            const int field = uncompressed ? 1 : std::max(size / unit, 2);
            header.write(static_cast<uint32_t>(field), _info.subblock_size_bits);
            *taken = size;
        }
        return raw;
    }

private:
    void gather(int i, unsigned (*block)[16]) const
    {
        const unsigned char* place = _info.subblock_order + 3 * i;
        const int first = _info.first_component_of_type[place[0]];
        for (int c = 0; c < _info.ncomponents_of_type[place[0]]; c++) {
            for (int pixel = 0; pixel < 16; pixel++)
                block[c][pixel] = _planes[first + c][(place[2] + pixel / 4) * _info.superblock_width +
                                                     place[1] + pixel % 4];
        }
    }

    bool equals(int type, const unsigned (*block)[16], const previous_block& before) const
    {
        return std::memcmp(block, before.pixels,
                           static_cast<size_t>(_info.ncomponents_of_type[type]) * sizeof *block) == 0;
    }

    bool may_copy(int i) const
    {
        const bool at_split = i == tpak_block_split_block(&_info) || i == tpak_block_split_block_alt(&_info);
        return !(at_split && _info.no_copy_at_split) &&
               !(_info.subsampled_copy_rule && tpak_first_block_in_8x8(&_info, i));
    }

    tpak_frame_info& _info;
    const plane* _planes;
    unsigned char* _buffer;
    int _buffer_size;
    int _wrap_minval;
    int _default_all;
    previous_block _previous[2];
};

} // namespace

int round_up(int value, int multiple)
{
    const int rest = value % multiple;
    return rest == 0 ? value : value + multiple - rest;
}

void update_statistics(tpak_frame_info* info, int payload_size, const int* subblock_sizes)
{
    int halves[2] = {};
    for (int i = 0; i < info->nsubblocks; i++)
        halves[i >= info->nsubblocks / 2] += subblock_sizes[i];
    const int rest = (burst_size - halves[0]) % burst_size;
    const auto add = [](unsigned& sum, int bytes) { sum += static_cast<unsigned>(bytes); };
    add(info->contiguous_read_bytes[1], round_up(payload_size, burst_size) + tpak_header_block_size);
    add(info->split_read_bytes[1], round_up(halves[0], burst_size));
    add(info->split_read_bytes[1], round_up(rest, burst_size));
    if (halves[1] - rest > 0)
        add(info->split_read_bytes[1], round_up(halves[1] - rest, burst_size));
    add(info->split_read_bytes[1], tpak_header_block_size);
}

bool tpak_encode_superblock_is_solid(const tpak_frame_info* info,
                                     const unsigned (*planes)[tpak_superblock_pixels])
{
    if (sl_subsampling[info->layout] != 0)
        return false;
    for (int c = 0; c < info->ncomponents_of_type[0]; c++) {
        const unsigned first = planes[c][0];
        if (!std::all_of(planes[c], planes[c] + tpak_superblock_pixels,
                         [first](unsigned value) { return value == first; }))
            return false;
    }
    return true;
}

int tpak_encode_superblock(tpak_frame_info* info, unsigned (*planes)[tpak_superblock_pixels],
                           unsigned char* buffer, int buffer_size, int superblock_index, int payload_position,
                           int wrap_minval, int default_all_components)
{
    return tpak_encode_superblock_ext(info, planes, buffer, buffer_size, superblock_index, payload_position,
                                      wrap_minval, default_all_components, nullptr);
}

int tpak_encode_superblock_ext(tpak_frame_info* info, unsigned (*planes)[tpak_superblock_pixels],
                               unsigned char* buffer, int buffer_size, int superblock_index,
                               int payload_position, int wrap_minval, int default_all_components,
                               int* first_half_end)
{
    header_writer header = header_at(buffer, buffer_size, superblock_index);
    if (header.position < 0)
        return -1;
    if (info->solid_enabled && tpak_encode_superblock_is_solid(info, planes)) {
        write_solid(*info, planes, header);
        return payload_position;
    }
    header.write(static_cast<uint32_t>(payload_position), info->payload_offset_bits);
    const int64_t half =
        payload_position + static_cast<int64_t>(tpak_get_max_superblock_payloadsize(info) / 2);
    subblock_encoder encoder{*info, planes, buffer, buffer_size, wrap_minval, default_all_components};
    int raw_sizes[tpak_most_subblocks];
    int64_t position = payload_position;
    for (int i = 0; i < info->nsubblocks; i++) {
        if (position < 0 || position > buffer_size)
            return -1;
        int taken;
        raw_sizes[i] = encoder.encode(i, static_cast<int>(position), header, &taken);
        if (raw_sizes[i] < 0)
            return -1;
        position += taken;
        if (info->block_split && i == tpak_block_split_block(info) - 1) {
            if (first_half_end)
                *first_half_end = static_cast<int>(position);
            position = half;
        }
    }
    update_statistics(info, static_cast<int>(position) - payload_position, raw_sizes);
    return static_cast<int>(position);
}
