#pragma once
// Fields of received structures by their bytes: a 64-bit target's structures are used where they stand in the
// message, at any alignment, so no member is ever touched through its type.

#include "wire/vk_structures.h"

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace vk_fields {

static_assert(sizeof(void*) == 8 && vk_wire::native_layout_travels,
              "a 64-bit target's structures are the host's own");

template <class V>
V load(const void* at)
{
    V value;
    std::memcpy(&value, at, sizeof(V));
    return value;
}

template <class V>
void store(void* at, V value)
{
    std::memcpy(at, &value, sizeof(V));
}

/// Number of the field that Member is, in its structure's description.
template <auto Member>
constexpr std::size_t number_of()
{
    using S = typename vk_wire::detail::member<decltype(Member)>::structure;
    std::size_t found = vk_wire::field_count<S>;
    vk_wire::for_each_field<S>([&](auto field, auto index) {
        constexpr auto candidate = vk_wire::member_of<decltype(field)>::value;
        if constexpr (std::is_same_v<decltype(candidate), const decltype(Member)>)
            if (candidate == Member)
                found = index;
    });
    return found;
}

/// Where Member stands in the host's structure.
template <auto Member>
constexpr uint32_t offset_of()
{
    using S = typename vk_wire::detail::member<decltype(Member)>::structure;
    constexpr std::size_t number = number_of<Member>();
    static_assert(number < vk_wire::field_count<S>, "a field's count isn't described");
    return vk_wire::layout<S, 64>::offset(number);
}

/// What a member is read as: a target may send any bits for an enum.
template <class V, bool Enum = std::is_enum_v<V>>
struct raw_value
{
    using type = V;
};
template <class V>
struct raw_value<V, true>
{
    using type = std::underlying_type_t<V>;
};

template <auto Member>
auto get(const uint8_t* structure)
{
    return load<typename raw_value<vk_wire::value_of<Member>>::type>(structure + offset_of<Member>());
}

template <auto Member>
void set(uint8_t* structure, vk_wire::value_of<Member> value)
{
    store(structure + offset_of<Member>(), value);
}

/// The bytes that a pointer member leads to.
template <auto Member>
uint8_t* target_of(const uint8_t* structure)
{
    return load<uint8_t*>(structure + offset_of<Member>());
}
template <auto Member>
void aim(uint8_t* structure, const void* at)
{
    store(structure + offset_of<Member>(), at);
}

/// Structures of a member, which may be a fixed array.
template <auto Member>
inline constexpr uint32_t nested_count = sizeof(vk_wire::value_of<Member>) /
                                         sizeof(std::remove_all_extents_t<vk_wire::value_of<Member>>);
template <auto Member>
using nested_type = std::remove_all_extents_t<vk_wire::value_of<Member>>;

} // namespace vk_fields
