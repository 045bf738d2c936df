#pragma once
// The walk of the fast coders over a frame of packed pixels. A kernel does single blocks; the plain coder of
// tpak_common.h does every superblock that is out of the ordinary, so that its messages are said in one
// place.
//
// Blocks are worked on as words of 32 bits, a byte for each component: what 4-byte pixels are already.

#include "packed_frame.h"
#include "shared_rows.h"
#include "statistics.h"

#include <cstring>

namespace tpakutil {

// Each kernel's file is compiled for its own instructions, so none of this may be shared between files.
namespace {

inline constexpr int superblock_side = 16;
inline constexpr int blocks_of_superblock = 16;
inline constexpr int most_block_bytes = 64;
inline constexpr uint64_t no_flat_key = ~uint64_t{0};

/// What kernels need to know of a frame of layout 0 with components of at most 8 bits.
struct fast_format
{
    int ncomponents;
    int bytes_per_pixel;
    bool yuv;
    bool reverse;
    int block_size; // bytes, uncompressed
    int component_bits[tpak_most_components];
    int body_bits[tpak_most_components];
    int root_bits[tpak_most_components];
    uint32_t default_value[tpak_most_components];
    // The same as lanes of 16 bits, a component each.
    uint64_t root_mask;
    uint64_t delta_mask; // eight bits of each component
    uint64_t base_mask;
    uint64_t default_lanes;
    uint64_t flat_carry; // carries into bit 15 from the two highest values of a root field
    unsigned all_root_bits;
    unsigned alpha_root_bit;
};

inline fast_format fast_format_of(const tpak_frame_info& info, bool reverse)
{
    fast_format format{};
    format.ncomponents = info.ncomponents_of_type[0];
    format.block_size = info.uncompressed_block_size[0];
    format.bytes_per_pixel = format.block_size / 16;
    format.yuv = info.yuv_transform != 0;
    format.reverse = reverse;
    for (int c = 0; c < format.ncomponents; c++) {
        format.component_bits[c] = info.component_bits[c];
        format.body_bits[c] = info.body_bits[c];
        format.root_bits[c] = log2_table[info.body_bits[c]];
        format.default_value[c] = info.default_value[c];
        const int lane = 16 * c;
        const uint64_t roots = (1u << format.root_bits[c]) - 1;
        format.root_mask |= roots << lane;
        format.delta_mask |= uint64_t{0xff} << lane;
        format.base_mask |= uint64_t{(1u << format.body_bits[c]) - 1} << lane;
        format.default_lanes |= uint64_t{format.default_value[c]} << lane;
        format.flat_carry |= (0x8000 - (roots - 1)) << lane;
        format.alpha_root_bit = format.all_root_bits;
        format.all_root_bits += static_cast<unsigned>(format.root_bits[c]);
    }
    return format;
}

/// A block among the words of its superblock.
struct block_place
{
    const uint8_t* superblock;
    int64_t stride;
    unsigned x; // words
    unsigned y;

    const uint8_t* words() const { return superblock + y * stride + 4 * x; }
};

/// A compressed block of a superblock that is decoded.
struct coded_block
{
    const uint8_t* data; // as many bytes as the kernel reads ahead
    unsigned size;       // bytes of its own
    uint8_t* out;        // its words
    uint32_t times;      // with its copies, for the sums
};

/// A block that a kernel has encoded.
struct fast_block
{
    int size;          // bytes; nothing is written either when its key is that of the block before
    bool uncompressed; // then nothing is written yet
    uint64_t key;
};

inline uint32_t load32(const uint8_t* from)
{
    uint32_t value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

inline uint64_t load64(const uint8_t* from)
{
    uint64_t value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

/// 16x16 words that the frame's own pixels can't be used as: at an edge, or of another pixel size.
struct word_superblock
{
    alignas(64) uint8_t words[superblock_side * superblock_side * 4];
};
inline constexpr int word_stride = superblock_side * 4;

inline uint32_t word_of_pixel(const fast_format& format, const uint8_t* pixel)
{
    uint32_t word;
    if (format.bytes_per_pixel == 4) {
        word = load32(pixel);
        return format.reverse ? __builtin_bswap32(word) : word;
    }
    uint32_t first;
    uint32_t last;
    if (format.bytes_per_pixel == 3) {
        first = pixel[0];
        word = uint32_t{pixel[1]} << 8;
        last = pixel[2];
    } else {
        const uint32_t packed = pixel[0] | uint32_t{pixel[1]} << 8;
        first = packed & 31;
        word = (packed >> 5 & 63) << 8;
        last = packed >> 11;
    }
    return format.reverse ? word | last | first << 16 : word | first | last << 16;
}

inline void pixel_of_word(const fast_format& format, uint32_t word, uint8_t* pixel)
{
    if (format.bytes_per_pixel == 2)
        word = (word & 31) | (word >> 8 & 63) << 5 | (word >> 16 & 31) << 11;
    for (int byte = 0; byte < format.bytes_per_pixel; byte++)
        pixel[byte] = static_cast<uint8_t>(word >> 8 * byte);
}

/// Pixels beside the picture repeat its edge.
inline void fetch_words(const tpak_frame_info& info, const fast_format& format, const uint8_t* pixels,
                        int mbx, int mby, word_superblock& out)
{
    for (int y = 0; y < superblock_side; y++) {
        const int row = mby * superblock_side + y;
        const uint8_t* from = pixels + static_cast<int64_t>(row < info.height ? row : info.height - 1) *
                                           info.width * format.bytes_per_pixel;
        for (int x = 0; x < superblock_side; x++) {
            const int column = mbx * superblock_side + x;
            const uint32_t word = word_of_pixel(
                format, from + static_cast<int64_t>(column < info.width ? column : info.width - 1) *
                                   format.bytes_per_pixel);
            std::memcpy(out.words + y * word_stride + 4 * x, &word, sizeof word);
        }
    }
}

inline void store_words(const tpak_frame_info& info, const fast_format& format, const word_superblock& in,
                        int mbx, int mby, uint8_t* pixels)
{
    for (int y = 0; y < superblock_side && mby * superblock_side + y < info.height; y++) {
        const int64_t row = int64_t{mby} * superblock_side + y;
        uint8_t* to = pixels + (row * info.width + int64_t{mbx} * superblock_side) * format.bytes_per_pixel;
        for (int x = 0; x < superblock_side && mbx * superblock_side + x < info.width; x++)
            pixel_of_word(format, load32(in.words + y * word_stride + 4 * x),
                          to + x * format.bytes_per_pixel);
    }
}

inline void write_uncompressed(const fast_format& format, const uint8_t* words, int64_t stride, uint8_t* out)
{
    if (format.bytes_per_pixel == 4) {
        std::memcpy(out, words, 16);
        std::memcpy(out + 16, words + stride, 16);
        std::memcpy(out + 32, words + 2 * stride, 16);
        std::memcpy(out + 48, words + 3 * stride, 16);
        return;
    }
    for (int y = 0; y < 4; y++, words += stride) {
        for (int x = 0; x < 4; x++, out += format.bytes_per_pixel)
            pixel_of_word(format, load32(words + 4 * x), out);
    }
}

inline void read_uncompressed(const fast_format& format, const uint8_t* data, uint8_t* words, int64_t stride)
{
    if (format.bytes_per_pixel == 4) {
        std::memcpy(words, data, 16);
        std::memcpy(words + stride, data + 16, 16);
        std::memcpy(words + 2 * stride, data + 32, 16);
        std::memcpy(words + 3 * stride, data + 48, 16);
        return;
    }
    fast_format straight = format;
    straight.reverse = false;
    for (int y = 0; y < 4; y++, words += stride) {
        for (int x = 0; x < 4; x++, data += format.bytes_per_pixel) {
            const uint32_t word = word_of_pixel(straight, data);
            std::memcpy(words + 4 * x, &word, sizeof word);
        }
    }
}

/// Copies 2 to 64 bytes and touches no other.
inline void copy_block(uint8_t* to, const uint8_t* from, int size)
{
    if (size >= 16) {
        for (int at = 0; at + 16 < size; at += 16)
            std::memcpy(to + at, from + at, 16);
        std::memcpy(to + size - 16, from + size - 16, 16);
    } else if (size >= 8) {
        std::memcpy(to, from, 8);
        std::memcpy(to + size - 8, from + size - 8, 8);
    } else if (size >= 4) {
        std::memcpy(to, from, 4);
        std::memcpy(to + size - 4, from + size - 4, 4);
    } else {
        for (int at = 0; at < size; at++)
            to[at] = from[at];
    }
}

/// A header block in the making: the payload's place, then six bits for each block.
struct fast_header
{
    uint64_t low;
    uint64_t high = 0;
    int bit = 32;

    explicit fast_header(uint32_t payload_position) : low{payload_position} {}
    void put(uint64_t field)
    {
        if (bit < 64) {
            low |= field << bit;
            if (bit > 58)
                high |= field >> (64 - bit);
        } else {
            high |= field << (bit - 64);
        }
        bit += 6;
    }
    void store(uint8_t* out) const
    {
        std::memcpy(out, &low, 8);
        std::memcpy(out + 8, &high, 8);
    }
};

template <class kernel>
class fast_encoder
{
public:
    fast_encoder(tpak_frame_info& info, const uint8_t* pixels, uint8_t* buffer, bool reverse)
        : _info{info}, _format{fast_format_of(info, reverse)}, _pixels{pixels}, _buffer{buffer},
          _first{static_cast<int>(tpak_get_header_area_size(&info))},
          _half{static_cast<int>(tpak_get_max_superblock_payloadsize(&info) / 2)}
    {
    }

    /// Encodes a row of superblocks, densely from `position` on unless they have fixed positions. The buffer
    /// has room for the largest ones there. Returns the position behind the last one.
    int row(int mby, int position)
    {
        for (int mbx = 0; mbx < _info.mbw; mbx++) {
            const uint64_t index = tpak_get_superblock_index(&_info, mbx, mby);
            if (_info.fixed_superblock_positions)
                position = _first + static_cast<int>(index) * 2 * _half;
            position = superblock(mbx, mby, index, position);
        }
        return position;
    }

private:
    int superblock(int mbx, int mby, uint64_t index, int position)
    {
        const uint8_t* words = _edge.words;
        int64_t stride = word_stride;
        if (_format.bytes_per_pixel == 4 && !_format.reverse && (mbx + 1) * superblock_side <= _info.width &&
            (mby + 1) * superblock_side <= _info.height) {
            stride = int64_t{_info.width} * 4;
            words = _pixels + mby * superblock_side * stride + int64_t{mbx} * word_stride;
        } else {
            fetch_words(_info, _format, _pixels, mbx, mby, _edge);
        }
        uint8_t* header = _buffer + index * tpak_header_block_size;
        if (_info.solid_enabled && kernel::is_solid(words, stride)) {
            write_solid(words, header);
            return position;
        }
        return blocks(words, stride, header, position);
    }

    void write_solid(const uint8_t* words, uint8_t* header) const
    {
        const uint32_t word = load32(words);
        uint64_t values = 0;
        for (int c = 0, bit = 0; c < _format.ncomponents; bit += _format.component_bits[c++])
            values |= uint64_t{word >> 8 * c & 0xff} << bit;
        std::memset(header, 0, 8);
        std::memcpy(header + 8, &values, 8);
    }

    int blocks(const uint8_t* words, int64_t stride, uint8_t* header_place, int start)
    {
        fast_header header{static_cast<uint32_t>(start)};
        uint64_t key_before = no_flat_key;
        int raw_sizes[blocks_of_superblock];
        int position = start;
        _kernel.begin_superblock();
        for (int i = 0; i < blocks_of_superblock; i++) {
            const unsigned char* order = _info.subblock_order + 3 * i;
            const block_place place{words, stride, order[1], order[2]};
            uint8_t* out = _buffer + position;
            if (i == blocks_of_superblock / 2 && _info.no_copy_at_split)
                key_before = no_flat_key;
            // Zeros that a kernel spills behind a block are written over by the next one; the last has none.
            const bool may_spill = i < blocks_of_superblock - 1;
            const fast_block block = _kernel.encode(_format, place, key_before, may_spill, out);
            raw_sizes[i] = block.size;
            if (block.key == key_before && block.key != no_flat_key) {
                header.put(0);
            } else {
                if (block.uncompressed)
                    write_uncompressed(_format, place.words(), stride, out);
                header.put(block.uncompressed ? 1 : static_cast<uint64_t>(block.size));
                position += block.size;
            }
            key_before = block.key;
            if (_info.block_split && i == blocks_of_superblock / 2 - 1)
                position = start + _half;
        }
        header.store(header_place);
        update_statistics(&_info, position - start, raw_sizes);
        return position;
    }

    tpak_frame_info& _info;
    const fast_format _format;
    const uint8_t* const _pixels;
    uint8_t* const _buffer;
    const int _first;
    const int _half;
    kernel _kernel;
    word_superblock _edge;
};

/// A frame that several threads encode, to the bytes that one would give. One thread takes rows from the
/// front and the others from the end, as cores that work on neighbouring rows disturb each other. Where the
/// payload lies densely, that of the last rows waits behind all that may come before it until it can be
/// moved.
template <class kernel>
class shared_encoding
{
public:
    shared_encoding(tpak_frame_info& info, const uint8_t* pixels, uint8_t* buffer, bool reverse)
        : _info{info}, _uncounted{info}, _pixels{pixels}, _buffer{buffer}, _reverse{reverse},
          _first{static_cast<int>(tpak_get_header_area_size(&info))},
          _spacing{static_cast<int>(tpak_get_max_superblock_payloadsize(&info))}, _rows{info, info.mbh}
    {
        _uncounted.split_read_bytes[1] = _uncounted.contiguous_read_bytes[1] = 0;
    }

    /// Returns the position behind the last payload.
    int run(tpak_threads& threads)
    {
        threads.run([](void* self, unsigned number) { static_cast<shared_encoding*>(self)->work(number); },
                    this);
        if (_info.fixed_superblock_positions)
            return _rows.end_of(_info.mbh - 1);
        const int front = _rows.front_rows();
        int position = front > 0 ? _rows.end_of(front - 1) : _first;
        for (int row = front; row < _info.mbh; row++)
            position = move_row(row, position);
        return position;
    }

private:
    void work(unsigned number)
    {
        tpak_frame_info own = _uncounted;
        fast_encoder<kernel> encoder{own, _pixels, _buffer, _reverse};
        int row;
        if (_info.fixed_superblock_positions) {
            while (number == 0 ? _rows.take_first(&row) : _rows.take_last(&row))
                _rows.place(row, 0, encoder.row(row, 0));
        } else if (number == 0) {
            int position = _first;
            while (_rows.take_first(&row)) {
                position = encoder.row(row, position);
                _rows.place(row, 0, position);
            }
        } else {
            while (_rows.take_last(&row)) {
                const int start = _first + row * _info.mbw * _spacing;
                _rows.place(row, start, encoder.row(row, start));
            }
        }
        _rows.add_statistics(own);
    }

    /// The bytes that it leaves behind are zeros again. Returns the new end.
    int move_row(int row, int position)
    {
        const int start = _rows.start_of(row);
        const int end = _rows.end_of(row);
        const int new_end = position + end - start;
        std::memmove(_buffer + position, _buffer + start, static_cast<unsigned>(end - start));
        const int left = start > new_end ? start : new_end;
        std::memset(_buffer + left, 0, static_cast<unsigned>(end > left ? end - left : 0));
        for (int mbx = 0; mbx < _info.mbw; mbx++) {
            uint8_t* header = _buffer + tpak_get_superblock_index(&_info, mbx, row) * tpak_header_block_size;
            if (load64(header) == 0)
                continue; // a solid one has no payload
            const uint32_t offset = load32(header) - static_cast<uint32_t>(start - position);
            std::memcpy(header, &offset, sizeof offset);
        }
        return new_end;
    }

    tpak_frame_info& _info;
    tpak_frame_info _uncounted; // for threads that begin when others add to the statistics already
    const uint8_t* const _pixels;
    uint8_t* const _buffer;
    const bool _reverse;
    const int _first;
    const int _spacing;
    shared_rows _rows;
};

/// Smaller frames are done before a thread has started.
inline constexpr int least_shared_superblocks = 512;

/// Every block of every superblock finds room in a buffer of the largest frame's size.
template <class kernel>
int fast_encode(tpak_frame_info& info, const uint8_t* pixels, uint8_t* buffer, int buffer_size, bool reverse,
                tpak_threads* threads)
{
    if (static_cast<unsigned>(buffer_size) < tpak_get_max_frame_size(&info) || info.force_uncompressed ||
        info.copy_identical_blocks)
        return reference_coder.encode(info, pixels, buffer, buffer_size, reverse, threads);
    if (threads && info.mbh > 1 && info.mbw * info.mbh >= least_shared_superblocks)
        return shared_encoding<kernel>{info, pixels, buffer, reverse}.run(*threads);
    fast_encoder<kernel> encoder{info, pixels, buffer, reverse};
    auto position = static_cast<int>(tpak_get_header_area_size(&info));
    for (int mby = 0; mby < info.mbh; mby++)
        position = encoder.row(mby, position);
    return position;
}

template <class kernel>
class fast_decoder
{
public:
    fast_decoder(tpak_frame_info& info, const uint8_t* buffer, int buffer_size, uint8_t* pixels)
        : _info{info}, _format{fast_format_of(info, false)}, _buffer{buffer},
          _buffer_size{buffer_size}, _pixels{pixels}, _half{tpak_get_max_superblock_payloadsize(&info) / 2}
    {
    }

    void superblock(int mbx, int mby)
    {
        const bool direct = _format.bytes_per_pixel == 4 && (mbx + 1) * superblock_side <= _info.width &&
                            (mby + 1) * superblock_side <= _info.height;
        const int64_t stride = direct ? int64_t{_info.width} * 4 : word_stride;
        uint8_t* words =
            direct ? _pixels + mby * superblock_side * stride + int64_t{mbx} * word_stride : _edge.words;
        if (!decode(mbx, mby, words, stride))
            plainly(mbx, mby);
        else if (!direct)
            store_words(_info, _format, _edge, mbx, mby, _pixels);
    }

private:
    struct copied_block
    {
        uint8_t* out;
        const uint8_t* from;
    };

    /// False for a superblock that the plain decoder has something to say about.
    bool decode(int mbx, int mby, uint8_t* words, int64_t stride)
    {
        const uint64_t index = tpak_get_superblock_index(&_info, mbx, mby);
        const uint8_t* header = _buffer + index * tpak_header_block_size;
        const uint64_t low = load64(header);
        const uint64_t high = load64(header + 8);
        uint64_t offset = low & 0xffffffff;
        if ((low >> 32 & 63) == 0) {
            fill_solid(high, words, stride);
            return true;
        }
        if (_info.tiled && !is_in_its_tile(index, offset))
            return false;
        coded_block coded[blocks_of_superblock];
        uint8_t padded[blocks_of_superblock][kernel::read_ahead];
        copied_block copies[blocks_of_superblock];
        int coded_count = 0;
        int copy_count = 0;
        const uint64_t end = static_cast<uint64_t>(_buffer_size);
        const uint64_t start = offset;
        const uint8_t* before = nullptr;   // the words of the last block with data
        uint32_t* times_of_last = nullptr; // of that block
        uint32_t uncompressed = 0;
        for (int i = 0; i < blocks_of_superblock; i++) {
            const int bit = 32 + 6 * i;
            const uint64_t field = (bit >= 64  ? high >> (bit - 64)
                                    : bit > 58 ? low >> bit | high << (64 - bit)
                                               : low >> bit) &
                                   63;
            const unsigned char* place = _info.subblock_order + 3 * i;
            uint8_t* out = words + place[2] * stride + 4 * place[1];
            if (field == 0) {
                copies[copy_count++] = {out, before};
                ++*times_of_last;
            } else {
                const uint64_t size = field == 1 ? static_cast<uint64_t>(_format.block_size) : field;
                if (offset + size > end)
                    return false;
                if (field == 1) {
                    read_uncompressed(_format, _buffer + offset, out, stride);
                    times_of_last = &uncompressed;
                    ++uncompressed;
                } else {
                    coded_block& block = coded[coded_count++];
                    block = {readable(offset, size, padded[i]), static_cast<unsigned>(size), out, 1};
                    times_of_last = &block.times;
                }
                offset += size;
                before = out;
            }
            if (_info.block_split && i == blocks_of_superblock / 2 - 1)
                offset = start + _half;
        }
        decoded_bits bits;
        if (!kernel::decode(_format, coded, coded_count, stride, bits))
            return false;
        bits.unc = uncompressed * 8 * static_cast<uint32_t>(_format.block_size);
        count(bits);
        for (int i = 0; i < copy_count; i++) {
            for (int y = 0; y < 4; y++)
                std::memcpy(copies[i].out + y * stride, copies[i].from + y * stride, 16);
        }
        return true;
    }

    /// Kernels look at whole words, which may not leave the buffer.
    const uint8_t* readable(uint64_t offset, uint64_t size, uint8_t* padded) const
    {
        if (offset + kernel::read_ahead <= static_cast<uint64_t>(_buffer_size))
            return _buffer + offset;
        std::memset(padded, 0, kernel::read_ahead);
        std::memcpy(padded, _buffer + offset, size);
        return padded;
    }

    bool is_in_its_tile(uint64_t index, uint64_t offset) const
    {
        const auto tile = static_cast<uint64_t>(tpak_get_tile_size_x(&_info)) *
                          static_cast<uint64_t>(tpak_get_tile_size_y(&_info));
        const uint64_t begin = tpak_get_header_area_size(&_info) + index / tile * tile * 2 * _half;
        return offset >= begin && offset + 2 * _half <= begin + tile * 2 * _half;
    }

    void fill_solid(uint64_t values, uint8_t* words, int64_t stride) const
    {
        uint32_t word = 0;
        for (int c = 0; c < _format.ncomponents; c++) {
            word |= static_cast<uint32_t>(values & ((1u << _format.component_bits[c]) - 1)) << 8 * c;
            values >>= _format.component_bits[c];
        }
        for (int y = 0; y < superblock_side; y++) {
            for (int x = 0; x < superblock_side; x++)
                std::memcpy(words + y * stride + 4 * x, &word, sizeof word);
        }
    }

    void plainly(int mbx, int mby)
    {
        unsigned planes[tpak_most_components][tpak_superblock_pixels] = {};
        tpak_decode_superblock(&_info, _buffer, _buffer_size, mbx, mby, planes);
        for (int y = 0; y < superblock_side && mby * superblock_side + y < _info.height; y++) {
            for (int x = 0; x < superblock_side && mbx * superblock_side + x < _info.width; x++) {
                uint64_t packed = 0;
                for (int c = 0, bit = 0; c < _format.ncomponents; bit += _format.component_bits[c++])
                    packed |= uint64_t{planes[c][y * superblock_side + x]} << bit;
                uint8_t* to = _pixels + ((int64_t{mby} * superblock_side + y) * _info.width +
                                         int64_t{mbx} * superblock_side + x) *
                                            _format.bytes_per_pixel;
                for (int byte = 0; byte < _format.bytes_per_pixel; byte++)
                    to[byte] = static_cast<uint8_t>(packed >> 8 * byte);
            }
        }
    }

    tpak_frame_info& _info;
    const fast_format _format;
    const uint8_t* const _buffer;
    const int _buffer_size;
    uint8_t* const _pixels;
    const uint64_t _half;
    word_superblock _edge;
};

template <class kernel>
void fast_decode(tpak_frame_info& info, const uint8_t* buffer, int buffer_size, uint8_t* pixels)
{
    if (static_cast<unsigned>(buffer_size) < tpak_get_max_frame_size(&info) || info.conformance ||
        info.tree_bits_limit || !info.zero_header_allowed ||
        info.frame_size != static_cast<uint64_t>(buffer_size)) {
        reference_coder.decode(info, buffer, buffer_size, pixels);
        return;
    }
    fast_decoder<kernel> decoder{info, buffer, buffer_size, pixels};
    for (int mby = 0; mby < info.mbh; mby++) {
        for (int mbx = 0; mbx < info.mbw; mbx++)
            decoder.superblock(mbx, mby);
    }
}

} // namespace

} // namespace tpakutil
