#pragma once
// Diagnostics of the shim, on the standard error stream of the application that it is loaded into.

#include <cstdint>

namespace shim {

/// A line is printed when the level of the settings is above its gate.
enum class gate : uint32_t
{
    fatal = 0,
    error = 1,
    warn = 2,
    info = 6564,
    debug = 6565,
    trace = 6566,
};

/// The level of the settings; 2 (FATAL and ERROR) until they have been received. Any thread.
void set_log_level(uint32_t level);
bool log_enabled(gate g);

/// Prints one line, "ERROR [SHIM] text"; adds the line end. Any thread.
void say(gate g, const char* format, ...) __attribute__((format(printf, 2, 3)));

} // namespace shim

/// The same, once in the life of the process for each place in the code: for what an application can provoke
/// in a loop.
#define SHIM_SAY_ONCE(...)                                                                                   \
    do {                                                                                                     \
        static std::atomic<bool> said{false};                                                                \
        if (!said.exchange(true, std::memory_order_relaxed))                                                 \
            ::shim::say(__VA_ARGS__);                                                                        \
    } while (0)
