#pragma once
// Memory for reads whose bytes nobody wants: as long as the read, yet made of one small piece again and
// again, so that the read leaves the caches to what is needed.

#include <cstdint>

class discard_area
{
public:
    discard_area() = default;
    ~discard_area();
    discard_area(const discard_area&) = delete;
    discard_area& operator=(const discard_area&) = delete;

    /// `size` writable bytes that alias each other; null when there are none. They last until the next call.
    /// One thread at a time.
    void* room(uint64_t size);

private:
    bool reserve(uint64_t size);
    void release();

    void* _begin = nullptr;
    uint64_t _size = 0;
};
