#pragma once
// Sums over everything that has been decoded in this process, in bits. Decoders that run at the same time may
// lose each other's counts.

#include <atomic>
#include <cstdint>

namespace tpakutil {

extern std::atomic<uint32_t> accum_unc;              // uncompressed subblocks
extern std::atomic<uint32_t> accum_b3;               // root fields
extern std::atomic<uint32_t> accum_b4;               // quad deltas
extern std::atomic<uint32_t> accum_m2;               // base values
extern std::atomic<uint32_t> accum_m3;               // trees under the roots
extern std::atomic<uint32_t> accum_m4;               // trees under the quads
extern std::atomic<uint32_t> accum_used_tree_bits;   // planes of all nodes wider than a bit
extern std::atomic<uint32_t> accum_needed_tree_bits; // what their values would have needed

/// The same of a part of a frame.
struct decoded_bits
{
    uint32_t unc = 0;
    uint32_t b3 = 0;
    uint32_t b4 = 0;
    uint32_t m2 = 0;
    uint32_t m3 = 0;
    uint32_t m4 = 0;
    uint32_t used = 0;
    uint32_t needed = 0;
};
/// Not inline, so that files for newer instructions can call it.
void count(const decoded_bits& bits);

inline void count(std::atomic<uint32_t>& sum, uint32_t bits)
{
    sum.store(sum.load(std::memory_order_relaxed) + bits, std::memory_order_relaxed);
}

} // namespace tpakutil
