#include "handlers/gles/index_range.h"

#include "wire/api.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {
template <class T>
index_range scan(const uint8_t* bytes, uint64_t size, uint64_t count, bool restart)
{
    constexpr T restart_index = std::numeric_limits<T>::max();
    const uint64_t there = bytes ? std::min(count, size / sizeof(T)) : 0;
    T lowest = restart_index, highest = 0;
    bool any = false;
    for (uint64_t i = 0; i < there; ++i) {
        T index;
        std::memcpy(&index, bytes + i * sizeof(T), sizeof(T));
        if (restart && index == restart_index)
            continue;
        lowest = std::min(lowest, index);
        highest = std::max(highest, index);
        any = true;
    }
    if (there < count) {
        lowest = 0;
        any = true;
    }
    return any ? index_range{lowest, highest, true} : index_range{};
}
} // namespace

index_range scan_indices(uint32_t type, const uint8_t* bytes, uint64_t size, uint64_t count, bool restart)
{
    switch (type) {
    case GL_UNSIGNED_BYTE:
        return scan<uint8_t>(bytes, size, count, restart);
    case GL_UNSIGNED_SHORT:
        return scan<uint16_t>(bytes, size, count, restart);
    case GL_UNSIGNED_INT:
        return scan<uint32_t>(bytes, size, count, restart);
    default:
        return {};
    }
}
