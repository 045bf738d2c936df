#pragma once
// Blocks in memory that the device shares with this process. The device reaches them by plain copy, where any
// other memory of ours costs it a system call that pins each page, so whatever it fills or fetches often lies
// here: frames and what is mapped.

#include "shim/transport.h"

#include <cstdint>

namespace shim {

/// Sets the memory that blocks are taken from, and the file that it is a mapping of; the blocks of an earlier
/// one are forgotten.
void use_shared_area(uint8_t* area, uint64_t size, file_place file = {});

/// A block of whole pages with `behind` bytes after it that no other block lies in. What an earlier block
/// left is still in it. Null when there is no room. From any thread, as all here.
uint8_t* take_shared_block(uint64_t size, uint64_t behind = 0);

/// False when it isn't such a block, and nothing is done.
bool give_back_shared_block(void* block);

/// Where so many bytes lie in the area's file, for others who can map it.
file_place place_in_shared_file(const void* bytes, uint64_t count);

/// For a forked child: the memory is the parent's.
void forget_shared_area();

} // namespace shim
