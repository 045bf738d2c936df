// unpack_ and pack_ of every structure.

#include "inbound/vk_walkers.h"
#include "vk/vk_structure_functions.h"
#include "vk/vk_unpack.h"

template <class T>
uint32_t vk_target_size(int target_bits)
{
    return target_bits == 32 ? vk_wire::layout<T, 32>::size : sizeof(T);
}

template <class T>
void vk_pack_for_target(int target_bits, const T* source, uint32_t count, void* destination)
{
    if (target_bits != 32) {
        std::memcpy(destination, source, uint64_t{sizeof(T)} * count);
        return;
    }
    constexpr uint64_t narrow_size = vk_wire::layout<T, 32>::size;
    auto* wide = reinterpret_cast<const uint8_t*>(source);
    auto* narrow = static_cast<uint8_t*>(destination);
    std::memset(narrow, 0, narrow_size * count);
    for (uint64_t i = 0; i < count; ++i)
        vk_unpack::pack<T>(wide + i * sizeof(T), narrow + i * narrow_size);
}

#define VK_STRUCTURE(name, size32)                                                                           \
    template uint32_t vk_target_size<name>(int);                                                             \
    template void vk_pack_for_target<name>(int, const name*, uint32_t, void*);                               \
    uint32_t unpack_##name(const name##32 * source, name * destination)                                      \
    {                                                                                                        \
        vk_unpack::unpack<name>(source->bytes, reinterpret_cast<uint8_t*>(destination));                     \
        return sizeof(source->bytes);                                                                        \
    }                                                                                                        \
    void pack_##name(name##32 * destination, const name* source)                                             \
    {                                                                                                        \
        vk_unpack::pack<name>(reinterpret_cast<const uint8_t*>(source), destination->bytes);                 \
    }
#include "wire/vk_structure_names.inc"
#undef VK_STRUCTURE
