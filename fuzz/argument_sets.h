#pragma once
// Values that make sense for an argument, and some that don't: by its type and name, and by the call's name.

#include "gles_layouts.h"

#include <cstdint>
#include <span>

namespace argument_sets {
/// At least one value; as bits, widened from the argument's width.
std::span<const uint64_t> of(const gles_layouts::layout& call, const gles_layouts::parameter& argument);

/// Addresses in the target memory that `target_blocks::lay_out` has filled.
std::span<const uint64_t> addresses();
} // namespace argument_sets
