#pragma once
// What a made-up target has in its memory, so that the addresses in its calls lead to something.

#include "scripted_target.h"

#include <cstdint>

namespace target_blocks {
constexpr uint64_t base = scripted_memory::base;
constexpr uint64_t ids_from_one = base;               // 1, 2, 3, ... as words
constexpr uint64_t context_attributes = base + 0x400; // lists of `attribute_stride` bytes
constexpr uint64_t surface_attributes = base + 0x500;
constexpr uint64_t buffers = base + 0x600; // native ones: what the target says of the buffer with this handle
constexpr uint64_t vertices = base + 0x800;   // 128 vectors of four
constexpr uint64_t indices_8 = base + 0x1000; // small, large and restarting ones
constexpr uint64_t indices_16 = base + 0x1100;
constexpr uint64_t indices_32 = base + 0x1300;
constexpr uint64_t commands = base + 0x1700;      // indirect draws, as words
constexpr uint64_t names = base + 0x1800;         // of shader variables, `name_stride` apart
constexpr uint64_t text_pointers = base + 0x2000; // to the sources, then to the names
constexpr uint64_t text_lengths = base + 0x2100;  // for the sources: right, short, negative, huge
constexpr uint64_t sources = base + 0x3000;       // `source_stride` apart
constexpr uint64_t output = base + 0x6000;        // what calls write
constexpr uint64_t pixels = base + 0x8000;
constexpr uint64_t end = base + scripted_memory::size; // of the block: what begins close to it ends short
constexpr uint64_t nowhere = base - 16;

constexpr uint64_t buffer_count = 6;
constexpr uint64_t name_stride = 0x20, source_stride = 0x400, attribute_stride = 0x20;
/// Indices of the sources.
enum source
{
    vertex,
    fragment,
    vertex_of_version_3,
    fragment_of_version_3,
    compute,
    broken,
    source_count
};

void lay_out(scripted_target& target);
} // namespace target_blocks
