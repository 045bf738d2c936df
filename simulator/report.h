#pragma once
// Progress while targets run, and the summary behind them. All on standard error.

#include "connection.h"

#include <chrono>

namespace simulator {

class report
{
public:
    explicit report(const totals& sums);
    /// Prints a progress line when one is due: often on a terminal, seldom elsewhere.
    void tick();
    void summary(const frame_writer* frames, size_t parked, bool detailed);

private:
    double seconds() const;
    void wipe();

    const totals& _sums;
    const std::chrono::steady_clock::time_point _begin;
    std::chrono::steady_clock::time_point _last;
    const bool _terminal;
    bool _line_open = false;
};

} // namespace simulator
