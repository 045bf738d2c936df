#pragma once
// What the library asks of the target while a call runs: memory, strings, sizes, windows, sync objects.

#include "shim/connection.h"

#include "wire/wire.h"

#include <cstdint>
#include <cstring>

namespace shim {

/// The result bytes of a confirmation.
struct service_answer
{
    uint32_t error = 0;
    uint8_t size = 0;
    uint8_t bytes[255] = {};

    template <class T>
    void set(T value)
    {
        size = sizeof value;
        std::memcpy(bytes, &value, sizeof value);
    }
};

/// Bytes that a request takes in the stream. One request declares less than it has.
uint32_t request_length(const wire::header& request);

/// Serves one request whose payload of `length` bytes is at `payload`. Returns whether the library waits for
/// a confirmation, and then `answer` is what it carries. The process-wide lock is held. `surface` is the
/// one whose frame the call would write, or null.
bool serve(void* surface, const wire::header& request, const uint8_t* payload, uint32_t length,
           service_answer& answer);

/// Memory that the library will own, with the process-wide lock held. Null, and a message, when there is
/// none.
void* allocate_block(uint32_t size);
void free_block(void* block);

/// Forgets the blocks that were allocated for the library. They stay allocated.
void forget_services();

} // namespace shim
