#pragma once
// Frames whose answer nobody waits for: an application that has handed in a frame goes on with the next one
// while the library draws and delivers it, as it would with a driver of its own. The answer is taken by the
// next call that waits. When none comes, a thread takes it, so that the frame is shown.

#include <chrono>
#include <cstdint>

namespace shim {

/// Whether answers may be left for later: the thread that looks after them is there. Starts it at first.
bool late_frames_are_watched();

/// One more frame has been sent. Wakes the thread only after a pause.
void note_late_frame();

/// A frame has arrived. `show` brings it before the user's eyes, without the process-wide lock.
void show_later(void (*show)(void* owner, uint32_t number), void* owner, uint32_t number);

/// Shows what has arrived; when it returns no frame is being shown that had arrived before. Any thread,
/// without the process-wide lock. An owner calls `settle_late_frames` before it ends.
void show_arrived_frames();

/// Both: takes the answers that are still out, and shows what has arrived. Costs nothing when nothing is out.
void settle_late_frames();

/// For the time in which a frame is sent and the one before it is waited for. The library then begins to draw
/// at the very moment at which this thread begins to show: its drawing threads would find one processor
/// taken, gather on another one, and stay there while the first falls idle. An application that had to wait
/// long has the time to let them spread first.
class pause_before_showing
{
public:
    void take() const;

private:
    std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
};

/// How long an application may leave a frame alone before it is fetched for it; for tests.
void set_late_frame_patience(uint32_t milliseconds);

/// For a forked child and for tests: the thread belongs to another process, or to another connection.
void forget_late_frames();

} // namespace shim
