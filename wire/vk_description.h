#pragma once
// How a Vulkan structure lies in a message, described once for both ends of the wire.
//
// A description names the fields of a structure in their order, by member pointers:
//
//   template <>
//   struct description<VkBufferCreateInfo>
//   {
//       using S = VkBufferCreateInfo;
//       using fields = list<plain<&S::sType>, next<&S::pNext>,
//                           plain<&S::flags, &S::size, &S::usage, &S::sharingMode,
//                                 &S::queueFamilyIndexCount>,
//                           when<shared_by_families<&S::sharingMode>,
//                                array<&S::pQueueFamilyIndices, &S::queueFamilyIndexCount>>>;
//   };
//
// The structure stands first, in the target's layout. Behind it, in the order of the fields, stands each
// thing that it points to, in the same form: n structures one behind the other and then what those point to
// in turn. A pointer is no more than a flag there: 0 means that nothing follows; a count of 0 likewise.
//
// Vulkan lets applications leave garbage in pointers and handles that a call ignores. `when` says when a
// field counts; otherwise the writer puts 0 there and nothing behind, so that the reader needs no condition.
//
// The 32-bit layout is that of a 32-bit ARM compiler: pointers, size_t and dispatchable handles take 4 bytes,
// all other handles and 64-bit numbers 8 bytes at multiples of 8.

#include <vulkan/vulkan.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

// The system headers leave this one to the target's own driver headers.
struct VkNativeBufferANDROID
{
    VkStructureType sType;
    const void* pNext;
    /// The window system's buffer on the target.
    const void* handle;
    int32_t stride;
    int32_t format;
    int32_t usage;
};

namespace vk_wire {

constexpr auto native_buffer_type = static_cast<VkStructureType>(1000010000);

template <class S>
struct description;

template <class S, class = void>
inline constexpr bool is_described = false;
template <class S>
inline constexpr bool is_described<S, std::void_t<typename description<S>::fields>> = true;

// What the writer knows beside the structure itself; the reader needs none of it.

struct subpass_attachments
{
    bool colour = true;
    bool depth_stencil = true;
};

/// The first three are the caller's, to be set before a structure is written; the others follow from
/// structures on the way down.
struct surroundings
{
    /// The command buffer that begins is a secondary one.
    bool secondary = true;
    /// Attachments that a subpass uses; unset counts as all.
    subpass_attachments (*attachments_of)(VkRenderPass pass, uint32_t subpass) = nullptr;
    /// The binding has immutable samplers, so that written ones are ignored; unset counts as no.
    bool (*immutable_samplers_at)(VkDescriptorSet set, uint32_t binding) = nullptr;

    bool sampler = true;
    bool image_view = true;
    bool continues_render_pass = true;
    bool viewports = true;
    bool scissors = true;
};

// Kinds of fields. P is the pointer, N the count.

/// Numbers, enums, unions and fixed arrays of them, which hold nothing but themselves.
template <auto... Ms>
struct plain
{
};
/// A handle, to be replaced by the host's.
template <auto M>
struct handle
{
};
/// A size_t: 4 bytes in a 32-bit layout.
template <auto M>
struct size
{
};
/// A pointer that is never followed: functions, user data, handles of the window system.
template <auto M>
struct address
{
};
/// pNext. Extension structures don't travel.
template <auto M>
struct next
{
};
/// pNext behind which one extension structure travels, when its type leads the chain or stands further on.
template <auto M, class Extension, VkStructureType Type>
struct next_or
{
};
/// A structure, or a fixed array of them, inside this one.
template <auto M>
struct nested
{
};
/// One structure behind a pointer.
template <auto P>
struct pointer
{
};
/// N structures, or N plain values.
template <auto P, auto N>
struct array
{
};
/// N handles.
template <auto P, auto N>
struct handles
{
};
/// N bytes, N being a size_t.
template <auto P, auto N>
struct bytes
{
};
/// As many 32-bit words as the sample count N has bits for.
template <auto P, auto N>
struct sample_mask
{
};
template <auto P>
struct string
{
};
/// N pointers to strings.
template <auto P, auto N>
struct strings
{
};
/// A pointer or a handle that may be null: an array may though its count isn't 0.
template <class Field>
struct optional
{
};
/// A field that counts only when Condition(structure, surroundings) says so.
template <auto Condition, class Field>
struct when
{
};

template <class... Fields>
struct list
{
    static constexpr std::size_t count = sizeof...(Fields);
};

// Members and their types

namespace detail {

template <class M>
struct member;
template <class S, class V>
struct member<V S::*>
{
    using structure = S;
    using value = V;
};

template <class... Lists>
struct joined;
template <>
struct joined<>
{
    using type = list<>;
};
template <class... A>
struct joined<list<A...>>
{
    using type = list<A...>;
};
template <class... A, class... B, class... Rest>
struct joined<list<A...>, list<B...>, Rest...> : joined<list<A..., B...>, Rest...>
{
};

template <class Field>
struct one_each
{
    using type = list<Field>;
};
template <auto... Ms>
struct one_each<plain<Ms...>>
{
    using type = list<plain<Ms>...>;
};

template <class Fields>
struct flat;
template <class... Fields>
struct flat<list<Fields...>> : joined<typename one_each<Fields>::type...>
{
};

} // namespace detail

/// Type of the member that M points to.
template <auto M>
using value_of = typename detail::member<decltype(M)>::value;
/// What the member points to, without const.
template <auto P>
using pointee_of = std::remove_const_t<std::remove_pointer_t<value_of<P>>>;
/// The fields of a structure, each by itself.
template <class S>
using fields_of = typename detail::flat<typename description<S>::fields>::type;
template <class S>
inline constexpr std::size_t field_count = fields_of<S>::count;

/// The member a field is about.
template <class Field>
struct member_of;
template <template <auto> class Kind, auto M>
struct member_of<Kind<M>>
{
    static constexpr auto value = M;
};
template <auto M>
struct member_of<plain<M>>
{
    static constexpr auto value = M;
};
template <template <auto, auto> class Kind, auto P, auto N>
struct member_of<Kind<P, N>>
{
    static constexpr auto value = P;
};
template <auto M, class Extension, VkStructureType Type>
struct member_of<next_or<M, Extension, Type>>
{
    static constexpr auto value = M;
};
template <class Field>
struct member_of<optional<Field>> : member_of<Field>
{
};
template <auto Condition, class Field>
struct member_of<when<Condition, Field>> : member_of<Field>
{
};

// Layouts

template <class H>
inline constexpr bool is_dispatchable =
    std::is_same_v<H, VkInstance> || std::is_same_v<H, VkPhysicalDevice> || std::is_same_v<H, VkDevice> ||
    std::is_same_v<H, VkQueue> || std::is_same_v<H, VkCommandBuffer>;

/// Bytes of a handle on the wire.
template <class H>
constexpr uint32_t handle_width(int bits)
{
    return is_dispatchable<H> && bits == 32 ? 4 : 8;
}

template <class S, int Bits>
struct layout;

struct extent_of_field
{
    uint32_t size;
    uint32_t align;
};

template <int Bits>
struct measure
{
    template <auto M>
    static constexpr extent_of_field of(plain<M>)
    {
        using element = std::remove_all_extents_t<value_of<M>>;
        static_assert(!std::is_pointer_v<element>,
                      "a pointer isn't plain: it is a handle, or leads to something");
        return {sizeof(value_of<M>),
                std::is_class_v<element> || std::is_union_v<element> ? 4 : sizeof(element)};
    }
    template <auto M>
    static constexpr extent_of_field of(handle<M>)
    {
        return {handle_width<value_of<M>>(Bits), handle_width<value_of<M>>(Bits)};
    }
    template <auto M>
    static constexpr extent_of_field of(nested<M>)
    {
        using element = std::remove_all_extents_t<value_of<M>>;
        using inner = layout<element, Bits>;
        return {static_cast<uint32_t>(inner::size * (sizeof(value_of<M>) / sizeof(element))), inner::align};
    }
    template <class Field>
    static constexpr extent_of_field of(optional<Field>)
    {
        return of(Field{});
    }
    template <auto Condition, class Field>
    static constexpr extent_of_field of(when<Condition, Field>)
    {
        return of(Field{});
    }
    template <class Field>
    static constexpr extent_of_field of(Field)
    {
        return {Bits / 8, Bits / 8};
    }
};

/// Where the fields of a structure lie in a target of 32 or 64 bits: fields put one behind the other at their
/// alignment.
template <class S, int Bits>
struct layout
{
private:
    struct table
    {
        std::array<uint32_t, field_count<S> + 1> offsets{};
        uint32_t align = 1;
    };
    template <class... Fields>
    static constexpr table lay(list<Fields...>)
    {
        table laid{};
        uint32_t at = 0;
        std::size_t index = 0;
        auto put = [&](extent_of_field field) {
            at = (at + field.align - 1) / field.align * field.align;
            laid.offsets[index++] = at;
            at += field.size;
            laid.align = field.align > laid.align ? field.align : laid.align;
        };
        (put(measure<Bits>::of(Fields{})), ...);
        laid.offsets[index] = (at + laid.align - 1) / laid.align * laid.align;
        return laid;
    }
    static constexpr table laid = lay(fields_of<S>{});

public:
    static constexpr uint32_t size = laid.offsets[field_count<S>];
    static constexpr uint32_t align = laid.align;
    /// Offset of the field number `index`.
    static constexpr uint32_t offset(std::size_t index) { return laid.offsets[index]; }
};

/// Calls visitor(field, index) for every field in order; `index` is a std::integral_constant.
template <class S, class Visitor>
constexpr void for_each_field(Visitor&& visitor)
{
    [&]<class... Fields, std::size_t... I>(list<Fields...>, std::index_sequence<I...>) {
        (visitor(Fields{}, std::integral_constant<std::size_t, I>{}), ...);
    }(fields_of<S>{}, std::make_index_sequence<field_count<S>>{});
}

/// Queue families are listed only for what they share.
template <auto Mode>
bool shared_by_families(const typename detail::member<decltype(Mode)>::structure& s, const surroundings&)
{
    return s.*Mode == VK_SHARING_MODE_CONCURRENT;
}

/// Words of a sample mask for so many samples.
constexpr uint32_t sample_mask_words(uint32_t samples)
{
    return (samples >> 5) + ((samples & 31) != 0);
}

/// Structures in this process lie as a target's of its width do. Not so for a 32-bit x86 process, which
/// aligns 64-bit numbers to 4 bytes.
struct eight_bytes_behind_one
{
    char one;
    uint64_t eight;
};
inline constexpr bool native_layout_travels = offsetof(eight_bytes_behind_one, eight) == 8;

} // namespace vk_wire
