#pragma once
// From the 32-bit layout to the host's and back, field by field.

#include "vk/vk_fields.h"

namespace vk_unpack {

using namespace vk_wire;
using vk_fields::load;
using vk_fields::store;

template <class S>
void unpack(const uint8_t* narrow, uint8_t* wide);
template <class S>
void pack(const uint8_t* wide, uint8_t* narrow);

/// Pointers and sizes.
template <class Field>
void unpack_field(Field, const uint8_t* narrow, uint8_t* wide)
{
    store<uint64_t>(wide, load<uint32_t>(narrow));
}
template <class Field>
void pack_field(Field, const uint8_t* wide, uint8_t* narrow)
{
    store(narrow, static_cast<uint32_t>(load<uint64_t>(wide)));
}

template <auto M>
void unpack_field(plain<M>, const uint8_t* narrow, uint8_t* wide)
{
    std::memcpy(wide, narrow, sizeof(value_of<M>));
}
template <auto M>
void pack_field(plain<M>, const uint8_t* wide, uint8_t* narrow)
{
    std::memcpy(narrow, wide, sizeof(value_of<M>));
}

template <auto M>
void unpack_field(handle<M>, const uint8_t* narrow, uint8_t* wide)
{
    static_assert(!is_dispatchable<value_of<M>>, "no structure holds a dispatchable handle by itself");
    std::memcpy(wide, narrow, sizeof(uint64_t));
}
template <auto M>
void pack_field(handle<M>, const uint8_t* wide, uint8_t* narrow)
{
    std::memcpy(narrow, wide, sizeof(uint64_t));
}

template <auto M>
void unpack_field(nested<M>, const uint8_t* narrow, uint8_t* wide)
{
    using inner = vk_fields::nested_type<M>;
    for (uint32_t i = 0; i < vk_fields::nested_count<M>; ++i)
        unpack<inner>(narrow + i * layout<inner, 32>::size, wide + i * sizeof(inner));
}
template <auto M>
void pack_field(nested<M>, const uint8_t* wide, uint8_t* narrow)
{
    using inner = vk_fields::nested_type<M>;
    for (uint32_t i = 0; i < vk_fields::nested_count<M>; ++i)
        pack<inner>(wide + i * sizeof(inner), narrow + i * layout<inner, 32>::size);
}

template <class Field>
void unpack_field(optional<Field>, const uint8_t* narrow, uint8_t* wide)
{
    unpack_field(Field{}, narrow, wide);
}
template <class Field>
void pack_field(optional<Field>, const uint8_t* wide, uint8_t* narrow)
{
    pack_field(Field{}, wide, narrow);
}

template <auto Condition, class Field>
void unpack_field(when<Condition, Field>, const uint8_t* narrow, uint8_t* wide)
{
    unpack_field(Field{}, narrow, wide);
}
template <auto Condition, class Field>
void pack_field(when<Condition, Field>, const uint8_t* wide, uint8_t* narrow)
{
    pack_field(Field{}, wide, narrow);
}

template <class S>
void unpack(const uint8_t* narrow, uint8_t* wide)
{
    for_each_field<S>([&](auto field, auto index) {
        unpack_field(field, narrow + layout<S, 32>::offset(index), wide + layout<S, 64>::offset(index));
    });
}

template <class S>
void pack(const uint8_t* wide, uint8_t* narrow)
{
    for_each_field<S>([&](auto field, auto index) {
        pack_field(field, wide + layout<S, 64>::offset(index), narrow + layout<S, 32>::offset(index));
    });
}

} // namespace vk_unpack
