#include "shim/shared_blocks.h"

#include "shim/process_lock.h"

#include <algorithm>
#include <map>
#include <new>

namespace shim {

namespace {

constexpr uint64_t page = 4096;

// All guarded by the lock and never destroyed.
process_lock& blocks_lock = *new process_lock;
/// Bytes of each block with what lies behind it, by offset.
std::map<uint64_t, uint64_t>& taken = *new std::map<uint64_t, uint64_t>;
uint8_t* area = nullptr;
uint64_t area_size = 0;
file_place area_file;

/// The lowest offset that has room, so that pages that have been touched are used again. `area_size` or more
/// when there is none.
uint64_t find_room(uint64_t size)
{
    uint64_t at = 0;
    for (const auto& [offset, length] : taken) {
        if (offset - at >= size)
            return at;
        at = offset + length;
    }
    return at;
}

} // namespace

void use_shared_area(uint8_t* memory, uint64_t size, file_place file)
{
    const std::lock_guard<process_lock> guard{blocks_lock};
    taken.clear();
    area = memory;
    area_size = memory ? size : 0;
    area_file = file;
}

uint8_t* take_shared_block(uint64_t size, uint64_t behind)
{
    const std::lock_guard<process_lock> guard{blocks_lock};
    if (size > area_size || behind > area_size)
        return nullptr;
    const uint64_t whole = (std::max<uint64_t>(size, 1) + behind + page - 1) / page * page;
    const uint64_t at = find_room(whole);
    if (at > area_size || whole > area_size - at)
        return nullptr;
    try {
        taken.emplace(at, whole);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return area + at;
}

bool give_back_shared_block(void* block)
{
    const std::lock_guard<process_lock> guard{blocks_lock};
    const auto* at = static_cast<const uint8_t*>(block);
    return area && at >= area && at < area + area_size && taken.erase(static_cast<uint64_t>(at - area)) != 0;
}

file_place place_in_shared_file(const void* bytes, uint64_t count)
{
    const std::lock_guard<process_lock> guard{blocks_lock};
    const auto offset = static_cast<uint64_t>(static_cast<const uint8_t*>(bytes) - area);
    if (area_file.file < 0 || bytes < area || offset > area_size || count > area_size - offset)
        return {};
    return {area_file.file, area_file.offset + offset};
}

void forget_shared_area()
{
    blocks_lock.revive();
    taken.clear();
    area = nullptr;
    area_size = 0;
    area_file = {};
}

} // namespace shim
