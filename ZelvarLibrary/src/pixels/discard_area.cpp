#include "pixels/discard_area.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {
constexpr uint64_t piece = 256 * 1024; // a multiple of every page size in use
}

discard_area::~discard_area()
{
    release();
}

void* discard_area::room(uint64_t size)
{
    if (size > _size && !reserve((size + piece - 1) / piece * piece))
        return nullptr;
    return _begin;
}

bool discard_area::reserve(uint64_t size)
{
    release();
    void* begin =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (begin == MAP_FAILED)
        return false;
    _begin = begin;
    _size = size;
    const int file = memfd_create("discarded", MFD_CLOEXEC);
    // Without such a file plain memory serves, which only costs more.
    const bool has_piece = file >= 0 && ftruncate(file, piece) == 0;
    bool whole = true;
    for (uint64_t at = 0; has_piece && whole && at < size; at += piece)
        whole = mmap(static_cast<uint8_t*>(begin) + at, piece, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED,
                     file, 0) != MAP_FAILED;
    if (file >= 0)
        close(file);
    if (!whole)
        release();
    return whole;
}

void discard_area::release()
{
    if (_begin)
        munmap(_begin, _size);
    _begin = nullptr;
    _size = 0;
}
