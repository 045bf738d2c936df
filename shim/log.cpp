#include "shim/log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace shim {

namespace {

std::atomic<uint32_t> log_level{2};

const char* word_of(gate g)
{
    switch (g) {
    case gate::fatal:
        return "FATAL";
    case gate::error:
        return "ERROR";
    case gate::warn:
        return "WARN";
    case gate::info:
        return "INFO";
    case gate::debug:
        return "DEBUG";
    case gate::trace:
        return "TRACE";
    }
    return "";
}

} // namespace

void set_log_level(uint32_t level)
{
    log_level.store(level, std::memory_order_relaxed);
}

bool log_enabled(gate g)
{
    return log_level.load(std::memory_order_relaxed) > static_cast<uint32_t>(g);
}

void say(gate g, const char* format, ...)
{
    if (!log_enabled(g))
        return;
    // One write per line, so that lines of several processes on one terminal don't mix.
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    fprintf(stderr, "%s [SHIM] %s\n", word_of(g), text);
}

} // namespace shim
