#pragma once
// Reads every byte that a received structure leads to, so that one outside its block shows under a sanitizer
// or beside a guard page.

#include "vk/vk_fields.h"

#include <cstdint>
#include <cstring>

namespace vk_touch {

using namespace vk_wire;
using namespace vk_fields;

inline uint64_t bytes_of(const void* at, uint64_t size)
{
    uint64_t sum = 0;
    for (uint64_t i = 0; i < size; ++i)
        sum = sum * 31 + static_cast<const uint8_t*>(at)[i];
    return sum;
}

/// A sum over everything but addresses, so that it is the same wherever things lie.
template <class S>
uint64_t touch(const uint8_t* s);

template <auto M>
uint64_t field(plain<M>, const uint8_t* s)
{
    return bytes_of(s + offset_of<M>(), sizeof(value_of<M>));
}
template <auto M>
uint64_t field(size<M>, const uint8_t* s)
{
    return bytes_of(s + offset_of<M>(), sizeof(value_of<M>));
}
template <auto M>
uint64_t field(handle<M>, const uint8_t* s)
{
    return bytes_of(s + offset_of<M>(), sizeof(value_of<M>));
}
template <auto M>
uint64_t field(address<M>, const uint8_t* s)
{
    return bytes_of(s + offset_of<M>(), sizeof(value_of<M>));
}
template <auto M>
uint64_t field(next<M>, const uint8_t*)
{
    return 0;
}
template <auto M, class Extension, VkStructureType Type>
uint64_t field(next_or<M, Extension, Type>, const uint8_t* s)
{
    const uint8_t* extension = target_of<M>(s);
    return extension ? touch<Extension>(extension) : 0;
}
template <auto M>
uint64_t field(nested<M>, const uint8_t* s)
{
    uint64_t sum = 0;
    for (uint32_t i = 0; i < nested_count<M>; ++i)
        sum = sum * 31 + touch<nested_type<M>>(s + offset_of<M>() + i * sizeof(nested_type<M>));
    return sum;
}
template <auto P>
uint64_t field(pointer<P>, const uint8_t* s)
{
    const uint8_t* pointee = target_of<P>(s);
    return pointee ? touch<pointee_of<P>>(pointee) : 0;
}
template <auto P, auto N>
uint64_t field(array<P, N>, const uint8_t* s)
{
    using element = pointee_of<P>;
    const uint8_t* elements = target_of<P>(s);
    uint64_t sum = 0;
    for (uint64_t i = 0; elements && i < get<N>(s); ++i)
        if constexpr (is_described<element>)
            sum = sum * 31 + touch<element>(elements + i * sizeof(element));
        else
            sum = sum * 31 + bytes_of(elements + i * sizeof(element), sizeof(element));
    return sum;
}
template <auto P, auto N>
uint64_t field(handles<P, N>, const uint8_t* s)
{
    return target_of<P>(s) ? bytes_of(target_of<P>(s), uint64_t{8} * get<N>(s)) : 0;
}
template <auto P, auto N>
uint64_t field(bytes<P, N>, const uint8_t* s)
{
    return target_of<P>(s) ? bytes_of(target_of<P>(s), get<N>(s)) : 0;
}
template <auto P, auto N>
uint64_t field(sample_mask<P, N>, const uint8_t* s)
{
    return target_of<P>(s) ? bytes_of(target_of<P>(s), uint64_t{4} * sample_mask_words(get<N>(s))) : 0;
}
template <auto P>
uint64_t field(string<P>, const uint8_t* s)
{
    auto* text = reinterpret_cast<const char*>(target_of<P>(s));
    return text ? bytes_of(text, std::strlen(text)) : 0;
}
template <auto P, auto N>
uint64_t field(strings<P, N>, const uint8_t* s)
{
    const uint8_t* entries = target_of<P>(s);
    uint64_t sum = 0;
    for (uint64_t i = 0; entries && i < get<N>(s); ++i)
        if (auto* text = load<const char*>(entries + i * sizeof(char*)))
            sum = sum * 31 + bytes_of(text, std::strlen(text));
    return sum;
}
template <class Field>
uint64_t field(optional<Field>, const uint8_t* s)
{
    return field(Field{}, s);
}
template <auto Condition, class Field>
uint64_t field(when<Condition, Field>, const uint8_t* s)
{
    return field(Field{}, s);
}

template <class S>
uint64_t touch(const uint8_t* s)
{
    uint64_t sum = 0;
    for_each_field<S>([&](auto described, auto) { sum = sum * 31 + field(described, s); });
    return sum;
}

template <class S>
uint64_t touch(const S* s)
{
    return touch<S>(reinterpret_cast<const uint8_t*>(s));
}

} // namespace vk_touch
