#pragma once
// The library over fakes, as much of it as a test needs: recording host tables, an object manager in test
// mode, the plug-in object. Every test runs in a process of its own, so nothing is taken down.

#include "settings/zelvar_settings.h"
#include "zelvar/sc_interfaces.h"

#include <functional>
#include <string>

namespace library {
/// Recording fake host tables, object manager in test mode, plug-in and decoder table; default settings with
/// `callOnTargetAPI` as given. No settings file is read.
scPluginInterface* start(target_gpu gpu = TARGET_GPU_NONE);
/// The same over fakes that neither record nor lock.
scPluginInterface* start_quiet(target_gpu gpu = TARGET_GPU_NONE);
void set_target_gpu(target_gpu gpu);

/// What stands on the host and the target after a usual start of an application.
struct current_context
{
    uint64_t display = 0xd0;
    uint64_t config = 3; // of the surface; has a row of its own only where a test makes one
    uint64_t surface = 0x50;
    uint64_t context = 0xc0;
};
/// Gives a target thread a display, a window surface and a context of its own, and makes them current. The
/// journal of the host is empty afterwards.
current_context make_current(int pid, uint64_t tid, const current_context& ids = {});

/// Runs `code` and returns what it printed to standard output.
template <class F>
std::string printed_by(F code);

/// Runs `code` on a thread of its own and waits for it: for what takes a context's lock, since the test's
/// thread holds its channel's lock as the simulator's thread does, and a simulator never takes a context's.
void aside(const std::function<void()>& code);

void begin_capture();
std::string end_capture();
template <class F>
std::string printed_by(F code)
{
    begin_capture();
    code();
    return end_capture();
}
/// How often `text` stands in `printed`.
size_t occurrences(const std::string& printed, const std::string& text);
} // namespace library
