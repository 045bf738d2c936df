#include "report.h"

#include <cstdio>

#include <unistd.h>

namespace simulator {
namespace {

constexpr std::chrono::milliseconds terminal_interval{250};
constexpr std::chrono::milliseconds log_interval{10000};

unsigned long long number(const std::atomic<uint64_t>& value)
{
    return value.load(std::memory_order_relaxed);
}

} // namespace

report::report(const totals& sums)
    : _sums(sums), _begin(std::chrono::steady_clock::now()), _last(_begin), _terminal(isatty(STDERR_FILENO))
{
}

double report::seconds() const
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - _begin).count();
}

void report::wipe()
{
    if (_line_open)
        std::fputs("\r\033[K", stderr);
    _line_open = false;
}

void report::tick()
{
    const auto now = std::chrono::steady_clock::now();
    if (now - _last < (_terminal ? terminal_interval : log_interval))
        return;
    _last = now;
    wipe();
    std::fprintf(stderr, "zelvar-sim: %.1f s, %llu frames, %llu calls, %llu messages%s", seconds(),
                 number(_sums.frames), number(_sums.calls), number(_sums.messages), _terminal ? "" : "\n");
    std::fflush(stderr);
    _line_open = _terminal;
}

void report::summary(const frame_writer* frames, size_t parked, bool detailed)
{
    wipe();
    const double time = seconds();
    const double rate = time > 0 ? 1 / time : 0;
    std::fprintf(stderr,
                 "zelvar-sim: %llu frames (%.1f a second), %llu calls (%.0f a second) in %llu messages, "
                 "%llu bytes read, %llu bytes written, %.2f s\n",
                 number(_sums.frames), static_cast<double>(number(_sums.frames)) * rate, number(_sums.calls),
                 static_cast<double>(number(_sums.calls)) * rate, number(_sums.messages),
                 number(_sums.moved.read), number(_sums.moved.written), time);
    if (frames)
        std::fprintf(stderr, "zelvar-sim: %llu pictures in %s%s\n",
                     static_cast<unsigned long long>(frames->written()), frames->options().directory.c_str(),
                     frames->failed() ? ", others could not be written" : "");
    if (parked)
        std::fprintf(stderr, "zelvar-sim: %zu threads stay parked in the library\n", parked);
    if (!detailed)
        return;
    const auto messages = static_cast<double>(number(_sums.messages));
    const auto busy = static_cast<double>(number(_sums.call_nanoseconds));
    std::fprintf(
        stderr, "zelvar-sim: %llu targets, %.2f s inside messages, %.1f us a message, %.1f calls a message\n",
        number(_sums.targets), busy / 1e9, messages > 0 ? busy / messages / 1e3 : 0,
        messages > 0 ? static_cast<double>(number(_sums.calls)) / messages : 0);
}

} // namespace simulator
