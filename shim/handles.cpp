#include "shim/handles.h"

#include "shim/log.h"

#include <atomic>
#include <mutex>

namespace shim {

namespace {

// Displays are all that is ever wide, and there are few of them.
constexpr uint32_t cell_count = 256;
std::atomic<uint64_t> cells[cell_count];
std::atomic<uint32_t> cells_used{0};
std::mutex cells_lock;

} // namespace

uintptr_t pointer_from_wire(uint64_t value)
{
    if (value <= UINTPTR_MAX)
        return static_cast<uintptr_t>(value);
    const std::lock_guard<std::mutex> guard{cells_lock};
    const uint32_t used = cells_used.load(std::memory_order_relaxed);
    for (uint32_t i = 0; i < used; ++i)
        if (cells[i].load(std::memory_order_relaxed) == value)
            return reinterpret_cast<uintptr_t>(&cells[i]);
    if (used == cell_count) {
        SHIM_SAY_ONCE(gate::error, "More than %u handles are wider than a pointer; the rest are null.", used);
        return 0;
    }
    cells[used].store(value, std::memory_order_relaxed);
    cells_used.store(used + 1, std::memory_order_release);
    return reinterpret_cast<uintptr_t>(&cells[used]);
}

uint64_t wire_from_pointer_slow(uintptr_t pointer)
{
    const uintptr_t first = reinterpret_cast<uintptr_t>(&cells[0]);
    const uintptr_t bytes = cells_used.load(std::memory_order_acquire) * sizeof cells[0];
    if (pointer - first < bytes)
        return cells[(pointer - first) / sizeof cells[0]].load(std::memory_order_relaxed);
    return pointer;
}

} // namespace shim
