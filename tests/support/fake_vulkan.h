#pragma once
// A host's Vulkan that records: each function notes its call as text and answers success. What it makes gets
// a handle of its own, told as "VkBuffer#1" by kind and number; a handle that it never made shows as "?".
//
//     fake_vulkan::install();
//     fake_vulkan::hook<&sidechannel_vk_imports::vkQueueSubmit>([](auto...) { return VK_ERROR_DEVICE_LOST;
//     });
//     ... run a handler ...
//     EXPECT_EQ(fake_vulkan::texts(), (std::vector<std::string>{"vkCmdBindPipeline(VkCommandBuffer#1, 0,
//     VkPipeline#1)"}));

#include "hosttables/host_tables.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace fake_vulkan {
/// Puts the recording table into the library and forgets journal and hooks.
void install();
std::vector<std::string> texts();
/// How many calls of a function were made.
size_t count(const std::string& function);
void clear();
/// Objects that were made and not yet destroyed, by kind.
size_t live(const std::string& kind);

/// A handle of this kind, as a call would make it.
uint64_t make(const char* kind);
/// "VkBuffer#1" for what `make` gave, "null", or "?".
std::string name_of(uint64_t handle);

namespace detail {
template <class F>
struct field_traits;
template <class T, class R, class... P>
struct field_traits<R (*T::*)(P...)>
{
    using signature = R(P...);
    using result = R;
};
void set_hook(size_t slot, std::shared_ptr<void> function);
template <auto Field>
size_t slot_of()
{
    static const sidechannel_vk_imports table{};
    return static_cast<size_t>(reinterpret_cast<const char*>(&(table.*Field)) -
                               reinterpret_cast<const char*>(&table)) /
           sizeof(void*);
}
} // namespace detail

/// Replaces what a function does behind the recording.
template <auto Field>
void hook(std::function<typename detail::field_traits<decltype(Field)>::signature> function)
{
    detail::set_hook(detail::slot_of<Field>(), std::make_shared<decltype(function)>(std::move(function)));
}
template <auto Field>
void returns(typename detail::field_traits<decltype(Field)>::result result)
{
    hook<Field>([result](auto...) { return result; });
}
/// Makes the host lack the function, until the next install.
void remove(const std::string& function);
} // namespace fake_vulkan
