#pragma once
// Bounded integer sequence encoding: values of a range as bits, with a trit or a quint in front of them.

#include "bits.h"

#include <array>

/// A range of values: 2^bits, three times or five times as many.
struct quant_method
{
    uint8_t bits = 0;
    bool trits = false;
    bool quints = false;
    constexpr unsigned levels() const { return (trits ? 3U : quints ? 5U : 1U) << bits; }
};

/// In order of their levels: 2, 3, 4, 5, 6, 8 ... 256. Weights use the first twelve.
inline constexpr std::array<quant_method, 21> quant_methods = {
    {{1, false, false}, {0, true, false},  {2, false, false}, {0, false, true},  {1, true, false},
     {3, false, false}, {1, false, true},  {2, true, false},  {4, false, false}, {2, false, true},
     {3, true, false},  {5, false, false}, {3, false, true},  {4, true, false},  {6, false, false},
     {4, false, true},  {5, true, false},  {7, false, false}, {5, false, true},  {6, true, false},
     {8, false, false}}};
inline constexpr unsigned weight_methods = 12;
inline constexpr unsigned first_colour_method = 4; // fewer than 6 levels don't make a colour

/// Bits that `count` values take.
constexpr unsigned sequence_bits(const quant_method& method, unsigned count)
{
    unsigned packed = method.trits ? (8 * count + 4) / 5 : method.quints ? (7 * count + 2) / 3 : 0;
    return method.bits * count + packed;
}

/// For pairs of values and bits that are free, the finest method that fits; 0 where none does.
constexpr unsigned finest_colour_method(unsigned pairs, unsigned bits)
{
    unsigned finest = 0;
    for (unsigned m = first_colour_method; m < quant_methods.size(); ++m)
        if (sequence_bits(quant_methods[m], pairs * 2) <= bits)
            finest = m;
    return finest;
}

/// Five trits of a packed byte, two bits each.
uint16_t unpacked_trits(uint8_t packed);
/// Three quints of seven packed bits, three bits each.
uint16_t unpacked_quints(uint8_t packed);

/// What a value of a method stands for: a weight from 0 to 64, or a colour from 0 to 255.
uint8_t weight_of_value(unsigned method, uint8_t value);
uint8_t colour_of_value(unsigned method, uint8_t value);

/// The values are padded so that a whole group may be written.
inline constexpr unsigned sequence_padding = 4;

/// Decodes `count` values from bit 0 on to what they stand for: weights 0 to 64, or colours 0 to 255. `out`
/// has room for `sequence_padding` more.
void decode_weights(uint128 stream, unsigned method, unsigned count, uint8_t* out);
void decode_colours(uint128 stream, unsigned method, unsigned count, uint8_t* out);
