#pragma once
// Requests of the library to run an entry point on the target.

#include <cstdint>

namespace shim {

struct target_call
{
    const char* name;
    uint8_t result_width; // bytes of the result in the confirmation
    bool has_output;      // an argument points to memory that the entry point writes
    uint32_t no_error;    // what the error word says when all is well
};

/// The request with this outbound type, or null.
const target_call* find_target_call(uint32_t type);

} // namespace shim
