#pragma once
// The two-level tree in which a compressed subblock stores each component: the block's minimum, what the
// minima of its four quads of 2x2 pixels lie above it, and what the pixels lie above their quad's.

#include <cstdint>

namespace tpakutil {

inline constexpr int tree_nodes = 21;   // root, 4 quads, 16 pixels
inline constexpr int count_nodes = 5;   // root and quads: those with children
inline constexpr int flat = -1;         // bit count of a root whose block has one value
inline constexpr int flat_default = -2; // the same, and the value is the component's default
inline constexpr int count_modulus = 16;

struct component_tree
{
    uint32_t nodes[tree_nodes];
    int counts[count_nodes]; // bits of each child
};

/// The pixel, 0 to 15 in raster order, that leaf `leaf` of quad `quad` stands for.
constexpr int pixel_of(int quad, int leaf)
{
    return (quad / 2 * 2 + leaf / 2) * 4 + quad % 2 * 2 + leaf % 2;
}

} // namespace tpakutil
