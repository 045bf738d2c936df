#pragma once
// One Vulkan call: its message is laid out from the prototype, and what comes back is the result.

#include "shim/encode.h"
#include "shim/vk_encode.h"

#include "wire/api.h"
#include "wire/wire.h"

#include <array>
#include <atomic>
#include <vector>

namespace shim {

template <class T>
concept vk_complete = requires
{
    sizeof(T);
};

/// A handle that is a pointer in this process. In 32-bit processes most handles are numbers.
template <class T>
inline constexpr bool is_pointer_handle = false;
template <class T>
inline constexpr bool is_pointer_handle<T*> = !std::is_void_v<T> && !vk_complete<T>;

/// A pointer argument through which results come.
template <class T>
inline constexpr bool is_vk_output =
    std::is_pointer_v<T> && !is_pointer_handle<T> && !std::is_const_v<std::remove_pointer_t<T>>;

template <class T>
inline constexpr bool is_output_structure = is_vk_output<T>&& vk_wire::is_described<std::remove_pointer_t<T>>;

/// A pointer through which the shim hands out handles of its own making. In 64-bit processes a plain number
/// is no handle, but a size.
template <class T>
inline constexpr bool is_new_handle = false;
template <class T>
inline constexpr bool is_new_handle<T*> =
    !std::is_const_v<T> && (is_pointer_handle<T> || (std::is_same_v<T, uint64_t> && sizeof(void*) == 4));

/// A made-up handle, unlike any other of this process.
template <class H>
H new_handle()
{
    static_assert(sizeof(H) == 8, "a dispatchable handle is the address of an object");
    extern std::atomic<uint64_t> last_vk_handle;
    const uint64_t number = last_vk_handle.fetch_add(1, std::memory_order_relaxed) + 1;
    H handle;
    std::memcpy(&handle, &number, sizeof handle);
    return handle;
}

// What stands behind pointer number Index of message Id.

struct one_element
{
    static constexpr bool bytes = false;
    template <class... A>
    static uint64_t count(A...)
    {
        return 1;
    }
};

template <uint32_t Count>
struct counted_elements
{
    static constexpr bool bytes = false;
    template <class... A>
    static uint64_t count(A... arguments)
    {
        const auto count = nth<Count>(arguments...);
        if constexpr (std::is_pointer_v<decltype(count)>)
            return count ? *count : 0;
        else
            return count;
    }
};

template <uint32_t Id, uint32_t Index>
struct vk_behind : one_element
{
};

#define ZELVAR_VK_COUNT(name, pointer, argument)                                                             \
    template <>                                                                                              \
    struct vk_behind<wire::inbound::name, pointer> : counted_elements<argument>                              \
    {                                                                                                        \
    };
#define ZELVAR_VK_MEMBER(name, pointer, structure, member)                                                   \
    template <>                                                                                              \
    struct vk_behind<wire::inbound::name, pointer> : one_element                                             \
    {                                                                                                        \
        template <class... A>                                                                                \
        static uint64_t count(A... arguments)                                                                \
        {                                                                                                    \
            return nth<structure>(arguments...)->member;                                                     \
        }                                                                                                    \
    };
#define ZELVAR_VK_BYTES(name, pointer, argument)                                                             \
    template <>                                                                                              \
    struct vk_behind<wire::inbound::name, pointer> : counted_elements<argument>                              \
    {                                                                                                        \
        static constexpr bool bytes = true;                                                                  \
    };
#define ZELVAR_VK_FIXED(name, pointer, elements)                                                             \
    template <>                                                                                              \
    struct vk_behind<wire::inbound::name, pointer> : one_element                                             \
    {                                                                                                        \
        template <class... A>                                                                                \
        static uint64_t count(A...)                                                                          \
        {                                                                                                    \
            return elements;                                                                                 \
        }                                                                                                    \
    };
#include "shim/vk_payloads.inc"
#undef ZELVAR_VK_COUNT
#undef ZELVAR_VK_MEMBER
#undef ZELVAR_VK_BYTES
#undef ZELVAR_VK_FIXED

/// Memory in the layout of the wire for structures that the library writes. Only used where this process
/// lays them out in another way.
class layout_bridge
{
public:
    template <class T>
    T open(T argument, uint64_t count, const vk_surroundings& around)
    {
        if constexpr (!vk_wire::native_layout_travels && is_output_structure<T>) {
            using S = std::remove_pointer_t<T>;
            if (!argument || count > longest_message / wire_layout<S>::size)
                return argument;
            count_ = count;
            memory_.resize(count * wire_layout<S>::size);
            for (uint64_t i = 0; i < count; ++i)
                vk_structure_writer<S>{argument[i], around}.put(memory_.data() + i * wire_layout<S>::size);
            return reinterpret_cast<T>(memory_.data());
        }
        return argument;
    }

    template <class T>
    void close(T argument) const
    {
        if constexpr (!vk_wire::native_layout_travels && is_output_structure<T>) {
            using S = std::remove_pointer_t<T>;
            for (uint64_t i = 0; i < count_; ++i)
                take_structure(argument[i], memory_.data() + i * wire_layout<S>::size);
        }
    }

private:
    uint64_t count_ = 0;
    std::vector<uint8_t> memory_;
};

/// Fixed arguments, behind the place of the target's own result.
template <class R, class... A>
void put_vk_arguments(vk_message& out, A... arguments)
{
    const bool has_result = std::is_same_v<R, VkResult> && current_settings().call_on_target;
    uint8_t* at = out.room((has_result ? 4 : 0) + (0 + ... + vk_width<A>()));
    if (!at)
        return;
    if (has_result)
        at = put_vk_argument(at, VK_SUCCESS);
    ((at = put_vk_argument(at, arguments)), ...);
}

/// What the pointer leads to.
template <class Behind, class T, class... A>
void put_vk_contents(vk_message& out, const vk_surroundings& around, T argument, A... arguments)
{
    if constexpr (std::is_pointer_v<T> && !is_pointer_handle<T>) {
        using element = std::remove_const_t<std::remove_pointer_t<T>>;
        if (!argument)
            return;
        if constexpr (std::is_void_v<element>) {
            if constexpr (Behind::bytes)
                out.bytes(argument, Behind::count(arguments...));
        } else if constexpr (std::is_same_v<element, char>)
            out.bytes(argument, std::strlen(argument) + 1);
        else if constexpr (vk_wire::is_described<element>)
            put_structures(out, argument, Behind::count(arguments...), around);
        else
            out.bytes(argument, Behind::count(arguments...) * sizeof(element));
    }
}

template <uint32_t Id, class... A, uint32_t... I>
void put_all_vk_contents(vk_message& out, const vk_surroundings& around,
                         std::integer_sequence<uint32_t, I...>, A... arguments)
{
    (put_vk_contents<vk_behind<Id, I>>(out, around, arguments, arguments...), ...);
}

/// Calls of every frame and every recording that fail only for want of memory, if at all. Their results can
/// come with the next call that waits.
constexpr bool result_can_wait(uint32_t id)
{
    namespace in = wire::inbound;
    return id == in::vk_begin_command_buffer || id == in::vk_end_command_buffer ||
           id == in::vk_reset_command_buffer || id == in::vk_reset_command_pool ||
           id == in::vk_reset_fences || id == in::vk_acquire_image_android;
}

/// Builds message `Id` and sends it, or leaves it in the batch when nothing has to come back.
template <uint32_t Id, class R, class... A>
R send_vk(const vk_surroundings& around, A... arguments)
{
    vk_message out{Id};
    constexpr auto indices = std::make_integer_sequence<uint32_t, sizeof...(A)>{};
    std::array<layout_bridge, vk_wire::native_layout_travels ? 1 : sizeof...(A)> bridges;
    [&]<uint32_t... I>(std::integer_sequence<uint32_t, I...>)
    {
        if constexpr (vk_wire::native_layout_travels)
            put_vk_arguments<R>(out, arguments...);
        else
            put_vk_arguments<R>(out,
                                bridges[I].open(arguments, vk_behind<Id, I>::count(arguments...), around)...);
    }
    (indices);
    put_all_vk_contents<Id>(out, around, indices, arguments...);
    constexpr bool silent = std::is_void_v<R> && !(false || ... || is_vk_output<A>);
    const vk_answer answer = silent || result_can_wait(Id) ? out.leave() : out.send();
    if constexpr (!vk_wire::native_layout_travels)
        [&]<uint32_t... I>(std::integer_sequence<uint32_t, I...>)
        {
            (bridges[I].close(arguments), ...);
        }
    (indices);
    if constexpr (std::is_same_v<R, VkResult>)
        return answer.result();
}

/// Sends a call without a result at once. For those that free a handle which the shim may give out again.
template <uint32_t Id, class... A>
void send_now(A... arguments)
{
    vk_message out{Id};
    put_vk_arguments<void>(out, arguments...);
    put_all_vk_contents<Id>(out, {}, std::make_integer_sequence<uint32_t, sizeof...(A)>{}, arguments...);
    out.send();
}

/// `send_vk` for the entry points themselves, whose types follow from the list of messages.
template <uint32_t Id, class R, class... A>
R send_vk_as(R (*)(A...), const vk_surroundings& around, std::type_identity_t<A>... arguments)
{
    return send_vk<Id, R, A...>(around, arguments...);
}
/// SEND_VK(vk_create_fence, vkCreateFence, {}, device, &info, nullptr, &fence)
#define SEND_VK(name, function, ...)                                                                         \
    ::shim::send_vk_as<::wire::inbound::name>(static_cast<decltype(&::function)>(nullptr), __VA_ARGS__)

/// Sends a call that finishes a frame. Nothing when its answer is left for later: the memory that its outputs
/// go to has to stay until then.
template <uint32_t Id, class... A>
std::optional<VkResult> send_vk_frame(VkResult (*)(A...), const late_frame& frame,
                                      std::type_identity_t<A>... arguments)
{
    static_assert(!(false || ... || is_output_structure<A>), "its layout would have to be bridged");
    vk_message out{Id};
    put_vk_arguments<VkResult, A...>(out, arguments...);
    put_all_vk_contents<Id, A...>(out, {}, std::make_integer_sequence<uint32_t, sizeof...(A)>{},
                                  arguments...);
    const std::optional<vk_answer> answer = out.send_frame(frame);
    return answer ? std::optional{answer->result()} : std::nullopt;
}

/// SEND_VK_FRAME(vk_queue_signal_release_image_android, vkQueueSignalReleaseImageANDROID, frame, queue, ...)
#define SEND_VK_FRAME(name, function, ...)                                                                   \
    ::shim::send_vk_frame<::wire::inbound::name>(static_cast<decltype(&::function)>(nullptr), __VA_ARGS__)

template <class Behind, class T, class F, class... A>
void each_new_handle(const F& visit, T argument, A... arguments)
{
    if constexpr (is_new_handle<T>)
        for (uint64_t i = 0; argument && i < Behind::count(arguments...); ++i)
            visit(argument[i]);
}

/// What the entry point of message `Id` does. Specialised where the shim does more than send.
template <uint32_t Id, class F>
struct vk_entry;

template <uint32_t Id, class R, class... A>
struct vk_entry<Id, R(A...)>
{
    static R call(A... arguments)
    {
        if constexpr (is_destroy) {
            if (nth<1>(arguments...) == nth<1>(A{}...)) // destroying nothing is allowed
                return;
        }
        if constexpr (std::is_same_v<R, VkResult>) {
            constexpr auto indices = std::make_integer_sequence<uint32_t, sizeof...(A)>{};
            for_new_handles(
                [](auto& handle) { handle = new_handle<std::remove_reference_t<decltype(handle)>>(); },
                indices, arguments...);
            const VkResult result = send_vk<Id, R, A...>({}, arguments...);
            if (result < 0)
                for_new_handles([](auto& handle) { handle = {}; }, indices, arguments...);
            return result;
        } else
            return send_vk<Id, R, A...>({}, arguments...);
    }

private:
    static constexpr bool is_destroy = std::is_void_v<R> && sizeof...(A) == 3 &&
                                       (false || ... || std::is_same_v<A, const VkAllocationCallbacks*>);

    template <class V, uint32_t... I>
    static void for_new_handles(const V& visit, std::integer_sequence<uint32_t, I...>, A... arguments)
    {
        (each_new_handle<vk_behind<Id, I>>(visit, arguments, arguments...), ...);
    }
};

} // namespace shim
