#pragma once
// The log gates and the assertions. Each line is behind its own test of `sidechannel_log_level`; lines go
// to standard output in the form "LEVEL [ZELVAR] text".

#include <atomic>
#include <cstdint>

/// The gate of all logging, read without a lock. 1 until a line of the settings file has been read.
extern std::atomic<uint32_t> sidechannel_log_level;

void sidechannel_set_log_level(int level);

/// Marks a place where a stack trace would be taken: one TRACE line, no other effect.
void StackDump();

/// Prints one formatted line to standard output, never throws.
void sidechannel_print(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Prints the failed condition to standard error and aborts, in every build type.
[[noreturn]] void sidechannel_assertion_failed(const char* condition, const char* file, int line,
                                               const char* function);

/// A line is printed when `sidechannel_log_level` is above its gate. The gap between WARN and INFO is part
/// of the interface.
enum sidechannel_log_gate : uint32_t
{
    LOG_GATE_FATAL = 0,
    LOG_GATE_ERROR = 1,
    LOG_GATE_WARN = 2,
    LOG_GATE_INFO = 6564,
    LOG_GATE_DEBUG = 6565,
    LOG_GATE_TRACE = 6566,
    LOG_GATE_FINE = 6567,
};

inline bool sidechannel_log_enabled(sidechannel_log_gate gate)
{
    return sidechannel_log_level.load(std::memory_order_relaxed) > gate;
}

// The text is a literal without its final line end; the macro appends exactly one.
#define ZELVAR_LOG_(gate, level, text, ...)                                                                  \
    do {                                                                                                     \
        if (sidechannel_log_enabled(gate)) [[unlikely]]                                                      \
            sidechannel_print(level " [ZELVAR] " text "\n" __VA_OPT__(, ) __VA_ARGS__);                      \
    } while (0)

#define LOG_FATAL(text, ...) ZELVAR_LOG_(LOG_GATE_FATAL, "FATAL", text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_ERROR(text, ...) ZELVAR_LOG_(LOG_GATE_ERROR, "ERROR", text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_WARN(text, ...) ZELVAR_LOG_(LOG_GATE_WARN, "WARN", text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_INFO(text, ...) ZELVAR_LOG_(LOG_GATE_INFO, "INFO", text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_DEBUG(text, ...) ZELVAR_LOG_(LOG_GATE_DEBUG, "DEBUG", text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_TRACE(text, ...) ZELVAR_LOG_(LOG_GATE_TRACE, "TRACE", text __VA_OPT__(, ) __VA_ARGS__)
#define LOG_FINE(text, ...) ZELVAR_LOG_(LOG_GATE_FINE, "TRACE", text __VA_OPT__(, ) __VA_ARGS__)

/// For the lines that print at every log level.
#define LOG_ALWAYS(level, text, ...)                                                                         \
    sidechannel_print(level " [ZELVAR] " text "\n" __VA_OPT__(, ) __VA_ARGS__)

/// Stops the process with the quoted condition when `condition` is false.
#define ZELVAR_ASSERT_TEXT(condition, text)                                                                  \
    (static_cast<bool>(condition) ? static_cast<void>(0)                                                     \
                                  : sidechannel_assertion_failed(text, __FILE__, __LINE__, __func__))
#define ZELVAR_ASSERT(condition) ZELVAR_ASSERT_TEXT(condition, #condition)
