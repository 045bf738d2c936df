#pragma once
// The frame of a Vulkan handler: the device and its lock, handles, the host call, the result and the end. The
// destructor unlocks, answers and compares results, so that no early return can skip it.
//
//     void vk_vkCreateBuffer(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkBufferCreateInfo>
//     pCreateInfo,
//                            vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkBuffer> pBuffer,
//                            result_of<VkResult> target_result)
//     {
//         vk_handler call{"vk_vkCreateBuffer", pid, tid, target_result};
//         call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, ...);
//         if (auto* data = call.lock(device)) {
//             call.prepare(data, pCreateInfo, "pCreateInfo");
//             VkBuffer host = VK_NULL_HANDLE;
//             call.result = call.host<&sidechannel_vk_imports::vkCreateBuffer>(data->device,
//             pCreateInfo.data,
//                                                                              nullptr, &host);
//             call.add(data, pBuffer.handle, host);
//         }
//     }
//
// Creating and destroying plain objects is told once, in plain_objects.h.

#include "handlers/handler.h"
#include "hosttables/host_tables.h"
#include "inbound/vk_payload_types.h"
#include "inbound/vk_walkers.h"
#include "object_manager/vk_registry.h"

#include <string>
#include <type_traits>
#include <vector>

/// What calls with and without a result share.
class vk_frame
{
public:
    const char* const key; // the handler's name
    const pid_t pid;
    const tid_t tid;

    vk_frame(const vk_frame&) = delete;
    vk_frame& operator=(const vk_frame&) = delete;

    /// The DEBUG line of the call: pairs of name and value.
    template <class... A>
    void trace(A... pairs) const
    {
        if (sidechannel_log_enabled(LOG_GATE_DEBUG)) [[unlikely]]
            print_pairs(pairs...);
    }

    /// The device, locked until the call ends; null, with a line, when there is none.
    vk_device_record* lock(VkDevice device);
    vk_device_record* lock_queue(VkQueue queue, VkQueue* host);
    vk_device_record* lock_command_buffer(VkCommandBuffer command_buffer, VkCommandBuffer* host);
    /// Surfaces, displays and display modes of the process, locked likewise.
    vk_device_record* lock_window_objects();
    /// Unlocks early.
    void unlock();

    /// The host's physical device; null, with a line, when it isn't known.
    VkPhysicalDevice physical_device(VkPhysicalDevice target) const;

    /// Replaces the handles in received structures by the host's. Goes on, with a line, where one isn't
    /// known; but where one is null then that Vulkan requires, `host` calls nothing from here on, as a driver
    /// would follow the null.
    template <class T>
    void prepare(vk_device_record* device, const vk_struct<T>& structure, const char* argument)
    {
        if (structure)
            prepared(vk_prepare_host(device, structure.data), argument, 0);
    }
    /// `argument` may hold a "%u", which becomes the number of the entry.
    template <class T>
    void prepare(vk_device_record* device, T* structures, uint32_t count, const char* argument)
    {
        for (uint32_t i = 0; i < count; ++i)
            prepared(vk_prepare_host(device, structures + i), argument, i);
    }
    /// Keeps the host from being called, as what the target asks for would end it. One ERROR line.
    void refuse(const char* reason);
    bool refused() const { return _refused; }

    /// A host function by its field of the table; null, with a line, when the host lacks it.
    template <auto Field>
    auto function() const
    {
        auto found = zelvar_imports_get_vk_ptrs()->*Field;
        if (!found) [[unlikely]]
            log_missing();
        return found;
    }

    /// Writes an out parameter in the target's layout; nothing while the target runs calls itself or when the
    /// address is null.
    template <class T>
    void write(target_ptr address, const T* values, uint32_t count) const
    {
        if (!zelvar_call_on_target())
            write_force(address, values, count);
    }
    template <class T>
    void write(target_ptr address, const T& value) const
    {
        write(address, &value, 1);
    }
    /// The same in every mode.
    template <class T>
    void write_force(target_ptr address, const T* values, uint32_t count) const
    {
        if (!address || count == 0)
            return;
        if constexpr (std::is_arithmetic_v<T> || std::is_enum_v<T> || vk_is_object<T>) {
            write_bytes(address, values, uint64_t{sizeof(T)} * count);
        } else if (wide()) {
            write_bytes(address, values, uint64_t{sizeof(T)} * count);
        } else {
            std::vector<uint8_t> packed(uint64_t{vk_target_size<T>(32)} * count);
            vk_pack_for_target(32, values, count, packed.data());
            write_bytes(address, packed.data(), packed.size());
        }
    }
    template <class T>
    void write_force(target_ptr address, const T& value) const
    {
        write_force(address, &value, 1);
    }
    void write_bytes(target_ptr address, const void* bytes, uint64_t size) const;
    /// Whether the target has 64-bit pointers.
    bool wide() const;

protected:
    vk_frame(const char* key, pid_t pid, tid_t tid) : key(key), pid(pid), tid(tid) {}
    ~vk_frame() { unlock(); }

private:
    void print_pairs() const { handler_detail::print_trace(key, pid, tid, nullptr, 0); }
    template <class... A>
    void print_pairs(A... pairs) const
    {
        handler_detail::trace_value values[sizeof...(A) / 2];
        fill(values, pairs...);
        handler_detail::print_trace(key, pid, tid, values, sizeof...(A) / 2);
    }
    template <class T, class... A>
    static void fill(handler_detail::trace_value* at, const char* name, T value, A... more)
    {
        if constexpr (vk_handle_type<T>)
            *at = handler_detail::make_trace_value(name, reinterpret_cast<uint64_t>(value));
        else if constexpr (std::is_same_v<T, vk_size>)
            *at = handler_detail::make_trace_value(name, value.value);
        else
            *at = handler_detail::make_trace_value(name, value);
        if constexpr (sizeof...(A) > 0)
            fill(at + 1, more...);
    }
    void prepared(vk_prepared outcome, const char* argument, uint32_t number);
    void log_missing() const;

    vk_device_record* _device = nullptr;
    bool _refused = false;
};

/// Frame of a call that returns a VkResult.
class vk_handler : public vk_frame
{
public:
    /// What the call ends with; stays at its first value until the host has answered.
    int result;

    vk_handler(const char* key, pid_t pid, tid_t tid, result_of<VkResult> target_result, int result = -1)
        : vk_frame(key, pid, tid), result(result), _target_result(target_result.value)
    {
    }
    ~vk_handler();

    int target_result() const { return _target_result; }
    /// Another result than 0 that counts as success, of the host's and the target's, when they are compared.
    void accept(int as_good) { _as_good = as_good; }
    /// Sends another result than `result`, in every mode.
    void reply_force(int value)
    {
        _replied = true;
        zelvar_shim_dispatch_set_return_value_message_force(pid, tid, 4, &value);
    }

    /// Calls the host; its result, or what the call has so far when the host lacks the function or mustn't be
    /// called.
    template <auto Field, class... A>
    auto host(A... arguments) const
    {
        auto call = refused() ? nullptr : function<Field>();
        if constexpr (std::is_void_v<decltype(call(arguments...))>) {
            if (call)
                call(arguments...);
        } else {
            return call ? call(arguments...) : static_cast<VkResult>(result);
        }
    }

    /// The host's object for a target's handle. False, with a line, when it isn't known; null is null.
    template <class Handle>
    bool map(vk_device_record* device, Handle target, Handle* host) const
    {
        if (vk_registry::get_host(device, target, host))
            return true;
        log_unmapped(vk_object_traits<Handle>::name, reinterpret_cast<uint64_t>(target));
        return false;
    }
    /// What is kept of an object; null, with a line, when it isn't known. Null isn't.
    template <class Handle>
    vk_entry_of<Handle>* find(vk_device_record* device, Handle target) const
    {
        vk_entry_of<Handle>* entry = nullptr;
        if (vk_registry::get_data(device, target, &entry))
            return entry;
        log_unmapped(vk_object_traits<Handle>::name, reinterpret_cast<uint64_t>(target));
        return nullptr;
    }
    /// "Could not find a host<=>target vulkan TYPE mapping for target TYPE [...]".
    void log_unmapped(const char* type, uint64_t target) const;

    /// Enters what the host has made, if it has (`result` 0). The call fails, with a line, when the handle
    /// is taken or null; then the caller still has to destroy the host's object.
    template <class Handle>
    bool add(vk_device_record* device, Handle target, const vk_entry_of<Handle>& entry)
    {
        if (result != VK_SUCCESS)
            return false;
        if (target && vk_registry::add(device, target, entry))
            return true;
        log_not_added(vk_object_traits<Handle>::name, reinterpret_cast<uint64_t>(entry.host),
                      reinterpret_cast<uint64_t>(target));
        result = -1;
        return false;
    }
    template <class Handle>
    bool add(vk_device_record* device, Handle target, Handle host)
    {
        vk_entry_of<Handle> entry;
        entry.host = host;
        return add(device, target, entry);
    }
    /// "Could not create a host<=>target vulkan instance mapping for host-side TYPE [...] and ...".
    void log_not_added(const char* type, uint64_t host, uint64_t target) const;

private:
    int _target_result;
    int _as_good = VK_SUCCESS;
    bool _replied = false;
};

/// Frame of a call that returns nothing.
class vk_void_handler : public vk_frame
{
public:
    vk_void_handler(const char* key, pid_t pid, tid_t tid) : vk_frame(key, pid, tid) {}

    template <auto Field, class... A>
    void host(A... arguments) const
    {
        if (auto call = refused() ? nullptr : function<Field>())
            call(arguments...);
    }
    template <class Handle>
    bool map(vk_device_record* device, Handle target, Handle* host) const
    {
        if (vk_registry::get_host(device, target, host))
            return true;
        log_unmapped(vk_object_traits<Handle>::name, reinterpret_cast<uint64_t>(target));
        return false;
    }
    template <class Handle>
    vk_entry_of<Handle>* find(vk_device_record* device, Handle target) const
    {
        vk_entry_of<Handle>* entry = nullptr;
        if (vk_registry::get_data(device, target, &entry))
            return entry;
        log_unmapped(vk_object_traits<Handle>::name, reinterpret_cast<uint64_t>(target));
        return nullptr;
    }
    /// "Could not find a host<=>target vulkan TYPE mapping for target [...]".
    void log_unmapped(const char* type, uint64_t target) const;
};
