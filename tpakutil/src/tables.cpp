#include "tpakutil/tpak_common.h"

const int superblock_width[tpak_layouts] = {16, 16, 16, 32, 32, 32, 32};
const int superblock_height[tpak_layouts] = {16, 16, 16, 8, 8, 8, 8};
const int sl_subsampling[tpak_layouts] = {0, 1, 2, 0, 0, 1, 2};
const int log2_table[18] = {-1, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 5};

namespace {

// Each row is one subblock: block type, x, y.
// clang-format off
constexpr unsigned char spiral[] = {
    0,4,4,   0,0,4,   0,0,0,   0,4,0,   0,8,0,   0,12,0,  0,12,4,  0,8,4,
    0,8,8,   0,12,8,  0,12,12, 0,8,12,  0,4,12,  0,0,12,  0,0,8,   0,4,8};
constexpr unsigned char spiral_420[] = {
    0,4,4,   0,0,4,   1,0,0,   0,0,0,   0,4,0,   0,8,0,   0,12,0,  1,4,0,   0,12,4,  0,8,4,
    0,8,8,   0,12,8,  1,4,4,   0,12,12, 0,8,12,  0,4,12,  0,0,12,  1,0,4,   0,0,8,   0,4,8};
constexpr unsigned char spiral_422[] = {
    0,4,4,   1,0,4,   0,0,4,   0,0,0,   1,0,0,   0,4,0,   0,8,0,   1,4,0,   0,12,0,  0,12,4,  1,4,4,   0,8,4,
    0,8,8,   1,4,8,   0,12,8,  0,12,12, 1,4,12,  0,8,12,  0,4,12,  1,0,12,  0,0,12,  0,0,8,   1,0,8,   0,4,8};
constexpr unsigned char raster[] = {
    0,0,0,   0,4,0,   0,8,0,   0,12,0,  0,16,0,  0,20,0,  0,24,0,  0,28,0,
    0,0,4,   0,4,4,   0,8,4,   0,12,4,  0,16,4,  0,20,4,  0,24,4,  0,28,4};
constexpr unsigned char wide[] = {
    0,4,4,   0,0,4,   0,0,0,   0,4,0,   0,8,0,   0,12,0,  0,12,4,  0,8,4,
    0,20,4,  0,16,4,  0,16,0,  0,20,0,  0,24,0,  0,28,0,  0,28,4,  0,24,4};
constexpr unsigned char wide_420[] = {
    0,4,4,   0,0,4,   1,0,0,   0,0,0,   0,4,0,   0,8,0,   0,12,0,  1,4,0,   0,12,4,  0,8,4,
    0,20,4,  0,16,4,  1,8,0,   0,16,0,  0,20,0,  0,24,0,  0,28,0,  1,12,0,  0,28,4,  0,24,4};
constexpr unsigned char wide_422[] = {
    0,4,4,   1,0,4,   0,0,4,   0,0,0,   1,0,0,   0,4,0,   0,8,0,   1,4,0,   0,12,0,  0,12,4,  1,4,4,   0,8,4,
    0,20,4,  1,8,4,   0,16,4,  0,16,0,  1,8,0,   0,20,0,  0,24,0,  1,12,0,  0,28,0,  0,28,4,  1,12,4,  0,24,4};
// clang-format on
static_assert(sizeof spiral == 16 * 3 && sizeof raster == 16 * 3 && sizeof wide == 16 * 3);
static_assert(sizeof spiral_420 == 20 * 3 && sizeof wide_420 == 20 * 3);
static_assert(sizeof spiral_422 == 24 * 3 && sizeof wide_422 == 24 * 3);

} // namespace

const unsigned char* const subblock_orders[tpak_layouts] = {spiral, spiral_420, spiral_422, raster,
                                                            wide,   wide_420,   wide_422};
