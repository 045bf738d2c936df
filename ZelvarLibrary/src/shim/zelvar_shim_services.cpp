// Services that are plain question and answer, and the two messages that end a call.

#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "shim/zelvar_shim_service.h"
#include "sidechannel_channel_interface_wrapper.h"
#include "sidechannel_log.h"

using shim_service::registered_or_faked;
using shim_service::request;
namespace out = wire::outbound;

void zelvar_shim_dispatch_set_return_value_message(pid_t pid, tid_t tid, uint8_t size, const void* data)
{
    if (!zelvar_call_on_target())
        zelvar_shim_dispatch_set_return_value_message_force(pid, tid, size, data);
}

void zelvar_shim_dispatch_set_return_value_message_force(pid_t pid, tid_t tid, uint8_t size, const void* data)
{
    if (registered_or_faked(out::set_return_value_message, nullptr, size, data))
        return;
    const shim_request::wire_field fields[] = {{&size, 1}, {data, size}};
    shim_request::post(out::set_return_value_message, pid, tid, fields, size ? 2 : 1);
}

void zelvar_shim_dispatch_leave_message_processing_loop(pid_t pid, tid_t tid)
{
    zelvar_object_manager_verify_context_data_lock(pid, tid);
    if (registered_or_faked(out::leave_message_processing_loop, nullptr))
        return;
    ChannelInterfaceWrapper* channel = nullptr;
    zelvar_object_manager_get_channel_interface(pid, &channel);
    if (!channel) {
        LOG_FATAL("Cannot handle request - channel interface pointer is NULL.");
        return;
    }
    shim_request::send(channel, out::leave_message_processing_loop, pid, tid, wire::header_size, nullptr, 0);
    channel->allowMainThreadToSendMessage();
}

void zelvar_shim_dispatch_get_egl_attribute_list_length(pid_t pid, tid_t tid, target_ptr list,
                                                        uint32_t* bytes_with_terminator)
{
    request(out::get_egl_attribute_list_length, pid, tid, bytes_with_terminator, 4, list.address);
}

void zelvar_shim_dispatch_get_fb_height(pid_t pid, tid_t tid, uint32_t* pixels)
{
    request(out::get_fb_height, pid, tid, pixels, 4);
}

void zelvar_shim_dispatch_get_fb_width(pid_t pid, tid_t tid, uint32_t* pixels)
{
    request(out::get_fb_width, pid, tid, pixels, 4);
}

void zelvar_shim_dispatch_get_string_length(pid_t pid, tid_t tid, target_ptr address, uint32_t* length)
{
    request(out::get_string_length, pid, tid, length, 4, address.address);
}

void zelvar_shim_dispatch_get_target_pointer_size(pid_t pid, tid_t tid, uint32_t* bytes)
{
    request(out::get_target_pointer_size, pid, tid, bytes, 4);
}

void zelvar_shim_dispatch_get_pixmap_data(pid_t pid, tid_t tid, uint64_t pixmap_handle, target_ptr shim_ptr,
                                          target_ptr windows_dc_ptr, uint32_t* result)
{
    request(out::get_pixmap_data, pid, tid, result, 4, pixmap_handle, shim_ptr.address,
            windows_dc_ptr.address);
}

void zelvar_shim_dispatch_get_pixmap_properties(pid_t pid, tid_t tid, uint64_t pixmap_handle,
                                                target_ptr windows_dc_ptr,
                                                _zelvar_to_shim_pixmap_object_desc* result)
{
    request(out::get_pixmap_properties, pid, tid, result, sizeof(*result), pixmap_handle,
            windows_dc_ptr.address);
}

void zelvar_shim_dispatch_get_proc_address(pid_t pid, tid_t tid, target_ptr proc_name, uint64_t* result)
{
    request(out::get_proc_address, pid, tid, result, 8, proc_name.address);
}

void zelvar_shim_dispatch_set_fb_depth(pid_t pid, tid_t tid, uint32_t new_bpp)
{
    request(out::set_fb_depth, pid, tid, nullptr, 0, new_bpp);
}

// The next two take a byte and send four.
void zelvar_shim_dispatch_set_cursor_visibility(pid_t pid, tid_t tid, bool new_visibility)
{
    request(out::set_cursor_visibility, pid, tid, nullptr, 0, uint32_t{new_visibility});
}

void zelvar_shim_dispatch_set_screensaver_status(pid_t pid, tid_t tid, bool new_status)
{
    request(out::set_screensaver_status, pid, tid, nullptr, 0, uint32_t{new_status});
}

void zelvar_shim_dispatch_get_target_process_name_address(pid_t pid, tid_t tid, target_ptr* address)
{
    request(out::get_target_process_name_address, pid, tid, &address->address, 8);
}

void zelvar_shim_dispatch_shim_sync_object_create(pid_t pid, tid_t tid, uint64_t* target_shim_egl_sync)
{
    request(out::shim_sync_object_create, pid, tid, target_shim_egl_sync, 8);
}

void zelvar_shim_dispatch_shim_sync_object_destroy(pid_t pid, tid_t tid, uint64_t target_shim_egl_sync)
{
    request(out::shim_sync_object_destroy, pid, tid, nullptr, 0, target_shim_egl_sync);
}

void zelvar_shim_dispatch_shim_sync_object_signal(pid_t pid, tid_t tid, uint64_t target_shim_egl_sync,
                                                  uint32_t signal_count)
{
    request(out::shim_sync_object_signal, pid, tid, nullptr, 0, target_shim_egl_sync, signal_count);
}

void zelvar_shim_dispatch_shim_sync_object_wait(pid_t pid, tid_t tid, uint64_t target_shim_egl_sync,
                                                uint64_t timeout, uint32_t* result)
{
    request(out::shim_sync_object_wait, pid, tid, result, 4, target_shim_egl_sync, timeout);
}

void zelvar_shim_dispatch_store_attribute_index_used_by_program_in_shim_context(pid_t pid, tid_t tid,
                                                                                uint32_t program,
                                                                                uint32_t attrib_index)
{
    request(out::store_attribute_index_used_by_program_in_shim_context, pid, tid, nullptr, 0, program,
            attrib_index);
}

void zelvar_shim_dispatch_winsys_buffer_object_begin_use(pid_t pid, tid_t tid,
                                                         uint64_t egl_client_buffer_handle, uint32_t field,
                                                         wire::winsys_buffer_object_descriptor* result)
{
    if (registered_or_faked(out::winsys_buffer_object_begin_use, result, egl_client_buffer_handle, field))
        return;
    // The header of this one message says 20 bytes although the payload follows.
    const shim_request::wire_field fields[] = {{&egl_client_buffer_handle, 8}, {&field, 4}};
    shim_request::ask(out::winsys_buffer_object_begin_use, pid, tid, wire::header_size, fields, 2, result,
                      sizeof(*result), nullptr, nullptr, true);
}

void zelvar_shim_dispatch_winsys_buffer_object_end_use(pid_t pid, tid_t tid,
                                                       uint64_t egl_client_buffer_handle, uint32_t* result)
{
    request(out::winsys_buffer_object_end_use, pid, tid, result, 4, egl_client_buffer_handle);
}

void zelvar_shim_dispatch_winsys_connect_window(pid_t pid, tid_t tid, uint64_t window, uint64_t surface,
                                                bool* ok)
{
    // Any byte can arrive: read it as a number first.
    uint8_t answer = *ok;
    request(out::winsys_connect_window, pid, tid, &answer, 1, window, surface);
    *ok = answer != 0;
}

void zelvar_shim_dispatch_winsys_disconnect_window(pid_t pid, tid_t tid, uint64_t surface)
{
    request(out::winsys_disconnect_window, pid, tid, nullptr, 0, surface);
}

void zelvar_shim_dispatch_winsys_get_target_os_version(pid_t pid, tid_t tid, uint32_t* version)
{
    request(out::winsys_get_target_os_version, pid, tid, version, 4);
}

void zelvar_shim_dispatch_winsys_get_window_height(pid_t pid, tid_t tid, uint64_t window, uint32_t* pixels)
{
    request(out::winsys_get_window_height, pid, tid, pixels, 4, window);
}

void zelvar_shim_dispatch_winsys_get_window_width(pid_t pid, tid_t tid, uint64_t window, uint32_t* pixels)
{
    request(out::winsys_get_window_width, pid, tid, pixels, 4, window);
}

void zelvar_shim_dispatch_winsys_map_buffer_object(pid_t pid, tid_t tid, uint64_t egl_client_buffer_handle,
                                                   wire::winsys_buffer_object_descriptor* descriptor)
{
    request(out::winsys_map_buffer_object, pid, tid, descriptor, sizeof(*descriptor),
            egl_client_buffer_handle, wire::winsys_buffer_object_descriptor{*descriptor});
}

void zelvar_shim_dispatch_winsys_unmap_buffer_object(pid_t pid, tid_t tid, target_ptr mapped_pixels,
                                                     uint32_t mapped_pixels_size, uint32_t* result)
{
    request(out::winsys_unmap_buffer_object, pid, tid, result, 4, mapped_pixels.address, mapped_pixels_size);
}

void zelvar_shim_dispatch_winsys_map_buffer_object_vk(pid_t pid, tid_t tid, uint64_t handle,
                                                      wire::winsys_buffer_vk_data_descriptor* result)
{
    request(out::winsys_map_buffer_object_vk, pid, tid, result, sizeof(*result), handle);
}

void zelvar_shim_dispatch_vkAllocateMemory(pid_t pid, tid_t tid, uint64_t device, uint64_t allocate_info,
                                           uint64_t allocator, uint64_t memory, uint32_t memory_type,
                                           uint64_t* target_memory, unsigned* target_result)
{
    if (registered_or_faked(out::vkAllocateMemory, target_memory, device, allocate_info, allocator, memory,
                            memory_type))
        return;
    const shim_request::wire_field fields[] = {
        {&device, 8}, {&allocate_info, 8}, {&allocator, 8}, {&memory, 8}, {&memory_type, 4}};
    shim_request::ask(out::vkAllocateMemory, pid, tid, wire::header_size + 36, fields, std::size(fields),
                      target_memory, 8, target_result, &_zelvar_shim_message_gles_error_callback, true);
}
