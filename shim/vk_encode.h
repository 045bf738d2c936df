#pragma once
// The bytes of Vulkan arguments and structures, derived from the prototypes and from the descriptions of the
// structures: fixed arguments first, each at its width; then what each pointer leads to.

#include "shim/vk_stream.h"

#include "wire/vk_structures.h"

#include <cstring>
#include <type_traits>

namespace shim {

using vk_surroundings = vk_wire::surroundings;

inline constexpr int target_bits = 8 * sizeof(void*);

/// A structure's layout on the wire for processes such as this one.
template <class S>
using wire_layout = vk_wire::layout<S, target_bits>;

/// Dispatchable handles and size_t are as wide as this process's pointers, all other handles and addresses
/// take 8 bytes, numbers their own width.
template <class T>
constexpr uint32_t vk_width()
{
    if constexpr (std::is_pointer_v<T> && !vk_wire::is_dispatchable<T>)
        return 8;
    else
        return sizeof(T);
}

template <class T>
uint8_t* put_vk_argument(uint8_t* at, T value)
{
    if constexpr (std::is_pointer_v<T> && !vk_wire::is_dispatchable<T>) {
        const uint64_t wide = reinterpret_cast<uintptr_t>(value);
        std::memcpy(at, &wide, 8);
    } else
        std::memcpy(at, &value, sizeof value);
    return at + vk_width<T>();
}

/// The extension structure of this type in a chain; null when there is none.
inline const void* find_in_chain(const void* chain, VkStructureType type)
{
    auto* link = static_cast<const VkBaseInStructure*>(chain);
    while (link && link->sType != type)
        link = link->pNext;
    return link;
}

template <class S>
void put_structures(vk_message& out, const S* from, uint64_t count, vk_surroundings around);

/// Takes the fields of one structure to the wire: `put` what stands in the structure itself, then `follow`
/// what its pointers lead to.
template <class S>
class vk_structure_writer
{
public:
    vk_structure_writer(const S& s, const vk_surroundings& around) : s_{s}, around_{around}
    {
        if constexpr (requires { vk_wire::description<S>::tell; })
            vk_wire::description<S>::tell(s_, around_);
    }

    /// Writes `wire_layout<S>::size` bytes.
    void put(uint8_t* to) const
    {
        if constexpr (vk_wire::native_layout_travels)
            std::memcpy(to, &s_, sizeof s_);
        else
            std::memset(to, 0, wire_layout<S>::size);
        vk_wire::for_each_field<S>(
            [&](auto field, auto index) { put_field(field, to + wire_layout<S>::offset(index)); });
    }

    void follow(vk_message& out) const
    {
        vk_wire::for_each_field<S>([&](auto field, auto) { follow_field(field, out); });
    }

private:
    // With a layout that travels all fields are in place already, and only the exceptions are written.

    template <auto M>
    void put_field(vk_wire::plain<M>, uint8_t* to) const
    {
        if constexpr (!vk_wire::native_layout_travels)
            std::memcpy(to, &(s_.*M), sizeof(s_.*M));
    }
    template <auto M>
    void put_field(vk_wire::nested<M>, uint8_t* to) const
    {
        each_nested<M>([&](const auto& inner, size_t index) {
            using element = std::remove_cvref_t<decltype(inner)>;
            vk_structure_writer<element>{inner, around_}.put(to + index * wire_layout<element>::size);
        });
    }
    template <auto M>
    void put_field(vk_wire::next<M>, uint8_t* to) const
    {
        std::memset(to, 0, sizeof(void*));
    }
    template <auto M, class Extension, VkStructureType Type>
    void put_field(vk_wire::next_or<M, Extension, Type>, uint8_t* to) const
    {
        const void* found = find_in_chain(s_.*M, Type);
        std::memcpy(to, &found, sizeof found);
    }
    template <auto Condition, class Field>
    void put_field(vk_wire::when<Condition, Field>, uint8_t* to) const
    {
        if (Condition(s_, around_))
            put_field(Field{}, to);
        else
            std::memset(to, 0, vk_wire::measure<target_bits>::of(Field{}).size);
    }
    /// Handles and pointers.
    template <class Field>
    void put_field(Field, uint8_t* to) const
    {
        if constexpr (!vk_wire::native_layout_travels) {
            const auto& value = s_.*(vk_wire::member_of<Field>::value);
            std::memcpy(to, &value, sizeof value);
        }
    }

    template <auto M>
    void follow_field(vk_wire::nested<M>, vk_message& out) const
    {
        each_nested<M>([&](const auto& inner, size_t) {
            vk_structure_writer<std::remove_cvref_t<decltype(inner)>>{inner, around_}.follow(out);
        });
    }
    template <auto M, class Extension, VkStructureType Type>
    void follow_field(vk_wire::next_or<M, Extension, Type>, vk_message& out) const
    {
        if (const void* found = find_in_chain(s_.*M, Type))
            put_structures(out, static_cast<const Extension*>(found), 1, around_);
    }
    template <auto P>
    void follow_field(vk_wire::pointer<P>, vk_message& out) const
    {
        if (s_.*P)
            put_structures(out, s_.*P, 1, around_);
    }
    template <auto P, auto N>
    void follow_field(vk_wire::array<P, N>, vk_message& out) const
    {
        using element = vk_wire::pointee_of<P>;
        if constexpr (vk_wire::is_described<element>) {
            if (s_.*P)
                put_structures(out, s_.*P, s_.*N, around_);
        } else
            put_values(out, s_.*P, s_.*N);
    }
    template <auto P, auto N>
    void follow_field(vk_wire::handles<P, N>, vk_message& out) const
    {
        put_values(out, s_.*P, s_.*N);
    }
    template <auto P, auto N>
    void follow_field(vk_wire::bytes<P, N>, vk_message& out) const
    {
        if (s_.*P)
            out.bytes(s_.*P, s_.*N);
    }
    template <auto P, auto N>
    void follow_field(vk_wire::sample_mask<P, N>, vk_message& out) const
    {
        put_values(out, s_.*P, vk_wire::sample_mask_words(s_.*N));
    }
    template <auto P>
    void follow_field(vk_wire::string<P>, vk_message& out) const
    {
        if (s_.*P)
            out.bytes(s_.*P, std::strlen(s_.*P) + 1);
    }
    template <auto P, auto N>
    void follow_field(vk_wire::strings<P, N>, vk_message& out) const
    {
        if (!(s_.*P))
            return;
        put_values(out, s_.*P, s_.*N);
        for (uint32_t i = 0; i < s_.*N; ++i)
            if (const char* text = (s_.*P)[i])
                out.bytes(text, std::strlen(text) + 1);
    }
    template <class Field>
    void follow_field(vk_wire::optional<Field>, vk_message& out) const
    {
        follow_field(Field{}, out);
    }
    template <auto Condition, class Field>
    void follow_field(vk_wire::when<Condition, Field>, vk_message& out) const
    {
        if (Condition(s_, around_))
            follow_field(Field{}, out);
    }
    /// Fields that lead nowhere.
    template <class Field>
    void follow_field(Field, vk_message&) const
    {
    }

    template <class T>
    static void put_values(vk_message& out, const T* from, uint64_t count)
    {
        if (from)
            out.bytes(from, count * sizeof(T));
    }

    template <auto M, class F>
    void each_nested(F&& visit) const
    {
        using value = vk_wire::value_of<M>;
        if constexpr (std::is_array_v<value>)
            for (size_t i = 0; i < std::extent_v<value>; ++i)
                visit((s_.*M)[i], i);
        else
            visit(s_.*M, 0);
    }

    const S& s_;
    vk_surroundings around_;
};

/// `count` structures one behind the other, then what each of them leads to.
template <class S>
void put_structures(vk_message& out, const S* from, uint64_t count, vk_surroundings around)
{
    if (count > longest_message) { // of an application that is wrong; it must not overflow the product
        out.room(count);
        return;
    }
    uint8_t* to = out.room(count * wire_layout<S>::size);
    if (!to)
        return;
    for (uint64_t i = 0; i < count; ++i)
        vk_structure_writer<S>{from[i], around}.put(to + i * wire_layout<S>::size);
    for (uint64_t i = 0; i < count; ++i)
        vk_structure_writer<S>{from[i], around}.follow(out);
}

/// Takes a structure without pointers from its layout on the wire.
template <class S>
void take_structure(S& to, const uint8_t* from)
{
    vk_wire::for_each_field<S>([&](auto field, auto index) {
        const uint8_t* at = from + wire_layout<S>::offset(index);
        auto& value = to.*(vk_wire::member_of<decltype(field)>::value);
        using element = std::remove_all_extents_t<std::remove_reference_t<decltype(value)>>;
        if constexpr (vk_wire::is_described<element>) {
            element* inner = reinterpret_cast<element*>(&value);
            for (size_t i = 0; i < sizeof value / sizeof(element); ++i)
                take_structure(inner[i], at + i * wire_layout<element>::size);
        } else
            std::memcpy(&value, at, sizeof value);
    });
}

} // namespace shim
