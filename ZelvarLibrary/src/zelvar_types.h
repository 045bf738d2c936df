#pragma once
// Identifiers that everything uses.

#include <cstdint>
#include <sys/types.h>

/// Target process ids are `pid_t` of the system: 32 bits, bits 24-31 a VMID on the wire.
/// Target thread id.
using tid_t = uint64_t;

/// An address in target memory. Never dereferenced on the host: the only way to what it points at is the
/// memory service.
struct target_ptr
{
    uint64_t address = 0;
    explicit operator bool() const { return address != 0; }
    target_ptr operator+(uint64_t bytes) const { return {address + bytes}; }
    bool operator==(const target_ptr&) const = default;
};
