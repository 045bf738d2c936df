#pragma once
// Sync objects that the library has the shim make: what a thread of the application blocks on, without
// holding up the calls of other threads.

#include <cstdint>

namespace shim {

/// Makes an object and returns its id, never 0.
uint64_t create_sync_object();

/// Wakes all waiters and forgets the object. Returns false for an unknown id.
bool destroy_sync_object(uint64_t id);

/// Wakes all waiters. Returns false for an unknown id.
bool signal_sync_object(uint64_t id);

/// How often the object has been signalled; to be taken before the wait is decided on, so that no signal
/// falls between. 0 for an unknown id.
uint64_t sync_object_signals(uint64_t id);

/// Blocks until the object has been signalled more than `seen` times, or is gone, or `timeout` nanoseconds
/// have passed (all bits set: for ever). Returns false when the time ran out.
bool wait_for_sync_object(uint64_t id, uint64_t seen, uint64_t timeout);

/// For a forked child and for tests: forgets all objects.
void forget_sync_objects();

} // namespace shim
