#include "shared_rows.h"

namespace tpakutil {

shared_rows::shared_rows(tpak_frame_info& info, int rows)
    : _info{info}, _rows{rows}, _payloads(static_cast<size_t>(rows))
{
}

shared_rows::~shared_rows() = default;

bool shared_rows::take()
{
    return _taken.fetch_add(1, std::memory_order_relaxed) < _rows;
}

bool shared_rows::take_first(int* row)
{
    if (!take())
        return false;
    *row = _from_front.fetch_add(1, std::memory_order_relaxed);
    return true;
}

bool shared_rows::take_last(int* row)
{
    if (!take())
        return false;
    *row = _rows - 1 - _from_back.fetch_add(1, std::memory_order_relaxed);
    return true;
}

void shared_rows::place(int row, int start, int end)
{
    _payloads[static_cast<size_t>(row)] = {start, end};
}

int shared_rows::start_of(int row) const
{
    return _payloads[static_cast<size_t>(row)].start;
}

int shared_rows::end_of(int row) const
{
    return _payloads[static_cast<size_t>(row)].end;
}

int shared_rows::front_rows() const
{
    return _from_front.load(std::memory_order_relaxed);
}

void shared_rows::add_statistics(const tpak_frame_info& of_thread)
{
    const std::lock_guard<std::mutex> guard{_lock};
    _info.split_read_bytes[1] += of_thread.split_read_bytes[1];
    _info.contiguous_read_bytes[1] += of_thread.contiguous_read_bytes[1];
}

} // namespace tpakutil
