#pragma once
// The library in this process without its entry point, started afresh for each input of a fuzz target.

#include "scripted_target.h"

#include <cstdint>
#include <span>

namespace library_under_test {
/// The settings that an input chooses; one byte.
enum setting : uint8_t
{
    target_runs_dummy = 1,
    target_runs_gpu = 2,
    batched = 4,
    target_batched = 8,
    direct_reads = 16,
    direct_writes = 32,
    errors_checked = 64,
    loud = 128,
};

/// The one target of the process. The first call starts the library over the host that `install_host` puts
/// in.
scripted_target& target_over(void (*install_host)());
void apply_settings(uint8_t settings);
/// Opens the registry for an input, and the target with the answers that it is to give.
void begin(scripted_target& target, bool narrow_pointers, std::span<const uint8_t> script);
/// Serves what is left and forgets all that the input has made.
void end(scripted_target& target);
} // namespace library_under_test
