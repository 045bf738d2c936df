#pragma once
// What the calls on objects of a device share: finding the host's handle, making and destroying plain
// objects.

#include "handlers/vk/creation_bounds.h"
#include "handlers/vk/queue_progress.h"

#include <type_traits>

/// Whether a call can do without a handle.
enum class vk_null
{
    allowed,
    refused
};

/// Puts the host's handle in the place of the target's. False, with a FATAL line, for one that isn't known or
/// is missing: the host then gets to see nothing of the call, as a driver follows whatever it is given.
template <class Call, class Handle>
bool vk_to_host(const Call& call, vk_device_record* data, Handle* handle, vk_null null = vk_null::refused)
{
    const Handle target = *handle;
    if (target || null == vk_null::allowed)
        return call.map(data, target, handle);
    call.log_unmapped(vk_object_traits<Handle>::name, 0);
    return false;
}
template <class Call, class Array>
bool vk_all_to_host(const Call& call, vk_device_record* data, const Array& handles)
{
    for (uint32_t i = 0; i < handles.count; ++i) {
        if (!vk_to_host(call, data, &handles.data[i]))
            return false;
    }
    return true;
}
template <class Call>
bool vk_command_buffers_to_host(const Call& call, VkCommandBuffer* buffers, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        const VkCommandBuffer target = buffers[i];
        if (zelvar_object_manager_vk_get_host_command_buffers(call.pid, &target, &buffers[i], 1))
            continue;
        call.log_unmapped("command buffer", reinterpret_cast<uint64_t>(target));
        return false;
    }
    return true;
}

/// Of two arrays with one count, either may be shorter in a message that was cut.
template <class A, class B>
uint32_t vk_common_count(const A& a, const B& b)
{
    return a.count < b.count ? a.count : b.count;
}

/// Enters what the host has made under the target's handle. Where that is taken already, or missing, the call
/// has failed, and the host's object goes again, as nobody could ever ask for it.
template <auto Destroy, class Handle>
void vk_enter(vk_handler& call, vk_device_record* data, Handle target, const vk_entry_of<Handle>& entry)
{
    if (call.result != VK_SUCCESS || call.add(data, target, entry))
        return;
    call.host<Destroy>(data->device, entry.host, nullptr);
}

/// vkCreateX, in a device that is locked, for an object of which nothing but the handle is kept. The target's
/// allocator is left out: its functions are on the target.
template <auto Create, auto Destroy, class Info, class Handle>
void vk_create(vk_handler& call, vk_device_record* data, const vk_struct<Info>& info,
               const vk_out<Handle>& out)
{
    if (!data || !info)
        return;
    vk_entry_of<Handle> entry;
    if (const char* reason = vk_refusal(data, *info.data))
        call.refuse(reason);
    else
        vk_remember(data, entry, *info.data);
    call.prepare(data, info, "pCreateInfo");
    call.result = call.host<Create>(data->device, info.data, nullptr, &entry.host);
    vk_enter<Destroy>(call, data, out.handle, entry);
}

/// Calls one of the host's functions that end an object; later, if descriptors show it.
template <auto Destroy, class Entry, class Handle>
void vk_end(const vk_void_handler& call, vk_device_record* data, const Entry& entry, Handle host)
{
    if constexpr (requires { entry.lifetime; })
        if (entry.lifetime.use_count() > 1) {
            auto destroy = call.function<Destroy>();
            entry.lifetime->end = [destroy, device = data->device, host,
                                   before = std::move(entry.lifetime->end)] {
                if (before)
                    before();
                if (destroy)
                    destroy(device, host, nullptr);
            };
            return;
        }
    call.host<Destroy>(data->device, host, nullptr);
}

/// vkDestroyX of such an object, in a device that is locked.
template <auto Destroy, class Handle>
void vk_destroy(vk_void_handler& call, vk_device_record* data, Handle target)
{
    Handle host = target;
    if (!data || !vk_to_host(call, data, &host, vk_null::allowed))
        return;
    auto* known = vk_known(data, target);
    if (!known)
        return call.host<Destroy>(data->device, host, nullptr);
    vk_let_finish(call, data, *known);
    vk_end<Destroy>(call, data, *known, host);
    vk_registry::remove(data, target);
}
