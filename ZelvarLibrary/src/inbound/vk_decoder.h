#pragma once
// Vulkan decoders are derived from their handlers' signatures, as in decoder.h, in two passes. For
//
//     void vk_vkCreateBuffer(pid_t, tid_t, VkDevice device, vk_struct<VkBufferCreateInfo> pCreateInfo,
//                            vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkBuffer> pBuffer,
//                            result_of<VkResult> target_result);
//
// VK_ROW(vk_create_buffer, vk_vkCreateBuffer) reads [result 4] device(4|8) and the addresses pCreateInfo(8)
// pAllocator(8) pBuffer(8); then, of the pointers that aren't null, the create info with all that hangs from
// it, the allocator, and the target's new handle(8).

#include "inbound/decoder.h"
#include "inbound/vk_payload_types.h"
#include "inbound/vk_prototypes.h"
#include "inbound/vk_reader.h"
#include "inbound/vk_walkers.h"

#include <algorithm>

/// What the target runs this message with: its width and its thread's scratch memory.
struct vk_target_layout
{
    int bits;
    void* arena;
};
vk_target_layout vk_begin_decode(pid_t pid, tid_t tid);
/// Whether a target's result stands first.
bool vk_has_target_result();
/// Reports a message of the wrong length.
void vk_check_size(uint32_t type, const vk_reader& in);
/// Reports scratch memory that was too small and, unless commands are batched, releases the target.
void vk_end_decode(pid_t pid, tid_t tid, const vk_reader& in) noexcept;
void vk_decode_failed(uint32_t type, pid_t pid, tid_t tid) noexcept;

/// What later arguments may need of an earlier one: its number, or the structure that it points at.
struct vk_known
{
    uint64_t number = 0;
    const void* structure = nullptr;
};

namespace vk_decode {
/// Takes `count` of what an array holds.
template <class T>
T* take_array(vk_reader& in, uint32_t& count)
{
    if constexpr (vk_is_dispatchable<T>) {
        count = static_cast<uint32_t>(in.cut(count, in.wide() ? 8 : 4));
        if (count == 0 || in.wide())
            return count ? static_cast<T*>(in.in_place(uint64_t{count} * 8)) : nullptr;
        T* handles = static_cast<T*>(in.allocate(uint64_t{count} * sizeof(T)));
        for (uint32_t i = 0; i < count; ++i)
            handles[i] = reinterpret_cast<T>(in.take_pointer_sized());
        return handles;
    } else if constexpr (vk_is_object<T> || std::is_arithmetic_v<T> || std::is_enum_v<T>) {
        count = static_cast<uint32_t>(in.cut(count, sizeof(T)));
        return count ? static_cast<T*>(in.in_place(uint64_t{count} * sizeof(T))) : nullptr;
    } else {
        return vk_receive<T>(in, count);
    }
}

/// One of it. The message may end within.
template <class T>
T* take_one(vk_reader& in)
{
    if constexpr (std::is_same_v<T, vk_size>) {
        auto* size = static_cast<vk_size*>(in.allocate(sizeof(vk_size)));
        size->value = in.take_pointer_sized();
        return size;
    } else if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T> || vk_is_object<T>) {
        return static_cast<T*>(in.in_place(sizeof(T)));
    } else {
        uint32_t one = 1;
        if (T* structure = vk_receive<T>(in, one))
            return structure;
        return static_cast<T*>(in.allocate(sizeof(T)));
    }
}

template <class T>
concept number = std::is_arithmetic_v<T> || std::is_enum_v<T>;
} // namespace vk_decode

/// How a Vulkan handler's parameter is read: `fixed` in the first pass, `contents` in the second; `known` is
/// what others may need of it.
template <class T>
struct vk_field
{
    static_assert(sizeof(T) == 0, "a Vulkan handler's parameter must be a number, a handle, vk_size, "
                                  "target_ptr, result_of or one of the types of vk_payload_types.h: a raw "
                                  "pointer can't come from the target");
};

/// What has no contents.
template <class T>
struct vk_plain_field
{
    static void contents(vk_reader&, const vk_known*, T&) {}
    static vk_known known(const T&) { return {}; }
};
template <vk_decode::number T>
struct vk_field<T>
{
    static T fixed(vk_reader& in, uint64_t) { return in.take<T>(); }
    static void contents(vk_reader&, const vk_known*, T&) {}
    static vk_known known(const T& value)
    {
        if constexpr (std::is_floating_point_v<T>)
            return {};
        else
            return {static_cast<uint64_t>(value), nullptr};
    }
};
template <vk_handle_type T>
struct vk_field<T> : vk_plain_field<T>
{
    static T fixed(vk_reader& in, uint64_t)
    {
        return reinterpret_cast<T>(vk_is_dispatchable<T> ? in.take_pointer_sized() : in.take<uint64_t>());
    }
};
template <>
struct vk_field<vk_size>
{
    static vk_size fixed(vk_reader& in, uint64_t) { return {in.take_pointer_sized()}; }
    static void contents(vk_reader&, const vk_known*, vk_size&) {}
    static vk_known known(const vk_size& size) { return {size.value, nullptr}; }
};
template <>
struct vk_field<target_ptr> : vk_plain_field<target_ptr>
{
    static target_ptr fixed(vk_reader& in, uint64_t) { return {in.take<uint64_t>()}; }
};
template <class T>
struct vk_field<result_of<T>> : vk_plain_field<result_of<T>>
{
    static result_of<T> fixed(vk_reader&, uint64_t result) { return {static_cast<T>(result)}; }
};

/// What is an address first and contents behind.
template <class T>
struct vk_pointer_field
{
    static T fixed(vk_reader& in, uint64_t)
    {
        T argument;
        argument.address = {in.take<uint64_t>()};
        return argument;
    }
    static vk_known known(const T&) { return {}; }
};
template <class T>
struct vk_field<vk_struct<T>> : vk_pointer_field<vk_struct<T>>
{
    static void contents(vk_reader& in, const vk_known*, vk_struct<T>& argument)
    {
        if (argument.address)
            argument.data = vk_decode::take_one<T>(in);
    }
    static vk_known known(const vk_struct<T>& argument)
    {
        vk_known known{0, argument.data};
        if constexpr (std::is_integral_v<T>) {
            if (argument.data)
                std::memcpy(&known.number, argument.data, sizeof(T));
        } else if constexpr (std::is_same_v<T, vk_size>) {
            known.number = argument.data ? argument.data->value : 0;
        }
        return known;
    }
};
template <class Array, class T>
struct vk_array_field : vk_pointer_field<Array>
{
    static void take(vk_reader& in, uint64_t count, Array& argument)
    {
        if (!argument.address)
            return;
        argument.count = static_cast<uint32_t>(std::min<uint64_t>(count, UINT32_MAX));
        argument.data = vk_decode::take_array<T>(in, argument.count);
    }
};
template <class T, size_t CountAt>
struct vk_field<vk_array<T, CountAt>> : vk_array_field<vk_array<T, CountAt>, T>
{
    static constexpr size_t needs = CountAt;
    static void contents(vk_reader& in, const vk_known* known, vk_array<T, CountAt>& argument)
    {
        vk_field::take(in, known[CountAt].number, argument);
    }
};
template <class T, size_t StructureAt, class S, class N, N S::*Member>
struct vk_field<vk_array_by<T, StructureAt, Member>> : vk_array_field<vk_array_by<T, StructureAt, Member>, T>
{
    static constexpr size_t needs = StructureAt;
    static void contents(vk_reader& in, const vk_known* known, vk_array_by<T, StructureAt, Member>& argument)
    {
        auto* structure = static_cast<const S*>(known[StructureAt].structure);
        vk_field::take(in, structure ? structure->*Member : 0, argument);
    }
};
template <class H>
struct vk_field<vk_out<H>> : vk_pointer_field<vk_out<H>>
{
    static void contents(vk_reader& in, const vk_known*, vk_out<H>& argument)
    {
        if (argument.address)
            argument.handle = vk_field<H>::fixed(in, 0);
    }
};
template <class H, size_t CountAt>
struct vk_field<vk_out_array<H, CountAt>> : vk_array_field<vk_out_array<H, CountAt>, H>
{
    static constexpr size_t needs = CountAt;
    static void contents(vk_reader& in, const vk_known* known, vk_out_array<H, CountAt>& argument)
    {
        vk_field::take(in, known[CountAt].number, argument);
    }
};
template <class H, size_t StructureAt, class S, class N, N S::*Member>
struct vk_field<vk_out_array_by<H, StructureAt, Member>>
    : vk_array_field<vk_out_array_by<H, StructureAt, Member>, H>
{
    static constexpr size_t needs = StructureAt;
    static void contents(vk_reader& in, const vk_known* known,
                         vk_out_array_by<H, StructureAt, Member>& argument)
    {
        auto* structure = static_cast<const S*>(known[StructureAt].structure);
        vk_field::take(in, structure ? structure->*Member : 0, argument);
    }
};
template <size_t SizeAt>
struct vk_field<vk_bytes<SizeAt>> : vk_pointer_field<vk_bytes<SizeAt>>
{
    static constexpr size_t needs = SizeAt;
    static void contents(vk_reader& in, const vk_known* known, vk_bytes<SizeAt>& argument)
    {
        if (!argument.address)
            return;
        argument.size = in.cut(known[SizeAt].number, 1);
        argument.data = argument.size ? in.in_place(argument.size) : nullptr;
    }
};
template <class T, size_t Count>
struct vk_field<vk_fixed<T, Count>> : vk_pointer_field<vk_fixed<T, Count>>
{
    static void contents(vk_reader& in, const vk_known*, vk_fixed<T, Count>& argument)
    {
        if (argument.address)
            argument.data = static_cast<T*>(in.in_place(sizeof(T) * Count));
    }
};
template <>
struct vk_field<vk_string> : vk_pointer_field<vk_string>
{
    static void contents(vk_reader& in, const vk_known*, vk_string& argument);
};

namespace vk_decode {
/// Where an argument's number or structure stands must be before it.
template <class Field>
inline constexpr size_t needed = 0;
template <class Field>
requires requires
{
    Field::needs;
}
inline constexpr size_t needed<Field> = Field::needs + 1;

/// The braces of the constructor's call fix the order of the first pass; here comes the second, then the
/// call.
template <class... A>
struct invoke
{
    template <class Handler>
    invoke(uint32_t type, vk_reader& in, Handler handler, pid_t pid, tid_t tid, A... arguments)
    {
        vk_known known[sizeof...(A) + 1] = {vk_field<A>::known(arguments)...};
        size_t at = 0;
        ((vk_field<A>::contents(in, known, arguments), known[at++] = vk_field<A>::known(arguments)), ...);
        vk_check_size(type, in);
        handler(pid, tid, arguments...);
    }
};

template <uint32_t Type, class Signature>
struct engine;
template <uint32_t Type, class... A>
struct engine<Type, void (*)(pid_t, tid_t, A...)>
{
    static_assert(((needed<vk_field<A>> <= sizeof...(A)) && ...), "an argument's count is no argument");

    static void run(void (*handler)(pid_t, tid_t, A...), pid_t pid, tid_t tid, void* message, uint32_t size)
    {
        constexpr unsigned width = (decoder_detail::result_width<A> + ... + 0u);
        vk_target_layout target = vk_begin_decode(pid, tid);
        vk_reader in{message, size, target.bits, target.arena};
        try {
            uint64_t result = 0;
            if constexpr (width != 0) {
                if (vk_has_target_result())
                    result = width == 4 ? in.take<uint32_t>() : in.take<uint64_t>();
            }
            invoke<A...>{Type, in, handler, pid, tid, vk_field<A>::fixed(in, result)...};
        } catch (...) {
            vk_decode_failed(Type, pid, tid);
        }
        vk_end_decode(pid, tid, in);
    }
};
} // namespace vk_decode

/// The decoder of one Vulkan message type.
template <uint32_t Type, auto Handler>
void vk_decode_message(pid_t pid, tid_t tid, void* message, uint32_t size)
{
    vk_decode::engine<Type, decltype(Handler)>::run(Handler, pid, tid, message, size);
}

/// The decoder of a row, whose handler takes what the entry point's prototype says.
template <uint32_t Type, auto Handler>
consteval inbound_decoder vk_decoder_of_row()
{
    static_assert(
        vk_prototypes::fits<decltype(Handler), typename vk_prototypes::of_message<Type>::type>,
        "a Vulkan handler doesn't take what its entry point takes, or its result doesn't stand last");
    return &vk_decode_message<Type, Handler>;
}

/// A row of the table: `VK_ROW(vk_create_buffer, vk_vkCreateBuffer)`.
#define VK_ROW(name, handler)                                                                                \
    built_row                                                                                                \
    {                                                                                                        \
        wire::inbound::name, vk_decoder_of_row<wire::inbound::name, &handler>()                              \
    }
