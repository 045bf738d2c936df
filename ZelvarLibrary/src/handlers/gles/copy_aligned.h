#pragma once
// Arrays whose items are wider on one side than on the other, as pointers of 32-bit targets are.

#include <cstdint>

/// Copies `count` items one by one: a wider destination ends in zeros, a narrower one cuts off. False,
/// logged, for a size of 0 or a null address.
bool zelvar_helpers_copy_aligned(void* destination, uint64_t destination_item_size, const void* source,
                                 uint64_t source_item_size, uint64_t count);
