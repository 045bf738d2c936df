#pragma once
// Swaps whose answer nobody waits for: an application that has handed in a frame goes on with the next one
// while the library draws and delivers it, as it would with a driver of its own. The answer is collected by
// the next call that needs the device. When none comes, a thread collects it, so that the frame is shown.

#include <cstdint>

namespace shim {

/// Whether answers may be left for later: the thread that looks after them is there. Starts it at first.
bool late_swaps_are_watched();

/// One more swap has been sent. Wakes the thread only after a pause.
void note_late_swap();

/// How long an application may leave a frame alone before it is fetched for it; for tests.
void set_late_swap_patience(uint32_t milliseconds);

/// For a forked child and for tests: the thread belongs to another process, or to another connection.
void forget_late_swaps();

} // namespace shim
