#pragma once
// Calls that give a list twice: first how long it is, then as much of it as the caller has room for.

#include "handlers/vk/vk_handler.h"

#include <algorithm>
#include <vector>

/// Asks the host for the whole list. `ask(count, list)` returns a VkResult or nothing.
template <class T, class Ask>
VkResult vk_ask_for_list(Ask ask, std::vector<T>& found)
{
    auto asked = [&](uint32_t* count, T* list) {
        if constexpr (std::is_void_v<decltype(ask(count, list))>) {
            ask(count, list);
            return VK_SUCCESS;
        } else {
            return ask(count, list);
        }
    };
    uint32_t count = 0;
    VkResult result = asked(&count, nullptr);
    if (result != VK_SUCCESS && result != VK_INCOMPLETE)
        return result;
    found.resize(count);
    result = asked(&count, found.data());
    if (result != VK_SUCCESS && result != VK_INCOMPLETE)
        return result;
    found.resize(std::min<size_t>(count, found.size()));
    return VK_SUCCESS;
}

/// What the target gets of a list: its length when it has no array, else as much as the array holds. The
/// result is VK_INCOMPLETE when that isn't all.
template <class T, class Count, class Array>
VkResult vk_answer_list_force(const vk_frame& call, const std::vector<T>& found, const Count& count,
                              const Array& array)
{
    auto all = static_cast<uint32_t>(found.size());
    uint32_t given = array.address && count ? std::min(*count.data, all) : all;
    if (array.address)
        call.write_force(array.address, found.data(), given);
    call.write_force(count.address, given);
    return given < all ? VK_INCOMPLETE : VK_SUCCESS;
}
/// The same; a target that runs calls itself has its own list.
template <class T, class Count, class Array>
VkResult vk_answer_list(const vk_frame& call, const std::vector<T>& found, const Count& count,
                        const Array& array)
{
    if (!zelvar_call_on_target())
        return vk_answer_list_force(call, found, count, array);
    return array.address && count && *count.data < found.size() ? VK_INCOMPLETE : VK_SUCCESS;
}
