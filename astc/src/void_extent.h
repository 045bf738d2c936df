#pragma once
// Blocks of one colour: those that say so, and illegal ones.

#include "bits.h"

#include <array>

/// The colour of a block whose mode is illegal for blocks with weights: that of a void extent, or opaque
/// magenta.
std::array<uint8_t, 4> colour_of_whole_block(uint128 bits);
