// A Vulkan handler's signature is its message. Here each meets the published prototype of its entry point:
// the same arguments in the same order, arrays counted by an argument that is a count, and a result where the
// entry point has one.

#include "handlers/vk/command_handlers.h"
#include "handlers/vk/debug_report_handlers.h"
#include "handlers/vk/device_handlers.h"
#include "handlers/vk/memory_handlers.h"
#include "handlers/vk/object_handlers.h"
#include "handlers/vk/presentation_handlers.h"
#include "handlers/vk/queue_handlers.h"
#include "inbound/rows.h"
#include "wire/api.h"
#include "wire/wire.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>
#include <type_traits>
#include <utility>

namespace {
template <class T>
using pointee = std::remove_const_t<std::remove_pointer_t<T>>;
template <class P>
inline constexpr bool is_count = std::is_integral_v<P>;
template <class T>
inline constexpr bool is_count<T*> = std::is_same_v<std::remove_const_t<T>, uint32_t>;

/// Whether a handler's parameter takes what the prototype's does. `All` are the prototype's parameters.
template <class A, class P, class All>
struct takes
{
    static constexpr bool value = std::is_same_v<A, P> || (std::is_arithmetic_v<A> &&
                                                           std::is_arithmetic_v<P> && sizeof(A) == sizeof(P));
};
template <class P, class All>
struct takes<target_ptr, P, All>
{
    static constexpr bool value = std::is_pointer_v<P>;
};
template <class P, class All>
struct takes<vk_size, P, All>
{
    static constexpr bool value = std::is_same_v<P, size_t>;
};
template <class P, class All>
struct takes<vk_string, P, All>
{
    static constexpr bool value = std::is_same_v<P, const char*>;
};
template <class T, class P, class All>
struct takes<vk_struct<T>, P, All>
{
    static constexpr bool value =
        std::is_pointer_v<P> && (std::is_same_v<pointee<P>, T> || std::is_same_v<P, void**> ||
                                 (std::is_same_v<T, vk_size> && std::is_same_v<P, size_t*>));
};
template <class T, size_t N, class P, class All>
struct takes<vk_array<T, N>, P, All>
{
    static constexpr bool value = std::is_same_v<pointee<P>, T> && is_count<std::tuple_element_t<N, All>>;
};
template <class T, size_t N, class P, class All>
struct takes<vk_out_array<T, N>, P, All> : takes<vk_array<T, N>, P, All>
{
};
template <class T, size_t N, class S, class M, M S::*Member, class P, class All>
struct takes<vk_out_array_by<T, N, Member>, P, All>
{
    static constexpr bool value =
        std::is_same_v<P, T*> && std::is_same_v<std::tuple_element_t<N, All>, const S*>;
};
template <class T, class P, class All>
struct takes<vk_out<T>, P, All>
{
    static constexpr bool value = std::is_same_v<P, T*>;
};
template <size_t N, class P, class All>
struct takes<vk_bytes<N>, P, All>
{
    static constexpr bool value =
        std::is_same_v<P, const void*> && std::is_integral_v<std::tuple_element_t<N, All>>;
};
template <class T, size_t N, class P, class All>
struct takes<vk_fixed<T, N>, P, All>
{
    static constexpr bool value = std::is_same_v<P, const T*>;
};

template <class R>
struct result
{
    using type = result_of<uint64_t>;
};
template <>
struct result<VkResult>
{
    using type = result_of<VkResult>;
};

template <class... A, class R, class... P>
constexpr bool fits(void (*)(pid_t, tid_t, A...), R (*)(P...))
{
    using given = std::tuple<A...>;
    using wanted = std::tuple<P...>;
    constexpr size_t count = sizeof...(P);
    constexpr bool has_result = !std::is_void_v<R>;
    if constexpr (sizeof...(A) != count + has_result) {
        return false;
    } else {
        constexpr bool arguments_fit = []<size_t... I>(std::index_sequence<I...>)
        {
            return (takes<std::tuple_element_t<I, given>, std::tuple_element_t<I, wanted>, wanted>::value &&
                    ...);
        }
        (std::make_index_sequence<count>{});
        if constexpr (has_result)
            return arguments_fit &&
                   std::is_same_v<std::tuple_element_t<count, given>, typename result<R>::type>;
        else
            return arguments_fit;
    }
}

#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    static_assert(fits(&vk_##function, &::function), "vk_" #function " doesn't take what it should");
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE

TEST(vk_prototypes, EveryEntryPointHasOneRow)
{
    std::multiset<uint32_t> types;
    for (const row_family& family : row_families) {
        for (size_t i = 0; i < *family.count; ++i) {
            if (family.rows[i].type >= wire::inbound::first_vulkan_type)
                types.insert(family.rows[i].type);
        }
    }
    for (uint32_t type = wire::inbound::first_vulkan_type; type <= wire::inbound::row_count; ++type)
        EXPECT_EQ(types.count(type), 1u) << type;
}
} // namespace
