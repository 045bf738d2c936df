#include "avx512_tables.h"

#include "block_mode.h"
#include "infill.h"
#include "integer_sequence.h"
#include "void_extent.h"

#include <algorithm>
#include <iterator>
#include <memory>

namespace astc_avx512 {
namespace {
constexpr uint8_t least_weight_bits = 24;

/// Values that share packed digits: how many, and bits of the packed digits before the own bits of each.
struct group_shape
{
    unsigned values;
    unsigned digit; // bits of one unpacked digit
    unsigned before[6];
};

group_shape shape_of(const quant_method& method)
{
    if (method.trits)
        return {5, 2, {0, 2, 4, 5, 7, 8}};
    if (method.quints)
        return {3, 3, {0, 3, 5, 7}};
    return {1, 0, {}};
}

uint8_t low_six_bits(unsigned index)
{
    return static_cast<uint8_t>(index & 63);
}

class layout_writer
{
public:
    layout_writer(sequence_layout& layout, const quant_method& method)
        : _layout(layout), _shape(shape_of(method)), _bits(method.bits), _packed(_shape.before[_shape.values])
    {
        _layout.bit_mask = static_cast<uint8_t>((1U << _bits) - 1);
        write_bits();
        write_packed();
        write_digits();
    }

private:
    unsigned position_of(unsigned value) const
    {
        const unsigned in_group = value % _shape.values;
        return value / _shape.values * (_shape.values * _bits + _packed) + in_group * _bits +
               _shape.before[in_group];
    }

    // What doesn't fit into the eight bytes belongs to values that no block has room for.
    void write_bits()
    {
        for (unsigned lane = 0; lane < 64; ++lane) {
            const unsigned first_byte = position_of(lane / 8 * 8) / 8;
            _layout.bits_from[lane] = low_six_bits(first_byte + lane % 8);
            _layout.bits_at[lane] = low_six_bits(position_of(lane) - 8 * first_byte);
        }
    }

    void write_packed()
    {
        for (unsigned value = 0; value < 128; ++value) {
            const unsigned in_group = value % _shape.values;
            const unsigned after = position_of(value) + _bits;
            for (unsigned i = _shape.before[in_group]; i < _shape.before[in_group + 1]; ++i) {
                const unsigned bit = after + i - _shape.before[in_group];
                if (bit < 128)
                    _layout.packed_bits[bit / 64] |= uint64_t{1} << bit % 64;
            }
        }
        const auto below = static_cast<unsigned>(64 - __builtin_popcountll(_layout.packed_bits[0]));
        _layout.packed_shift = low_six_bits(below);
        for (unsigned lane = 0; lane < 32; ++lane) {
            const unsigned first_byte = (below + lane / 8 * 4 * _packed) / 8;
            const unsigned group = lane / 8 * 4 + lane % 4;
            _layout.packed_from[lane] = low_six_bits(first_byte + lane % 8);
            _layout.packed_at[lane] = low_six_bits(below + group * _packed - 8 * first_byte);
        }
    }

    void write_digits()
    {
        for (unsigned lane = 0; lane < 64; ++lane) {
            const unsigned first_group = lane / 8 * 8 / _shape.values;
            const unsigned from = first_group + lane % 8 / 2;
            const unsigned half = lane % 2 * 64;
            _layout.digits_from[lane] = static_cast<uint8_t>(low_six_bits(from / 4 * 8 + from % 4) + half);
            const unsigned group = lane / _shape.values;
            const unsigned bit = 16 * (group - first_group) + lane % _shape.values * _shape.digit;
            _layout.digits_at[lane] = low_six_bits(bit - _bits);
        }
    }

    sequence_layout& _layout;
    const group_shape _shape;
    const unsigned _bits;
    const unsigned _packed;
};

uint8_t value_bits(const quant_method& method)
{
    return static_cast<uint8_t>(method.bits + shape_of(method).digit);
}

void fill_unpacked(sequence_tables& tables)
{
    for (unsigned i = 0; i < 256; ++i) {
        const uint16_t trits = unpacked_trits(static_cast<uint8_t>(i));
        const uint16_t quints = unpacked_quints(static_cast<uint8_t>(i));
        tables.unpacked_trits[i] = static_cast<uint8_t>(trits);
        tables.unpacked_trits[256 + i] = static_cast<uint8_t>(trits >> 8);
        tables.unpacked_quints[i] = static_cast<uint8_t>(quints);
        tables.unpacked_quints[256 + i] = static_cast<uint8_t>(quints >> 8);
    }
}

void fill_layouts(sequence_tables& tables)
{
    for (unsigned m = 0; m < quant_methods.size(); ++m) {
        const quant_method& method = quant_methods[m];
        // Methods without digits have no packed bits, and zeros stand for zeros.
        const uint8_t* unpacked = method.quints ? tables.unpacked_quints : tables.unpacked_trits;
        const unsigned mask = (1U << value_bits(method)) - 1;
        if (m < weight_methods) {
            weight_layout& layout = tables.weights[m];
            layout_writer{layout, method};
            layout.unpacked = unpacked;
            for (unsigned i = 0; i < sizeof(layout.meanings); ++i)
                layout.meanings[i] = weight_of_value(m, static_cast<uint8_t>(i & mask));
        }
        if (m >= first_colour_method) {
            colour_layout& layout = tables.colours[m];
            layout_writer{layout, method};
            layout.unpacked = unpacked;
            for (unsigned i = 0; i < sizeof(layout.meanings); ++i)
                layout.meanings[i] = colour_of_value(m, static_cast<uint8_t>(i & mask));
        }
    }
}

void fill_fits(sequence_tables& tables)
{
    constexpr unsigned most_free_bits = 128 - 17 - least_weight_bits;
    for (unsigned pairs = 1; pairs <= 9; ++pairs)
        for (unsigned bits = 0; bits <= most_free_bits; ++bits) {
            const unsigned method = finest_colour_method(pairs, bits);
            if (method != 0)
                tables.fits[pairs][bits] = {
                    static_cast<uint8_t>(method),
                    static_cast<uint8_t>(sequence_bits(quant_methods[method], 2 * pairs))};
        }
}

std::unique_ptr<sequence_tables> make_sequence_tables()
{
    auto tables = std::make_unique<sequence_tables>();
    fill_unpacked(*tables);
    fill_layouts(*tables);
    fill_fits(*tables);
    for (unsigned bits = 0; bits <= 128; ++bits) {
        tables->low_bits[bits][0] = bits >= 64 ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
        tables->low_bits[bits][1] = bits < 64     ? 0
                                    : bits == 128 ? ~uint64_t{0}
                                                  : (uint64_t{1} << (bits - 64)) - 1;
    }
    return tables;
}

block_geometry geometry_of(uint32_t width, uint32_t height)
{
    const uint32_t lanes = width <= 4 ? 4 : width <= 8 ? 8 : 16;
    const uint32_t rows = 16 / lanes;
    return {width, height, lanes, rows, (height + rows - 1) / rows};
}
} // namespace

const sequence_tables& tables_of_sequences()
{
    static const std::unique_ptr<sequence_tables> tables = make_sequence_tables();
    return *tables;
}

void set_up(block_tables& tables, uint32_t block_width, uint32_t block_height)
{
    tables = {};
    tables.block = geometry_of(block_width, block_height);
    tables.sequences = &tables_of_sequences();
    for (uint32_t bits = 0; bits < mode_count; ++bits) {
        const block_mode mode = parse_block_mode(bits, block_width, block_height);
        tables.modes[bits] = {static_cast<uint8_t>(mode.grid_width + grid_stride * mode.grid_height),
                              mode.method, mode.is_legal() ? mode.weight_bits : least_weight_bits,
                              mode.dual_plane};
    }
    tables.partitions = new uint32_t[size_t{std::size(tables.has_partitions)} * tables.block.groups];
    std::fill_n(tables.partitions + size_t{one_partition} * tables.block.groups, tables.block.groups, 0);
    tables.has_partitions[one_partition] = 1;
}

void clean_up(block_tables& tables)
{
    for (const infill_group* infill : tables.infills)
        delete[] infill;
    delete[] tables.partitions;
}

void add_infill(block_tables& tables, unsigned grid)
{
    const block_geometry& block = tables.block;
    const unsigned grid_width = grid % grid_stride;
    const infill_table of_texels = make_infill(block.width, block.height, grid_width, grid / grid_stride);
    auto* groups = new infill_group[block.groups]{};
    for (unsigned y = 0; y < block.height; ++y)
        for (unsigned x = 0; x < block.width; ++x) {
            infill_group& group = groups[y / block.rows];
            const unsigned at = (y % block.rows * block.lanes + x) * 4;
            const unsigned texel = y * block.width + x;
            for (unsigned i = 0; i < 4; ++i) {
                group.points[at + i] = low_six_bits(of_texels.first[texel] + i % 2 + i / 2 * grid_width);
                group.parts[at + i] = of_texels.parts[texel][i];
            }
        }
    tables.infills[grid] = groups;
}

uint32_t colour_of_whole(const uint8_t* block)
{
    uint32_t rgba = 0;
    const auto colour = colour_of_whole_block(load_block(block));
    for (unsigned i = 0; i < 4; ++i)
        rgba |= uint32_t{colour[i]} << (8 * i);
    return rgba;
}

} // namespace astc_avx512
