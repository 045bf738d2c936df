#include "sidechannel_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

constinit std::atomic<uint32_t> sidechannel_log_level{1};

void sidechannel_set_log_level(int level)
{
    sidechannel_log_level.store(static_cast<uint32_t>(level), std::memory_order_relaxed);
}

void StackDump()
{
    LOG_TRACE("StackDump()");
}

void sidechannel_print(const char* format, ...)
{
    // One call a line: the stream's own lock keeps lines of different threads whole.
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
}

void sidechannel_assertion_failed(const char* condition, const char* file, int line, const char* function)
{
    // The log usually tells why; but a stream that another thread is stuck in must not delay the end.
    if (ftrylockfile(stdout) == 0) {
        fflush_unlocked(stdout);
        funlockfile(stdout);
    }
    std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line, function, condition);
    std::abort();
}
