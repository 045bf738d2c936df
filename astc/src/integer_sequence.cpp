#include "integer_sequence.h"

namespace {
using value_table = std::array<uint8_t, 256>;

constexpr unsigned bit(unsigned value, unsigned index)
{
    return value >> index & 1;
}

constexpr uint16_t unpack_trits(unsigned packed)
{
    unsigned t[5] = {};
    unsigned c = packed & 0x1f;
    if ((packed >> 2 & 7) == 7) {
        c = (packed >> 5 & 7) << 2 | (packed & 3);
        t[4] = t[3] = 2;
    } else if ((packed >> 5 & 3) == 3) {
        t[4] = 2;
        t[3] = bit(packed, 7);
    } else {
        t[4] = bit(packed, 7);
        t[3] = packed >> 5 & 3;
    }
    if ((c & 3) == 3) {
        t[2] = 2;
        t[1] = bit(c, 4);
        t[0] = bit(c, 3) << 1 | (bit(c, 2) & ~bit(c, 3) & 1);
    } else if ((c >> 2 & 3) == 3) {
        t[2] = 2;
        t[1] = 2;
        t[0] = c & 3;
    } else {
        t[2] = bit(c, 4);
        t[1] = c >> 2 & 3;
        t[0] = bit(c, 1) << 1 | (bit(c, 0) & ~bit(c, 1) & 1);
    }
    return static_cast<uint16_t>(t[0] | t[1] << 2 | t[2] << 4 | t[3] << 6 | t[4] << 8);
}

constexpr uint16_t unpack_quints(unsigned packed)
{
    unsigned q[3] = {};
    if ((packed >> 1 & 3) == 3 && (packed >> 5 & 3) == 0) {
        unsigned rest = ~bit(packed, 0) & 1;
        q[2] = bit(packed, 0) << 2 | (bit(packed, 4) & rest) << 1 | (bit(packed, 3) & rest);
        q[1] = q[0] = 4;
    } else {
        unsigned c = packed & 0x1f;
        q[2] = packed >> 5 & 3;
        if ((packed >> 1 & 3) == 3) {
            q[2] = 4;
            c = (packed >> 3 & 3) << 3 | (~(packed >> 5) & 3) << 1 | bit(packed, 0);
        }
        if ((c & 7) == 5) {
            q[1] = 4;
            q[0] = c >> 3 & 3;
        } else {
            q[1] = c >> 3 & 3;
            q[0] = c & 7;
        }
    }
    return static_cast<uint16_t>(q[0] | q[1] << 3 | q[2] << 6);
}

constexpr auto trit_table = [] {
    std::array<uint16_t, 256> table{};
    for (unsigned i = 0; i < table.size(); ++i)
        table[i] = unpack_trits(i);
    return table;
}();
constexpr auto quint_table = [] {
    std::array<uint16_t, 128> table{};
    for (unsigned i = 0; i < table.size(); ++i)
        table[i] = unpack_quints(i);
    return table;
}();

constexpr unsigned replicated(unsigned value, unsigned bits, unsigned wanted)
{
    unsigned result = 0;
    for (int left = static_cast<int>(wanted) - static_cast<int>(bits); left > -static_cast<int>(bits);
         left -= static_cast<int>(bits))
        result |= left >= 0 ? value << left : value >> -left;
    return result;
}

/// `pattern` tells, from the top, which bit of the value stands where: '0' none, 'b' bit 1, 'c' bit 2 ...
constexpr unsigned spread(const char* pattern, unsigned value)
{
    unsigned result = 0;
    for (; *pattern; ++pattern)
        result = result << 1 | (*pattern == '0' ? 0 : bit(value, static_cast<unsigned>(*pattern - 'a')));
    return result;
}

struct spreading
{
    unsigned factor;
    const char* pattern;
};
constexpr spreading colour_trits[] = {{0, ""},           {204, "000000000"}, {93, "b000b0bb0"},
                                      {44, "cb000cbcb"}, {22, "dcb000dcb"},  {11, "edcb000ed"},
                                      {5, "fedcb000f"}};
constexpr spreading colour_quints[] = {{0, ""},           {113, "000000000"}, {54, "b0000bb00"},
                                       {26, "cb0000cbc"}, {13, "dcb0000dc"},  {6, "edcb0000e"}};
constexpr spreading weight_trits[] = {{0, ""}, {50, "0000000"}, {23, "b000b0b"}, {11, "cb000cb"}};
constexpr spreading weight_quints[] = {{0, ""}, {28, "0000000"}, {13, "b0000b0"}};

/// `top` is the highest bit of the result.
constexpr unsigned unquantised(const spreading& by, unsigned digit, unsigned bits, unsigned top)
{
    unsigned all = bit(bits, 0) ? top * 4 - 1 : 0;
    unsigned t = (digit * by.factor + spread(by.pattern, bits)) ^ all;
    return (all & top) | t >> 2;
}

constexpr unsigned colour_of(const quant_method& method, unsigned value)
{
    if (!method.trits && !method.quints)
        return replicated(value, method.bits, 8);
    unsigned digit = value >> method.bits;
    unsigned bits = value & ((1U << method.bits) - 1);
    return unquantised(method.trits ? colour_trits[method.bits] : colour_quints[method.bits], digit, bits,
                       0x80);
}

constexpr unsigned weight_of(const quant_method& method, unsigned value)
{
    constexpr unsigned bare_trits[] = {0, 32, 63};
    constexpr unsigned bare_quints[] = {0, 16, 32, 47, 63};
    unsigned weight = 0;
    unsigned digit = value >> method.bits;
    unsigned bits = value & ((1U << method.bits) - 1);
    if (!method.trits && !method.quints)
        weight = replicated(value, method.bits, 6);
    else if (method.bits == 0)
        weight = method.trits ? bare_trits[digit] : bare_quints[digit];
    else
        weight = unquantised(method.trits ? weight_trits[method.bits] : weight_quints[method.bits], digit,
                             bits, 0x20);
    return weight > 32 ? weight + 1 : weight;
}

constexpr auto colour_tables = [] {
    std::array<value_table, quant_methods.size()> tables{};
    for (unsigned m = first_colour_method; m < quant_methods.size(); ++m)
        for (unsigned value = 0; value < quant_methods[m].levels(); ++value)
            tables[m][value] = static_cast<uint8_t>(colour_of(quant_methods[m], value));
    return tables;
}();
constexpr auto weight_tables = [] {
    std::array<value_table, weight_methods> tables{};
    for (unsigned m = 0; m < weight_methods; ++m)
        for (unsigned value = 0; value < quant_methods[m].levels(); ++value)
            tables[m][value] = static_cast<uint8_t>(weight_of(quant_methods[m], value));
    return tables;
}();

void decode_trits(uint128 stream, unsigned n, unsigned count, const value_table& table, uint8_t* out)
{
    const unsigned mask = (1U << n) - 1;
    for (unsigned i = 0; i < count; i += 5, stream >>= 5 * n + 8) {
        const auto g = static_cast<uint64_t>(stream);
        const unsigned packed = (g >> n & 3) | (g >> (2 * n + 2) & 3) << 2 | (g >> (3 * n + 4) & 1) << 4 |
                                (g >> (4 * n + 5) & 3) << 5 | (g >> (5 * n + 7) & 1) << 7;
        const unsigned t = trit_table[packed];
        out[i] = table[(t & 3) << n | (g & mask)];
        out[i + 1] = table[(t >> 2 & 3) << n | (g >> (n + 2) & mask)];
        out[i + 2] = table[(t >> 4 & 3) << n | (g >> (2 * n + 4) & mask)];
        out[i + 3] = table[(t >> 6 & 3) << n | (g >> (3 * n + 5) & mask)];
        out[i + 4] = table[(t >> 8 & 3) << n | (g >> (4 * n + 7) & mask)];
    }
}

void decode_quints(uint128 stream, unsigned n, unsigned count, const value_table& table, uint8_t* out)
{
    const unsigned mask = (1U << n) - 1;
    for (unsigned i = 0; i < count; i += 3, stream >>= 3 * n + 7) {
        const auto g = static_cast<uint64_t>(stream);
        const unsigned packed = (g >> n & 7) | (g >> (2 * n + 3) & 3) << 3 | (g >> (3 * n + 5) & 3) << 5;
        const unsigned q = quint_table[packed];
        out[i] = table[(q & 7) << n | (g & mask)];
        out[i + 1] = table[(q >> 3 & 7) << n | (g >> (n + 3) & mask)];
        out[i + 2] = table[(q >> 6 & 7) << n | (g >> (2 * n + 5) & mask)];
    }
}

/// Bits behind the sequence count as zeros, for groups that aren't full.
void decode(uint128 stream, const quant_method& method, unsigned count, const value_table& table,
            uint8_t* out)
{
    stream &= low_bits(sequence_bits(method, count));
    if (method.trits)
        decode_trits(stream, method.bits, count, table, out);
    else if (method.quints)
        decode_quints(stream, method.bits, count, table, out);
    else
        for (unsigned i = 0; i < count; ++i, stream >>= method.bits)
            out[i] = table[static_cast<uint8_t>(stream) & ((1U << method.bits) - 1)];
}
} // namespace

uint16_t unpacked_trits(uint8_t packed)
{
    return trit_table[packed];
}

uint16_t unpacked_quints(uint8_t packed)
{
    return quint_table[packed & 127];
}

uint8_t weight_of_value(unsigned method, uint8_t value)
{
    return weight_tables[method][value];
}

uint8_t colour_of_value(unsigned method, uint8_t value)
{
    return colour_tables[method][value];
}

void decode_weights(uint128 stream, unsigned method, unsigned count, uint8_t* out)
{
    decode(stream, quant_methods[method], count, weight_tables[method], out);
}

void decode_colours(uint128 stream, unsigned method, unsigned count, uint8_t* out)
{
    decode(stream, quant_methods[method], count, colour_tables[method], out);
}
