#pragma once
// Bytes that end at an unmapped page: a read past their end is loud even without a sanitizer.

#include <cstdint>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

class guarded_bytes
{
public:
    explicit guarded_bytes(const std::vector<uint8_t>& bytes)
    {
        auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        _length = (bytes.size() + page - 1) / page * page + page;
        _block = static_cast<uint8_t*>(
            mmap(nullptr, _length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        _data = _block + _length - page - bytes.size();
        if (!bytes.empty())
            std::memcpy(_data, bytes.data(), bytes.size());
        mprotect(_block + _length - page, page, PROT_NONE);
    }
    ~guarded_bytes() { munmap(_block, _length); }
    guarded_bytes(const guarded_bytes&) = delete;
    guarded_bytes& operator=(const guarded_bytes&) = delete;

    uint8_t* data() const { return _data; }

private:
    uint8_t* _block;
    uint8_t* _data;
    size_t _length;
};
