#pragma once
// Services that the library asks of the target while the target thread waits in its message-processing loop.
// All run on that thread's worker. Requests with an answer block until the target confirms; the output stays
// untouched when the request could not be made. The calls that make the target run an entry point are in
// zelvar_shim_calls.h.

#include "wire/wire.h"
#include "zelvar_types.h"

#include <cstdint>
#include <string>

class scChannelInterface;
struct semaphore__;

// Return values. Nothing wakes the target: the value goes out ahead of the leave message. The plain form does
// nothing while the target runs calls itself.
void zelvar_shim_dispatch_set_return_value_message(pid_t pid, tid_t tid, uint8_t size, const void* data);
void zelvar_shim_dispatch_set_return_value_message_force(pid_t pid, tid_t tid, uint8_t size,
                                                         const void* data);
/// Ends the target's wait. Asserts that the thread's context is not locked.
void zelvar_shim_dispatch_leave_message_processing_loop(pid_t pid, tid_t tid);

// Target memory. Reads of addresses that the target doesn't have give zeros and one ERROR line; when the
// target can't be asked at all the destination stays untouched. False in both cases.
bool zelvar_shim_dispatch_read_from_shim_address_space(pid_t pid, tid_t tid, uint32_t size,
                                                       target_ptr address, void* destination);
/// Does nothing while the target runs calls itself.
void zelvar_shim_dispatch_write_to_shim_address_space(pid_t pid, tid_t tid, uint32_t size, const void* source,
                                                      target_ptr address);
void zelvar_shim_dispatch_write_to_shim_address_space_force(pid_t pid, tid_t tid, uint32_t size,
                                                            const void* source, target_ptr address);
void zelvar_shim_dispatch_allocate_memory_block(pid_t pid, tid_t tid, uint32_t size, target_ptr* address);
void zelvar_shim_dispatch_deallocate_memory_block(pid_t pid, tid_t tid, target_ptr address);
/// Reads a string of the target; an empty one leaves `out` untouched.
void zelvar_shim_dispatch_get_string(pid_t pid, tid_t tid, target_ptr address, std::string* out);
void zelvar_shim_dispatch_get_target_process_name(pid_t pid, tid_t tid, std::string* out);

// Plain questions.
void zelvar_shim_dispatch_get_egl_attribute_list_length(pid_t pid, tid_t tid, target_ptr list,
                                                        uint32_t* bytes_with_terminator);
void zelvar_shim_dispatch_get_fb_height(pid_t pid, tid_t tid, uint32_t* pixels);
void zelvar_shim_dispatch_get_fb_width(pid_t pid, tid_t tid, uint32_t* pixels);
void zelvar_shim_dispatch_get_string_length(pid_t pid, tid_t tid, target_ptr address, uint32_t* length);
void zelvar_shim_dispatch_get_target_pointer_size(pid_t pid, tid_t tid, uint32_t* bytes);
void zelvar_shim_dispatch_get_pixmap_data(pid_t pid, tid_t tid, uint64_t pixmap_handle, target_ptr shim_ptr,
                                          target_ptr windows_dc_ptr, uint32_t* result);
/// What the shim tells of a pixmap.
struct _zelvar_to_shim_pixmap_object_desc
{
    uint32_t width;
    uint32_t height;
    uint32_t bits_per_pixel;
    uint32_t stride;
};
static_assert(sizeof(_zelvar_to_shim_pixmap_object_desc) == 16);
void zelvar_shim_dispatch_get_pixmap_properties(pid_t pid, tid_t tid, uint64_t pixmap_handle,
                                                target_ptr windows_dc_ptr,
                                                _zelvar_to_shim_pixmap_object_desc* result);
void zelvar_shim_dispatch_get_proc_address(pid_t pid, tid_t tid, target_ptr proc_name, uint64_t* result);
void zelvar_shim_dispatch_set_fb_depth(pid_t pid, tid_t tid, uint32_t new_bpp);
void zelvar_shim_dispatch_set_cursor_visibility(pid_t pid, tid_t tid, bool new_visibility);
void zelvar_shim_dispatch_set_screensaver_status(pid_t pid, tid_t tid, bool new_status);
void zelvar_shim_dispatch_get_target_process_name_address(pid_t pid, tid_t tid, target_ptr* address);

// Sync objects of the shim's making.
void zelvar_shim_dispatch_shim_sync_object_create(pid_t pid, tid_t tid, uint64_t* target_shim_egl_sync);
void zelvar_shim_dispatch_shim_sync_object_destroy(pid_t pid, tid_t tid, uint64_t target_shim_egl_sync);
void zelvar_shim_dispatch_shim_sync_object_signal(pid_t pid, tid_t tid, uint64_t target_shim_egl_sync,
                                                  uint32_t signal_count);
void zelvar_shim_dispatch_shim_sync_object_wait(pid_t pid, tid_t tid, uint64_t target_shim_egl_sync,
                                                uint64_t timeout, uint32_t* result);
void zelvar_shim_dispatch_store_attribute_index_used_by_program_in_shim_context(pid_t pid, tid_t tid,
                                                                                uint32_t program,
                                                                                uint32_t attrib_index);

// Window system of the target.
void zelvar_shim_dispatch_winsys_buffer_object_begin_use(pid_t pid, tid_t tid,
                                                         uint64_t egl_client_buffer_handle, uint32_t field,
                                                         wire::winsys_buffer_object_descriptor* result);
void zelvar_shim_dispatch_winsys_buffer_object_end_use(pid_t pid, tid_t tid,
                                                       uint64_t egl_client_buffer_handle, uint32_t* result);
void zelvar_shim_dispatch_winsys_connect_window(pid_t pid, tid_t tid, uint64_t window, uint64_t surface,
                                                bool* ok);
void zelvar_shim_dispatch_winsys_disconnect_window(pid_t pid, tid_t tid, uint64_t surface);
void zelvar_shim_dispatch_winsys_get_target_os_version(pid_t pid, tid_t tid, uint32_t* version);
void zelvar_shim_dispatch_winsys_get_window_height(pid_t pid, tid_t tid, uint64_t window, uint32_t* pixels);
void zelvar_shim_dispatch_winsys_get_window_width(pid_t pid, tid_t tid, uint64_t window, uint32_t* pixels);
void zelvar_shim_dispatch_winsys_map_buffer_object(pid_t pid, tid_t tid, uint64_t egl_client_buffer_handle,
                                                   wire::winsys_buffer_object_descriptor* descriptor);
void zelvar_shim_dispatch_winsys_unmap_buffer_object(pid_t pid, tid_t tid, target_ptr mapped_pixels,
                                                     uint32_t mapped_pixels_size, uint32_t* result);
void zelvar_shim_dispatch_winsys_map_buffer_object_vk(pid_t pid, tid_t tid, uint64_t handle,
                                                      wire::winsys_buffer_vk_data_descriptor* result);
/// Makes the target's driver allocate: the handle that it made up, and its VkResult in the error word.
void zelvar_shim_dispatch_vkAllocateMemory(pid_t pid, tid_t tid, uint64_t device, uint64_t allocate_info,
                                           uint64_t allocator, uint64_t memory, uint32_t memory_type,
                                           uint64_t* target_memory, unsigned* target_result);

/// Releases the simulator's thread with all that was written and waits for the target's confirmation. False
/// when the library is going down and no confirmation will come.
bool zelvar_shim_dispatch_wait_for_target_response(scChannelInterface* channel, semaphore__* semaphore);
