#pragma once
// Sums over everything that the plain decoder has decoded in this process, in bits. Decoders that run at the
// same time may lose each other's counts. The fast coders don't count, since it would cost them a part of
// their speed and nothing needs it; who wants the sums selects the plain one.

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

inline void count(std::atomic<uint32_t>& sum, uint32_t bits)
{
    sum.store(sum.load(std::memory_order_relaxed) + bits, std::memory_order_relaxed);
}

} // namespace tpakutil
