#pragma once
// What threads need that encode one frame together. All of it is compiled for every machine: nothing inline,
// so that files for newer instructions can call it.

#include "tpakutil/tpak_common.h"

#include <atomic>
#include <mutex>
#include <vector>

namespace tpakutil {

/// The rows of superblocks of a frame, which threads take from both ends until none is left.
class shared_rows
{
public:
    shared_rows(tpak_frame_info& info, int rows);
    ~shared_rows();
    /// False when none is left.
    bool take_first(int* row);
    bool take_last(int* row);
    /// Where the payload of a row is. Each row is its taker's until all threads are done.
    void place(int row, int start, int end);
    int start_of(int row) const;
    int end_of(int row) const;
    /// How many rows were taken from the front.
    int front_rows() const;
    /// Adds one thread's statistics to those of the frame.
    void add_statistics(const tpak_frame_info& of_thread);

private:
    struct payload
    {
        int start;
        int end;
    };
    bool take();

    std::mutex _lock; // of the statistics
    tpak_frame_info& _info;
    const int _rows;
    std::atomic<int> _taken{0}; // or wished for in vain
    std::atomic<int> _from_front{0};
    std::atomic<int> _from_back{0};
    std::vector<payload> _payloads;
};

} // namespace tpakutil
