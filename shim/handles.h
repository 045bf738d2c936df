#pragma once
// Handles that are wider than the target's pointers. A display's handle is an address on the host, which a
// 32-bit process can't hold: it gets the address of a cell of ours instead, and the cell holds the handle.
// In a 64-bit process all of this is the identity.

#include <cstdint>

namespace shim {

/// What the application gets for a handle or pointer that came over the wire. Any thread.
uintptr_t pointer_from_wire(uint64_t value);

/// The reverse: what goes over the wire for a pointer or handle of the application. Any thread.
uint64_t wire_from_pointer_slow(uintptr_t pointer);

inline uint64_t wire_from_pointer(uintptr_t pointer)
{
    if constexpr (sizeof(void*) == 8)
        return pointer;
    else
        return wire_from_pointer_slow(pointer);
}

} // namespace shim
