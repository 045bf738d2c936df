#pragma once
// Which vertices a list of indices names. Pure.

#include <cstdint>

struct index_range
{
    uint32_t lowest = 0;
    uint32_t highest = 0;
    bool any = false;
};

/// Looks at `count` indices of a GL type, at most at those that stand in `size` bytes; what isn't there
/// counts as index 0. With `restart` the largest value of the type, which restarts a primitive, is no vertex.
/// Any alignment.
index_range scan_indices(uint32_t type, const uint8_t* bytes, uint64_t size, uint64_t count, bool restart);
