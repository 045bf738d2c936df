#pragma once
// Types of Vulkan handler parameters. A Vulkan handler's signature is its message too, in two parts: first
// every argument at its width, a pointer as its 8-byte address, then what each pointer that isn't null points
// at, in the order of the arguments. Numbers in angle brackets are 0-based positions among the arguments,
// pid and tid not counted. `data` lives as long as the handler runs and belongs to it: handles are translated
// in place. Counts are those of what the message really holds, so only they may size a host call.

#include "inbound/payload_types.h"
#include "wire/api.h"
#include "zelvar_types.h"

#include <cstddef>
#include <cstdint>

/// size_t of the target: 4 or 8 bytes by its width.
struct vk_size
{
    uint64_t value = 0;
};

/// One structure or number behind a pointer.
template <class T>
struct vk_struct
{
    target_ptr address;
    T* data = nullptr; // null when the address is
    T* operator->() const { return data; }
    explicit operator bool() const { return data != nullptr; }
};

/// Structures, numbers or handles; argument `CountAt` tells how many: a number, or a vk_struct<uint32_t>.
template <class T, size_t CountAt>
struct vk_array
{
    target_ptr address;
    T* data = nullptr;
    uint32_t count = 0;
};
/// The same where a member of the structure argument `StructureAt` tells how many.
template <class T, size_t StructureAt, auto Member>
struct vk_array_by
{
    target_ptr address;
    T* data = nullptr;
    uint32_t count = 0;
};

/// A handle that the target has made up for what the call creates.
template <class Handle>
struct vk_out
{
    target_ptr address;
    Handle handle = VK_NULL_HANDLE;
};
template <class Handle, size_t CountAt>
struct vk_out_array : vk_array<Handle, CountAt>
{
};
template <class Handle, size_t StructureAt, auto Member>
struct vk_out_array_by : vk_array_by<Handle, StructureAt, Member>
{
};

/// Raw bytes; argument `SizeAt` tells how many.
template <size_t SizeAt>
struct vk_bytes
{
    target_ptr address;
    const void* data = nullptr;
    uint64_t size = 0;
};

/// `Count` values of T, as the API fixes it.
template <class T, size_t Count>
struct vk_fixed
{
    target_ptr address;
    T* data = nullptr;
};

/// Characters with their zero byte.
struct vk_string
{
    target_ptr address;
    const char* data = nullptr;
};

/// Handles of 4 bytes in a 32-bit target; all others have 8 everywhere.
template <class T>
inline constexpr bool vk_is_dispatchable = false;
template <>
inline constexpr bool vk_is_dispatchable<VkInstance> = true;
template <>
inline constexpr bool vk_is_dispatchable<VkPhysicalDevice> = true;
template <>
inline constexpr bool vk_is_dispatchable<VkDevice> = true;
template <>
inline constexpr bool vk_is_dispatchable<VkQueue> = true;
template <>
inline constexpr bool vk_is_dispatchable<VkCommandBuffer> = true;

/// Handles that are found inside a device.
template <class T>
inline constexpr bool vk_is_object = false;
#define ZELVAR_VK_OBJECT(type, handle, word, entry)                                                          \
    template <>                                                                                              \
    inline constexpr bool vk_is_object<handle> = true;
#include "object_manager/vk_objects.inc"
#undef ZELVAR_VK_OBJECT

template <class T>
concept vk_handle_type = vk_is_dispatchable<T> || vk_is_object<T>;
