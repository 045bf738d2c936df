#include "bits.h"
#include "block_mode.h"
#include "block_road.h"
#include "endpoints.h"
#include "infill.h"
#include "integer_sequence.h"
#include "partition.h"
#include "void_extent.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr unsigned max_side = 12;
constexpr unsigned max_weights = 64;

/// Eight texels of one channel.
typedef uint16_t lanes __attribute__((vector_size(16)));
constexpr unsigned lane_count = texel_group;

constexpr unsigned most_pairs = 9;

constexpr auto colour_methods = [] {
    std::array<std::array<uint8_t, 128>, most_pairs + 1> table{};
    for (unsigned pairs = 1; pairs < table.size(); ++pairs)
        for (unsigned bits = 0; bits < 128; ++bits)
            table[pairs][bits] = static_cast<uint8_t>(finest_colour_method(pairs, bits));
    return table;
}();

/// Everything that a block says, unpacked.
struct symbolic_block
{
    const block_mode* mode = nullptr;
    unsigned partitions = 1;
    unsigned seed = 0;
    unsigned second_plane = 4; // the channel that has weights of its own; 4 for none
    std::array<endpoints, 4> colours;
    // Each grid of weights, with room for what the infill reads past its end.
    std::array<std::array<uint8_t, max_weights + 16>, 2> grids{};
};

void fill(uint8_t* rgba, size_t row_bytes, unsigned width, unsigned height, const uint8_t* colour)
{
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x)
            std::memcpy(rgba + y * row_bytes + x * 4, colour, 4);
}

/// The endpoint mode of each partition. `below` is the lowest bit of the weights; moves down over the bits
/// that stand below them.
void parse_endpoint_modes(uint128 bits, unsigned partitions, unsigned& below, unsigned* modes)
{
    if (partitions == 1) {
        modes[0] = bits_at(bits, 13, 4);
        return;
    }
    uint32_t packed = bits_at(bits, 23, 6);
    const uint32_t selector = packed & 3;
    if (selector == 0) {
        std::fill_n(modes, partitions, packed >> 2);
        return;
    }
    const unsigned more = 3 * partitions - 4;
    below -= more;
    packed |= bits_at(bits, below, more) << 6;
    for (unsigned i = 0; i < partitions; ++i) {
        const uint32_t group = selector - 1 + (packed >> (2 + i) & 1);
        modes[i] = group << 2 | (packed >> (2 + partitions + 2 * i) & 3);
    }
}

bool decode_colours_of(uint128 bits, unsigned below, symbolic_block& block, const unsigned* modes)
{
    unsigned count = 0;
    for (unsigned i = 0; i < block.partitions; ++i)
        count += values_of_mode(modes[i]);
    const unsigned start = block.partitions == 1 ? 17 : 29;
    if (count > 2 * most_pairs || below < start)
        return false;
    const unsigned method = colour_methods[count / 2][below - start];
    if (method == 0)
        return false;
    uint8_t values[2 * most_pairs + sequence_padding];
    decode_colours(bits >> start, method, count, values);
    const uint8_t* next = values;
    for (unsigned i = 0; i < block.partitions; ++i) {
        block.colours[i] = decode_endpoints(modes[i], next);
        next += values_of_mode(modes[i]);
    }
    return true;
}

void decode_grids(uint128 bits, symbolic_block& block)
{
    const block_mode& mode = *block.mode;
    if (!mode.dual_plane) {
        decode_weights(reversed(bits), mode.method, mode.weight_count, block.grids[0].data());
        return;
    }
    uint8_t mixed[max_weights + sequence_padding];
    decode_weights(reversed(bits), mode.method, mode.weight_count, mixed);
    for (unsigned i = 0; i < mode.weight_count / 2U; ++i) {
        block.grids[0][i] = mixed[2 * i];
        block.grids[1][i] = mixed[2 * i + 1];
    }
}

/// False for a block that is illegal.
bool parse_block(uint128 bits, const block_mode& mode, symbolic_block& block)
{
    block.mode = &mode;
    block.partitions = bits_at(bits, 11, 2) + 1;
    if (!mode.is_legal() || (mode.dual_plane && block.partitions == 4))
        return false;
    block.seed = bits_at(bits, 13, 10);
    unsigned below = 128U - mode.weight_bits;
    unsigned modes[4];
    parse_endpoint_modes(bits, block.partitions, below, modes);
    if (mode.dual_plane) {
        below -= 2;
        block.second_plane = bits_at(bits, below, 2);
    }
    if (!decode_colours_of(bits, below, block, modes))
        return false;
    decode_grids(bits, block);
    return true;
}

/// One channel between two values of 8 bits: 64 times the lower one, and the step of a weight.
struct channel_line
{
    lanes start;
    lanes step;
};

channel_line line_of(const endpoints& colours, unsigned channel)
{
    const auto low = colours.low[channel];
    const auto step = static_cast<uint16_t>(colours.high[channel] - low);
    return {lanes{} + static_cast<uint16_t>(low * 64), lanes{} + step};
}

/// The 16-bit interpolation of the format, cut to its upper 8 bits, without leaving 16 bits: endpoints are
/// widened by repeating the byte, or by 0x80 for sRGB.
lanes between(const channel_line& line, lanes weights, uint16_t widening)
{
    const lanes sum = line.start + line.step * weights;
    // A linear endpoint adds sum + 32 in the lower byte, an sRGB one the constant 32 * 256 + 32 there.
    return widening ? (sum + widening) >> 6 : (sum + ((sum + 32) >> 8)) >> 6;
}

void store(uint8_t* to, const lanes (&channels)[4])
{
    const lanes rg = channels[0] | channels[1] << 8;
    const lanes ba = channels[2] | channels[3] << 8;
    const lanes first = __builtin_shufflevector(rg, ba, 0, 8, 1, 9, 2, 10, 3, 11);
    const lanes second = __builtin_shufflevector(rg, ba, 4, 12, 5, 13, 6, 14, 7, 15);
    std::memcpy(to, &first, sizeof(first));
    std::memcpy(to + sizeof(first), &second, sizeof(second));
}

struct texel_weights
{
    alignas(16) std::array<std::array<uint16_t, max_texels>, 2> of_plane;
    lanes load(unsigned plane, unsigned texel) const
    {
        lanes result;
        std::memcpy(&result, of_plane[plane].data() + texel, sizeof(result));
        return result;
    }
};

void colour_texels(const symbolic_block& block, const texel_weights& weights, bool srgb, unsigned texels,
                   uint8_t* rgba)
{
    const uint16_t widening = srgb ? 32 : 0;
    channel_line lines[4];
    for (unsigned c = 0; c < 4; ++c)
        lines[c] = line_of(block.colours[0], c);
    const unsigned second = block.mode->dual_plane ? 1 : 0;
    for (unsigned i = 0; i < texels; i += lane_count) {
        const lanes planes[2] = {weights.load(0, i), weights.load(second, i)};
        lanes channels[4];
        for (unsigned c = 0; c < 4; ++c)
            channels[c] = between(lines[c], planes[c == block.second_plane], widening);
        store(rgba + i * 4, channels);
    }
}

void colour_partitioned_texels(const symbolic_block& block, const texel_weights& weights,
                               const uint8_t* partition_of, bool srgb, unsigned texels, uint8_t* rgba)
{
    const uint16_t widening = srgb ? 32 : 0;
    channel_line lines[4][4];
    for (unsigned p = 0; p < block.partitions; ++p)
        for (unsigned c = 0; c < 4; ++c)
            lines[p][c] = line_of(block.colours[p], c);
    const unsigned second = block.mode->dual_plane ? 1 : 0;
    for (unsigned i = 0; i < texels; i += lane_count) {
        lanes in{};
        for (unsigned lane = 0; lane < lane_count; ++lane)
            in[lane] = partition_of[i + lane];
        const lanes planes[2] = {weights.load(0, i), weights.load(second, i)};
        lanes channels[4];
        for (unsigned c = 0; c < 4; ++c) {
            channel_line line = lines[0][c];
            for (uint16_t p = 1; p < block.partitions; ++p) {
                const auto chosen = (lanes)(in == p);
                line.start = (line.start & ~chosen) | (lines[p][c].start & chosen);
                line.step = (line.step & ~chosen) | (lines[p][c].step & chosen);
            }
            channels[c] = between(line, planes[c == block.second_plane], widening);
        }
        store(rgba + i * 4, channels);
    }
}

class portable_road : public block_road
{
public:
    portable_road(uint32_t width, uint32_t height);
    void decode_row(const uint8_t* blocks, bool srgb, uint32_t width, uint32_t height, uint8_t* rgba,
                    size_t row_bytes) override;

private:
    void decode_block(const uint8_t* bytes, bool srgb, uint8_t* rgba, size_t row_bytes);
    const infill_table& infill_for(const block_mode& mode);
    const uint8_t* partitions_for(unsigned count, unsigned seed);

    uint32_t _width;
    uint32_t _height;
    unsigned _padded; // texels, in whole groups
    std::array<block_mode, 2048> _modes;
    std::array<std::unique_ptr<infill_table>, (max_side + 1) * (max_side + 1)> _infills;
    std::array<std::unique_ptr<uint8_t[]>, 3 * 1024> _partitions;
};

portable_road::portable_road(uint32_t width, uint32_t height)
    : _width(width), _height(height), _padded(padded_texels(width * height))
{
    for (uint32_t bits = 0; bits < _modes.size(); ++bits)
        _modes[bits] = parse_block_mode(bits, width, height);
}

const infill_table& portable_road::infill_for(const block_mode& mode)
{
    auto& table = _infills[mode.grid_width + mode.grid_height * (max_side + 1U)];
    if (!table)
        table =
            std::make_unique<infill_table>(make_infill(_width, _height, mode.grid_width, mode.grid_height));
    return *table;
}

const uint8_t* portable_road::partitions_for(unsigned count, unsigned seed)
{
    auto& map = _partitions[(count - 2) * 1024 + seed];
    if (!map) {
        map = std::make_unique<uint8_t[]>(_padded);
        const partition_planes planes = partition_planes_of(seed, count, _width * _height < 31);
        for (uint32_t i = 0; i < _width * _height; ++i)
            map[i] = planes.highest(i % _width, i / _width);
    }
    return map.get();
}

void portable_road::decode_block(const uint8_t* bytes, bool srgb, uint8_t* rgba, size_t row_bytes)
{
    const uint128 bits = load_block(bytes);
    const block_mode& mode = _modes[bits_at(bits, 0, 11)];
    symbolic_block block;
    if (!parse_block(bits, mode, block)) {
        const std::array<uint8_t, 4> colour = colour_of_whole_block(bits);
        fill(rgba, row_bytes, _width, _height, colour.data());
        return;
    }
    texel_weights weights;
    const infill_table& table = infill_for(mode);
    for (unsigned plane = 0; plane <= (mode.dual_plane ? 1U : 0U); ++plane)
        infill(table, block.grids[plane].data(), weights.of_plane[plane].data());

    alignas(16) uint8_t texels[max_texels * 4];
    if (block.partitions == 1)
        colour_texels(block, weights, srgb, _padded, texels);
    else
        colour_partitioned_texels(block, weights, partitions_for(block.partitions, block.seed), srgb, _padded,
                                  texels);
    for (unsigned y = 0; y < _height; ++y)
        std::memcpy(rgba + y * row_bytes, texels + size_t{y} * _width * 4, size_t{_width} * 4);
}

void portable_road::decode_row(const uint8_t* blocks, bool srgb, uint32_t width, uint32_t height,
                               uint8_t* rgba, size_t row_bytes)
{
    uint8_t clipped[max_texels * 4];
    for (uint32_t x = 0; x < width; x += _width, blocks += 16) {
        const uint32_t columns = std::min(_width, width - x);
        uint8_t* to = rgba + size_t{x} * 4;
        if (columns == _width && height == _height) {
            decode_block(blocks, srgb, to, row_bytes);
            continue;
        }
        decode_block(blocks, srgb, clipped, size_t{_width} * 4);
        for (uint32_t i = 0; i < height; ++i)
            std::memcpy(to + i * row_bytes, clipped + size_t{i} * _width * 4, size_t{columns} * 4);
    }
}
} // namespace

block_road::~block_road() = default;

std::unique_ptr<block_road> make_portable_road(uint32_t block_width, uint32_t block_height)
{
    return std::make_unique<portable_road>(block_width, block_height);
}
