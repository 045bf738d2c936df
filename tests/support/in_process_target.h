#pragma once
// A target in the process of the test: the shim's own code over a channel of the library, without a simulator
// in between. The functions of the target bear the prefix target_ (shim/target_names.h), so that the host's
// driver can be in the same process.
//
//     in_process_target::start({.plugin = library::start()});
//     EGLDisplay display = target_eglGetDisplay(EGL_DEFAULT_DISPLAY);

#include "zelvar/sc_interfaces.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace in_process_target {

/// Who calls the channel. A channel belongs to the thread that opened it.
enum class driving
{
    simulator_thread, // a thread of its own; the target may have any number of threads
    direct,           // the thread of the first call, without a hand-over; no other may make calls
};

struct options
{
    scPluginInterface* plugin = nullptr; // null: what scPluginEntryPoint returns
    driving by = driving::simulator_thread;
    uint32_t screen_width = 640;
    uint32_t screen_height = 480;
    size_t window_size = size_t{8} << 20; // bytes for messages
};

/// Prepares the target; its first call opens the channel. May be called again for a new connection of the
/// same process, while no call is under way.
void start(const options& how = {});

/// What has crossed since `start`.
struct traffic
{
    uint64_t exchanges = 0;
    uint64_t bytes_read = 0; // by the library, messages included
    uint64_t bytes_written = 0;
    uint64_t refused = 0; // accesses that came back short
};
traffic traffic_so_far();

/// A finished frame: R, G, B, A, top row first.
struct frame
{
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> pixels;

    const uint8_t* at(uint32_t x, uint32_t y) const { return pixels.data() + (size_t{y} * width + x) * 4; }
};
uint32_t frames_so_far();
/// The newest frame; empty before the first. Call it when no swap is under way.
const frame& last_frame();

} // namespace in_process_target
