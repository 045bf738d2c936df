#include "inbound/vk_reader.h"

void* vk_reader::completed(uint64_t bytes)
{
    uint64_t held = left();
    void* copy = block(bytes);
    if (held)
        std::memcpy(copy, _in.rest(), held);
    _in.skip(bytes);
    return copy;
}

void* vk_reader::block(uint64_t bytes)
{
    _blocks.push_back(std::make_unique<uint8_t[]>(bytes));
    return _blocks.back().get();
}

const char* vk_reader::take_string()
{
    uint64_t held = left();
    const void* end = held ? std::memchr(_in.rest(), 0, held) : nullptr;
    uint64_t length = end ? static_cast<const uint8_t*>(end) - _in.rest() + 1 : held + 1;
    return static_cast<const char*>(in_place(length));
}
